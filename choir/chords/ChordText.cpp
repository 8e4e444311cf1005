#include "choir/chords/ChordText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <optional>

#include "choir/Errors.h"
#include "choir/chords/ChordQualities.h"

namespace mlh::choir {

namespace {

constexpr const char* kRoots[] = {"C",  "C#", "Db", "D",  "D#", "Eb", "E",  "F", "F#",
                                  "Gb", "G",  "G#", "Ab", "A",  "A#", "Bb", "B"};

// Reads a note name at the start of `text` and moves `position` behind it; sharps and flats may repeat.
std::optional<int> ReadNoteName(const std::string& text, std::size_t& position) {
    static constexpr int kNaturals[] = {9, 11, 0, 2, 4, 5, 7};  // A to G
    if (position >= text.size() || text[position] < 'A' || text[position] > 'G') return std::nullopt;
    int pitchClass = kNaturals[text[position++] - 'A'];
    static const std::string kSharp = "\u266F";
    static const std::string kFlat = "\u266D";
    for (;;) {
        if (text.compare(position, 1, "#") == 0) {
            ++pitchClass;
            ++position;
        } else if (text.compare(position, 1, "b") == 0) {
            --pitchClass;
            ++position;
        } else if (text.compare(position, kSharp.size(), kSharp) == 0) {
            ++pitchClass;
            position += kSharp.size();
        } else if (text.compare(position, kFlat.size(), kFlat) == 0) {
            --pitchClass;
            position += kFlat.size();
        } else {
            return ((pitchClass % 12) + 12) % 12;
        }
    }
}

const ChordQuality* FindQuality(const std::vector<ChordQuality>& qualities, const std::string& spelling) {
    const auto found = std::find_if(qualities.begin(), qualities.end(), [&](const ChordQuality& quality) {
        return spelling == quality.spelling;
    });
    return found == qualities.end() ? nullptr : &*found;
}

bool IsNoChord(const std::string& symbol) {
    static const char* const kSpellings[] = {"N", "X", "NC", "N.C.", "N.C", "n.c.", "nc", "none"};
    return std::any_of(std::begin(kSpellings), std::end(kSpellings),
                       [&](const char* s) { return symbol == s; });
}

// The bass of a Harte label is a degree of the major scale, like 3 or b7.
std::optional<int> ReadDegree(const std::string& text, int root) {
    static constexpr int kScale[] = {0, 2, 4, 5, 7, 9, 11};
    std::size_t i = 0;
    int shift = 0;
    for (; i < text.size() && (text[i] == 'b' || text[i] == '#'); ++i) shift += text[i] == '#' ? 1 : -1;
    const std::string digits = text.substr(i);
    if (digits.empty() || digits.size() > 2 || !std::all_of(digits.begin(), digits.end(), ::isdigit))
        return std::nullopt;
    const int degree = std::atoi(digits.c_str());
    if (degree < 1 || degree > 14) return std::nullopt;
    return (((root + kScale[(degree - 1) % 7] + shift) % 12) + 12) % 12;
}

std::optional<Chord> ReadLeadSheet(const std::string& symbol) {
    std::size_t position = 0;
    const auto root = ReadNoteName(symbol, position);
    if (!root) return std::nullopt;
    Chord chord;
    chord.name = symbol;
    chord.root = *root;
    std::string spelling = symbol.substr(position);
    std::erase_if(spelling, [](char c) { return c == '(' || c == ')'; });
    // A quality may hold a slash itself (6/9), so the whole is tried first.
    const ChordQuality* quality = FindQuality(LeadSheetQualities(), spelling);
    if (quality == nullptr) {
        const auto slash = spelling.rfind('/');
        if (slash == std::string::npos) return std::nullopt;
        std::size_t end = slash + 1;
        const auto bass = ReadNoteName(spelling, end);
        quality = FindQuality(LeadSheetQualities(), spelling.substr(0, slash));
        if (quality == nullptr || !bass || end != spelling.size()) return std::nullopt;
        chord.bass = *bass;
    }
    chord.intervals = quality->intervals;
    return chord;
}

std::optional<Chord> ReadHarte(const std::string& symbol) {
    std::size_t position = 0;
    const auto root = ReadNoteName(symbol, position);
    if (!root || position >= symbol.size() || symbol[position] != ':') return std::nullopt;
    std::string rest = symbol.substr(position + 1);
    Chord chord;
    chord.name = symbol;
    chord.root = *root;
    if (const auto slash = rest.find('/'); slash != std::string::npos) {
        const auto bass = ReadDegree(rest.substr(slash + 1), *root);
        if (!bass) return std::nullopt;
        chord.bass = *bass;
        rest.resize(slash);
    }
    // Added and left out degrees, in brackets, do not change what is sung.
    if (const auto bracket = rest.find('('); bracket != std::string::npos) {
        if (rest.back() != ')') return std::nullopt;
        rest.resize(bracket);
        if (rest.empty()) rest = "maj";
    }
    const ChordQuality* quality = FindQuality(HarteQualities(), rest);
    if (quality == nullptr) return std::nullopt;
    chord.intervals = quality->intervals;
    return chord;
}

struct LibraryChord {
    ChordCodes codes;
    std::vector<int> intervals;
};

const std::vector<LibraryChord>& LibraryChords() {
    static const std::vector<LibraryChord> chords = {
        {{0, 16}, {0, 4, 7}},    {{1, 16}, {0, 3, 7}},     {{2, 16}, {0, 3, 6}},     {{3, 16}, {0, 4, 8}},
        {{5, 9}, {0, 4, 7, 11}}, {{5, 10}, {0, 3, 7, 10}}, {{5, 11}, {0, 4, 7, 10}}, {{5, 12}, {0, 3, 6, 10}},
        {{5, 13}, {0, 3, 6, 9}}, {{5, 14}, {0, 3, 7, 11}}};
    return chords;
}

// Edit distance. A letter too many or too few is likelier than a wrong one, and one in the wrong case is the
// likeliest slip.
double Distance(const std::string& a, const std::string& b) {
    constexpr double kGap = 0.9;
    std::vector<double> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = kGap * static_cast<double>(j);
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
    std::string nearest = "C";
    double best = 1e9;
    const auto offer = [&](const std::string& candidate) {
        const double distance = Distance(symbol, candidate);
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    };
    const bool harte = symbol.find(':') != std::string::npos;
    for (const char* root : kRoots) {
        for (const ChordQuality& quality : harte ? HarteQualities() : LeadSheetQualities()) {
            offer(std::string(root) + (harte ? ":" : "") + quality.spelling);
        }
    }
    return nearest;
}

// Where something stands in a sheet.
struct Token {
    std::string text;
    int line;    // from 1
    int column;  // from 1
};

class SheetReader {
  public:
    SheetReader(const std::string& text, const std::string& source, double bpm, int beatsPerBar)
        : source_(source), barSeconds_(bpm > 0.0 ? 60.0 / bpm * beatsPerBar : 0.0) {
        Split(text);
    }

    std::vector<TimedChord> Read() {
        if (entries_.empty()) throw UsageError(source_ + ": there is no chord in it");
        const bool grid = std::any_of(entries_.begin(), entries_.end(), [](const auto& entry) {
            return std::any_of(entry.begin(), entry.end(), [](const Token& t) { return t.text == "|"; });
        });
        if (grid) {
            ReadGrid();
        } else if (entries_.size() == 1 && entries_[0].size() == 1) {
            Add(0.0, entries_[0][0]);
        } else {
            for (const auto& entry : entries_) ReadTimed(entry);
        }
        std::stable_sort(chords_.begin(), chords_.end(),
                         [](const TimedChord& a, const TimedChord& b) { return a.time < b.time; });
        return std::move(chords_);
    }

  private:
    // Entries end at a line's end, a comma or a semicolon; tokens at white space and around bar lines. A line
    // that starts with # or \ (Audacity's frequency ranges) is a comment.
    void Split(const std::string& text) {
        int line = 1;
        int column = 1;
        std::vector<Token> entry;
        Token token{"", 1, 1};
        bool comment = false;
        int depth = 0;  // of brackets: Harte's extras have commas
        const auto endToken = [&] {
            if (!token.text.empty()) entry.push_back(token);
            token.text.clear();
        };
        const auto endEntry = [&] {
            endToken();
            if (!entry.empty()) entries_.push_back(std::move(entry));
            entry.clear();
        };
        for (const char c : text) {
            if (c == '\n') {
                endEntry();
                comment = false;
                depth = 0;
                ++line;
                column = 1;
                continue;
            }
            if (entry.empty() && token.text.empty() && (c == '#' || c == '\\')) comment = true;
            if (c == '(') ++depth;
            if (c == ')') --depth;
            if (comment || c == '\r') {
            } else if ((c == ',' || c == ';') && depth <= 0) {
                endEntry();
            } else if (c == ' ' || c == '\t') {
                endToken();
            } else if (c == '|') {
                endToken();
                if (entry.empty() || entry.back().text != "|") entry.push_back({"|", line, column});
            } else {
                if (token.text.empty()) token = {"", line, column};
                token.text += c;
            }
            ++column;
        }
        endEntry();
    }

    [[noreturn]] void Complain(const Token& token, const std::string& why) const {
        throw UsageError(source_ + ", line " + std::to_string(token.line) + ", column " +
                         std::to_string(token.column) + ": " + why);
    }

    void Add(double time, const Token& token) {
        try {
            chords_.push_back({time, ParseChordSymbol(token.text)});
        } catch (const UsageError& error) {
            Complain(token, error.what());
        }
    }

    // Seconds, or minutes:seconds.
    static std::optional<double> ReadTime(const std::string& text) {
        double minutes = 0.0;
        std::string seconds = text;
        if (const auto colon = text.find(':'); colon != std::string::npos) {
            const std::string head = text.substr(0, colon);
            if (head.empty() || !std::all_of(head.begin(), head.end(), ::isdigit)) return std::nullopt;
            minutes = std::atof(head.c_str());
            seconds = text.substr(colon + 1);
        }
        if (seconds.empty() || !(std::isdigit(static_cast<unsigned char>(seconds[0])) || seconds[0] == '.')) {
            return std::nullopt;
        }
        char* end = nullptr;
        const double value = std::strtod(seconds.c_str(), &end);
        if (*end != '\0' || !std::isfinite(value)) return std::nullopt;
        return 60.0 * minutes + value;
    }

    // time chord, or start end chord.
    void ReadTimed(const std::vector<Token>& entry) {
        const auto start = ReadTime(entry[0].text);
        if (!start) {
            if (entries_.size() == 1) {
                Complain(entry[0],
                         "'" + entry[0].text +
                             "' is not a time; write \"0 C, 2.5 Am\", or bars like \"C | Am\" with --bpm");
            }
            Complain(entry[0], "'" + entry[0].text + "' is not a time in seconds, like 12.5");
        }
        std::size_t symbol = 1;
        std::optional<double> end;
        if (entry.size() > 2 && (end = ReadTime(entry[1].text))) symbol = 2;
        if (symbol >= entry.size()) Complain(entry.back(), "there is no chord behind the time");
        if (symbol + 1 < entry.size()) {
            Complain(entry[symbol + 1],
                     "'" + entry[symbol + 1].text + "' is one too many; put each chord on a line");
        }
        Add(*start, entry[symbol]);
    }

    void ReadGrid() {
        const Token first = entries_[0][0];
        if (!(barSeconds_ > 0.0)) Complain(first, "bars need a tempo; add --bpm, like --bpm 96");
        std::vector<std::vector<Token>> bars(1);
        for (const auto& entry : entries_) {
            for (const Token& token : entry) {
                if (token.text == "|") {
                    // A line that ends with a bar line and one that starts with one share it.
                    if (!bars.back().empty()) bars.emplace_back();
                } else {
                    bars.back().push_back(token);
                }
            }
        }
        if (bars.back().empty()) bars.pop_back();

        std::vector<Token> before;
        for (std::size_t b = 0; b < bars.size(); ++b) {
            std::vector<Token> bar = bars[b];
            if (bar.size() == 1 && bar[0].text == "%") {
                if (before.empty()) Complain(bar[0], "'%' repeats the bar before, but there is none");
                bar = before;
            }
            for (std::size_t i = 0; i < bar.size(); ++i) {
                const std::string& text = bar[i].text;
                if (text == "." || text == "-" || text == "/") continue;  // the chord before holds
                Add(barSeconds_ *
                        (static_cast<double>(b) + static_cast<double>(i) / static_cast<double>(bar.size())),
                    bar[i]);
            }
            before = bar;
        }
    }

    std::string source_;
    double barSeconds_;
    std::vector<std::vector<Token>> entries_;
    std::vector<TimedChord> chords_;
};

}  // namespace

CoreTones ReduceChord(const std::vector<int>& intervals) {
    const auto has = [&](int interval) {
        return std::find(intervals.begin(), intervals.end(), interval) != intervals.end();
    };
    const bool minor = has(3) && !has(4);
    const int fifth = has(7) ? 7 : minor && has(6) ? 6 : !minor && has(8) ? 8 : 7;
    const bool diminished = fifth == 6;
    const int seventh = has(11) ? 11 : has(10) ? 10 : diminished && has(9) ? 9 : -1;
    const bool known = fifth == 7 || (diminished && seventh != 11) || seventh < 0;
    return {minor ? 3 : 4, known ? fifth : 7, seventh};
}

ChordCodes CodesOf(const CoreTones& tones) {
    std::vector<int> intervals = {0, tones.third, tones.fifth};
    if (tones.seventh >= 0) intervals.push_back(tones.seventh);
    for (const LibraryChord& chord : LibraryChords()) {
        if (chord.intervals == intervals) return chord.codes;
    }
    return {};
}

std::vector<int> TonesOf(const ChordCodes& codes) {
    for (const LibraryChord& chord : LibraryChords()) {
        if (chord.codes.triad == codes.triad && chord.codes.seventh == codes.seventh) return chord.intervals;
    }
    return {};
}

Chord ParseChordSymbol(const std::string& symbol) {
    if (IsNoChord(symbol)) {
        Chord none;
        none.name = symbol;
        return none;
    }
    if (auto chord = ReadHarte(symbol)) return *chord;
    if (auto chord = ReadLeadSheet(symbol)) return *chord;
    // No chord is as long; a file of something else may be one long word.
    constexpr std::size_t kLongest = 40;
    const std::string shown = symbol.size() > kLongest ? symbol.substr(0, kLongest) + "..." : symbol;
    throw UsageError("cannot read the chord '" + shown + "'; did you mean '" + NearestSymbol(shown) + "'?");
}

std::vector<TimedChord> ParseChordSheet(const std::string& text, const std::string& source, double bpm,
                                        int beatsPerBar) {
    return SheetReader(text, source, bpm, beatsPerBar).Read();
}

int ParseKey(const std::string& text) {
    const auto complain = [&]() -> int {
        throw UsageError("--key: cannot read '" + text + "'; write it like C, F#m or Bb minor");
    };
    std::string name = text;
    if (!name.empty()) name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    std::size_t position = 0;
    const auto root = ReadNoteName(name, position);
    if (!root) return complain();
    std::string mode = name.substr(position);
    std::erase(mode, ' ');
    std::erase(mode, ':');
    if (mode.empty() && name[0] != text[0]) return complain();  // a small letter alone: major or minor?
    if (mode == "" || mode == "M" || mode == "maj" || mode == "major" || mode == "Major" || mode == "dur")
        return *root;
    if (mode == "m" || mode == "min" || mode == "minor" || mode == "Minor" || mode == "moll")
        return *root + 12;
    return complain();
}

}  // namespace mlh::choir
