// The constant tables of this room: their shape, what they promise, and a fingerprint of each.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <vector>

#include "classic/BlockChordTables.h"
#include "classic/ScaleTable.h"
#include "classic/SearchTables.h"
#include "classic/TransitionTables.h"
#include "support/Checksum.h"

namespace mlh {

using namespace ChoiralizerClassic;

namespace {

TEST(ScaleTable, HoldsFourteenScalesOnTheirTonic) {
    const int32_t sizes[] = {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 6, 5, 5, 12};
    ASSERT_EQ(std::size(ScaleTable), std::size(sizes));
    for (int32_t row = 0; row < kScaleRows; ++row) {
        EXPECT_EQ(std::accumulate(ScaleTable[row], ScaleTable[row] + 12, 0), sizes[row]) << row;
        EXPECT_EQ(ScaleTable[row][0], 1) << row;
        EXPECT_TRUE(
            std::all_of(ScaleTable[row], ScaleTable[row] + 12, [](int32_t f) { return f == 0 || f == 1; }));
    }
    EXPECT_EQ(Checksum(ScaleTable), 0x7a70a3a10d626c45ull);
}

TEST(ScaleTable, ModesAreRotationsOfMajor) {
    const int32_t starts[] = {0, 2, 4, 5, 7, 9, 11};
    for (int32_t row = ScaleMajor; row <= ScaleLocrian; ++row) {
        for (int32_t position = 0; position < 12; ++position) {
            EXPECT_EQ(ScaleTable[row][position], ScaleTable[ScaleMajor][(starts[row] + position) % 12])
                << row;
        }
    }
}

TEST(ScaleTable, PentatonicScalesAreCutFromTheirParents) {
    for (int32_t row = 0; row < kScaleRows; ++row) {
        EXPECT_EQ(IsPentatonic(row), row == ScaleMajorPentatonic || row == ScaleMinorPentatonic);
        for (int32_t position = 0; position < 12; ++position) {
            EXPECT_LE(ScaleTable[row][position], ScaleTable[ParentRow(row)][position]);
        }
    }
    EXPECT_EQ(ParentRow(ScaleMajorPentatonic), ScaleMajor);
    EXPECT_EQ(ParentRow(ScaleMinorPentatonic), ScaleMinor);
}

TEST(SearchTables, HoldTheirFactors) {
    EXPECT_EQ(Checksum(kDoubling), 0x66cc6f752d096c6full);
    EXPECT_EQ(Checksum(kBass), 0xad8dbe6107454c81ull);
    EXPECT_EQ(Checksum(kInterval), 0xd7f718b6de8c64c1ull);
    EXPECT_EQ(Checksum(kParallel), 0x2a3afda9c6f412b4ull);
    EXPECT_EQ(kParallel[0], 1.0f);
}

TEST(TransitionTables, HoldTheirWeights) {
    EXPECT_EQ(Checksum(kOpeningWeight), 0x0fa7d0dd5e08710full);
    EXPECT_EQ(Checksum(kGeneralWeight), 0x9278ae9106a632dcull);
    EXPECT_EQ(Checksum(kTransition), 0x37a4f58c02fde4e7ull);
}

TEST(TransitionTables, StayingOnAChordIsCheapest) {
    for (const auto& table : kTransition) {
        for (int32_t from = 0; from < 7; ++from) {
            for (int32_t to = 0; to < 7; ++to) {
                EXPECT_GT(table[from][to], 0.0f);
                EXPECT_EQ(table[from][to] == 0.9090909f, from == to);
                EXPECT_LE(table[from][to], 0.9090909f);
            }
        }
    }
}

TEST(BlockChordTables, HoldTheirDistances) {
    std::vector<int8_t> bytes;
    const auto add = [&bytes](const BlockChord& chord) {
        for (const auto& spacing : chord.voices) {
            for (const BlockVoice& voice : spacing) {
                bytes.push_back(voice.steps);
                bytes.push_back(voice.semitones);
            }
        }
    };
    for (const PlainChord& entry : kPlainChords) {
        bytes.push_back(static_cast<int8_t>(entry.degree));
        add(entry.chord);
    }
    add(kDiminishedChord);
    for (const PassingChord& entry : kPassingChords) {
        bytes.push_back(static_cast<int8_t>(entry.degree));
        bytes.push_back(static_cast<int8_t>(entry.nextDegree));
        add(*entry.chord);
    }
    int8_t flat[254];
    ASSERT_EQ(bytes.size(), std::size(flat));
    std::copy(bytes.begin(), bytes.end(), flat);
    EXPECT_EQ(Checksum(flat), 0x32a7285003f17ef8ull);
    EXPECT_EQ(Checksum(kRandomStacks), 0x8dd4d79a34089733ull);
}

TEST(BlockChordTables, RandomStacksDescend) {
    for (const auto& style : kRandomStacks) {
        for (const auto& stack : style) {
            EXPECT_LT(0, stack[0]);
            EXPECT_LT(stack[0], stack[1]);
            EXPECT_LT(stack[1], stack[2]);
        }
    }
}

}  // namespace

}  // namespace mlh
