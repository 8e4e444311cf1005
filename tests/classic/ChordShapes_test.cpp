#include "classic/ChordShapes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "classic/Choiralizer.h"

namespace mlh {

using namespace ChoiralizerClassic;
using testing::ElementsAre;

namespace {

using Notes = std::vector<int64_t>;

Notes Stacked(Notes notes) {
    StackInThirds(notes.data(), static_cast<int32_t>(notes.size()));
    return notes;
}

TEST(StackInThirds, LeavesThirdsWhereTheyAre) {
    EXPECT_THAT(Stacked({67, 60, 64}), ElementsAre(60, 64, 67));
    EXPECT_THAT(Stacked({60, 63, 66, 69}), ElementsAre(60, 63, 66, 69));
}

TEST(StackInThirds, LowersWhatLiesAboveAGap) {
    EXPECT_THAT(Stacked({60, 65, 69}), ElementsAre(53, 57, 60));          // F over C
    EXPECT_THAT(Stacked({60, 64, 69}), ElementsAre(57, 60, 64));          // A over C
    EXPECT_THAT(Stacked({65, 67, 71, 74}), ElementsAre(55, 59, 62, 65));  // G7 over F
}

TEST(StackInThirds, GoesRoundOncePerNoteAndNoMore) {
    // A cluster never comes to lie in thirds; each round sends what is above the lowest an octave down.
    EXPECT_THAT(Stacked({60, 61, 62}), ElementsAre(36, 37, 38));
    EXPECT_THAT(Stacked({60, 62, 67}), ElementsAre(36, 38, 43));
}

TEST(StackInThirds, MovesNotesByOctavesAloneAndSortsThem) {
    std::mt19937 random(17);
    for (int round = 0; round < 2000; ++round) {
        Notes notes(3 + random() % 2);
        for (int64_t& note : notes) {
            note = static_cast<int64_t>(random() % 60) - 20;
        }
        const Notes stack = Stacked(notes);
        ASSERT_TRUE(std::is_sorted(stack.begin(), stack.end()));
        std::multiset<int32_t> before, after;
        for (int64_t note : notes) {
            before.insert(PitchClass(note));
        }
        for (int64_t note : stack) {
            after.insert(PitchClass(note));
        }
        ASSERT_EQ(before, after);
    }
}

TEST(StackTypes, KnowTheirShapesOnAnyRoot) {
    const struct {
        int64_t third, fifth;
        int32_t type;
    } triads[] = {{4, 7, 0}, {3, 7, 1}, {3, 6, 2}, {4, 8, 3}, {2, 6, 4}, {5, 7, 4},
                  {3, 8, 4}, {4, 6, 4}, {1, 2, 5}, {3, 5, 5}, {4, 9, 5}};
    const struct {
        int64_t third, fifth, seventh;
        int32_t type;
    } sevenths[] = {{4, 7, 11, 6},  {3, 7, 10, 7},  {4, 7, 10, 8},  {3, 6, 10, 9}, {3, 6, 9, 10},
                    {3, 7, 11, 11}, {4, 8, 11, 12}, {4, 7, 12, 12}, {3, 6, 11, 12}};
    for (int64_t root : {-40, 0, 7, 60}) {
        for (const auto& t : triads) {
            const int64_t stack[3] = {root, root + t.third, root + t.fifth};
            EXPECT_EQ(TriadTypeOf(stack), t.type) << t.third << ' ' << t.fifth;
        }
        for (const auto& s : sevenths) {
            const int64_t stack[4] = {root, root + s.third, root + s.fifth, root + s.seventh};
            EXPECT_EQ(SeventhTypeOf(stack), s.type) << s.third << ' ' << s.fifth << ' ' << s.seventh;
        }
    }
}

TEST(StackTypes, AreNotTakenInByDistancesThatWrap) {
    constexpr int64_t kWrap = int64_t{1} << 32;
    const int64_t triad[3] = {0, 4 + kWrap, 7 + kWrap};
    EXPECT_EQ(TriadTypeOf(triad), TriadNone);
    const int64_t seventh[4] = {0, 4, 7, 11 + kWrap};
    EXPECT_EQ(SeventhTypeOf(seventh), SeventhOther);
}

}  // namespace

}  // namespace mlh
