#include "choir/chords/ChordText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "choir/Errors.h"

namespace mlh::choir {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<int> Intervals(const std::string& symbol) { return ParseChordSymbol(symbol).intervals; }

std::string Complaint(const std::string& text, double bpm = 0.0) {
    try {
        ParseChordSheet(text, "--chords", bpm, 4);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no complaint";
}

struct Found {
    double time;
    std::string name;
    bool operator==(const Found&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Found& f) { return out << f.time << " " << f.name; }

std::vector<Found> Read(const std::string& text, double bpm = 0.0, int beats = 4) {
    std::vector<Found> found;
    for (const TimedChord& chord : ParseChordSheet(text, "test", bpm, beats))
        found.push_back({chord.time, chord.chord.name});
    return found;
}

// The nearest spelling of a word of megabytes would be looked for for minutes.
TEST(ChordSymbol, ALongWordIsComplainedOfBriefly) {
    const std::string complaint = Complaint("0 C" + std::string(3000000, 'x'));
    EXPECT_THAT(complaint, HasSubstr("cannot read the chord 'Cxxx"));
    EXPECT_LT(complaint.size(), 200u);
}

TEST(ChordSymbol, LeadSheetSymbolsHaveTheirTones) {
    EXPECT_THAT(Intervals("C"), ElementsAre(0, 4, 7));
    EXPECT_THAT(Intervals("Am7"), ElementsAre(0, 3, 7, 10));
    EXPECT_THAT(Intervals("F#dim"), ElementsAre(0, 3, 6));
    EXPECT_THAT(Intervals("Bbmaj7"), ElementsAre(0, 4, 7, 11));
    EXPECT_THAT(Intervals("G7"), ElementsAre(0, 4, 7, 10));
    EXPECT_THAT(Intervals("Csus4"), ElementsAre(0, 5, 7));
    EXPECT_THAT(Intervals("Bm7b5"), ElementsAre(0, 3, 6, 10));
    EXPECT_THAT(Intervals("E-7"), ElementsAre(0, 3, 7, 10));
    EXPECT_THAT(Intervals("Am(maj7)"), ElementsAre(0, 3, 7, 11));
}

TEST(ChordSymbol, RootsMayCarryAnyAccidentals) {
    EXPECT_EQ(ParseChordSymbol("F#").root, 6);
    EXPECT_EQ(ParseChordSymbol("Gb").root, 6);
    EXPECT_EQ(ParseChordSymbol("Cb").root, 11);
    EXPECT_EQ(ParseChordSymbol("B#").root, 0);
    EXPECT_EQ(ParseChordSymbol("Fbb").root, 3);
    EXPECT_EQ(ParseChordSymbol("E\u266Dm").root, 3);
}

TEST(ChordSymbol, SlashBassIsKept) {
    EXPECT_EQ(ParseChordSymbol("Am/C").bass, 0);
    EXPECT_EQ(ParseChordSymbol("Am/C").root, 9);
    EXPECT_EQ(ParseChordSymbol("D7/F#").bass, 6);
    EXPECT_THAT(Intervals("C6/9"), ElementsAre(0, 2, 4, 7, 9));
    EXPECT_EQ(ParseChordSymbol("C6/9").bass, -1);
}

TEST(ChordSymbol, HarteLabelsAreRead) {
    EXPECT_THAT(Intervals("C:maj"), ElementsAre(0, 4, 7));
    EXPECT_THAT(Intervals("A:min7"), ElementsAre(0, 3, 7, 10));
    EXPECT_THAT(Intervals("F#:hdim7"), ElementsAre(0, 3, 6, 10));
    EXPECT_THAT(Intervals("D:sus4(b7,9)"), ElementsAre(0, 5, 7));
    EXPECT_THAT(Intervals("D:(1,3,5)"), ElementsAre(0, 4, 7));
    EXPECT_EQ(ParseChordSymbol("C:maj/3").bass, 4);
    EXPECT_EQ(ParseChordSymbol("G:7/b7").bass, 5);
}

TEST(ChordSymbol, NoChordHasNoRoot) {
    for (const char* none : {"N", "N.C.", "NC", "X"}) EXPECT_EQ(ParseChordSymbol(none).root, -1) << none;
}

TEST(ChordSymbol, AnErrorSuggestsTheNearestSpelling) {
    const auto suggestion = [](const std::string& symbol) {
        try {
            ParseChordSymbol(symbol);
        } catch (const UsageError& error) {
            return std::string(error.what());
        }
        return std::string("none");
    };
    EXPECT_THAT(suggestion("Amn7"), HasSubstr("did you mean 'Am7'?"));
    EXPECT_THAT(suggestion("am"), HasSubstr("did you mean 'Am'?"));
    EXPECT_THAT(suggestion("Cmajj7"), HasSubstr("did you mean 'Cmaj7'?"));
    EXPECT_THAT(suggestion("C:minn7"), HasSubstr("did you mean 'C:min7'?"));
    EXPECT_THAT(suggestion("H7"), HasSubstr("'H7'"));
}

TEST(ChordSheet, TimedLinesTakeSecondsOrMinutes) {
    EXPECT_THAT(Read("0 C\n12.5 Am\n1:02.5 F\n"),
                ElementsAre(Found{0, "C"}, Found{12.5, "Am"}, Found{62.5, "F"}));
    EXPECT_THAT(Read("0 C, 2.5 Am; 5 F"), ElementsAre(Found{0, "C"}, Found{2.5, "Am"}, Found{5, "F"}));
}

TEST(ChordSheet, LabelsWithStartAndEndAreRead) {
    EXPECT_THAT(Read("0.0 1.5 C:maj\n1.5 3.0 N\n"), ElementsAre(Found{0, "C:maj"}, Found{1.5, "N"}));
    EXPECT_THAT(Read("0.000000\t2.500000\tC\n\\\t100\t200\n2.5\t5\tG7\n"),
                ElementsAre(Found{0, "C"}, Found{2.5, "G7"}));
}

TEST(ChordSheet, LinesAreSortedByTimeAndCommentsSkipped) {
    EXPECT_THAT(Read("# a song\n5 G\n\n0 C\r\n"), ElementsAre(Found{0, "C"}, Found{5, "G"}));
}

TEST(ChordSheet, OneChordAloneHoldsFromTheStart) { EXPECT_THAT(Read("Am7"), ElementsAre(Found{0, "Am7"})); }

TEST(ChordSheet, BarsShareTheirTimeEvenly) {
    EXPECT_THAT(Read("C | Am F | G", 120),
                ElementsAre(Found{0, "C"}, Found{2, "Am"}, Found{3, "F"}, Found{4, "G"}));
    EXPECT_THAT(Read("| C | Am F |\n| G . . F |", 120),
                ElementsAre(Found{0, "C"}, Found{2, "Am"}, Found{3, "F"}, Found{4, "G"}, Found{5.5, "F"}));
    EXPECT_THAT(Read("C | % | G | |", 120, 3), ElementsAre(Found{0, "C"}, Found{1.5, "C"}, Found{3, "G"}));
}

TEST(ChordSheet, ErrorsNameLineColumnAndWhatWasRead) {
    EXPECT_THAT(Complaint("0 C\n2.5 Hm\n"),
                AllOf(HasSubstr("--chords, line 2, column 5"), HasSubstr("'Hm'"), HasSubstr("did you mean")));
    EXPECT_THAT(Complaint("C | Am"), HasSubstr("--bpm"));
    EXPECT_THAT(Complaint("C | Xy", 96), HasSubstr("line 1, column 5"));
    EXPECT_THAT(Complaint("% | C", 96), HasSubstr("line 1, column 1"));
    EXPECT_THAT(Complaint("0 C\nfoo Am"), AllOf(HasSubstr("line 2, column 1"), HasSubstr("'foo'")));
    EXPECT_THAT(Complaint("0 C\n3"), HasSubstr("line 2"));
    EXPECT_THAT(Complaint("0 1 C D"), HasSubstr("'D'"));
    EXPECT_THAT(Complaint("C Am F"), HasSubstr("bars"));
    EXPECT_THAT(Complaint(""), HasSubstr("no chord"));
    EXPECT_THAT(Complaint("inf C"), HasSubstr("'inf'"));
}

TEST(Key, UsualSpellingsAreRead) {
    EXPECT_EQ(ParseKey("C"), 0);
    EXPECT_EQ(ParseKey("F#m"), 18);
    EXPECT_EQ(ParseKey("Bb minor"), 22);
    EXPECT_EQ(ParseKey("c# minor"), 13);
    EXPECT_EQ(ParseKey("Ebmaj"), 3);
    EXPECT_EQ(ParseKey("A major"), 9);
    EXPECT_EQ(ParseKey("am"), 21);
    for (const char* bad : {"", "H", "c", "C dorian", "C#x"}) EXPECT_THROW(ParseKey(bad), UsageError) << bad;
}

}  // namespace

}  // namespace mlh::choir
