#include "api/Vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace mlh {

namespace {

struct Dispose {
    void operator()(PitchVector* v) const { mlhDisposePitchVector(v); }
    void operator()(ChordVector* v) const { mlhDisposeChordVector(v); }
};
using Pitches = std::unique_ptr<PitchVector, Dispose>;
using Chords = std::unique_ptr<ChordVector, Dispose>;

Pitches Make(const std::vector<PitchItem>& items) {
    Pitches vector(mlhGetNewPitchVector());
    for (const PitchItem& item : items) {
        mlhPitchVectorAddItem(vector.get(), item);
    }
    return vector;
}

void ExpectItem(const PitchItem& item, float start, float pitch, float duration, float level) {
    EXPECT_EQ(item.start, start);
    EXPECT_EQ(item.pitch, pitch);
    EXPECT_EQ(item.duration, duration);
    EXPECT_EQ(item.level, level);
}

TEST(PitchVector, NewVectorIsEmpty) {
    Pitches vector(mlhGetNewPitchVector());
    EXPECT_EQ(mlhPitchVectorGetTotal(vector.get()), 0);
}

TEST(PitchVector, NullAnswersNeutralValues) {
    EXPECT_EQ(mlhPitchVectorGetTotal(nullptr), -1);
    ExpectItem(mlhPitchVectorGetItem(nullptr, 0), 0, 0, 0, 0);
    EXPECT_FALSE(mlhPitchVectorSetItem(nullptr, 0, {}));
    EXPECT_FALSE(mlhPitchVectorAddItem(nullptr, {}));
    EXPECT_FALSE(mlhDisposePitchVector(nullptr));
    EXPECT_EQ(mlhPitchVectorAdjust(nullptr, 1, 1), nullptr);
}

TEST(PitchVector, DisposeOfAVectorSucceeds) { EXPECT_TRUE(mlhDisposePitchVector(mlhGetNewPitchVector())); }

TEST(PitchVector, ItemBehindTheLastIsAllZero) {
    const Pitches vector = Make({{1, 60, 2, 0.5f}});
    ExpectItem(mlhPitchVectorGetItem(vector.get(), 1), 0, 0, 0, 0);
    ExpectItem(mlhPitchVectorGetItem(vector.get(), 0xFFFFFFFFu), 0, 0, 0, 0);
}

TEST(PitchVector, SetItemChangesThePitchAlone) {
    const Pitches vector = Make({{1, 60, 2, 0.5f}});
    EXPECT_TRUE(mlhPitchVectorSetItem(vector.get(), 0, {9, 61.5f, 9, 9}));
    ExpectItem(mlhPitchVectorGetItem(vector.get(), 0), 1, 61.5f, 2, 0.5f);
    EXPECT_FALSE(mlhPitchVectorSetItem(vector.get(), 1, {}));
}

TEST(PitchVector, ItemsOfTheSameStartKeepTheirOrder) {
    const Pitches vector = Make({{1, 60, 1, 0}, {0, 50, 1, 0}, {1, 61, 1, 0}, {0, 51, 1, 0}});
    const float pitches[] = {50, 51, 60, 61};
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(mlhPitchVectorGetItem(vector.get(), i).pitch, pitches[i]);
    }
}

TEST(PitchVector, InsertsBeforeTheFirstLaterStartWhateverTheOrderOfAdding) {
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<PitchItem> expected;
        Pitches vector(mlhGetNewPitchVector());
        for (int i = 0; i < 20; ++i) {
            const PitchItem item = {static_cast<float>(random() % 8), static_cast<float>(i), 1, 0};
            mlhPitchVectorAddItem(vector.get(), item);
            expected.push_back(item);
        }
        std::stable_sort(expected.begin(), expected.end(),
                         [](const PitchItem& a, const PitchItem& b) { return a.start < b.start; });
        for (uint32_t i = 0; i < 20; ++i) {
            EXPECT_EQ(mlhPitchVectorGetItem(vector.get(), i).pitch, expected[i].pitch);
        }
    }
}

TEST(PitchVector, AnItemAtNoTimeIsAppended) {
    const Pitches vector = Make({{5, 60, 1, 0}, {std::nanf(""), 61, 1, 0}, {1, 62, 1, 0}});
    EXPECT_EQ(mlhPitchVectorGetItem(vector.get(), 0).pitch, 62.0f);
    EXPECT_EQ(mlhPitchVectorGetItem(vector.get(), 2).pitch, 61.0f);
}

// The place is that before the first later one, sought from the front, whatever times came before.
TEST(PitchVector, InsertsAsASearchFromTheFrontWould) {
    const float times[] = {-INFINITY, -1.0f, -0.0f, 0.0f, 0.5f, 1.0f, 1.5f, 2.0f, INFINITY, std::nanf("")};
    std::mt19937 random(8);
    for (int round = 0; round < 500; ++round) {
        const uint32_t kinds = round % 2 == 0 ? 9 : 10;  // without not-a-numbers, and with
        std::vector<PitchItem> expected;
        Pitches vector(mlhGetNewPitchVector());
        Chords chords(mlhGetNewChordVector());
        for (int i = 0; i < 25; ++i) {
            const float start = times[random() % kinds];
            const auto later = std::find_if(expected.begin(), expected.end(),
                                            [&](const PitchItem& e) { return e.start > start; });
            expected.insert(later, {start, static_cast<float>(i), 1, 0});
            mlhPitchVectorAddItem(vector.get(), {start, static_cast<float>(i), 1, 0});
            mlhChordVectorAddItem(chords.get(), {start, {i, -1, -1, -1}});
            if (random() % 8 == 0) {  // the same goes for a vector that the library made
                vector.reset(mlhPitchVectorAdjust(vector.get(), 1, 0));
            }
        }
        for (uint32_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(mlhPitchVectorGetItem(vector.get(), i).pitch, expected[i].pitch) << round << " " << i;
            ASSERT_EQ(static_cast<float>(mlhChordVectorGetItem(chords.get(), i).notes[0]), expected[i].pitch);
        }
    }
}

TEST(PitchVectorAdjust, LegatoReachesTheNextStartAndKeepsTheLastDuration) {
    const Pitches vector = Make({{0, 60, 0.5f, 0.1f}, {1, 62, 3, 0.2f}, {2, 64, 0.25f, 0.3f}});
    const Pitches legato(mlhPitchVectorAdjust(vector.get(), 1, 0));
    ASSERT_EQ(mlhPitchVectorGetTotal(legato.get()), 3);
    ExpectItem(mlhPitchVectorGetItem(legato.get(), 0), 0, 60, 1, 0.1f);
    ExpectItem(mlhPitchVectorGetItem(legato.get(), 1), 1, 62, 1, 0.2f);
    ExpectItem(mlhPitchVectorGetItem(legato.get(), 2), 2, 64, 0.25f, 0.3f);
    ExpectItem(mlhPitchVectorGetItem(vector.get(), 0), 0, 60, 0.5f, 0.1f);  // the input stays
}

TEST(PitchVectorAdjust, VelocityReplacesTheLevel) {
    const Pitches vector = Make({{1, 60, 2, 0.5f}});
    const Pitches adjusted(mlhPitchVectorAdjust(vector.get(), 1, 100));
    ASSERT_EQ(mlhPitchVectorGetTotal(adjusted.get()), 1);
    ExpectItem(mlhPitchVectorGetItem(adjusted.get(), 0), 1, 60, 2, static_cast<float>(100 / 127.0));
}

TEST(PitchVectorAdjust, EmptyStaysEmpty) {
    const Pitches empty = Make({});
    const Pitches adjusted(mlhPitchVectorAdjust(empty.get(), 1, 1));
    EXPECT_EQ(mlhPitchVectorGetTotal(adjusted.get()), 0);
}

TEST(PitchVectorAdjust, WithoutLegatoKeepsTheLengthAlone) {
    const Pitches vector = Make({{0, 60, 1, 0.5f}, {1, 62, 1, 0.5f}});
    const Pitches adjusted(mlhPitchVectorAdjust(vector.get(), 0, 64));
    ASSERT_EQ(mlhPitchVectorGetTotal(adjusted.get()), 2);
    ExpectItem(mlhPitchVectorGetItem(adjusted.get(), 1), 0, 0, 0, 0);
}

TEST(ChordVector, NullAnswersNeutralValues) {
    EXPECT_EQ(mlhChordVectorGetTotal(nullptr), -1);
    EXPECT_FALSE(mlhChordVectorAddItem(nullptr, {}));
    EXPECT_FALSE(mlhDisposeChordVector(nullptr));
    const ChordItem item = mlhChordVectorGetItem(nullptr, 0);
    EXPECT_EQ(item.time, 0.0f);
    for (int32_t note : item.notes) {
        EXPECT_EQ(note, 0);
    }
}

TEST(ChordVector, ItemOutOfRangeHasNotesOfZero) {
    Chords vector(mlhGetNewChordVector());
    mlhChordVectorAddItem(vector.get(), {1, {-1, -1, -1, -1}});
    for (int32_t note : mlhChordVectorGetItem(vector.get(), 1).notes) {
        EXPECT_EQ(note, 0);
    }
    for (int32_t note : mlhChordVectorGetItem(vector.get(), 0).notes) {
        EXPECT_EQ(note, -1);
    }
}

TEST(ChordVector, InsertsByTimeBehindEquals) {
    Chords vector(mlhGetNewChordVector());
    for (const auto& [time, note] : {std::pair{2.0f, 1}, {1.0f, 2}, {2.0f, 3}, {1.0f, 4}}) {
        EXPECT_TRUE(mlhChordVectorAddItem(vector.get(), {time, {note, -1, -1, -1}}));
    }
    ASSERT_EQ(mlhChordVectorGetTotal(vector.get()), 4);
    const int32_t notes[] = {2, 4, 1, 3};
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(mlhChordVectorGetItem(vector.get(), i).notes[0], notes[i]);
    }
}

}  // namespace

}  // namespace mlh
