#include "analysis/PitchMarks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>

#include "base/Codes.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

void AppendAt(CPitchMarks& marks, const std::vector<int32_t>& positions) {
    for (const int32_t position : positions) {
        marks.AppendMarkNoPeriod(position, 0.0f, 0.0f, 0.0f, 0.0f);
    }
}

std::vector<int32_t> Positions(const CPitchMarksIf& marks) {
    std::vector<int32_t> positions;
    for (int32_t i = 0; i < marks.GetCount(); ++i) {
        positions.push_back(marks.GetPosition(i));
    }
    return positions;
}

// The walk that defines the answer.
int32_t WalkToNearest(const std::vector<int32_t>& positions, int32_t from, int32_t position) {
    const auto count = static_cast<int32_t>(positions.size());
    if (from < 0 || from >= count - 1 || count < 2) {
        return -1;
    }
    const auto distance = [&](int32_t i) {
        return std::abs(static_cast<int64_t>(positions[static_cast<size_t>(i)]) - position);
    };
    int64_t best = distance(from);
    for (int32_t j = from + 1; j < count; ++j) {
        if (!(distance(j) < best)) {
            return std::max(j - 1, 0);
        }
        best = distance(j);
    }
    return count - 1;
}

int32_t WalkBehind(const std::vector<int32_t>& positions, int32_t& index, int32_t distance) {
    const auto count = static_cast<int32_t>(positions.size());
    if (index < 0 || index >= count) {
        return -1;
    }
    const int64_t start = positions[static_cast<size_t>(index)];
    for (int32_t j = index; j < count; ++j) {
        const int64_t position = positions[static_cast<size_t>(j)];
        if (position > start + distance) {
            index = j;
            return static_cast<int32_t>(position - start);
        }
    }
    return -1;
}

TEST(PitchMarks, CreationStoresAnEmptyListWithoutAnArray) {
    CPitchMarksIf* created = nullptr;
    ASSERT_EQ(CreatePitchMarks(&created), 0);
    const std::unique_ptr<CPitchMarksIf> marks(created);
    const PitchMark* records = reinterpret_cast<const PitchMark*>(1);
    EXPECT_EQ(marks->GetRecords(&records), 0);
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(marks->GetCount(), 0);
    EXPECT_EQ(marks->GetLastPosition(), -1);
    EXPECT_EQ(CreatePitchMarks(nullptr), kBadArgument);
}

TEST(PitchMarks, AppendPutsEachArgumentIntoTheFieldOfItsName) {
    CPitchMarks marks;
    EXPECT_EQ(marks.AppendMark(7, 1.0f, 2.0f, 3.0f, 4.0f, 5.5f), 0);
    const PitchMark* record = nullptr;
    ASSERT_EQ(marks.GetRecords(&record), 1);
    EXPECT_EQ(record->position, 7);
    EXPECT_EQ(record->harmonicity, 1.0f);
    EXPECT_EQ(record->energy, 2.0f);
    EXPECT_EQ(record->transient, 3.0f);
    EXPECT_EQ(record->peakWidth, 4.0f);
    EXPECT_EQ(record->period, 5.5f);
    EXPECT_EQ(marks.GetPosition(0), 7);
    EXPECT_EQ(marks.GetHarmonicity(0), 1.0f);
    EXPECT_EQ(marks.GetEnergy(0), 2.0f);
    EXPECT_EQ(marks.GetTransient(0), 3.0f);
    EXPECT_EQ(marks.GetPeakWidth(0), 4.0f);
    EXPECT_EQ(marks.GetPeriod(0), 5);
}

TEST(PitchMarks, RecordsAreSixWordsInTheirSerialOrder) {
    const PitchMark mark = {1, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
    float words[6];
    std::memcpy(words, &mark, sizeof mark);
    EXPECT_EQ(words[1], mark.energy);
    EXPECT_EQ(words[2], mark.transient);
    EXPECT_EQ(words[3], mark.harmonicity);
    EXPECT_EQ(words[4], mark.peakWidth);
    EXPECT_EQ(words[5], mark.period);
}

TEST(PitchMarks, AMarkWithoutPeriodHasPeriodZero) {
    CPitchMarks marks;
    EXPECT_EQ(marks.AppendMarkNoPeriod(3, 1.0f, 2.0f, 0.5f, 4.0f), 0);
    EXPECT_EQ(marks.GetPeriod(0), 0);
    EXPECT_EQ(marks.GetHarmonicity(0), 1.0f);
    EXPECT_EQ(marks.GetEnergy(0), 2.0f);
    EXPECT_EQ(marks.GetTransient(0), 0.5f);
    EXPECT_EQ(marks.GetPeakWidth(0), 4.0f);
}

TEST(PitchMarks, PeriodsAreTruncatedAndWhatIsNoPeriodReadsAsZero) {
    CPitchMarks marks;
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float period : {99.99f, -0.9f, std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity,
                               3e9f, 2147483520.0f}) {
        marks.AppendMark(marks.GetCount(), 0.0f, 0.0f, 0.0f, 0.0f, period);
    }
    EXPECT_EQ(marks.GetPeriod(0), 99);
    EXPECT_EQ(marks.GetPeriod(1), 0);
    EXPECT_EQ(marks.GetPeriod(2), 0);
    EXPECT_EQ(marks.GetPeriod(3), 0);
    EXPECT_EQ(marks.GetPeriod(4), 0);
    EXPECT_EQ(marks.GetPeriod(5), 0);
    EXPECT_EQ(marks.GetPeriod(6), 2147483520);
}

TEST(PitchMarks, ReadsOutOfRangeAnswerMinusOne) {
    CPitchMarks marks;
    AppendAt(marks, {0, 10});
    for (const int32_t i : {kMin, -1, 2, kMax}) {
        EXPECT_EQ(marks.GetPosition(i), -1);
        EXPECT_EQ(marks.GetDistanceToNext(i), -1);
        EXPECT_EQ(marks.GetPeriod(i), -1);
        EXPECT_EQ(marks.GetTransient(i), -1.0f);
        EXPECT_EQ(marks.GetEnergy(i), -1.0f);
        EXPECT_EQ(marks.GetHarmonicity(i), -1.0f);
        EXPECT_EQ(marks.GetPeakWidth(i), -1.0f);
    }
}

TEST(PitchMarks, TheLastMarkHasAPositionButNoDistanceToANext) {
    CPitchMarks marks;
    AppendAt(marks, {0, 10, 25});
    EXPECT_EQ(marks.GetDistanceToNext(0), 10);
    EXPECT_EQ(marks.GetDistanceToNext(1), 15);
    EXPECT_EQ(marks.GetDistanceToNext(2), -1);
    EXPECT_EQ(marks.GetPosition(2), 25);
    EXPECT_EQ(marks.GetLastPosition(), 25);
}

TEST(PitchMarks, RemovingFromAnEmptyListSucceedsAndDoesNothing) {
    CPitchMarks marks;
    EXPECT_EQ(marks.RemoveLast(), 0);
    EXPECT_EQ(marks.GetCount(), 0);
    AppendAt(marks, {5, 6});
    EXPECT_EQ(marks.RemoveLast(), 0);
    EXPECT_EQ(Positions(marks), std::vector<int32_t>{5});
}

TEST(PitchMarks, KeepNewestMovesTheLastMarksToTheFront) {
    CPitchMarks marks;
    AppendAt(marks, {0, 1, 2, 3, 4});
    EXPECT_EQ(marks.KeepNewest(2), 0);
    EXPECT_EQ(Positions(marks), (std::vector<int32_t>{3, 4}));
    AppendAt(marks, {9});
    EXPECT_EQ(Positions(marks), (std::vector<int32_t>{3, 4, 9}));
    marks.KeepNewest(0);
    EXPECT_EQ(marks.GetCount(), 0);
}

TEST(PitchMarks, KeepNewestIsLimitedToWhatThereIs) {
    CPitchMarks marks;
    AppendAt(marks, {0, 1});
    marks.KeepNewest(kMax);
    EXPECT_EQ(marks.GetCount(), 2);
    marks.KeepNewest(kMin);
    EXPECT_EQ(marks.GetCount(), 0);
    marks.KeepNewest(3);
    EXPECT_EQ(marks.GetCount(), 0);
}

TEST(PitchMarks, ClearEmptiesTheListAndItsRecordsButKeepsTheCapacity) {
    CPitchMarks marks;
    marks.AppendMark(3, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f);
    marks.AppendMark(4, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_EQ(marks.Clear(), 0);
    EXPECT_EQ(marks.GetCount(), 0);
    EXPECT_EQ(marks.GetCapacity(), 2);
    const PitchMark* records = nullptr;
    marks.GetRecords(&records);
    const PitchMark cleared[2] = {};
    EXPECT_EQ(std::memcmp(records, cleared, sizeof cleared), 0);
}

TEST(PitchMarks, ReserveIsHonouredOnce) {
    CPitchMarks marks;
    EXPECT_EQ(marks.Reserve(100), 0);
    EXPECT_EQ(marks.GetCapacity(), 100);
    EXPECT_EQ(marks.Reserve(200), kWrongState);
    EXPECT_EQ(marks.GetCapacity(), 100);
    marks.Clear();
    EXPECT_EQ(marks.Reserve(200), kWrongState);
}

TEST(PitchMarks, ReserveKeepsMarksThatAreThere) {
    for (const int32_t capacity : {-7, 0, 1, 2, 50}) {
        CPitchMarks marks;
        AppendAt(marks, {0, 8});
        EXPECT_EQ(marks.Reserve(capacity), 0);
        EXPECT_EQ(Positions(marks), (std::vector<int32_t>{0, 8}));
        EXPECT_EQ(marks.GetCapacity(), std::max(capacity, 2));
    }
}

TEST(PitchMarks, CapacityGrowsByOneMarkBeyondTheReserve) {
    CPitchMarks marks;
    marks.Reserve(3);
    for (int32_t i = 0; i < 100; ++i) {
        AppendAt(marks, {i});
        EXPECT_EQ(marks.GetCapacity(), std::max(3, i + 1));
    }
    marks.RemoveLast();
    AppendAt(marks, {500});
    EXPECT_EQ(marks.GetCapacity(), 100);
}

TEST(PitchMarks, GrowingKeepsEveryMark) {
    CPitchMarks marks;
    std::vector<int32_t> expected;
    for (int32_t i = 0; i < 70000; ++i) {
        expected.push_back(3 * i);
    }
    AppendAt(marks, expected);
    EXPECT_EQ(Positions(marks), expected);
}

TEST(PitchMarks, SetRecordsCopiesWhatItIsGiven) {
    PitchMark given[2] = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    CPitchMarks marks;
    EXPECT_EQ(marks.SetRecords(given, 2), 0);
    given[0].position = 99;
    EXPECT_EQ(Positions(marks), (std::vector<int32_t>{1, 7}));
    EXPECT_EQ(marks.GetPeriod(1), 12);
    EXPECT_EQ(marks.Reserve(5), kWrongState) << "set counts as reserved";
}

TEST(PitchMarks, SetRecordsOnAnUnreservedListMustMeetItsCapacity) {
    const PitchMark given[3] = {};
    CPitchMarks marks;
    AppendAt(marks, {0, 5});
    EXPECT_EQ(marks.SetRecords(given, 3), kBadArgument);
    EXPECT_EQ(marks.SetRecords(given, 1), kBadArgument);
    EXPECT_EQ(Positions(marks), (std::vector<int32_t>{0, 5}));
    EXPECT_EQ(marks.SetRecords(given, 2), 0);
    EXPECT_EQ(marks.GetCount(), 2);
    EXPECT_EQ(marks.SetRecords(given, 3), 0) << "it is reserved now, so any size goes";
    EXPECT_EQ(marks.GetCapacity(), 3);
}

TEST(PitchMarks, SetRecordsOnAReservedListTakesAnySize) {
    const PitchMark given[3] = {};
    CPitchMarks marks;
    marks.Reserve(100);
    EXPECT_EQ(marks.SetRecords(given, 3), 0);
    EXPECT_EQ(marks.GetCapacity(), 3);
    EXPECT_EQ(marks.SetRecords(nullptr, 0), 0);
    EXPECT_EQ(marks.GetCount(), 0);
}

TEST(PitchMarks, SetRecordsRefusesWhatIsNoArray) {
    const PitchMark given[1] = {};
    CPitchMarks marks;
    EXPECT_EQ(marks.SetRecords(given, -1), kBadArgument);
    EXPECT_EQ(marks.SetRecords(nullptr, 1), kBadArgument);
    EXPECT_EQ(marks.Reserve(1), 0) << "nothing was set";
}

TEST(PitchMarks, SetRecordsAcceptsTheListsOwnArray) {
    CPitchMarks marks;
    marks.Reserve(4);
    AppendAt(marks, {0, 5, 9});
    const PitchMark* own = nullptr;
    marks.GetRecords(&own);
    EXPECT_EQ(marks.SetRecords(own + 1, 2), 0);
    EXPECT_EQ(Positions(marks), (std::vector<int32_t>{5, 9}));
}

TEST(PitchMarks, FindNearestFromTheLastMarkFindsNothing) {
    CPitchMarks marks;
    EXPECT_EQ(marks.FindNearest(0, 0), -1);
    AppendAt(marks, {10});
    EXPECT_EQ(marks.FindNearest(0, 10), -1) << "one mark is too few";
    AppendAt(marks, {20});
    EXPECT_EQ(marks.FindNearest(1, 20), -1);
    EXPECT_EQ(marks.FindNearest(2, 20), -1);
    EXPECT_EQ(marks.FindNearest(-1, 20), -1);
    EXPECT_EQ(marks.FindNearest(0, 20), 1);
}

TEST(PitchMarks, FindNearestTakesTheEarlierOfTwoEquallyNear) {
    CPitchMarks marks;
    AppendAt(marks, {0, 10, 20, 30});
    EXPECT_EQ(marks.FindNearest(0, 15), 1);
    EXPECT_EQ(marks.FindNearest(0, 16), 2);
    EXPECT_EQ(marks.FindNearest(1, 25), 2);
}

TEST(PitchMarks, FindNearestNeverGoesBackBehindItsStart) {
    CPitchMarks marks;
    AppendAt(marks, {0, 10, 20, 30});
    EXPECT_EQ(marks.FindNearest(2, 0), 2);
    EXPECT_EQ(marks.FindNearest(0, 1000), 3);
    EXPECT_EQ(marks.FindNearest(0, kMax), 3);
    EXPECT_EQ(marks.FindNearest(0, kMin), 0);
}

TEST(PitchMarks, FindAfterIsStrictlyBehindTheDistance) {
    CPitchMarks marks;
    AppendAt(marks, {0, 10, 20, 30});
    int32_t index = 1;
    EXPECT_EQ(marks.FindAfter(index, 10), 20);
    EXPECT_EQ(index, 3);
    index = 1;
    EXPECT_EQ(marks.FindAfter(index, 9), 10);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(marks.FindAfter(index, -1), 0) << "the mark itself is behind a negative distance";
    EXPECT_EQ(index, 2);
}

TEST(PitchMarks, FindAfterLeavesTheIndexWhereNothingIsFound) {
    CPitchMarks marks;
    AppendAt(marks, {0, 10});
    for (const int32_t start : {kMin, -1, 0, 1, 2, kMax}) {
        int32_t index = start;
        EXPECT_EQ(marks.FindAfter(index, kMax), -1);
        EXPECT_EQ(index, start);
    }
}

// Strictly rising, rising with repeats, and in no order at all: the search by halves may serve only the
// first.
TEST(PitchMarks, LookUpsAnswerLikeTheWalkWhateverTheOrderOfThePositions) {
    NoiseSource random(11);
    for (int32_t round = 0; round < 600; ++round) {
        const int32_t lowestStep = round % 3 == 0 ? 1 : round % 3 == 1 ? 0 : -20;
        CPitchMarks marks;
        std::vector<int32_t> positions;
        int32_t position = random.Next(-50, 50);
        const int32_t count = random.Next(0, 40);
        for (int32_t i = 0; i < count; ++i) {
            positions.push_back(position);
            position += random.Next(lowestStep, 20);
        }
        if (round % 2 == 0) {
            AppendAt(marks, positions);
        } else {
            std::vector<PitchMark> records;
            for (const int32_t p : positions) {
                records.push_back({p, 0, 0, 0, 0, 0});
            }
            marks.SetRecords(records.data(), count);
        }
        for (int32_t query = 0; query < 60; ++query) {
            const int32_t from = random.Next(-2, count + 1);
            const int32_t wanted = random.Next(-100, 20 * count + 100);
            ASSERT_EQ(marks.FindNearest(from, wanted), WalkToNearest(positions, from, wanted)) << round;
            int32_t index = from;
            int32_t walked = from;
            const int32_t distance = random.Next(-50, 200);
            ASSERT_EQ(marks.FindAfter(index, distance), WalkBehind(positions, walked, distance)) << round;
            ASSERT_EQ(index, walked);
        }
    }
}

// A list that once fell may be cut down to a part that rises, and the other way round.
TEST(PitchMarks, LookUpsStayRightWhenTheListIsCutAndExtended) {
    NoiseSource random(12);
    for (int32_t round = 0; round < 300; ++round) {
        CPitchMarks marks;
        for (int32_t change = 0; change < 30; ++change) {
            switch (random.Next(0, 9)) {
                case 0:
                    marks.KeepNewest(random.Next(0, marks.GetCount()));
                    break;
                case 1:
                    marks.RemoveLast();
                    break;
                case 2:
                    marks.Clear();
                    break;
                case 3:
                    AppendAt(marks, {random.Next(0, 300)});
                    break;
                default:
                    AppendAt(marks, {marks.GetLastPosition() + random.Next(1, 20)});
                    break;
            }
            const std::vector<int32_t> positions = Positions(marks);
            const int32_t from = random.Next(0, marks.GetCount());
            const int32_t wanted = random.Next(-10, 400);
            ASSERT_EQ(marks.FindNearest(from, wanted), WalkToNearest(positions, from, wanted));
        }
    }
}

TEST(PitchMarks, DistancesAtTheEndsOfTheRangeDoNotOverflow) {
    CPitchMarks marks;
    AppendAt(marks, {0, kMax});
    EXPECT_EQ(marks.FindNearest(0, kMin), 0);
    EXPECT_EQ(marks.FindNearest(0, kMax), 1);
    EXPECT_EQ(marks.GetDistanceToNext(0), kMax);
    int32_t index = 1;
    EXPECT_EQ(marks.FindAfter(index, kMax), -1);
    CPitchMarks falling;
    AppendAt(falling, {kMax, kMin});
    EXPECT_EQ(falling.FindNearest(0, 0), 0);
    EXPECT_EQ(falling.GetDistanceToNext(0), 1) << "wrapped";
}

}  // namespace

}  // namespace mlh
