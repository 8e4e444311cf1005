#include "harmony/FunctionTables.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "support/Checksum.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

struct Row {
    int32_t set, function;
    const ChordFunctionEntry* entry;
};

std::vector<Row> AllRows() {
    std::vector<Row> rows;
    for (int32_t set = 0; set < 2; ++set) {
        for (int32_t function = 0; function < kFunctionCount; ++function) {
            const FunctionChordList& list = FunctionChordTable[set][function];
            for (int32_t i = 0; i < list.count; ++i) {
                rows.push_back({set, function, &list.entries[i]});
            }
        }
    }
    return rows;
}

std::set<int32_t> ToneSet(const int32_t* tones) { return {tones, tones + 4}; }

std::set<int32_t> ToneSet(int32_t root, int32_t type) {
    std::set<int32_t> tones;
    for (int32_t tone : ChordToneTable[type]) {
        tones.insert((root + tone) % 12);
    }
    return tones;
}

bool IsDiminishedSeventh(const ChordFunctionEntry& entry) { return entry.chordType == ChordDiminished7; }

TEST(FunctionChordTable, ListsHaveTheirLengths) {
    const int32_t counts[2][kFunctionCount] = {{1, 4, 6, 8, 2}, {1, 5, 7, 9, 2}};
    for (int32_t set = 0; set < 2; ++set) {
        for (int32_t function = 0; function < kFunctionCount; ++function) {
            EXPECT_EQ(FunctionChordTable[set][function].count, counts[set][function])
                << set << " " << function;
        }
    }
}

TEST(FunctionChordTable, IsAsSetDown) {
    std::vector<float> values;
    std::string names;
    for (const Row& row : AllRows()) {
        values.insert(values.end(), row.entry->tones, row.entry->tones + 4);
        values.push_back(static_cast<float>(row.entry->bassIndex));
        values.push_back(row.entry->weight);
        values.push_back(static_cast<float>(row.entry->chordType));
        names += row.entry->name;
    }
    float table[45 * 7];
    ASSERT_EQ(values.size(), std::size(table));
    std::copy(values.begin(), values.end(), table);
    EXPECT_EQ(Checksum(table), 17060268744446094836u);
    char text[1186];
    ASSERT_EQ(names.size(), std::size(text));
    std::copy(names.begin(), names.end(), text);
    EXPECT_EQ(Checksum(text), 9209400597935779241u);
}

TEST(FunctionChordTable, NoChordIsTheSameInBothSets) {
    for (const auto& set : FunctionChordTable) {
        const ChordFunctionEntry& entry = set[FunctionNone].entries[0];
        EXPECT_STREQ(entry.name, "No Chord");
        EXPECT_EQ(ToneSet(entry.tones), std::set<int32_t>{-1});
        EXPECT_EQ(entry.bassIndex, -1);
        EXPECT_EQ(entry.chordType, ChordUnknownTriad);
        EXPECT_EQ(entry.weight, 1e-10f);
        EXPECT_EQ(entry.tones[entry.bassIndex], -1);
    }
}

TEST(FunctionChordTable, TonesAndIndicesAreInRange) {
    for (const Row& row : AllRows()) {
        const ChordFunctionEntry& entry = *row.entry;
        EXPECT_GT(entry.weight, 0.0f) << entry.name;
        EXPECT_GE(entry.bassIndex, -1) << entry.name;
        EXPECT_LE(entry.bassIndex, 3) << entry.name;
        EXPECT_EQ(entry.bassIndex == -1, row.function == FunctionNone || IsDiminishedSeventh(entry))
            << entry.name;
        for (int32_t k = 0; k < 4 && row.function != FunctionNone; ++k) {
            EXPECT_GE(entry.tones[k], 0) << entry.name;
            EXPECT_LT(entry.tones[k], 12) << entry.name;
        }
        EXPECT_LT(entry.chordType, kChordTypeCount) << entry.name;
    }
}

TEST(FunctionChordTable, TriadsRepeatTheirFirstTone) {
    for (const Row& row : AllRows()) {
        const ChordFunctionEntry& entry = *row.entry;
        if (row.function == FunctionNone) {
            continue;
        }
        EXPECT_EQ(entry.tones[3] == entry.tones[0], entry.chordType < ChordMajor7) << entry.name;
        EXPECT_EQ(ToneSet(entry.tones).size(), entry.chordType < ChordMajor7 ? 3u : 4u) << entry.name;
    }
}

TEST(FunctionChordTable, TonesMakeAChordOfTheType) {
    for (const Row& row : AllRows()) {
        const ChordFunctionEntry& entry = *row.entry;
        if (row.function == FunctionNone) {
            continue;
        }
        // The minor six-four has its own third.
        const bool minorSixFour = entry.chordType == ChordSixFour && row.set == 1;
        const int32_t type = minorSixFour ? int32_t{ChordMinor} : entry.chordType;
        int32_t roots = 0;
        for (int32_t root = 0; root < 12; ++root) {
            roots += ToneSet(entry.tones) == ToneSet(root, type) ? 1 : 0;
        }
        EXPECT_EQ(roots, IsDiminishedSeventh(entry) ? 4 : 1) << entry.name;
    }
}

TEST(FunctionChordTable, TheBassIsTheRootUnlessTheTypeIsAnInversion) {
    for (const Row& row : AllRows()) {
        const ChordFunctionEntry& entry = *row.entry;
        if (entry.bassIndex == -1) {
            continue;
        }
        const int32_t bass = entry.tones[entry.bassIndex];
        const std::string name = entry.name;
        if (entry.chordType == ChordSixFour) {
            EXPECT_EQ(bass, 7) << name;  // fifth of the tonic
        } else if (entry.chordType == ChordSixth) {
            EXPECT_EQ(ToneSet(entry.tones), ToneSet((bass + 8) % 12, ChordMajor)) << name;  // its third
        } else if (name == "Minor: Second Degree Seventh") {
            EXPECT_EQ(bass, 0) << name;  // stands on its seventh
        } else {
            EXPECT_EQ(ToneSet(entry.tones), ToneSet(bass, entry.chordType)) << name;
        }
    }
}

TEST(FunctionChordTable, DiminishedRowsHaveAValueInFrontOfTheirTones) {
    for (const Row& row : AllRows()) {
        if (!IsDiminishedSeventh(*row.entry)) {
            continue;
        }
        const std::string name = row.entry->name;
        const int32_t front = name == "Seventh Degree Diminished" ? 2
                              : name == "Third Degree Diminished" ? 11
                                                                  : 10;
        EXPECT_EQ(row.entry->tones[-1], front) << name;
    }
}

TEST(FunctionChordTable, NoChordStandsTwiceInAList) {
    for (const auto& set : FunctionChordTable) {
        for (const FunctionChordList& list : set) {
            std::set<std::pair<std::set<int32_t>, int32_t>> chords;
            std::set<std::string> names;
            for (int32_t i = 0; i < list.count; ++i) {
                chords.insert({ToneSet(list.entries[i].tones), list.entries[i].chordType});
                names.insert(list.entries[i].name);
            }
            EXPECT_EQ(static_cast<int32_t>(chords.size()), list.count);
            EXPECT_EQ(static_cast<int32_t>(names.size()), list.count);
        }
    }
}

TEST(FunctionChordTable, NamesTellTheMode) {
    for (const Row& row : AllRows()) {
        const std::string name = row.entry->name;
        if (row.function == FunctionNone || IsDiminishedSeventh(*row.entry)) {
            continue;
        }
        EXPECT_EQ(name.rfind(row.set == 0 ? "Major: " : "Minor: ", 0), 0u) << name;
    }
}

TEST(DegreeFunctionTable, IsAsSetDown) { EXPECT_EQ(Checksum(DegreeFunctionTable), 11633583395678826949u); }

TEST(DegreeFunctionTable, BothHalvesAreTheSame) {
    for (int32_t i = 0; i < 21; ++i) {
        EXPECT_EQ(DegreeFunctionTable[i], DegreeFunctionTable[21 + i]) << i;
    }
}

TEST(DegreeFunctionTable, EveryDegreeHasAFunctionOfItsOwn) {
    for (int32_t function : DegreeFunctionTable) {
        EXPECT_GE(function, FunctionTonic);
        EXPECT_LE(function, FunctionDominant);
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
