#include "choir/chords/ChordSymbol.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "choir/chords/ChordDegrees.h"
#include "theory/ChordTypes.h"
#include "theory/Degrees.h"
#include "theory/Keys.h"

namespace mlh::choir {

namespace {

using theory::Key;
using theory::PitchClass;

// A symbol in one spelling: ASCII for accidentals and chord signs. Every character of it knows its column.
struct Plain {
    std::string text;
    std::vector<int> columns;  // of each byte, and of the end; from 1, in characters
};

Plain MakePlain(std::string_view symbol) {
    static constexpr std::pair<std::string_view, std::string_view> kSigns[] = {
        {"\u266D", "b"},    {"\u266F", "#"},    {"\u0394", "^"},    {"\u25B3", "^"},    {"\u2206", "^"},
        {"\u00B0", "\x02"}, {"\u00BA", "\x02"}, {"\u02DA", "\x02"}, {"\u00F8", "\x01"}, {"\u00D8", "\x01"},
        {"\u2300", "\x01"}, {"\u2212", "-"},    {"\u2013", "-"},    {"\u00E9", "e"},  // Ré
    };
    Plain plain;
    int column = 1;
    for (std::size_t at = 0; at < symbol.size(); ++column) {
        const auto sign = std::find_if(std::begin(kSigns), std::end(kSigns), [&](const auto& s) {
            return symbol.substr(at, s.first.size()) == s.first;
        });
        if (sign != std::end(kSigns)) {
            plain.text += sign->second;
            plain.columns.push_back(column);
            at += sign->first.size();
            continue;
        }
        do {  // a whole character
            plain.text += symbol[at++];
            plain.columns.push_back(column);
        } while (at < symbol.size() && (static_cast<unsigned char>(symbol[at]) & 0xC0u) == 0x80u);
    }
    plain.columns.push_back(column);
    return plain;
}

// Where and why reading stopped; an empty hint leaves the advice to the nearest spelling.
struct Refusal {
    std::size_t at;
    std::string hint;
    ChordTextFault fault = ChordTextFault::Unreadable;
};

class Cursor {
  public:
    explicit Cursor(const std::string& text, std::size_t at = 0) : text_(&text), at_(at) {}

    std::size_t at() const { return at_; }
    bool AtEnd() const { return at_ >= text_->size(); }
    char Peek(std::size_t ahead = 0) const {
        return at_ + ahead < text_->size() ? (*text_)[at_ + ahead] : '\0';
    }
    std::string_view Rest() const { return std::string_view(*text_).substr(at_); }
    bool Follows(std::string_view word) const { return Rest().substr(0, word.size()) == word; }
    bool Take(std::string_view word) {
        if (!Follows(word)) {
            return false;
        }
        at_ += word.size();
        return true;
    }
    // The first of the words that follows; longer ones must come first.
    template <std::size_t N>
    bool TakeAny(const std::string_view (&words)[N]) {
        return std::any_of(std::begin(words), std::end(words),
                           [&](std::string_view word) { return Take(word); });
    }
    void Skip(std::size_t count) { at_ += count; }

    bool DigitFollows(std::size_t ahead = 0) const {
        return std::isdigit(static_cast<unsigned char>(Peek(ahead))) != 0;
    }
    // Up to three digits, 0 for none.
    int TakeNumber() {
        int number = 0;
        for (int digits = 0; digits < 3 && DigitFollows(); ++digits) {
            number = 10 * number + (Peek() - '0'), ++at_;
        }
        return number;
    }

    [[noreturn]] void Refuse(const std::string& hint = "") const { throw Refusal{at_, hint}; }

  private:
    const std::string* text_;
    std::size_t at_;
};

// A note by letter and accidentals.
struct NoteName {
    int step = 0;   // of theory::kLetters
    int alter = 0;  // sharps above 0
    int pitchClass() const { return PitchClass(theory::PitchClassOfStep(step) + alter); }
    std::string text() const {
        return theory::kLetters[step] +
               std::string(static_cast<std::size_t>(std::abs(alter)), alter < 0 ? 'b' : '#');
    }
};

// The note `steps` letters and `interval` semitones above another one; by its plainest name where the letter
// would need more than two accidentals.
NoteName Above(const NoteName& root, int steps, int interval) {
    NoteName note;
    note.step = (root.step + steps) % theory::kSteps;
    const int wanted = PitchClass(root.pitchClass() + interval);
    note.alter = PitchClass(wanted - theory::PitchClassOfStep(note.step) + 6) - 6;
    if (std::abs(note.alter) <= 2) {
        return note;
    }
    const std::string_view plain = theory::NameOf(PitchClass(wanted), root.alter < 0);
    return {theory::StepOfLetter(plain[0]), plain.size() < 2 ? 0 : plain[1] == '#' ? 1 : -1};
}

int TakeAccidentals(Cursor& cursor) {
    int alter = 0;
    for (;; cursor.Skip(1)) {
        if (cursor.Peek() == '#') {
            ++alter;
        } else if (cursor.Peek() == 'b') {
            --alter;
        } else {
            return alter;
        }
    }
}

// A letter; H is B.
std::optional<NoteName> TakeLetter(Cursor& cursor, std::string& remark) {
    NoteName note;
    if (cursor.Peek() == 'H') {
        note.step = theory::StepOfLetter('B');
        remark = "H is read as B; B flat is written Bb";
    } else if ((note.step = theory::StepOfLetter(cursor.Peek())) < 0 || cursor.AtEnd()) {
        return std::nullopt;
    }
    cursor.Skip(1);
    note.alter = TakeAccidentals(cursor);
    return note;
}

std::optional<NoteName> TakeSolfege(Cursor& cursor, std::string& remark) {
    static constexpr std::pair<std::string_view, char> kNames[] = {
        {"Sol", 'G'}, {"SOL", 'G'}, {"Do", 'C'}, {"DO", 'C'}, {"Re", 'D'}, {"RE", 'D'},
        {"Mi", 'E'},  {"MI", 'E'},  {"Fa", 'F'}, {"FA", 'F'}, {"La", 'A'}, {"LA", 'A'},
        {"Si", 'B'},  {"SI", 'B'},  {"Ti", 'B'}, {"TI", 'B'}};
    for (const auto& [name, letter] : kNames) {
        if (!cursor.Take(name)) {
            continue;
        }
        if (name == "Do") {
            remark = "Do is read as C; D diminished is written Ddim";
        }
        NoteName note;
        note.step = theory::StepOfLetter(letter);
        note.alter = TakeAccidentals(cursor);
        return note;
    }
    return std::nullopt;
}

// A set of intervals above the root.
class Tones {
  public:
    Tones() = default;
    explicit Tones(const theory::ChordType& type) {
        for (int i = 0; i < type.count; ++i) {
            Add(type.tones[i].semitones);
        }
    }
    void Add(int interval) { bits_ |= 1u << interval; }
    void Remove(int interval) { bits_ &= ~(1u << interval); }
    bool Has(int interval) const { return (bits_ >> interval & 1u) != 0; }
    bool Empty() const { return bits_ == 0; }
    std::vector<int> List() const {
        std::vector<int> list;
        for (int interval = 0; interval <= kHighestInterval; ++interval) {
            if (Has(interval)) {
                list.push_back(interval);
            }
        }
        return list;
    }

  private:
    std::uint32_t bits_ = 0;
};

constexpr std::string_view kMajorWords[] = {"major", "Major", "maj", "Maj", "MAJ", "Ma", "M", "^"};
constexpr std::string_view kMinorWords[] = {"minor", "Minor", "min", "Min", "MIN", "mi", "m", "-"};

// The part after the root, up to a slash or the end; of labels up to a bracket.
class QualityReader {
  public:
    // `minor`: a degree in small letters.
    QualityReader(Cursor& cursor, bool minor, std::string& remark)
        : cursor_(cursor), minor_(minor), remark_(remark) {}

    Tones Read() {
        ReadBase();
        ReadNumber();
        Compose();
        ReadChanges();
        return tones_;
    }

    // A shorthand of labels: the same words, and degrees in brackets.
    Tones ReadLabel() {
        label_ = true;
        if (cursor_.AtEnd()) {
            cursor_.Refuse("write C:maj, or C alone");
        }
        if (cursor_.Peek() == '(') {
            tones_.Add(0);
        } else if (cursor_.Peek() == '1' && !cursor_.DigitFollows(1)) {
            cursor_.Skip(1);
            tones_.Add(0);
        } else {
            // "C:b9" is short for a dominant seventh with it.
            number_ = cursor_.Peek() == 'b' || cursor_.Peek() == '#' ? 7 : 0;
            Read();
        }
        if (cursor_.Peek() == '(') {
            ReadDegreeList();
        }
        return tones_;
    }

    bool diminished() const { return dim_ || half_; }

  private:
    // Brackets say nothing before the number: "m(maj7)", "m(7)". Those of labels hold degrees.
    void Open() {
        while (!label_ && cursor_.Take("(")) {
            ++depth_;
        }
    }

    // "ma" before a number, so that "madd9" stays a minor chord.
    bool TakeMajorWord() {
        if (cursor_.TakeAny(kMajorWords)) {
            return true;
        }
        if (!cursor_.Follows("ma") || !cursor_.DigitFollows(2)) {
            return false;
        }
        cursor_.Skip(2);
        return true;
    }

    // Whether a major seventh, or what lies above it, is named here, as in the second half of "mMaj7".
    bool TakeMajorSeventh() {
        const Cursor before = cursor_;
        const bool triangle = cursor_.Peek() == '^';
        if (TakeMajorWord()) {
            const int number = cursor_.TakeNumber();
            if (number == 7 || number == 9 || number == 11 || number == 13 || (triangle && number == 0)) {
                number_ = number == 0 ? 7 : number;
                major_ = true;
                return true;
            }
        }
        cursor_ = before;
        return false;
    }

    void ReadBase() {
        static constexpr std::string_view kHalf[] = {"halfdim", "half-dim", "hdim", "\x01"};
        static constexpr std::string_view kDim[] = {"dim", "Dim", "o", "\x02"};
        static constexpr std::string_view kAug[] = {"aug", "Aug", "+"};
        Open();
        const bool triangle = cursor_.Peek() == '^';
        if (cursor_.TakeAny(kHalf)) {
            half_ = true;
        } else if (cursor_.TakeAny(kDim)) {
            dim_ = true;
        } else if (cursor_.TakeAny(kAug)) {
            aug_ = true;
        } else if (cursor_.Take("dom")) {
            if (!cursor_.DigitFollows()) {
                cursor_.Refuse("write C7");
            }
        } else if (TakeMajorWord() || (cursor_.DigitFollows(1) && cursor_.Take("j"))) {
            major_ = true;
            if (triangle && !cursor_.DigitFollows()) {
                number_ = 7;
                remark_ = "the triangle alone is read as a major seventh, like Cmaj7; a triad is written C";
            }
        } else if (cursor_.TakeAny(kMinorWords)) {
            minor_ = true;
        }
        Open();
        if (!major_) {
            TakeMajorSeventh();
        }
    }

    void ReadNumber() {
        if (number_ != 0) {
            return;
        }
        const Cursor before = cursor_;
        if (cursor_.Take("6/9") || cursor_.Take("69")) {
            number_ = 69;
            return;
        }
        number_ = cursor_.TakeNumber();
        switch (number_) {
            case 0:
                return;
            case 2:
            case 4:
                if (minor_ || major_ || dim_ || half_ || aug_) {
                    before.Refuse("write the tone as sus2, sus4, add9 or add11");
                }
                remark_ = number_ == 2
                              ? "2 alone is read as sus2, the tones that all readings share; with the third "
                                "it is written add9"
                              : "4 alone is read as sus4, the tones that all readings share; with the third "
                                "it is written add11";
                return;
            case 5:
                if (minor_ || major_ || dim_ || half_ || aug_) {
                    before.Refuse(
                        "5 is a chord without a third, so write C5, Cm or, for an altered fifth, C(b5)");
                }
                return;
            case 6:
                if (dim_ || half_ || aug_) {
                    before.Refuse("write Cdim7 for a sixth above a diminished chord, or C6");
                }
                return;
            case 7:
            case 9:
            case 11:
            case 13:
                return;
            default:
                before.Refuse("the numbers of chords are 2, 4, 5, 6, 7, 9, 11, 13 and 69");
        }
    }

    void Compose() {
        tones_.Add(0);
        const bool power = number_ == 5;
        if (!power && number_ != 2 && number_ != 4) {
            tones_.Add(minor_ || dim_ || half_ ? 3 : 4);
        }
        if (number_ == 2) {
            tones_.Add(2);
        }
        if (number_ == 4) {
            tones_.Add(5);
        }
        tones_.Add(dim_ || half_ ? 6 : aug_ ? 8 : 7);
        if (number_ == 6 || number_ == 69) {
            tones_.Add(9);
        }
        if (number_ == 69) {
            tones_.Add(14);
        }
        if ((number_ >= 7 && number_ <= 13) || half_) {
            AddSeventh();
        }
        if (number_ >= 9 && number_ <= 13) {
            tones_.Add(14);
        }
        // Above a major third the eleventh of a thirteenth is left out: it rubs.
        if (number_ == 11 || (number_ == 13 && tones_.Has(3))) {
            tones_.Add(17);
        }
        if (number_ == 13) {
            tones_.Add(21);
        }
    }

    void AddSeventh() { tones_.Add(major_ ? 11 : dim_ ? 9 : 10); }

    bool HasSeventh() const { return tones_.Has(10) || tones_.Has(11) || (dim_ && tones_.Has(9)); }

    void Suspend(int interval) {
        tones_.Remove(3);
        tones_.Remove(4);
        tones_.Add(interval);
        tones_.Remove(interval + 12);  // it is there an octave lower
    }

    // What is added, altered or left out. Labels have their degrees in brackets, which stay.
    void ReadChanges() {
        while (!cursor_.AtEnd()) {
            if (cursor_.Peek() == '(') {
                if (label_) {
                    break;
                }
                Open();
            } else if (cursor_.Peek() == ')') {
                if (depth_ == 0) {
                    cursor_.Refuse("there is no bracket that this one closes");
                }
                --depth_;
                cursor_.Skip(1);
            } else if (cursor_.Peek() == ',' && depth_ > 0) {
                cursor_.Skip(1);
            } else if (cursor_.Peek() == '/' && depth_ == 0) {
                break;
            } else {
                ReadChange(depth_ > 0);
            }
        }
        if (depth_ > 0) {
            cursor_.Refuse("a bracket is open, so write ) at its end");
        }
    }

    void ReadChange(bool inBrackets) {
        if (cursor_.Take("sus")) {
            if (cursor_.Take("24") || cursor_.Take("42") || cursor_.Take("2sus4") || cursor_.Take("4sus2")) {
                Suspend(2);
                Suspend(5);
            } else if (cursor_.Take("2")) {
                Suspend(2);
            } else {
                cursor_.Take("4");
                Suspend(5);
                if (!HasSeventh() && cursor_.DigitFollows()) {
                    ReadNumberAfterSus();
                }
            }
        } else if (cursor_.Take("add")) {
            AddDegree();
        } else if (cursor_.Take("omit") || cursor_.Take("no")) {
            LeaveOut();
        } else if (cursor_.Take("alt")) {
            if (minor_ || dim_ || half_ || aug_ || major_ || (number_ != 0 && number_ != 7)) {
                cursor_.Refuse("alt goes with a dominant seventh, so write C7alt");
            }
            tones_ = Tones(theory::ChordTypeNamed("7alt"));
        } else if (cursor_.Take("aug")) {
            Alter(5, 1);
        } else if (cursor_.Peek() == '+' && !cursor_.DigitFollows(1)) {
            cursor_.Skip(1);
            Alter(5, 1);
        } else if (cursor_.Peek() == '#' || cursor_.Peek() == 'b' || cursor_.Peek() == '+' ||
                   cursor_.Peek() == '-') {
            ReadAlteration();
        } else if (inBrackets && cursor_.DigitFollows()) {
            AddDegree();
        } else {
            ReadSeventhAfterwards(inBrackets);
        }
    }

    // "Csus9" is written for C9sus4.
    void ReadNumberAfterSus() {
        const Cursor before = cursor_;
        const int number = cursor_.TakeNumber();
        if (number != 7 && number != 9 && number != 11 && number != 13) {
            before.Refuse("write Csus2 or Csus4");
        }
        AddSeventh();
        if (number > 7) {
            tones_.Add(14);
        }
        if (number == 13) {
            tones_.Add(21);
        }
    }

    // "C6(maj7)", "Cadd9(maj7)".
    void ReadSeventhAfterwards(bool inBrackets) {
        const Cursor before = cursor_;
        const bool room = inBrackets && !HasSeventh();
        if (!room || !TakeMajorSeventh() || number_ != 7) {
            before.Refuse();
        }
        tones_.Add(11);
    }

    // Of a degree; 0 and 7 have no such tones.
    static bool IsAltered(int degree, int alter) {
        switch (degree) {
            case 5:
            case 9:
                return alter == -1 || alter == 1;
            case 2:
            case 6:
            case 13:
                return alter == -1;
            case 4:
            case 11:
                return alter == 1;
            default:
                return false;
        }
    }

    void Alter(int degree, int alter) {
        if (degree == 5 || degree > 7) {
            tones_.Remove(NaturalInterval(degree));
        }
        tones_.Add(NaturalInterval(degree) + alter);
    }

    void ReadAlteration() {
        const Cursor before = cursor_;
        const int alter = cursor_.Peek() == '#' || cursor_.Peek() == '+' ? 1 : -1;
        cursor_.Skip(1);
        const int degree = cursor_.TakeNumber();
        if (degree == 3) {
            before.Refuse("a minor third is written Cm");
        }
        if (degree == 7) {
            before.Refuse("the sevenths are written C7 and Cmaj7");
        }
        if (!IsAltered(degree, alter)) {
            before.Refuse("what can be altered is b5 #5 b9 #9 #11 b13");
        }
        Alter(degree, alter);
    }

    void AddDegree() {
        const Cursor before = cursor_;
        const int alter = TakeAccidentals(cursor_);
        const int degree = cursor_.TakeNumber();
        if (degree == 7 && alter == 0) {
            before.Refuse("the sevenths are written C7 and Cmaj7");
        }
        const bool third = degree == 3 && (alter == 0 || alter == -1);
        const bool plain = alter == 0 && (degree == 2 || degree == 4 || degree == 6 || degree == 9 ||
                                          degree == 11 || degree == 13);
        if (!third && !plain && !(degree != 5 && IsAltered(degree, alter))) {
            before.Refuse("what can be added is 2, 4, 6, 9, 11 and 13, like Cadd9");
        }
        tones_.Add(NaturalInterval(degree) + alter);
    }

    void LeaveOut() {
        const Cursor before = cursor_;
        const int degree = cursor_.TakeNumber();
        static constexpr std::pair<int, std::pair<int, int>> kRanges[] = {
            {1, {0, 0}}, {3, {3, 4}}, {5, {6, 8}}, {9, {13, 15}}, {11, {17, 18}}, {13, {20, 21}}};
        for (const auto& [of, range] : kRanges) {
            if (of != degree) {
                continue;
            }
            const Tones all = tones_;
            if (tones_.Has(NaturalInterval(degree)) && degree != 3) {
                tones_.Remove(NaturalInterval(degree));
            } else {
                for (int interval = range.first; interval <= range.second; ++interval) {
                    tones_.Remove(interval);
                }
            }
            if (tones_.List() == all.List()) {
                before.Refuse("the chord has no such tone to leave out");
            }
            if (tones_.Empty()) {
                before.Refuse("there is no tone left");
            }
            return;
        }
        before.Refuse("what can be left out is 1, 3, 5, 9, 11 and 13, like C7no5");
    }

    void ReadDegreeList() {
        static constexpr const char* kList = "degrees are written like C:9(*5) or C:(1,b3,5)";
        cursor_.Skip(1);
        do {
            const Cursor before = cursor_;
            const bool without = cursor_.Take("*");
            const int alter = TakeAccidentals(cursor_);
            const int degree = cursor_.TakeNumber();
            if (degree < 1 || degree > kHighestDegree) {
                before.Refuse(kList);
            }
            const int interval = NaturalInterval(degree) + alter;
            if (interval < 0 || interval > kHighestInterval) {
                before.Refuse(kList);
            }
            if (!without) {
                tones_.Add(interval);
            } else if (tones_.Has(interval)) {
                tones_.Remove(interval);
            } else {
                before.Refuse("the chord has no such tone to leave out");
            }
        } while (cursor_.Take(","));
        if (tones_.Empty()) {
            cursor_.Refuse("there is no tone left");
        }
        if (!cursor_.Take(")")) {
            cursor_.Refuse(kList);
        }
    }

    Cursor& cursor_;
    bool label_ = false;
    int depth_ = 0;  // of brackets
    bool minor_;
    bool major_ = false;  // the seventh is
    bool dim_ = false;
    bool half_ = false;
    bool aug_ = false;
    int number_ = 0;
    Tones tones_;
    std::string& remark_;
};

// The reading of one symbol; each way of reading throws Refusal where it cannot go on.
class SymbolReader {
  public:
    SymbolReader(const std::string& text, int key) : text_(text), key_(key) {}

    ReadSymbol Read() {
        if (auto chord = TrySolfege()) {
            return *chord;
        }
        if (auto chord = TryDegree()) {
            return *chord;
        }
        return ReadLetter();
    }

  private:
    // Do and Fa begin like chords on D and F: "Faug" is F augmented.
    std::optional<ReadSymbol> TrySolfege() {
        Cursor cursor(text_);
        std::string remark;
        const auto root = TakeSolfege(cursor, remark);
        if (!root) {
            return std::nullopt;
        }
        try {
            return ReadAfterRoot(cursor, *root, remark);
        } catch (const Refusal&) {
            if (text_[0] == 'D' || text_[0] == 'F') {
                return std::nullopt;
            }
            throw;
        }
    }

    ReadSymbol ReadLetter() {
        Cursor cursor(text_);
        std::string remark;
        const auto root = TakeLetter(cursor, remark);
        if (!root) {
            cursor.Refuse();
        }
        const std::string_view rest = cursor.Rest();
        if (rest == "is" || rest == "es") {
            cursor.Refuse(std::string("write ") + text_[0] + (rest == "is" ? "#" : "b"));
        }
        return ReadAfterRoot(cursor, *root, remark);
    }

    ReadSymbol ReadAfterRoot(Cursor& cursor, const NoteName& root, std::string remark) {
        const bool label = cursor.Take(":");
        QualityReader quality(cursor, false, remark);
        const Tones tones = label ? quality.ReadLabel() : quality.Read();
        const auto bass = ReadBass(cursor, root, label, remark);
        return Finish(root, tones, bass, remark);
    }

    // The slash and what follows, to the end: a note, or a degree of the chord.
    static std::optional<NoteName> ReadBass(Cursor& cursor, const NoteName& root, bool label,
                                            std::string& remark) {
        if (!cursor.Take("/")) {
            if (!cursor.AtEnd()) {
                cursor.Refuse();
            }
            return std::nullopt;
        }
        const Cursor before = cursor;
        auto bass = TakeSolfege(cursor, remark);
        if (!bass) {
            bass = TakeLetter(cursor, remark);
        }
        if (!bass) {
            const int alter = TakeAccidentals(cursor);
            const int degree = cursor.TakeNumber();
            if (degree < 1 || degree > kHighestDegree) {
                before.Refuse(
                    "the bass is written as a note, like C/E, or as a degree of the chord, like C/3");
            }
            if (degree > 7 && !label) {
                before.Refuse(
                    "an added tone is written Cadd9; the bass as a note, like C/D, or a degree up to 7");
            }
            bass = Above(root, degree - 1, NaturalInterval(degree) + alter);
        }
        if (!cursor.AtEnd()) {
            cursor.Refuse(cursor.Peek() == '/' ? "a chord has one bass" : "");
        }
        return bass;
    }

    static ReadSymbol Finish(const NoteName& root, const Tones& tones, const std::optional<NoteName>& bass,
                             const std::string& remark) {
        ReadSymbol read;
        read.remark = remark;
        Chord& chord = read.chord;
        chord.root = root.pitchClass();
        chord.intervals = tones.List();
        chord.name = root.text() + ChordSuffix(chord.intervals);
        if (bass && bass->pitchClass() != chord.root) {
            chord.bass = bass->pitchClass();
            chord.name += "/" + bass->text();
        }
        return read;
    }

    // bVII7, V7/V, I/3.
    std::optional<ReadSymbol> TryDegree() {
        Cursor cursor(text_);
        const int alter = TakeAccidentals(cursor);
        const theory::RomanNumeral numeral = theory::ReadRomanNumeral(cursor.Rest());
        if (numeral.step < 0) {
            return std::nullopt;
        }
        cursor.Skip(numeral.length);
        std::string remark;
        // Without a key the rest is read all the same, so that what cannot be read is refused as such.
        Key key = key_ < 0 ? Key{} : theory::KeyOfIndex(key_);
        QualityReader quality(cursor, numeral.lower, remark);
        const Tones tones = ReadDegreeQuality(cursor, quality);
        const Cursor slash = cursor;
        std::optional<int> degreeBass;
        if (cursor.Take("/")) {
            Cursor ahead = cursor;
            const int of = TakeAccidentals(ahead);
            const theory::RomanNumeral target = theory::ReadRomanNumeral(ahead.Rest());
            if (target.step >= 0) {
                ahead.Skip(target.length);
                if (!ahead.AtEnd()) {
                    ahead.Refuse("what follows the slash is a degree alone, like V7/V");
                }
                const int targetRoot =
                    PitchClass(key.tonic + theory::DegreeRoot(key, target.step, of, false));
                // Chords of dominant function lead to the degree, others have it as their bass.
                const bool leads = numeral.step == 4 || (numeral.step == 6 && quality.diminished());
                if (leads) {
                    key = {targetRoot, target.lower};
                } else {
                    degreeBass = targetRoot;
                }
                cursor = ahead;
            } else {
                cursor = slash;
            }
        }
        const int root =
            PitchClass(key.tonic + theory::DegreeRoot(key, numeral.step, alter, quality.diminished()));
        const auto spelled = [&](int pitchClass) {
            const theory::Spelling spelling =
                theory::Spell(pitchClass, key_ < 0 ? Key{} : theory::KeyOfIndex(key_));
            return NoteName{theory::StepOfLetter(spelling.step), spelling.alter};
        };
        auto bass = ReadBass(cursor, spelled(root), false, remark);
        if (degreeBass) {
            bass = spelled(*degreeBass);
        }
        if (key_ < 0) {
            throw Refusal{0, "a degree needs a key, like C major, to be a chord", ChordTextFault::NeedsKey};
        }
        return Finish(spelled(root), tones, bass, remark);
    }

    static Tones ReadDegreeQuality(Cursor& cursor, QualityReader& quality) {
        for (const char* figures : {"65", "64", "43", "42"}) {
            if (cursor.Follows(figures)) {
                cursor.Refuse("an inversion is written by its bass, like V7/3");
            }
        }
        return quality.Read();
    }

    const std::string& text_;
    int key_;
};

bool IsNoChord(std::string_view symbol) {
    static constexpr std::string_view kSpellings[] = {"N", "X", "NC", "N.C.", "N.C", "n.c.", "nc", "none"};
    return std::find(std::begin(kSpellings), std::end(kSpellings), symbol) != std::end(kSpellings);
}

// Edit distance. A letter too many or too few is likelier than a wrong one, and one in the wrong case is the
// likeliest slip.
double Distance(const std::string& a, const std::string& b) {
    constexpr double kGap = 0.9;
    std::vector<double> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = kGap * static_cast<double>(j);
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        double diagonal = row[0];
        row[0] = kGap * static_cast<double>(i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
            const double change = a[i - 1] == b[j - 1] ? 0.0 : lower(a[i - 1]) == lower(b[j - 1]) ? 0.5 : 1.0;
            const double best = std::min({row[j] + kGap, row[j - 1] + kGap, diagonal + change});
            diagonal = row[j];
            row[j] = best;
        }
    }
    return row[b.size()];
}

std::string NearestSymbol(const std::string& symbol) {
    static constexpr const char* kRoots[] = {"C",  "C#", "Db", "D",  "D#", "Eb", "E",  "F", "F#",
                                             "Gb", "G",  "G#", "Ab", "A",  "A#", "Bb", "B"};
    const bool label = symbol.find(':') != std::string::npos;
    std::string nearest = "C";
    double best = 1e9;
    for (const char* root : kRoots) {
        for (const theory::ChordType& type : theory::kChordTypes) {
            if (label && *type.harte == '\0') {
                continue;
            }
            const std::string candidate =
                std::string(root) + (label ? ":" : "") + (label ? type.harte : type.suffix);
            const double distance = Distance(symbol, candidate);
            if (distance < best) {
                best = distance;
                nearest = candidate;
            }
        }
    }
    return nearest;
}

}  // namespace

ReadSymbol ReadChordSymbol(std::string_view symbol, int key) {
    if (IsNoChord(symbol)) {
        return {{"N.C.", -1, {}, -1, std::string(symbol)}, ""};
    }
    // No chord is as long; a file of something else may be one long word.
    constexpr std::size_t kLongest = 80;
    std::string shown(symbol.substr(0, kLongest));
    while (shown.size() < symbol.size() &&
           (static_cast<unsigned char>(symbol[shown.size()]) & 0xC0u) == 0x80u &&
           shown.size() < kLongest + 3) {
        shown += symbol[shown.size()];
    }
    const bool cut = shown.size() < symbol.size();
    const Plain plain = MakePlain(shown);
    const std::string quoted = "'" + shown + (cut ? "...'" : "'");
    try {
        if (cut) {
            throw Refusal{0, ""};
        }
        ReadSymbol read = SymbolReader(plain.text, key).Read();
        read.chord.written = symbol;
        return read;
    } catch (const Refusal& refusal) {
        const std::string advice =
            refusal.hint.empty() ? "; did you mean '" + NearestSymbol(shown) + "'?" : ": " + refusal.hint;
        throw ChordTextError("cannot read the chord " + quoted + advice, refusal.fault, 1,
                             plain.columns[std::min(refusal.at, plain.text.size())]);
    }
}

}  // namespace mlh::choir
