#include "choir/chords/ChordText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mlh::choir {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

struct Found {
    double time;
    std::string name;
    bool operator==(const Found&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Found& f) { return out << f.time << " " << f.name; }

std::vector<Found> Read(const std::string& text, double bpm = 0.0, int beats = 4, int key = -1) {
    std::vector<Found> found;
    for (const TimedChord& chord : ReadChordSheet(text, "test", {bpm, beats, key}).chords) {
        found.push_back({chord.time, chord.chord.name});
    }
    return found;
}

ChordTextError Refusal(const std::string& text, double bpm = 0.0, int key = -1) {
    try {
        ReadChordSheet(text, "--chords", {bpm, 4, key});
    } catch (const ChordTextError& error) {
        return error;
    }
    return {"no complaint", ChordTextFault::Unreadable, 0, 0};
}

std::string Complaint(const std::string& text, double bpm = 0.0) { return Refusal(text, bpm).what(); }

TEST(ChordSheet, TimedLinesTakeSecondsOrMinutes) {
    EXPECT_THAT(Read("0 C\n12.5 Am\n1:02.5 F\n"),
                ElementsAre(Found{0, "C"}, Found{12.5, "Am"}, Found{62.5, "F"}));
    EXPECT_THAT(Read("0 C, 2.5 Am; 5 F"), ElementsAre(Found{0, "C"}, Found{2.5, "Am"}, Found{5, "F"}));
}

TEST(ChordSheet, LabelsWithStartAndEndAreRead) {
    EXPECT_THAT(Read("0.0 1.5 C:maj\n1.5 3.0 N\n"), ElementsAre(Found{0, "C"}, Found{1.5, "N.C."}));
    EXPECT_THAT(Read("0.000000\t2.500000\tC\n\\\t100\t200\n2.5\t5\tG7\n"),
                ElementsAre(Found{0, "C"}, Found{2.5, "G7"}));
    EXPECT_THAT(Read("0 1 D:sus4(b7,9)\n1 2 A:min/b3"), ElementsAre(Found{0, "D9sus4"}, Found{1, "Am/C"}));
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
    EXPECT_THAT(Read("| C / Am / | F G |", 60),
                ElementsAre(Found{0, "C"}, Found{2, "Am"}, Found{4, "F"}, Found{6, "G"}));
}

TEST(ChordSheet, SlashesWithoutBarsAreBeats) {
    EXPECT_THAT(Read("C / Am / F G", 60),
                ElementsAre(Found{0, "C"}, Found{2, "Am"}, Found{4, "F"}, Found{5, "G"}));
    EXPECT_THAT(Read("C / / /\nG/B / Am /", 120),
                ElementsAre(Found{0, "C"}, Found{2, "G/B"}, Found{3, "Am"}));
    EXPECT_EQ(Refusal("C / Am / F G").fault, ChordTextFault::NeedsTempo);
}

TEST(ChordSheet, ChordsInWordsHoldForABarEach) {
    EXPECT_THAT(Read("[C]Sing [G]along\nno chord here\n[Am7]now", 60),
                ElementsAre(Found{0, "C"}, Found{4, "G"}, Found{8, "Am7"}));
    EXPECT_THAT(Read("{title: A song}\n{tempo: 120}\n{time: 3/4}\n# c\n[*softly][C]la [ F ]la"),
                ElementsAre(Found{0, "C"}, Found{1.5, "F"}));
    EXPECT_THAT(Read("{key: G}\n{tempo: 60}\n[I]la [V7]la"), ElementsAre(Found{0, "G"}, Found{4, "D7"}));
    EXPECT_THAT(Read("{sot}\n[C]--0--\n{eot}\n[D]la", 60), ElementsAre(Found{0, "D"}));
    EXPECT_THAT(Read("{capo: 2}\n[C]la [G/B]la", 60), ElementsAre(Found{0, "D"}, Found{4, "A/C#"}));
}

TEST(ChordSheet, RefusedWordsSayWhere) {
    EXPECT_EQ(Refusal("[C]Sing [G]along").fault, ChordTextFault::NeedsTempo);
    EXPECT_THAT(Complaint("[C]Sing\n[Gqq]along", 60), HasSubstr("line 2, column 3"));
    EXPECT_THAT(Complaint("[C]Sing [G", 60), HasSubstr("line 1, column 9"));
    EXPECT_THAT(Complaint("{capo: x}\n[C]la", 60), HasSubstr("{capo: 2}"));
    EXPECT_THAT(Complaint("{title: x}\nla", 60), HasSubstr("no chord"));
}

TEST(ChordSheet, DegreesAreReadInAKey) {
    EXPECT_THAT(Read("I | IV V7 | vi | ii7 bVII", 60, 4, 0),
                ElementsAre(Found{0, "C"}, Found{4, "F"}, Found{6, "G7"}, Found{8, "Am"}, Found{12, "Dm7"},
                            Found{14, "Bb"}));
    const ChordTextError refusal = Refusal("0 C, 2 IV");
    EXPECT_EQ(refusal.fault, ChordTextFault::NeedsKey);
    EXPECT_EQ(refusal.column, 8);
    EXPECT_THAT(refusal.what(), HasSubstr("needs a key"));
}

TEST(ChordSheet, RemarksAreMadeOnceWithTheirPlace) {
    const auto remarks = ReadChordSheet("0 C\n1 Hm\n2 H7\n3 Do", "test").remarks;
    ASSERT_EQ(remarks.size(), 2u);
    EXPECT_EQ(remarks[0].line, 2);
    EXPECT_EQ(remarks[0].column, 3);
    EXPECT_THAT(remarks[0].text, HasSubstr("H is read as B"));
    EXPECT_THAT(remarks[1].text, HasSubstr("Do is read as C"));
}

TEST(ChordSheet, ErrorsNameLineColumnAndWhatWasRead) {
    EXPECT_THAT(Complaint("0 C\n2.5 Qm\n"),
                AllOf(HasSubstr("--chords, line 2, column 5"), HasSubstr("'Qm'"), HasSubstr("did you mean")));
    EXPECT_THAT(Complaint("C | Xy", 96), HasSubstr("line 1, column 5"));
    EXPECT_THAT(Complaint("% | C", 96), HasSubstr("line 1, column 1"));
    EXPECT_THAT(Complaint("0 C\nfoo Am"), AllOf(HasSubstr("line 2, column 1"), HasSubstr("'foo'")));
    EXPECT_THAT(Complaint("0 C\n3"), HasSubstr("line 2"));
    EXPECT_THAT(Complaint("0 1 C D"), HasSubstr("'D'"));
    EXPECT_THAT(Complaint("C Am F"), HasSubstr("bars"));
    EXPECT_THAT(Complaint(""), HasSubstr("no chord"));
    EXPECT_THAT(Complaint("inf C"), HasSubstr("'inf'"));
    EXPECT_THAT(Complaint("|: C | F :|", 60), HasSubstr("write the bars out"));
    EXPECT_THAT(Complaint("0 C\u266Dqq"), HasSubstr("column 5"));  // in characters
    EXPECT_EQ(Refusal("C | Am").fault, ChordTextFault::NeedsTempo);
}

// The nearest spelling of a word of megabytes would be looked for for minutes.
TEST(ChordSheet, ALongWordIsComplainedOfBriefly) {
    const std::string complaint = Complaint("0 C" + std::string(3000000, 'x'));
    EXPECT_THAT(complaint, HasSubstr("cannot read the chord 'Cxxx"));
    EXPECT_LT(complaint.size(), 200u);
}

TEST(Key, UsualSpellingsAreRead) {
    EXPECT_EQ(ReadKey("C"), 0);
    EXPECT_EQ(ReadKey("F#m"), 18);
    EXPECT_EQ(ReadKey("Bb minor"), 22);
    EXPECT_EQ(ReadKey("c# minor"), 13);
    EXPECT_EQ(ReadKey("Ebmaj"), 3);
    EXPECT_EQ(ReadKey("A major"), 9);
    EXPECT_EQ(ReadKey("am"), 21);
    for (const char* bad : {"", "H", "c", "C dorian", "C#x"}) {
        EXPECT_EQ(ReadKey(bad), -1) << bad;
    }
}

}  // namespace

}  // namespace mlh::choir
