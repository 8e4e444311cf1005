#include "choir/chords/HarmonyElement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "theory/ChordTypes.h"

namespace mlh::choir {

namespace {

using testing::HasSubstr;
using Change = HarmonyDegree::Change;

std::string Name(const HarmonyElement& element) { return ReadHarmonyElement(element).name; }

TEST(HarmonyElement, KindsAreReadWithRootAndBass) {
    EXPECT_EQ(Name({'C', 0, "major", "", {}, '\0', 0}), "C");
    EXPECT_EQ(Name({'B', -1, "minor-seventh", "", {}, '\0', 0}), "Bbm7");
    EXPECT_EQ(Name({'D', 0, "dominant", "", {}, 'F', 1}), "D7/F#");
    EXPECT_EQ(Name({'C', 0, "major", "", {}, 'C', 0}), "C");
    EXPECT_EQ(Name({'F', 1, "half-diminished", "", {}, '\0', 0}), "F#m7b5");
    EXPECT_EQ(Name({'C', 0, "dominant-13th", "", {}, '\0', 0}), "C13");
    EXPECT_EQ(Name({'C', 0, "pedal", "", {}, '\0', 0}), "C:(1)");
    EXPECT_EQ(ReadHarmonyElement({'C', 0, "none", "", {}, '\0', 0}).root, -1);
}

TEST(HarmonyElement, KindsAreWrittenAsTheyAreRead) {
    for (const theory::ChordType& type : theory::kChordTypes) {
        std::vector<int> intervals;
        for (int i = 0; i < type.count; ++i) {
            intervals.push_back(type.tones[i].semitones);
        }
        const std::string kind = HarmonyKindOf(intervals);
        EXPECT_EQ(kind, *type.kind == '\0' ? "other" : type.kind);
        if (kind == "other") {
            continue;
        }
        EXPECT_EQ(ReadHarmonyElement({'C', 0, kind, "", {}, '\0', 0}).intervals, intervals) << kind;
    }
    EXPECT_STREQ(HarmonyKindOf({0, 1}), "other");
}

TEST(HarmonyElement, DegreesAreAddedAlteredAndLeftOut) {
    EXPECT_EQ(Name({'C', 0, "dominant", "", {{9, -1, Change::Add}}, '\0', 0}), "C7b9");
    EXPECT_EQ(Name({'C', 0, "dominant", "", {{5, 1, Change::Alter}}, '\0', 0}), "C7#5");
    EXPECT_EQ(Name({'C', 0, "dominant-ninth", "", {{9, -1, Change::Alter}}, '\0', 0}), "C7b9");
    EXPECT_EQ(Name({'C', 0, "dominant", "", {{5, 0, Change::Subtract}}, '\0', 0}), "C7(no5)");
    EXPECT_EQ(Name({'C', 0, "major", "", {{9, 0, Change::Add}}, '\0', 0}), "Cadd9");
    // Added sevenths are minor unless altered.
    EXPECT_EQ(Name({'C', 0, "suspended-fourth", "", {{7, 0, Change::Add}}, '\0', 0}), "C7sus4");
    EXPECT_EQ(Name({'C', 0, "minor", "", {{7, 1, Change::Add}}, '\0', 0}), "CmMaj7");
}

TEST(HarmonyElement, OtherKindsGoByTheirDegreesElseByTheirText) {
    EXPECT_EQ(Name({'C', 0, "other", "", {{4, 1, Change::Add}, {5, 0, Change::Add}}, '\0', 0}), "C5(add#4)");
    EXPECT_EQ(Name({'E', -1, "other", "7alt", {}, '\0', 0}), "Eb7alt");
}

TEST(HarmonyElement, WhatNamesNoTonesIsRefused) {
    for (const HarmonyElement& bad :
         std::vector<HarmonyElement>{{'C', 0, "French", "", {}, '\0', 0},
                                     {'C', 0, "", "", {}, '\0', 0},
                                     {'H', 0, "major", "", {}, '\0', 0},
                                     {'C', 9, "major", "", {}, '\0', 0},
                                     {'C', 0, "major", "", {}, 'x', 0},
                                     {'C', 0, "other", "qq", {}, '\0', 0},
                                     {'C', 0, "major", "", {{99, 0, Change::Add}}, '\0', 0},
                                     {'C', 0, "pedal", "", {{1, 0, Change::Subtract}}, '\0', 0}}) {
        EXPECT_THROW(ReadHarmonyElement(bad), ChordTextError) << bad.kind;
    }
    try {
        ReadHarmonyElement({'C', 0, "French", "", {}, '\0', 0});
    } catch (const ChordTextError& error) {
        EXPECT_THAT(error.what(), HasSubstr("'French'"));
    }
}

}  // namespace

}  // namespace mlh::choir
