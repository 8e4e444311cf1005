#include "choir/chords/ChordText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <utility>

#include "theory/Keys.h"

namespace mlh::choir {

namespace {

// Where something is in a sheet.
struct Token {
    std::string text;
    int line;    // from 1
    int column;  // from 1
};

bool IsHold(const std::string& text) { return text == "." || text == "-" || text == "/"; }

// Bytes that go on with a character of UTF-8 take no column.
bool StartsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; }

std::string Trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// A finite number of no sign at the start of a text up to its end; the machine's language does not count.
std::optional<double> ReadNumber(const std::string& text) {
    double value = 0.0;
    double scale = 1.0;
    bool digits = false;
    bool point = false;
    for (const char c : text) {
        if (c == '.' && !point) {
            point = true;
        } else if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            digits = true;
            value = 10.0 * value + (c - '0');
            if (point) {
                scale *= 10.0;
            }
        } else {
            return std::nullopt;
        }
    }
    if (!digits || !std::isfinite(value) || !std::isfinite(scale)) {
        return std::nullopt;
    }
    return value / scale;
}

class SheetReader {
  public:
    SheetReader(std::string_view text, const std::string& source, const ChordTextSettings& settings)
        : text_(text), source_(source), settings_(settings) {}

    ChordSheet Read() {
        if (HasChordsInWords()) {
            ReadWords();
        } else {
            Split();
            ReadEntries();
        }
        std::stable_sort(sheet_.chords.begin(), sheet_.chords.end(),
                         [](const TimedChord& a, const TimedChord& b) { return a.time < b.time; });
        return std::move(sheet_);
    }

  private:
    void ReadEntries() {
        const auto anyToken = [&](auto matches) {
            return std::any_of(entries_.begin(), entries_.end(), [&](const auto& entry) {
                return std::any_of(entry.begin(), entry.end(), matches);
            });
        };
        if (entries_.empty()) {
            throw ChordTextError(source_ + ": there is no chord in it", ChordTextFault::Unreadable, 1, 1);
        }
        if (anyToken([](const Token& t) { return t.text == "|"; })) {
            ReadGrid();
        } else if (entries_.size() == 1 && entries_[0].size() == 1) {
            Add(0.0, entries_[0][0]);
        } else if (!ReadTime(entries_[0][0].text) && anyToken([](const Token& t) { return t.text == "/"; })) {
            ReadBeats();
        } else {
            for (const auto& entry : entries_) {
                ReadTimed(entry);
            }
        }
    }

    // Entries end at a line's end, a comma or a semicolon; tokens at white space and around bar lines. A line
    // that starts with # or \ (Audacity's frequency ranges) is a comment.
    void Split() {
        int line = 1;
        int column = 1;
        std::vector<Token> entry;
        Token token{"", 1, 1};
        bool comment = false;
        int depth = 0;  // of brackets: the degrees of labels have commas
        const auto endToken = [&] {
            if (!token.text.empty()) {
                entry.push_back(token);
            }
            token.text.clear();
        };
        const auto endEntry = [&] {
            endToken();
            if (!entry.empty()) {
                entries_.push_back(std::move(entry));
            }
            entry.clear();
        };
        for (const char c : text_) {
            if (c == '\n') {
                endEntry();
                comment = false;
                depth = 0;
                ++line;
                column = 1;
                continue;
            }
            if (entry.empty() && token.text.empty() && (c == '#' || c == '\\')) {
                comment = true;
            }
            if (c == '(') {
                ++depth;
            }
            if (c == ')') {
                --depth;
            }
            if (comment || c == '\r') {
            } else if ((c == ',' || c == ';') && depth <= 0) {
                endEntry();
            } else if (c == ' ' || c == '\t') {
                endToken();
            } else if (c == '|') {
                endToken();
                if (entry.empty() || entry.back().text != "|") {
                    entry.push_back({"|", line, column});
                }
            } else {
                if (token.text.empty()) {
                    token = {"", line, column};
                }
                token.text += c;
            }
            column += StartsCharacter(c) ? 1 : 0;
        }
        endEntry();
    }

    [[noreturn]] void Complain(const Token& token, const std::string& why,
                               ChordTextFault fault = ChordTextFault::Unreadable) const {
        throw ChordTextError(source_ + ", line " + std::to_string(token.line) + ", column " +
                                 std::to_string(token.column) + ": " + why,
                             fault, token.line, token.column);
    }

    void Add(double time, const Token& token) {
        ReadSymbol read;
        try {
            read = ReadChordSymbol(token.text, settings_.key);
        } catch (const ChordTextError& error) {
            Complain({"", token.line, token.column + error.column - 1}, error.what(), error.fault);
        }
        if (transpose_ != 0 && read.chord.root >= 0) {
            Chord& chord = read.chord;
            chord.root = theory::PitchClass(chord.root + transpose_);
            if (chord.bass >= 0) {
                chord.bass = theory::PitchClass(chord.bass + transpose_);
            }
            chord.name = ChordName(chord.root, chord.intervals, chord.bass);
        }
        sheet_.chords.push_back({time, std::move(read.chord)});
        Remark(token, read.remark);
    }

    void Remark(const Token& token, const std::string& text) {
        const bool known = std::any_of(sheet_.remarks.begin(), sheet_.remarks.end(),
                                       [&](const ChordRemark& remark) { return remark.text == text; });
        if (!text.empty() && !known) {
            sheet_.remarks.push_back({token.line, token.column, text});
        }
    }

    // Seconds, or minutes:seconds.
    static std::optional<double> ReadTime(const std::string& text) {
        const auto colon = text.find(':');
        if (colon == std::string::npos) {
            return ReadNumber(text);
        }
        const std::string head = text.substr(0, colon);
        const auto minutes = ReadNumber(head);
        const auto seconds = ReadNumber(text.substr(colon + 1));
        if (!minutes || !seconds || head.find('.') != std::string::npos) {
            return std::nullopt;
        }
        return 60.0 * *minutes + *seconds;
    }

    // time chord, or start end chord.
    void ReadTimed(const std::vector<Token>& entry) {
        const auto start = ReadTime(entry[0].text);
        if (!start) {
            if (entries_.size() == 1) {
                Complain(entry[0],
                         "'" + entry[0].text +
                             "' is not a time; write \"0 C, 2.5 Am\", or bars like \"C | Am\" and a tempo");
            }
            Complain(entry[0], "'" + entry[0].text + "' is not a time in seconds, like 12.5");
        }
        std::size_t symbol = 1;
        if (entry.size() > 2 && ReadTime(entry[1].text)) {
            symbol = 2;
        }
        if (symbol >= entry.size()) {
            Complain(entry.back(), "there is no chord after the time");
        }
        if (symbol + 1 < entry.size()) {
            Complain(entry[symbol + 1],
                     "'" + entry[symbol + 1].text + "' is one too many; put each chord on a line");
        }
        Add(*start, entry[symbol]);
    }

    double BeatSeconds(const Token& token, const char* what) const {
        if (!(settings_.bpm > 0.0)) {
            Complain(token, std::string(what) + " a tempo, like 96 beats a minute",
                     ChordTextFault::NeedsTempo);
        }
        return 60.0 / settings_.bpm;
    }

    void ReadBeats() {
        const double beatSeconds = BeatSeconds(entries_[0][0], "beats need");
        double beat = 0.0;
        for (const auto& entry : entries_) {
            for (const Token& token : entry) {
                if (!IsHold(token.text)) {
                    Add(beatSeconds * beat, token);
                }
                beat += 1.0;
            }
        }
    }

    void ReadGrid() {
        const double barSeconds = BeatSeconds(entries_[0][0], "bars need") * settings_.beatsPerBar;
        std::vector<std::vector<Token>> bars(1);
        for (const auto& entry : entries_) {
            for (const Token& token : entry) {
                if (token.text == "|") {
                    // A line that ends with a bar line and one that starts with one share it.
                    if (!bars.back().empty()) {
                        bars.emplace_back();
                    }
                } else if (token.text == ":") {
                    Complain(token, "repeats are not played; write the bars out");
                } else {
                    bars.back().push_back(token);
                }
            }
        }
        if (bars.back().empty()) {
            bars.pop_back();
        }

        std::vector<Token> before;
        for (std::size_t b = 0; b < bars.size(); ++b) {
            std::vector<Token> bar = bars[b];
            if (bar.size() == 1 && bar[0].text == "%") {
                if (before.empty()) {
                    Complain(bar[0], "'%' repeats the bar before, but there is none");
                }
                bar = before;
            }
            for (std::size_t i = 0; i < bar.size(); ++i) {
                if (IsHold(bar[i].text)) {
                    continue;  // the chord before holds
                }
                Add(barSeconds *
                        (static_cast<double>(b) + static_cast<double>(i) / static_cast<double>(bar.size())),
                    bar[i]);
            }
            before = bar;
        }
        if (sheet_.chords.empty()) {
            Complain(entries_[0][0], "there is no chord in these bars");
        }
    }

    // A chord in square brackets, or a directive in braces, at the start of a line.
    bool HasChordsInWords() const {
        std::size_t at = 0;
        while (at < text_.size()) {
            const std::size_t end = std::min(text_.find('\n', at), text_.size());
            const std::string_view line = text_.substr(at, end - at);
            const auto first = line.find_first_not_of(" \t");
            if (first != std::string_view::npos && line[first] != '#' &&
                (line[first] == '{' || line.find('[') != std::string_view::npos)) {
                return true;
            }
            at = end + 1;
        }
        return false;
    }

    void ReadWords() {
        std::vector<Token> tokens;
        int line = 0;
        bool tablature = false;
        std::optional<Token> directiveOfTempo;
        for (std::size_t at = 0; at < text_.size();) {
            ++line;
            const std::size_t end = std::min(text_.find('\n', at), text_.size());
            const std::string content(text_.substr(at, end - at));
            at = end + 1;
            const std::string trimmed = Trimmed(content);
            if (trimmed.empty() || trimmed[0] == '#') {
                continue;
            }
            if (trimmed[0] == '{') {
                ReadDirective({trimmed, line, 1}, tablature);
            } else if (!tablature) {
                TakeChordsOfLine(content, line, tokens);
            }
        }
        if (tokens.empty()) {
            throw ChordTextError(source_ + ": there is no chord in it", ChordTextFault::Unreadable, 1, 1);
        }
        const double barSeconds =
            BeatSeconds(tokens[0], "chords in words have no times and need") * settings_.beatsPerBar;
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            Add(barSeconds * static_cast<double>(i), tokens[i]);
        }
    }

    // [*...] is a note for the player.
    void TakeChordsOfLine(const std::string& content, int line, std::vector<Token>& tokens) const {
        int column = 1;
        for (std::size_t i = 0; i < content.size(); ++i) {
            if (content[i] == '[') {
                const auto close = content.find(']', i);
                if (close == std::string::npos) {
                    Complain({"", line, column}, "a bracket is open, so write ] after the chord");
                }
                const std::string inside = content.substr(i + 1, close - i - 1);
                const auto first = inside.find_first_not_of(" \t");
                const std::string symbol = Trimmed(inside);
                if (!symbol.empty() && symbol[0] != '*') {
                    tokens.push_back({symbol, line, column + 1 + static_cast<int>(first)});
                }
            }
            column += StartsCharacter(content[i]) ? 1 : 0;
        }
    }

    // What is given with the text wins over what is written in it.
    void ReadDirective(const Token& directive, bool& tablature) {
        const auto close = directive.text.find('}');
        if (close == std::string::npos) {
            Complain(directive, "a brace is open, so write } at the end of the line");
        }
        const std::string inside = directive.text.substr(1, close - 1);
        const auto colon = inside.find_first_of(": ");
        const std::string name = Trimmed(inside.substr(0, colon));
        const std::string value = colon == std::string::npos ? "" : Trimmed(inside.substr(colon + 1));
        if (name == "start_of_tab" || name == "sot") {
            tablature = true;
        }
        if (name == "end_of_tab" || name == "eot") {
            tablature = false;
        }
        if (name == "key" && settings_.key < 0) {
            settings_.key = ReadKey(value);
        }
        if (name == "tempo" && !(settings_.bpm > 0.0)) {
            settings_.bpm = ReadNumber(value).value_or(0.0);
        }
        if (name == "time") {
            const auto beats = ReadNumber(value.substr(0, value.find('/')));
            if (beats && *beats >= 1.0 && *beats <= 64.0) {
                settings_.beatsPerBar = static_cast<int>(*beats);
            }
        }
        if (name == "capo" || name == "transpose") {
            const bool down = !value.empty() && value[0] == '-';
            const auto semitones = ReadNumber(down ? value.substr(1) : value);
            if (!semitones || *semitones > 24.0) {
                Complain(directive, "write it like {" + name + ": 2}");
            }
            transpose_ += (down ? -1 : 1) * static_cast<int>(*semitones);
            if (*semitones > 0.0) {
                Remark(directive,
                       name + " " + value + ": the chords sound as many semitones from what is written");
            }
        }
    }

    std::string_view text_;
    std::string source_;
    ChordTextSettings settings_;
    int transpose_ = 0;  // [semitones]
    std::vector<std::vector<Token>> entries_;
    ChordSheet sheet_;
};

}  // namespace

ChordSheet ReadChordSheet(std::string_view text, const std::string& source,
                          const ChordTextSettings& settings) {
    return SheetReader(text, source, settings).Read();
}

int ReadKey(const std::string& text) {
    if (text.empty()) {
        return -1;
    }
    const auto first = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    const int step = theory::StepOfLetter(first);
    if (step < 0) {
        return -1;
    }
    int tonic = theory::PitchClassOfStep(step);
    std::size_t at = 1;
    for (; at < text.size(); ++at) {
        if (text.compare(at, 1, "#") == 0) {
            ++tonic;
        } else if (text.compare(at, 1, "b") == 0) {
            --tonic;
        } else if (text.compare(at, 3, "\u266F") == 0) {
            ++tonic;
            at += 2;
        } else if (text.compare(at, 3, "\u266D") == 0) {
            --tonic;
            at += 2;
        } else {
            break;
        }
    }
    tonic = theory::PitchClass(tonic);
    std::string mode = text.substr(at);
    std::erase(mode, ' ');
    std::erase(mode, ':');
    if (mode.empty() && first != text[0]) {
        return -1;  // a small letter alone: major or minor?
    }
    for (const char* major : {"", "M", "maj", "major", "Major", "dur"}) {
        if (mode == major) {
            return theory::IndexOfKey({tonic, false});
        }
    }
    for (const char* minor : {"m", "min", "minor", "Minor", "moll"}) {
        if (mode == minor) {
            return theory::IndexOfKey({tonic, true});
        }
    }
    return -1;
}

}  // namespace mlh::choir
