#include "classic/Choiralizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "base/Codes.h"

namespace mlh {

using namespace ChoiralizerClassic;
using testing::Each;
using testing::ElementsAre;

namespace {

std::unique_ptr<CChoiralizer> NewEngine() {
    CChoiralizer* engine = nullptr;
    EXPECT_EQ(CChoiralizer::Create(&engine), 0);
    return std::unique_ptr<CChoiralizer>(engine);
}

std::vector<int32_t> LastVoicing(const CChoiralizer& engine) {
    return {engine.GetLastVoicing(), engine.GetLastVoicing() + 4};
}

std::vector<int32_t> Offsets(const CChoiralizer& engine) {
    return {engine.GetScaleOffsets(), engine.GetScaleOffsets() + 12};
}

const ClassicChord kCMajor = {0, 3, TriadMajor, SeventhNone};
const ClassicChord kEmpty = {0, 3, TriadNone, SeventhNone};

TEST(Choiralizer, RefusesToBeCreatedIntoNothing) { EXPECT_EQ(CChoiralizer::Create(nullptr), kBadArgument); }

TEST(Choiralizer, StartsWithThreeVoicesInCMajor) {
    const auto engine = NewEngine();
    EXPECT_EQ(engine->GetKey(), 0);
    EXPECT_EQ(engine->GetInputScale(), ScaleMajor);
    EXPECT_EQ(engine->GetOutputScale(), ScaleMajor);
    EXPECT_EQ(engine->GetQuantize(), 1);
    EXPECT_EQ(engine->GetScaleMap(), 1);
    EXPECT_EQ(engine->GetVoiceMode(), 0);
    EXPECT_EQ(engine->GetVoiceCount(), 3);
    EXPECT_EQ(engine->GetVoicesAbove(), 1);
    EXPECT_EQ(engine->GetLowLimit(), -16);
    EXPECT_EQ(engine->GetHighLimit(), 12);
    EXPECT_EQ(engine->GetCandidateCapacity(), 11);
    EXPECT_EQ(engine->GetSpread(), 0.5f);
    EXPECT_EQ(engine->GetStepDirection(), 0);
    EXPECT_THAT(LastVoicing(*engine), Each(-1));
    EXPECT_THAT(Offsets(*engine), Each(0));
}

TEST(Choiralizer, SettersReturnZeroAndGettersGiveBack) {
    const auto engine = NewEngine();
    EXPECT_EQ(engine->SetKey(7), 0);
    EXPECT_EQ(engine->SetInputScale(ScaleMinor), 0);
    EXPECT_EQ(engine->SetOutputScale(ScaleDorian), 0);
    EXPECT_EQ(engine->SetQuantize(0), 0);
    EXPECT_EQ(engine->SetScaleMap(0), 0);
    EXPECT_EQ(engine->SetVoiceMode(3), 0);
    EXPECT_EQ(engine->GetKey(), 7);
    EXPECT_EQ(engine->GetInputScale(), ScaleMinor);
    EXPECT_EQ(engine->GetOutputScale(), ScaleDorian);
    EXPECT_EQ(engine->GetQuantize(), 0);
    EXPECT_EQ(engine->GetScaleMap(), 0);
    EXPECT_EQ(engine->GetVoiceMode(), 3);
}

TEST(Choiralizer, LimitsFollowTheVoicesBelowAndAbove) {
    const struct {
        int32_t voiceMode, above, low, high, capacity;
    } cases[] = {{0, 0, -16, 0, 7}, {0, 1, -16, 12, 11}, {0, 2, -12, 16, 11},
                 {0, 3, 0, 16, 7},  {1, 0, -16, 0, 7},   {1, 1, -12, 12, 9},
                 {1, 2, 0, 16, 7},  {2, 0, -12, 0, 5},   {2, 1, 0, 12, 5}};
    for (const auto& c : cases) {
        const auto engine = NewEngine();
        engine->SetVoiceMode(c.voiceMode);
        ASSERT_EQ(engine->SetVoicesAbove(c.above), 0);
        EXPECT_EQ(engine->GetLowLimit(), c.low) << c.voiceMode << ' ' << c.above;
        EXPECT_EQ(engine->GetHighLimit(), c.high) << c.voiceMode << ' ' << c.above;
        EXPECT_EQ(engine->GetCandidateCapacity(), c.capacity) << c.voiceMode << ' ' << c.above;
    }
}

TEST(Choiralizer, VoiceModeCarriesTheVoicesAboveOver) {
    const struct {
        int32_t fromMode, fromAbove, toMode, above;
    } cases[] = {
        {0, 0, 0, 0}, {0, 1, 0, 1}, {0, 2, 0, 2},  {0, 3, 0, 3},                // same number of voices
        {1, 0, 0, 1}, {1, 1, 0, 1}, {1, 2, 0, 2},  {2, 0, 0, 1}, {2, 1, 0, 2},  // to three
        {0, 0, 1, 1}, {0, 1, 1, 1}, {0, 2, 1, 1},  {0, 3, 1, 2},                // three to two
        {1, 0, 1, 0}, {1, 1, 1, 1}, {1, 2, 1, 2},  {2, 0, 1, 0}, {2, 1, 1, 2},  // to two
        {0, 0, 2, 0}, {0, 1, 2, 0}, {0, 2, 2, 1},  {0, 3, 2, 1},                // three to one
        {1, 0, 2, 0}, {1, 1, 2, 1}, {1, 2, 2, 1},  {2, 0, 2, 0}, {2, 1, 2, 1},  // to one
        {0, 2, 3, 2}, {1, 0, 7, 0}, {2, 1, -1, 1},                              // modes that keep the voices
    };
    for (const auto& c : cases) {
        const auto engine = NewEngine();
        engine->SetVoiceMode(c.fromMode);
        ASSERT_EQ(engine->SetVoicesAbove(c.fromAbove), 0);
        const int32_t voices = engine->GetVoiceCount();
        EXPECT_EQ(engine->SetVoiceMode(c.toMode), 0);
        EXPECT_EQ(engine->GetVoiceMode(), c.toMode);
        EXPECT_EQ(engine->GetVoiceCount(), c.toMode >= 0 && c.toMode < 3 ? 3 - c.toMode : voices);
        EXPECT_EQ(engine->GetVoicesAbove(), c.above)
            << c.fromMode << ' ' << c.fromAbove << " to " << c.toMode;
    }
}

TEST(Choiralizer, VoiceModeRebuildsTheLimits) {
    const auto engine = NewEngine();
    engine->SetVoiceMode(2);  // none above
    EXPECT_EQ(engine->GetLowLimit(), -12);
    EXPECT_EQ(engine->GetHighLimit(), 0);
    EXPECT_EQ(engine->GetCandidateCapacity(), 5);
}

TEST(Choiralizer, ThreeVoicesOnAFreshEngineRebuildNothing) {
    const auto engine = NewEngine();
    int32_t result[4];
    engine->VoiceChord(60, result, kCMajor);
    const std::vector<int32_t> candidates = engine->GetCandidates();
    const int32_t* storage = engine->GetCandidates().data();
    EXPECT_EQ(engine->SetVoiceMode(0), 0);
    EXPECT_EQ(engine->GetCandidates().data(), storage);
    EXPECT_EQ(engine->GetCandidates(), candidates);
    EXPECT_EQ(engine->GetVoicesAbove(), 1);
}

TEST(Choiralizer, RefusesMoreVoicesAboveThanThereAre) {
    const auto engine = NewEngine();
    for (const int32_t n : {4, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(engine->SetVoicesAbove(n), kBadArgument);
    }
    EXPECT_EQ(engine->GetVoicesAbove(), 1);
    EXPECT_EQ(engine->GetLowLimit(), -16);
    EXPECT_EQ(engine->GetHighLimit(), 12);
    engine->SetVoiceMode(1);
    EXPECT_EQ(engine->SetVoicesAbove(3), kBadArgument);
    EXPECT_EQ(engine->SetVoicesAbove(2), 0);
}

TEST(Choiralizer, TakesASpreadFromZeroToOne) {
    const auto engine = NewEngine();
    EXPECT_EQ(engine->SetSpread(1.0f), 0);
    EXPECT_EQ(engine->GetSpread(), 1.0f);
    EXPECT_EQ(engine->SetSpread(0.0f), 0);
    EXPECT_EQ(engine->GetSpread(), 0.0f);
    for (const float x : {1.01f, -0.01f, INFINITY, NAN}) {
        EXPECT_EQ(engine->SetSpread(x), kBadArgument);
        EXPECT_EQ(engine->GetSpread(), 0.0f);
    }
}

TEST(PrepareNote, LeavesTheLeadAloneWithBothFlagsOff) {
    const auto engine = NewEngine();
    engine->SetInputScale(ScaleMinorPentatonic);
    engine->SetOutputScale(ScaleWholeTone);
    engine->SetQuantize(0);
    engine->SetScaleMap(0);
    for (int32_t note = -156; note < 300; ++note) {
        EXPECT_EQ(engine->PrepareNote(note), note);
    }
}

TEST(PrepareNote, MovesDownBetweenTwoEquallyNearTones) {
    const auto engine = NewEngine();
    EXPECT_EQ(engine->PrepareNote(61), 60);
    EXPECT_EQ(engine->PrepareNote(66), 65);
    engine->SetInputScale(ScaleMinorPentatonic);  // C Eb F G Bb
    engine->SetScaleMap(0);
    EXPECT_EQ(engine->PrepareNote(61), 60);
    EXPECT_EQ(engine->PrepareNote(62), 63);
    EXPECT_EQ(engine->PrepareNote(69), 70);
    EXPECT_EQ(engine->PrepareNote(71), 70);
    EXPECT_EQ(engine->PrepareNote(66), 65);
}

TEST(PrepareNote, SnapsIntoTheScaleOfTheKey) {
    for (int32_t key = 0; key < 12; ++key) {
        for (int32_t row = 0; row < kScaleRows; ++row) {
            const auto engine = NewEngine();
            engine->SetKey(key);
            engine->SetInputScale(row);
            engine->SetScaleMap(0);
            for (int32_t note = 30; note < 90; ++note) {
                int32_t nearest = note;
                for (int32_t t = 0;; ++t) {
                    if (ScaleTable[row][(note - t - key + 156) % 12]) {
                        nearest = note - t;
                        break;
                    }
                    if (ScaleTable[row][(note + t - key + 156) % 12]) {
                        nearest = note + t;
                        break;
                    }
                }
                ASSERT_EQ(engine->PrepareNote(note), nearest) << key << ' ' << row << ' ' << note;
            }
        }
    }
}

TEST(PrepareNote, SnapsBeforeItMaps) {
    const auto engine = NewEngine();
    engine->SetOutputScale(ScaleMinor);
    EXPECT_EQ(engine->PrepareNote(65), 65);
    EXPECT_EQ(engine->PrepareNote(64), 63);
    EXPECT_EQ(engine->PrepareNote(70), 68);  // B flat to A, A to A flat
    engine->SetQuantize(0);
    EXPECT_EQ(engine->PrepareNote(70), 70);  // out of the input scale: not mapped
}

TEST(PrepareNote, HoldsAbsurdNotesWithinTheArithmetic) {
    const auto engine = NewEngine();
    int32_t result[4];
    for (const int32_t note : {INT_MIN, INT_MIN + 5, -157, INT_MAX, 100000}) {
        EXPECT_LT(std::abs(engine->PrepareNote(note)), 2000);
        engine->VoiceChord(note, result, kCMajor);
        engine->VoiceChord(60, result, kCMajor);
    }
    EXPECT_EQ(result[0], 60);
}

TEST(ScaleMap, MapsScalesOfEqualSizeDegreeToDegree) {
    const auto engine = NewEngine();
    engine->SetOutputScale(ScaleMinor);
    EXPECT_THAT(Offsets(*engine), ElementsAre(0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, -1));
    EXPECT_EQ(engine->PrepareNote(64), 63);  // E to E flat
    EXPECT_EQ(engine->PrepareNote(69), 68);
    EXPECT_EQ(engine->PrepareNote(71), 70);
}

TEST(ScaleMap, IsKeyedByTheTonic) {
    const auto engine = NewEngine();
    engine->SetKey(9);
    engine->SetOutputScale(ScaleMinor);
    EXPECT_THAT(Offsets(*engine), ElementsAre(0, -1, 0, 0, 0, 0, -1, 0, -1, 0, 0, 0));
    engine->SetKey(-3);  // the same tonic
    EXPECT_THAT(Offsets(*engine), ElementsAre(0, -1, 0, 0, 0, 0, -1, 0, -1, 0, 0, 0));
}

TEST(ScaleMap, SearchesOutwardBetweenScalesOfUnequalSize) {
    const auto engine = NewEngine();
    engine->SetOutputScale(ScaleMajorPentatonic);
    // F falls to E, as F sharp isn't one of the tones; B rises to C, which lands an octave too low.
    EXPECT_THAT(Offsets(*engine), ElementsAre(0, 0, 0, 0, 0, -1, 0, 0, 0, 0, 0, -11));
    EXPECT_EQ(engine->PrepareNote(71), 60);
    engine->SetInputScale(ScaleChromatic);
    // C sharp lies between two tones and takes the upper one.
    EXPECT_EQ(engine->GetScaleOffsets()[1], 1);
    engine->SetOutputScale(ScaleMinorPentatonic);
    // C sharp falls to C, as D isn't one of the tones; B, with C above it and B flat below, goes up.
    EXPECT_EQ(engine->GetScaleOffsets()[1], -1);
    EXPECT_EQ(engine->GetScaleOffsets()[11], -11);
}

TEST(ScaleMap, AgreesWithPairingTheTonesForAnyTwoScales) {
    for (int32_t in = 0; in < kScaleRows; ++in) {
        for (int32_t out = 0; out < kScaleRows; ++out) {
            const auto engine = NewEngine();
            engine->SetKey(5);
            engine->SetInputScale(in);
            engine->SetOutputScale(out);
            std::vector<int32_t> inTones, outTones, expected(12, 0);
            for (int32_t p = 0; p < 12; ++p) {
                if (ScaleTable[in][p]) {
                    inTones.push_back(p);
                }
                if (ScaleTable[out][p]) {
                    outTones.push_back(p);
                }
            }
            for (size_t i = 0; i < inTones.size(); ++i) {
                const int32_t u = inTones[i];
                int32_t v = u;
                if (inTones.size() == outTones.size()) {
                    v = outTones[i];
                } else if (out != ScaleChromatic) {
                    int32_t t = 0;
                    while (!ScaleTable[out][(u + t) % 12] && !ScaleTable[out][(u - t + 12) % 12]) {
                        ++t;
                    }
                    v = ScaleTable[out][(u + t) % 12] ? (u + t) % 12 : (u - t + 12) % 12;
                }
                expected[(5 + u) % 12] = v - u;
            }
            EXPECT_EQ(Offsets(*engine), expected) << in << " to " << out;
        }
    }
}

TEST(ScaleMap, IsEmptyTowardsTheChromaticScale) {
    const auto engine = NewEngine();
    engine->SetInputScale(ScaleMinorPentatonic);
    engine->SetOutputScale(ScaleChromatic);
    EXPECT_THAT(Offsets(*engine), Each(0));
}

TEST(VoiceChord, IgnoresANullResult) {
    const auto engine = NewEngine();
    engine->VoiceChord(60, nullptr, kCMajor);
    EXPECT_THAT(LastVoicing(*engine), Each(-1));
}

TEST(VoiceChord, HasNoVoicesForTheEmptyChordBeforeAnySearch) {
    const auto engine = NewEngine();
    int32_t result[4];
    engine->VoiceChord(61, result, kEmpty);
    EXPECT_THAT(result, ElementsAre(60, -1, -1, -1));
}

TEST(VoiceChord, RepeatsTheLastVoicingWithoutItsLeadForTheEmptyChord) {
    for (int32_t mode = 0; mode < 3; ++mode) {
        for (int32_t above = 0; above <= 3 - mode; ++above) {
            const auto engine = NewEngine();
            engine->SetVoiceMode(mode);
            engine->SetVoicesAbove(above);
            int32_t searched[4], repeated[4];
            engine->VoiceChord(60, searched, kCMajor);
            const std::vector<int32_t> history = LastVoicing(*engine);
            engine->VoiceChord(62, repeated, kEmpty);
            std::vector<int32_t> expected = history;
            expected.erase(expected.begin() + (engine->GetVoiceCount() - above));
            expected.insert(expected.begin(), 62);
            EXPECT_THAT(repeated, testing::ElementsAreArray(expected)) << mode << ' ' << above;
            EXPECT_EQ(LastVoicing(*engine), history);
        }
    }
}

TEST(ResetHistory, ForgetsVoicingAndDirection) {
    const auto engine = NewEngine();
    engine->SetVoiceMode(2);
    engine->SetVoicesAbove(1);
    engine->SetSpread(0.6f);
    int32_t result[4];
    engine->VoiceChord(67, result, {7, 3, TriadMajor, SeventhNone});
    engine->VoiceChord(67, result, kCMajor);
    ASSERT_EQ(engine->GetStepDirection(), 2);
    EXPECT_EQ(engine->ResetHistory(), 0);
    EXPECT_EQ(engine->GetStepDirection(), 0);
    EXPECT_THAT(LastVoicing(*engine), Each(-1));
}

TEST(ResetHistory, MakesARunRepeatable) {
    const auto engine = NewEngine();
    std::vector<int32_t> first, second;
    for (auto* run : {&first, &second}) {
        engine->ResetHistory();
        for (const int32_t note : {60, 62, 64, 65, 67, 69, 71, 72}) {
            int32_t result[4];
            engine->VoiceChord(note, result, {note % 5 == 0 ? 0 : 7, 3, TriadMajor, SeventhNone});
            run->insert(run->end(), result, result + 4);
        }
    }
    EXPECT_EQ(first, second);
}

}  // namespace

}  // namespace mlh
