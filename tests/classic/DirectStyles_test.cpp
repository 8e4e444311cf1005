#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <vector>

#include "base/Codes.h"
#include "classic/Choiralizer.h"

namespace mlh {

using namespace ChoiralizerClassic;
using testing::Each;
using testing::ElementsAre;

namespace {

using Voices = std::vector<int32_t>;

std::unique_ptr<CChoiralizer> NewEngine(int32_t key = 0, int32_t row = ScaleMajor) {
    CChoiralizer* engine = nullptr;
    EXPECT_EQ(CChoiralizer::Create(&engine), 0);
    engine->SetKey(key);
    engine->SetInputScale(row);
    engine->SetOutputScale(row);
    return std::unique_ptr<CChoiralizer>(engine);
}

Voices Intervals(CChoiralizer& engine, int32_t note, std::vector<int32_t> intervals) {
    int32_t result[4] = {-7, -7, -7, -7};
    EXPECT_EQ(engine.VoiceIntervals(note, result, intervals.data()), 0);
    return Voices(result, result + 4);
}

Voices Block(CChoiralizer& engine, int32_t note, int32_t next, int32_t style) {
    int32_t result[4] = {-7, -7, -7, -7};
    EXPECT_EQ(engine.VoiceBlock(note, next, result, style), 0);
    return Voices(result, result + 4);
}

Voices OpenFourths(CChoiralizer& engine, int32_t note, int32_t variant) {
    int32_t result[4] = {-7, -7, -7, -7};
    engine.VoiceOpenFourths(note, result, variant);
    return Voices(result, result + 4);
}

Voices Fixed(CChoiralizer& engine, int32_t note, int32_t variant) {
    int32_t result[4] = {-7, -7, -7, -7};
    EXPECT_EQ(engine.VoiceFixedInterval(note, result, variant), 0);
    return Voices(result, result + 4);
}

// The tone `steps` scale steps from a scale-tone pitch, found by listing the scale.
int32_t Step(int32_t key, int32_t row, int32_t pitch, int32_t steps) {
    const int32_t direction = steps < 0 ? -1 : 1;
    while (steps != 0) {
        pitch += direction;
        if (ScaleTable[row][(pitch - key + 156) % 12]) {
            steps -= direction;
        }
    }
    return pitch;
}

TEST(VoiceIntervals, CountsScaleStepsFromTheLead) {
    const auto engine = NewEngine();
    EXPECT_THAT(Intervals(*engine, 60, {0, 2, -2, 4}), ElementsAre(60, 64, 57, 67));
    EXPECT_THAT(Intervals(*engine, 64, {0, 2, -2, -5}), ElementsAre(64, 67, 60, 55));
    EXPECT_THAT(Intervals(*engine, 60, {0, 8, -9, 1}), ElementsAre(60, 74, 45, 62));
}

TEST(VoiceIntervals, PreparesTheLead) {
    const auto engine = NewEngine();
    EXPECT_THAT(Intervals(*engine, 61, {0, 2, 0, 0}), ElementsAre(60, 64, 60, 60));
    engine->SetOutputScale(ScaleMinor);
    EXPECT_THAT(Intervals(*engine, 64, {0, 2, 0, 0}), ElementsAre(63, 67, 63, 63));
}

TEST(VoiceIntervals, AgreesWithListingTheScale) {
    for (int32_t row = 0; row < kScaleRows; ++row) {
        for (int32_t key = 0; key < 12; ++key) {
            const auto engine = NewEngine(key, row);
            for (int32_t note = 60; note < 72; ++note) {
                const int32_t lead = engine->PrepareNote(note);
                for (int32_t c = -9; c <= 9; ++c) {
                    const bool octave = !IsPentatonic(row) && (c == 7 || c == -7);
                    const int32_t expected = octave ? lead + (c < 0 ? -12 : 12) : Step(key, row, lead, c);
                    ASSERT_THAT(Intervals(*engine, note, {0, c, 0, c}),
                                ElementsAre(lead, expected, lead, expected))
                        << row << ' ' << key << ' ' << note << ' ' << c;
                }
            }
        }
    }
}

TEST(VoiceIntervals, TakesSevenForAnOctaveOnScalesOfAnySizeButThePentatonic) {
    EXPECT_THAT(Intervals(*NewEngine(0, ScaleWholeTone), 60, {0, 7, -7, 0}), ElementsAre(60, 72, 48, 60));
    EXPECT_THAT(Intervals(*NewEngine(0, ScaleChromatic), 60, {0, 7, -7, 0}), ElementsAre(60, 72, 48, 60));
    EXPECT_THAT(Intervals(*NewEngine(0, ScaleMajorPentatonic), 60, {0, 7, -7, 5}),
                ElementsAre(60, 76, 43, 72));
}

TEST(VoiceIntervals, HonoursTheFirstIntervalExceptOnPentatonicScales) {
    EXPECT_THAT(Intervals(*NewEngine(), 60, {2, 0, 0, 0}), ElementsAre(64, 60, 60, 60));
    EXPECT_THAT(Intervals(*NewEngine(0, ScaleMajorPentatonic), 60, {2, 0, 0, 0}),
                ElementsAre(60, 60, 60, 60));
    EXPECT_THAT(Intervals(*NewEngine(0, ScaleMinorPentatonic), 60, {2, 1, -1, 2}),
                ElementsAre(60, 63, 58, 65));
}

TEST(VoiceIntervals, WalksToTheNextToneFromALeadOutOfThePentatonicScale) {
    const auto engine = NewEngine(0, ScaleMajorPentatonic);
    engine->SetQuantize(0);
    engine->SetScaleMap(0);
    EXPECT_THAT(Intervals(*engine, 65, {0, 0, 1, -1}), ElementsAre(65, 67, 69, 62));
}

TEST(VoiceIntervals, RefusesNullPointers) {
    const auto engine = NewEngine();
    int32_t four[4] = {};
    EXPECT_EQ(engine->VoiceIntervals(60, nullptr, four), kBadArgument);
    EXPECT_EQ(engine->VoiceIntervals(60, four, nullptr), kBadArgument);
}

TEST(VoiceIntervals, EndsOnAbsurdIntervals) {
    const auto engine = NewEngine();
    EXPECT_GT(Intervals(*engine, 60, {0, INT_MAX, INT_MIN, 0})[1], 1000);
}

TEST(VoiceOpenFourths, TakesAPerfectFourthAboveAlsoWhereTheScaleHasNone) {
    const auto engine = NewEngine();
    EXPECT_THAT(OpenFourths(*engine, 60, 1), ElementsAre(60, 65, 57, -1));
    EXPECT_THAT(OpenFourths(*engine, 65, 1),
                ElementsAre(65, 70, 62, -1));  // the scale has B, an augmented fourth
    EXPECT_THAT(OpenFourths(*engine, 65, 0), ElementsAre(65, 71, 62, -1));  // variant 0 stays in the scale
}

TEST(VoiceOpenFourths, LiesBelowTheLeadFromVariantTwo) {
    const auto engine = NewEngine();
    EXPECT_THAT(OpenFourths(*engine, 60, 2), ElementsAre(60, 55, 52, -1));
    EXPECT_THAT(OpenFourths(*engine, 71, 2), ElementsAre(71, 65, 62, -1));
    EXPECT_THAT(OpenFourths(*engine, 71, 3), ElementsAre(71, 66, 62, -1));  // perfect wherever it falls
    EXPECT_THAT(OpenFourths(*engine, 60, 3), ElementsAre(60, 55, 52, -1));
    EXPECT_THAT(OpenFourths(*engine, 60, 5), ElementsAre(60, 55, 52, -1));
    EXPECT_THAT(OpenFourths(*engine, 60, -1), ElementsAre(60, 65, 57, -1));
}

TEST(VoiceOpenFourths, MapsTheLeadOnlyOnce) {
    const auto engine = NewEngine();
    engine->SetOutputScale(ScaleMinor);
    engine->SetQuantize(0);
    EXPECT_EQ(OpenFourths(*engine, 71, 0)[0], 70);
    EXPECT_EQ(engine->GetScaleMap(), 1);
    engine->SetInputScale(ScaleLocrian);
    engine->SetOutputScale(ScaleLydian);  // moves every degree but the tonic up a semitone
    EXPECT_EQ(OpenFourths(*engine, 65, 0)[0], 66);
    EXPECT_EQ(OpenFourths(*engine, 63, 2)[0], 64);
}

TEST(VoiceOpenFourths, SnapsTheMappedLeadAgain) {
    const auto engine = NewEngine();
    engine->SetOutputScale(ScaleMinor);
    // E maps to E flat, which the input scale doesn't have: it snaps down to D.
    EXPECT_THAT(OpenFourths(*engine, 64, 0), ElementsAre(62, 67, 58, -1));
}

TEST(VoiceOpenFourths, IgnoresANullResult) { NewEngine()->VoiceOpenFourths(60, nullptr, 1); }

TEST(VoiceFixedInterval, CountsScaleStepsWithTheScaleMap) {
    const auto engine = NewEngine();
    EXPECT_THAT(Fixed(*engine, 65, 0), ElementsAre(65, 71, -1, -1));
    EXPECT_THAT(Fixed(*engine, 71, 1), ElementsAre(71, 65, -1, -1));
    EXPECT_THAT(Fixed(*engine, 71, 2), ElementsAre(71, 77, -1, -1));
    EXPECT_THAT(Fixed(*engine, 60, 3), ElementsAre(60, 53, -1, -1));
    EXPECT_THAT(Fixed(*engine, 60, 4), ElementsAre(60, 72, -1, -1));
    EXPECT_THAT(Fixed(*engine, 60, 5), ElementsAre(60, 48, -1, -1));
    EXPECT_THAT(Fixed(*engine, 60, 6), ElementsAre(60, 53, 65, -1));
    EXPECT_THAT(Fixed(*engine, 61, 4), ElementsAre(60, 72, -1, -1));
}

TEST(VoiceFixedInterval, CountsSemitonesFromTheNoteAsItComesWithoutTheScaleMap) {
    const auto engine = NewEngine();
    engine->SetScaleMap(0);
    EXPECT_THAT(Fixed(*engine, 61, 0), ElementsAre(61, 66, -1, -1));
    EXPECT_THAT(Fixed(*engine, 61, 1), ElementsAre(61, 56, -1, -1));
    EXPECT_THAT(Fixed(*engine, 61, 2), ElementsAre(61, 61, 61, 68));  // the fifth above is voice 3 alone
    EXPECT_THAT(Fixed(*engine, 61, 3), ElementsAre(61, 54, -1, -1));
    EXPECT_THAT(Fixed(*engine, 61, 4), ElementsAre(61, 73, -1, -1));
    EXPECT_THAT(Fixed(*engine, 61, 5), ElementsAre(61, 49, -1, -1));
    EXPECT_THAT(Fixed(*engine, 61, 6), ElementsAre(61, 54, 66, -1));
}

TEST(VoiceFixedInterval, RefusesNullAndOtherVariants) {
    const auto engine = NewEngine();
    for (const int32_t map : {1, 0}) {
        engine->SetScaleMap(map);
        EXPECT_EQ(engine->VoiceFixedInterval(60, nullptr, 0), kBadArgument);
        for (const int32_t variant : {7, -1, INT_MAX, INT_MIN}) {
            int32_t result[4] = {-7, -7, -7, -7};
            EXPECT_EQ(engine->VoiceFixedInterval(60, result, variant), kBadArgument);
            EXPECT_THAT(result, Each(-7));
        }
    }
}

TEST(VoiceDouble, AddsOneVoiceToThreeLeads) {
    const auto engine = NewEngine();
    int32_t result[4];
    EXPECT_EQ(engine->VoiceDouble(61, result, 4, 2), 0);
    EXPECT_THAT(result, ElementsAre(61, 61, 61, 65));
    EXPECT_EQ(engine->VoiceDouble(61, result, 4, 1), 0);
    EXPECT_THAT(result, ElementsAre(61, 61, 61, 57));
}

TEST(VoiceDouble, NeedsADirectionForAnInterval) {
    const auto engine = NewEngine();
    int32_t result[4] = {-7, -7, -7, -7};
    EXPECT_EQ(engine->VoiceDouble(61, result, 4, 0), kBadArgument);
    EXPECT_THAT(result, Each(-7));
    EXPECT_EQ(engine->VoiceDouble(61, result, 0, 0), 0);
    EXPECT_THAT(result, Each(61));
    EXPECT_EQ(engine->VoiceDouble(61, nullptr, 0, 0), kBadArgument);
}

TEST(VoiceBlock, RefusesOtherStylesAndWritesNothing) {
    const auto engine = NewEngine();
    for (const int32_t style : {9, -1, INT_MAX, INT_MIN}) {
        int32_t result[4] = {-7, -7, -7, -7};
        EXPECT_EQ(engine->VoiceBlock(60, 62, result, style), kBadArgument);
        EXPECT_THAT(result, Each(-7));
    }
    EXPECT_EQ(engine->VoiceBlock(60, 62, nullptr, 0), kBadArgument);
}

TEST(VoiceBlock, SetsTheTonicSixthChordUnderItsTones) {
    const auto engine = NewEngine();
    EXPECT_THAT(Block(*engine, 60, 60, 0), ElementsAre(60, 57, 55, 52));
    EXPECT_THAT(Block(*engine, 64, 64, 0), ElementsAre(64, 60, 57, 55));
    EXPECT_THAT(Block(*engine, 67, 67, 0), ElementsAre(67, 64, 60, 57));
    EXPECT_THAT(Block(*engine, 69, 69, 0), ElementsAre(69, 67, 64, 60));
    EXPECT_THAT(Block(*engine, 60, 60, 2), ElementsAre(60, 57, 52, 48));
    EXPECT_THAT(Block(*engine, 64, 64, 2), ElementsAre(64, 57, 55, 52));
    EXPECT_THAT(Block(*engine, 67, 67, 2), ElementsAre(67, 60, 57, 55));
    EXPECT_THAT(Block(*engine, 69, 69, 2), ElementsAre(69, 67, 60, 57));
    EXPECT_THAT(Block(*engine, 60, 60, 4), ElementsAre(60, 55, 52, 45));
    EXPECT_THAT(Block(*engine, 64, 64, 4), ElementsAre(64, 57, 55, 48));
    EXPECT_THAT(Block(*engine, 67, 67, 4), ElementsAre(67, 60, 57, 52));
    EXPECT_THAT(Block(*engine, 69, 69, 4), ElementsAre(69, 64, 60, 55));
}

TEST(VoiceBlock, SetsADiminishedSeventhUnderOtherTones) {
    const auto engine = NewEngine();
    for (const int32_t lead : {62, 65, 71}) {
        EXPECT_THAT(Block(*engine, lead, lead, 0), ElementsAre(lead, lead - 3, lead - 6, lead - 9));
        EXPECT_THAT(Block(*engine, lead, lead, 2), ElementsAre(lead, lead - 3, lead - 6, lead - 12));
        EXPECT_THAT(Block(*engine, lead, lead, 4), ElementsAre(lead, lead - 6, lead - 9, lead - 15));
    }
}

TEST(VoiceBlock, PassesToTheNextNoteInOddStyles) {
    const auto engine = NewEngine(0, ScaleChromatic);
    const struct {
        int32_t lead, next;
        char chord;
    } cases[] = {{60, 65, 'A'}, {62, 67, 'A'}, {66, 67, 'B'}, {67, 72, 'A'}, {67, 69, 'A'}, {67, 60, 'A'},
                 {68, 69, 'B'}, {68, 67, 'C'}, {71, 72, 'B'}, {71, 60, 'B'}, {60, 77, 'A'}};
    const int32_t below[3][3][3] = {{{2, 5, 8}, {2, 8, 12}, {5, 8, 14}},
                                    {{4, 6, 9}, {4, 6, 12}, {6, 9, 16}},
                                    {{1, 5, 8}, {1, 8, 12}, {5, 8, 13}}};
    for (const auto& c : cases) {
        for (int32_t style = 1; style < 6; style += 2) {
            const int32_t(&d)[3] = below[c.chord - 'A'][style / 2];
            EXPECT_THAT(Block(*engine, c.lead, c.next, style),
                        ElementsAre(c.lead, c.lead - d[0], c.lead - d[1], c.lead - d[2]))
                << c.lead << ' ' << c.next << ' ' << style;
        }
    }
}

TEST(VoiceBlock, TakesThePlainChordWhereNoPassingChordLeadsOn) {
    for (const int32_t row : {int32_t{ScaleMajor}, int32_t{ScaleChromatic}}) {
        const auto engine = NewEngine(0, row);
        const auto passes = [](int32_t t, int32_t u) {
            return (t == 0 && u == 5) || (t == 2 && u == 7) || (t == 6 && u == 7) ||
                   (t == 7 && (u == 0 || u == 9)) || (t == 8 && (u == 7 || u == 9)) || (t == 11 && u == 0);
        };
        for (int32_t lead = 60; lead < 72; ++lead) {
            if (engine->PrepareNote(lead) != lead) {
                continue;
            }
            for (int32_t next = 60; next < 84; ++next) {
                for (int32_t style = 1; style < 6; style += 2) {
                    const bool same =
                        Block(*engine, lead, next, style) == Block(*engine, lead, lead, style - 1);
                    EXPECT_EQ(same, next == lead || !passes(lead % 12, next % 12)) << lead << ' ' << next;
                }
            }
        }
    }
}

TEST(VoiceBlock, EvenStylesDoNotLookAtTheNextNote) {
    const auto engine = NewEngine();
    for (int32_t style = 0; style < 6; style += 2) {
        EXPECT_EQ(Block(*engine, 60, 65, style), Block(*engine, 60, 60, style));
    }
}

TEST(VoiceBlock, DoesNotPrepareTheNextNote) {
    const auto g = NewEngine(7);
    EXPECT_THAT(Block(*g, 67, 72, 1), ElementsAre(67, 65, 62, 59));  // tonic to fourth: passing
    EXPECT_THAT(Block(*g, 67, 73, 1), ElementsAre(67, 64, 62, 59));  // C sharp isn't the fourth: plain
    const auto c = NewEngine();
    ASSERT_EQ(c->PrepareNote(66), 65);  // as a lead F sharp would be an F, and F after C passes
    EXPECT_EQ(Block(*c, 60, 66, 1), Block(*c, 60, 60, 0));
    EXPECT_NE(Block(*c, 60, 65, 1), Block(*c, 60, 60, 0));
}

TEST(VoiceBlock, KeepsAllVoicesBelowTheLead) {
    for (int32_t key = 0; key < 12; ++key) {
        for (const int32_t row : {int32_t{ScaleMajor}, int32_t{ScaleMinor}}) {
            const auto engine = NewEngine(key, row);
            for (int32_t note = 60; note < 72; ++note) {
                for (int32_t style = 0; style < 9; ++style) {
                    const Voices voices = Block(*engine, note, note + 1, style);
                    ASSERT_EQ(voices[0], engine->PrepareNote(note));
                    ASSERT_LT(voices[1], voices[0]);
                    ASSERT_LT(voices[2], voices[1]);
                    ASSERT_LT(voices[3], voices[2]);
                    ASSERT_GE(voices[3], voices[0] - 16);
                }
            }
        }
    }
}

TEST(VoiceBlock, DrawsRandomStacksFromTheSeededGenerator) {
    const int32_t stacks[3][2][3] = {
        {{3, 7, 10}, {3, 5, 8}}, {{7, 10, 12}, {3, 8, 12}}, {{7, 10, 15}, {5, 8, 15}}};
    const auto engine = NewEngine();
    uint32_t state = 42;
    int32_t ones = 0;
    for (int32_t t = 0; t < 300; ++t) {
        const int32_t style = 6 + t % 3;
        state = state * 214013u + 2531011u;
        const uint32_t bit = ((state >> 16) & 0x7fff) % 2;
        ones += static_cast<int32_t>(bit);
        const int32_t(&d)[3] = stacks[style - 6][bit];
        ASSERT_THAT(Block(*engine, 72, 72, style), ElementsAre(72, 72 - d[0], 72 - d[1], 72 - d[2])) << t;
        // Other styles and refused ones draw nothing.
        Block(*engine, 60, 65, t % 6);
        int32_t result[4];
        engine->VoiceBlock(60, 60, result, 9);
    }
    EXPECT_GT(ones, 100);
    EXPECT_LT(ones, 200);
}

TEST(VoiceBlock, StartsEachEngineWithTheSameSeedAndKeepsItOverAReset) {
    const auto first = NewEngine(), second = NewEngine();
    std::vector<Voices> a, b;
    for (int32_t t = 0; t < 40; ++t) {
        a.push_back(Block(*first, 72, 72, 6));
        if (t == 20) {
            second->ResetHistory();
        }
        b.push_back(Block(*second, 72, 72, 6));
    }
    EXPECT_EQ(a, b);
}

TEST(DirectStyles, LeaveTheHistoryAlone) {
    const auto engine = NewEngine();
    int32_t result[4];
    engine->VoiceChord(60, result, {0, 3, TriadMajor, SeventhNone});
    const Voices history(engine->GetLastVoicing(), engine->GetLastVoicing() + 4);
    Intervals(*engine, 67, {0, 1, 2, 3});
    Block(*engine, 67, 69, 1);
    OpenFourths(*engine, 67, 1);
    Fixed(*engine, 67, 6);
    engine->VoiceDouble(67, result, 4, 2);
    EXPECT_EQ(Voices(engine->GetLastVoicing(), engine->GetLastVoicing() + 4), history);
}

}  // namespace

}  // namespace mlh
