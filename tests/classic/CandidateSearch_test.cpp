#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "classic/Choiralizer.h"
#include "support/PlainCandidateSearch.h"
#include "support/Tunes.h"

namespace mlh {

using namespace ChoiralizerClassic;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

std::unique_ptr<CChoiralizer> NewEngine() {
    CChoiralizer* engine = nullptr;
    EXPECT_EQ(CChoiralizer::Create(&engine), 0);
    return std::unique_ptr<CChoiralizer>(engine);
}

ClassicChord Triad(int32_t root, int32_t type = TriadMajor) { return {root, 3, type, SeventhNone}; }
ClassicChord Seventh(int32_t root, int32_t type = SeventhDominant) { return {root, 4, TriadNone, type}; }

// An engine and the plain search side by side.
struct Pair {
    std::unique_ptr<CChoiralizer> engine = NewEngine();
    PlainCandidateSearch plain;

    void Set(int32_t key, int32_t row, int32_t voiceMode, int32_t voicesAbove, float spread) {
        engine->SetKey(key);
        engine->SetInputScale(row);
        engine->SetOutputScale(row);
        engine->SetVoiceMode(voiceMode);
        ASSERT_EQ(engine->SetVoicesAbove(voicesAbove), 0);
        ASSERT_EQ(engine->SetSpread(spread), 0);
        plain.key = key;
        plain.row = row;
        plain.mode = voiceMode;
        plain.voiceCount = engine->GetVoiceCount();
        plain.voicesAbove = voicesAbove;
        plain.spread = spread;
    }

    // Gives both the same note and expects the same voices, history and cube.
    void Voice(int32_t note, const ClassicChord& chord) {
        int32_t result[4] = {-7, -7, -7, -7};
        int32_t plainResult[4] = {-7, -7, -7, -7};
        engine->VoiceChord(note, result, chord);
        plain.run(engine->PrepareNote(note), chord.root, chord.noteCount, plainResult);
        ASSERT_THAT(result, ElementsAreArray(plainResult));
        ASSERT_THAT(plain.P, ElementsAreArray(engine->GetLastVoicing(), 4));
        ASSERT_EQ(engine->GetStepDirection(), plain.stepDirection);
        const int32_t n = engine->GetCandidateCount();
        ASSERT_EQ(n, static_cast<int32_t>(plain.cand.size()));
        for (int32_t i = 0; i < n; ++i) {
            for (int32_t j = 0; j < n; ++j) {
                for (int32_t k = 0; k < n; ++k) {
                    ASSERT_EQ(engine->GetScore(i, j, k), plain.C[i][j][k])
                        << "cell " << i << ' ' << j << ' ' << k;
                }
            }
        }
    }
};

// The factor that a rule alone brings to a cell of the next note: the score with it over the score without
// it. Zero scores without it give -1.
struct RuleProbe {
    PlainCandidateSearch with, without;

    RuleProbe(const Pair& pair, PlainCandidateSearch::Rule rule, int32_t lead, const ClassicChord& chord)
        : with(pair.plain), without(pair.plain) {
        int32_t result[4];
        without.leaveOut = rule;
        with.run(lead, chord.root, chord.noteCount, result);
        without.run(lead, chord.root, chord.noteCount, result);
    }

    int32_t IndexOf(int32_t pitch) const {
        const auto found = std::find(with.cand.begin(), with.cand.end(), pitch);
        EXPECT_NE(found, with.cand.end()) << pitch << " is no candidate";
        return static_cast<int32_t>(found - with.cand.begin());
    }

    float Factor(int32_t i, int32_t j, int32_t k) const {
        return without.C[i][j][k] == 0.0f ? -1.0f : with.C[i][j][k] / without.C[i][j][k];
    }
};

TEST(CandidateSearch, ListsTheChordTonesWithinTheLimits) {
    const auto engine = NewEngine();
    int32_t result[4];
    engine->VoiceChord(60, result, Triad(0));
    EXPECT_THAT(engine->GetCandidates(), ElementsAre(48, 52, 55, 60, 64, 67, 72, -1, -1, -1, -1));
    EXPECT_EQ(engine->GetCandidateCount(), 7);
    // The chord's quality does not matter: the scale gives E and G on C.
    engine->VoiceChord(60, result, Triad(0, TriadMinor));
    EXPECT_THAT(engine->GetCandidates(), ElementsAre(48, 52, 55, 60, 64, 67, 72, -1, -1, -1, -1));
    engine->VoiceChord(60, result, Seventh(7));
    EXPECT_THAT(engine->GetCandidates(), ElementsAre(47, 50, 53, 55, 59, 62, 65, 67, 71, -1, -1));
}

TEST(CandidateSearch, TakesChordTonesOfPentatonicScalesFromTheParentScale) {
    const auto engine = NewEngine();
    engine->SetInputScale(ScaleMajorPentatonic);
    engine->SetOutputScale(ScaleMajorPentatonic);
    int32_t result[4];
    engine->VoiceChord(60, result, Triad(7));
    EXPECT_THAT(engine->GetCandidates(), ElementsAre(47, 50, 55, 59, 62, 67, 71, -1, -1, -1, -1));
}

TEST(CandidateSearch, NeverFindsMoreCandidatesThanItHasRoomFor) {
    for (int32_t row = 0; row < kScaleRows; ++row) {
        for (int32_t mode = 0; mode < 3; ++mode) {
            for (int32_t above = 0; above <= 3 - mode; ++above) {
                Pair pair;
                pair.Set(0, row, mode, above, 0.5f);
                for (int32_t root = 0; root < 12; ++root) {
                    for (int32_t note = 60; note < 72; ++note) {
                        pair.engine->ResetHistory();
                        pair.plain.P = {-1, -1, -1, -1};
                        int32_t result[4];
                        pair.engine->VoiceChord(note, result, Seventh(root));
                        pair.plain.collect(pair.engine->PrepareNote(note), root, 4);
                        ASSERT_EQ(pair.engine->GetCandidateCount(),
                                  static_cast<int32_t>(pair.plain.cand.size()));
                        ASSERT_LE(pair.engine->GetCandidateCount(), pair.engine->GetCandidateCapacity());
                    }
                }
            }
        }
    }
}

TEST(CandidateSearch, LeavesResultAndHistoryAloneWithoutCandidates) {
    const auto engine = NewEngine();
    int32_t result[4] = {1, 2, 3, 4};
    engine->VoiceChord(60, result, Triad(0));
    const std::vector<int32_t> before(result, result + 4);
    const std::vector<int32_t> history(engine->GetLastVoicing(), engine->GetLastVoicing() + 4);
    engine->VoiceChord(62, result, ClassicChord{0, 0, TriadMajor, SeventhNone});
    EXPECT_THAT(result, ElementsAreArray(before));
    EXPECT_THAT(history, ElementsAreArray(engine->GetLastVoicing(), 4));
}

TEST(CandidateSearch, AgreesWithThePlainSearchOnRandomMelodies) {
    std::mt19937 random(7);
    const auto below = [&random](int32_t n) {
        return static_cast<int32_t>(random() % static_cast<uint32_t>(n));
    };
    for (int32_t melody = 0; melody < 150; ++melody) {
        Pair pair;
        const int32_t mode = below(3);
        const int32_t row = below(2) ? below(kScaleRows) : 5 * below(2);
        ASSERT_NO_FATAL_FAILURE(
            pair.Set(below(12), row, mode, below(4 - mode), static_cast<float>(below(11)) / 10.0f));
        pair.engine->SetQuantize(below(4) != 0);
        pair.engine->SetScaleMap(below(4) != 0);
        int32_t note = 48 + below(30);
        for (int32_t t = 0; t < 12; ++t) {
            const int32_t root = below(12);
            const ClassicChord chord = below(3) ? Triad(root) : Seventh(root);
            ASSERT_NO_FATAL_FAILURE(pair.Voice(note, chord))
                << "melody " << melody << " note " << t << " mode " << mode << " row " << row;
            note += below(9) - 4 + (below(8) == 0 ? 12 * (below(3) - 1) : 0);
        }
    }
}

TEST(CandidateSearch, AgreesWithThePlainSearchWhenTheScaleChangesUnderTheHistory) {
    // History out of the scale gives step counts of -1.
    std::mt19937 random(8);
    const auto below = [&random](int32_t n) {
        return static_cast<int32_t>(random() % static_cast<uint32_t>(n));
    };
    for (int32_t melody = 0; melody < 60; ++melody) {
        Pair pair;
        const int32_t mode = below(3);
        pair.engine->SetQuantize(0);
        pair.engine->SetScaleMap(0);
        for (int32_t t = 0; t < 10; ++t) {
            ASSERT_NO_FATAL_FAILURE(pair.Set(below(12), below(kScaleRows), mode, below(4 - mode), 0.3f));
            const ClassicChord chord = below(2) ? Triad(below(12)) : Seventh(below(12));
            ASSERT_NO_FATAL_FAILURE(pair.Voice(55 + below(12), chord))
                << "melody " << melody << " note " << t;
        }
    }
}

TEST(CandidateSearch, SearchesAsForThreeVoicesInTheIntervalModeWithFewerVoices) {
    for (int32_t voiceMode = 0; voiceMode < 3; ++voiceMode) {
        for (int32_t above = 0; above <= 3 - voiceMode; ++above) {
            Pair pair;
            pair.engine->SetVoiceMode(voiceMode);
            ASSERT_NO_FATAL_FAILURE(pair.Set(0, ScaleMajor, 3, above, 0.5f));
            for (const int32_t note : {60, 62, 64, 65, 67, 65, 64, 62}) {
                ASSERT_NO_FATAL_FAILURE(pair.Voice(note, note % 2 ? Triad(5) : Seventh(7)))
                    << "voice mode " << voiceMode << " above " << above;
            }
        }
    }
}

TEST(CandidateSearch, TwoEqualVoicesAreAllowedButCarryTheUnisonFactor) {
    Pair pair;
    pair.Set(0, ScaleMajor, 0, 1, 0.5f);
    const RuleProbe order(pair, PlainCandidateSearch::kOrderPenalty, 60, Triad(0));
    const RuleProbe fit(pair, PlainCandidateSearch::kChordFit, 60, Triad(0));
    ASSERT_NO_FATAL_FAILURE(pair.Voice(60, Triad(0)));  // the engine's cube is the plain one
    const int32_t e = fit.IndexOf(52), g = fit.IndexOf(55), high = fit.IndexOf(67);
    EXPECT_FLOAT_EQ(order.Factor(e, e, high), 1.0f);
    // Both E: a unison on the third. E and G: none, and G doubled at the octave.
    EXPECT_FLOAT_EQ(fit.Factor(e, e, high), 0.15f * 0.7f);
    EXPECT_FLOAT_EQ(fit.Factor(e, g, high), 0.8f * 4.0f);
}

TEST(CandidateSearch, PenalisesVoicesOnTheWrongSideAndIndicesOutOfOrder) {
    Pair pair;
    pair.Set(0, ScaleMajor, 1, 1, 0.5f);
    const RuleProbe order(pair, PlainCandidateSearch::kOrderPenalty, 60, Triad(0));
    const int32_t low = order.IndexOf(52), lead = order.IndexOf(60), high = order.IndexOf(67);
    EXPECT_FLOAT_EQ(order.Factor(low, high, high), 1.0f);
    EXPECT_FLOAT_EQ(order.Factor(lead, lead, lead), 1.0f);
    EXPECT_FLOAT_EQ(order.Factor(high, high, high), 1e-5f);
    EXPECT_FLOAT_EQ(order.Factor(low, low, high), 1e-5f);
    EXPECT_FLOAT_EQ(order.Factor(low, low, low), 1e-10f);  // the idle index counts too
    // Of the six orders of three different indices three are penalised: here lowest, highest, middle.
    EXPECT_FLOAT_EQ(order.Factor(low, lead, high), 1.0f);
    EXPECT_FLOAT_EQ(order.Factor(low, high, lead), 1e-5f);
    EXPECT_FLOAT_EQ(order.Factor(lead, high, low),
                    1e-5f);  // an allowed order, but the last lies below the lead

    // One voice above the lead: no candidate lies below, so that the order alone decides.
    Pair one;
    one.Set(0, ScaleMajor, 2, 1, 0.5f);
    const RuleProbe orders(one, PlainCandidateSearch::kOrderPenalty, 60, Triad(9));
    EXPECT_FLOAT_EQ(orders.Factor(0, 1, 2), 1.0f);
    EXPECT_FLOAT_EQ(orders.Factor(1, 0, 2), 1.0f);
    EXPECT_FLOAT_EQ(orders.Factor(1, 2, 0), 1.0f);
    EXPECT_FLOAT_EQ(orders.Factor(0, 2, 1), 1e-5f);
    EXPECT_FLOAT_EQ(orders.Factor(2, 0, 1), 1e-5f);
    EXPECT_FLOAT_EQ(orders.Factor(2, 1, 0), 1e-5f);
    EXPECT_FLOAT_EQ(orders.Factor(2, 2, 0), 1.0f);
}

TEST(CandidateSearch, GivesStepBonusToRisingStepsAlone) {
    // One voice above a held G: D moves to E or to C.
    Pair pair;
    pair.Set(0, ScaleMajor, 2, 1, 0.6f);
    ASSERT_NO_FATAL_FAILURE(pair.Voice(67, Triad(7)));
    ASSERT_EQ(pair.engine->GetLastVoicing()[1], 74);
    ASSERT_NO_FATAL_FAILURE(pair.Voice(67, Triad(0)));
    ASSERT_THAT(pair.engine->GetCandidates(), ElementsAre(67, 72, 76, 79, -1));
    const auto& engine = *pair.engine;
    EXPECT_FLOAT_EQ(engine.GetScore(2, 0, 0), 5.0f * engine.GetScore(2, 0, 3));
    EXPECT_FLOAT_EQ(engine.GetScore(1, 0, 0), engine.GetScore(1, 0, 3));
}

TEST(CandidateSearch, ScoresParallelMotionByTheInterval) {
    // All voices a step up from C: the lead with the voice below in octaves, with the one above in fifths.
    Pair pair;
    pair.Set(0, ScaleMajor, 1, 1, 0.5f);
    ASSERT_NO_FATAL_FAILURE(pair.Voice(60, Triad(0)));
    const auto factorAfter = [&pair](std::vector<int> previous, int32_t lead, int32_t root, int32_t lower,
                                     int32_t upper) {
        pair.plain.P = std::move(previous);
        const RuleProbe parallel(pair, PlainCandidateSearch::kParallelMotion, lead, Triad(root));
        return parallel.Factor(parallel.IndexOf(lower), parallel.IndexOf(upper), 0);
    };
    // Lower voice held on D; lead and upper voice move C-G to D-A.
    EXPECT_FLOAT_EQ(factorAfter({50, 60, 67, 67}, 62, 2, 50, 69), 0.001f);
    // Upper voice held; lower voice and lead move in octaves.
    EXPECT_FLOAT_EQ(factorAfter({48, 60, 69, 69}, 62, 2, 50, 69), 0.002f);
    // Octaves, fifths, and the twelfth between the outer voices.
    EXPECT_FLOAT_EQ(factorAfter({48, 60, 67, 67}, 62, 2, 50, 69), 0.002f * 0.001f * 0.001f);
    // Lead and upper voice in thirds by a step, then by a leap of a fourth.
    EXPECT_FLOAT_EQ(factorAfter({50, 60, 64, 64}, 62, 2, 50, 65), 1.4f);
    EXPECT_FLOAT_EQ(factorAfter({50, 57, 60, 60}, 62, 2, 50, 65), 1.01f);
    // In sixths and in fourths.
    EXPECT_FLOAT_EQ(factorAfter({53, 60, 69, 69}, 62, 7, 53 - 3, 71), 1.4f);
    EXPECT_FLOAT_EQ(factorAfter({50, 60, 65, 65}, 62, 7, 50, 67), 0.05f);
    // The same parallel downwards.
    EXPECT_FLOAT_EQ(factorAfter({50, 64, 71, 71}, 62, 2, 50, 69), 0.001f);
    // Nobody moves: nothing to judge.
    EXPECT_FLOAT_EQ(factorAfter({50, 62, 69, 69}, 62, 2, 50, 69), 1.0f);
}

TEST(CandidateSearch, SpreadPeaksAtTheWantedPartOfTheRange) {
    Pair pair;
    pair.Set(0, ScaleMajor, 0, 1, 0.5f);
    const int32_t range = pair.engine->GetHighLimit() - pair.engine->GetLowLimit();
    ASSERT_EQ(range, 28);
    std::set<int32_t> spans;
    for (int32_t root = 0; root < 12; ++root) {
        const RuleProbe spread(pair, PlainCandidateSearch::kSpreadFit, 60, Seventh(root));
        const int32_t n = static_cast<int32_t>(spread.with.cand.size());
        for (int32_t i = 0; i < n; ++i) {
            for (int32_t k = i; k < n; ++k) {
                const auto& pitch = spread.with.cand;
                if (pitch[i] > 60 || pitch[k] < 60 || spread.Factor(i, i, k) < 0.0f) {
                    continue;
                }
                const int32_t span = pitch[k] - pitch[i];
                const double x = (span / 28.0 - 0.5) / 0.1;
                // Four roundings in 32 bits before the exponential, whose argument goes up to 23.
                EXPECT_NEAR(spread.Factor(i, i, k), std::max(std::exp(-x * x), 1e-10), 1e-5);
                EXPECT_EQ(spread.Factor(i, i, k) == 1.0f, span == 14) << span;
                spans.insert(span);
            }
        }
    }
    EXPECT_EQ(spans.count(14), 1u);
    EXPECT_GT(spans.size(), 10u);
}

TEST(CandidateSearch, TakesTheLastOfEqualCells) {
    // One voice: the idle indices do not change a score, so the greatest of them win and go into the history.
    const auto engine = NewEngine();
    engine->SetVoiceMode(2);
    engine->SetVoicesAbove(1);
    engine->SetSpread(0.6f);
    int32_t result[4];
    engine->VoiceChord(67, result, Triad(7));
    EXPECT_THAT(result, ElementsAre(67, 74, -1, -1));
    EXPECT_THAT(std::vector<int32_t>(engine->GetLastVoicing(), engine->GetLastVoicing() + 4),
                ElementsAre(67, 74, 79, 79));
}

TEST(CandidateSearch, TakesTheLastCellWhenAllAreZero) {
    // On the chromatic scale this chord lies 7, 9 and 11 steps above the lead, which no voice may sing.
    const auto engine = NewEngine();
    engine->SetInputScale(ScaleChromatic);
    engine->SetOutputScale(ScaleChromatic);
    engine->SetVoiceMode(2);
    engine->SetVoicesAbove(1);
    int32_t result[4];
    engine->VoiceChord(60, result, Triad(7));
    ASSERT_THAT(engine->GetCandidates(), ElementsAre(67, 69, 71, -1, -1));
    EXPECT_THAT(result, ElementsAre(60, 71, -1, -1));
    EXPECT_THAT(std::vector<int32_t>(engine->GetLastVoicing(), engine->GetLastVoicing() + 4),
                ElementsAre(60, 71, 71, 71));
}

TEST(CandidateSearch, RemembersTheDirectionOfTheLastStepWithFewVoices) {
    Pair pair;
    pair.Set(0, ScaleMajor, 2, 1, 0.6f);
    pair.plain.P = {-1, -1, -1, -1};
    ASSERT_NO_FATAL_FAILURE(pair.Voice(67, Triad(7)));
    EXPECT_EQ(pair.engine->GetStepDirection(), 0);
    ASSERT_NO_FATAL_FAILURE(pair.Voice(67, Triad(0)));
    ASSERT_EQ(pair.engine->GetLastVoicing()[1], 76);
    EXPECT_EQ(pair.engine->GetStepDirection(), 2);
    // A plane of a further rising step is worth twice as much with the momentum.
    const RuleProbe momentum(pair, PlainCandidateSearch::kStepMomentum, 69, Triad(5));
    EXPECT_FLOAT_EQ(momentum.Factor(momentum.IndexOf(77), 0, 0), 2.0f);
    EXPECT_FLOAT_EQ(momentum.Factor(momentum.IndexOf(72), 0, 0), 1.0f);
    // With three voices the direction is not watched.
    Pair three;
    three.Set(0, ScaleMajor, 0, 3, 0.5f);
    for (const int32_t note : {60, 62, 64}) {
        ASSERT_NO_FATAL_FAILURE(three.Voice(note, Triad(note - 60)));
        EXPECT_EQ(three.engine->GetStepDirection(), 0);
    }
}

TEST(CandidateSearch, SpacesNeighboursOnlyForFewVoicesOrFourNotes) {
    Pair pair;
    pair.Set(0, ScaleMajor, 0, 1, 0.5f);
    const RuleProbe triad(pair, PlainCandidateSearch::kSpacingPenalty, 60, Triad(0));
    const int32_t c = triad.IndexOf(48), e = triad.IndexOf(52), g = triad.IndexOf(67);
    EXPECT_FLOAT_EQ(triad.Factor(c, e, g), 1.0f);
    const RuleProbe seventh(pair, PlainCandidateSearch::kSpacingPenalty, 60, Seventh(0));
    EXPECT_FLOAT_EQ(seventh.Factor(seventh.IndexOf(48), seventh.IndexOf(52), seventh.IndexOf(67)), 0.15f);
    EXPECT_FLOAT_EQ(seventh.Factor(seventh.IndexOf(52), seventh.IndexOf(59), seventh.IndexOf(67)), 0.05f);
}

TEST(CandidateSearch, SingsChordTonesWithinTheLimitsInAllKeysOnAllDegrees) {
    for (const int32_t row : {int32_t{ScaleMajor}, int32_t{ScaleMinor}}) {
        for (int32_t key = 0; key < 12; ++key) {
            for (int32_t mode = 0; mode < 3; ++mode) {
                for (int32_t above = 0; above <= 3 - mode; ++above) {
                    Pair pair;
                    pair.Set(key, row, mode, above, 0.5f);
                    CChoiralizer& engine = *pair.engine;
                    const KeyedScale scale(key, row);
                    for (int32_t degree = 0; degree < 7; ++degree) {
                        const int32_t root = PitchClass(key + scale.WalkUp(0, degree + 1));
                        std::set<int32_t> tones;
                        for (const int32_t k : {1, 3, 5}) {
                            tones.insert(PitchClass(root + scale.WalkUp(scale.Position(root), k)));
                        }
                        for (int32_t lead = 60; lead < 72; ++lead) {
                            engine.ResetHistory();
                            int32_t result[4];
                            engine.VoiceChord(lead, result, Triad(root));
                            ASSERT_TRUE(scale.InScale(result[0]));
                            const int32_t voices = 3 - mode;
                            for (int32_t v = 1; v <= voices; ++v) {
                                ASSERT_GE(result[v], result[0] + engine.GetLowLimit());
                                ASSERT_LE(result[v], result[0] + engine.GetHighLimit());
                                ASSERT_EQ(tones.count(PitchClass(result[v])), 1u);
                            }
                            ASSERT_TRUE(std::is_sorted(result + 1, result + 1 + voices));
                            for (int32_t v = voices + 1; v < 4; ++v) {
                                ASSERT_EQ(result[v], -1);
                            }
                        }
                    }
                }
            }
        }
    }
}

TEST(CandidateSearch, DoesTheSameInAnyKey) {
    // A melody and its chords moved together move the voices along.
    const int32_t melody[] = {60, 62, 64, 65, 67, 69, 67, 71, 72, 64, 60};
    const int32_t roots[] = {0, 7, 0, 5, 7, 2, 4, 7, 0, 9, 0};
    for (int32_t mode = 0; mode < 3; ++mode) {
        const auto home = NewEngine();
        home->SetVoiceMode(mode);
        for (int32_t key = 1; key < 12; ++key) {
            home->ResetHistory();
            const auto away = NewEngine();
            away->SetVoiceMode(mode);
            away->SetKey(key);
            for (size_t t = 0; t < std::size(melody); ++t) {
                int32_t expected[4], result[4];
                home->VoiceChord(melody[t], expected, Triad(roots[t]));
                away->VoiceChord(melody[t] + key, result, Triad((roots[t] + key) % 12));
                for (int32_t v = 0; v < 4; ++v) {
                    ASSERT_EQ(result[v], expected[v] == -1 ? -1 : expected[v] + key);
                }
            }
        }
    }
}

TEST(CandidateSearch, KeepsParallelFifthsAndOctavesRareOnRealTunes) {
    const std::vector<Tune> tunes = AllTunes();
    for (int32_t mode = 0; mode < 3; ++mode) {
        int32_t moves = 0, parallels = 0;
        for (const Tune& tune : tunes) {
            if (tune.keyTonic < 0 || !tune.HasChords()) {
                continue;
            }
            const auto engine = NewEngine();
            engine->SetKey(tune.keyTonic);
            const int32_t row = tune.keyMode == "minor" ? ScaleMinor : ScaleMajor;
            engine->SetInputScale(row);
            engine->SetOutputScale(row);
            engine->SetVoiceMode(mode);
            int32_t before[4] = {-1, -1, -1, -1};
            for (const TuneNote& note : tune.notes) {
                if (note.chordRoot < 0) {
                    continue;
                }
                const bool four = note.chordQuality.find('7') != std::string::npos;
                int32_t now[4];
                engine->VoiceChord(note.pitch, now, four ? Seventh(note.chordRoot) : Triad(note.chordRoot));
                for (int32_t a = 0; before[0] != -1 && a < 4 - mode; ++a) {
                    for (int32_t b = a + 1; b < 4 - mode; ++b) {
                        const int32_t interval = std::abs(now[a] - now[b]) % 12;
                        const bool moved = now[a] != before[a] && now[b] != before[b];
                        const bool same = now[a] - before[a] == now[b] - before[b];
                        parallels += moved && same && (interval == 7 || (interval == 0 && now[a] != now[b]));
                    }
                }
                moves += before[0] != -1;
                std::copy(now, now + 4, before);
            }
        }
        const double per100 = 100.0 * parallels / moves;
        std::printf("mode %d: %d moves, %.2f parallel fifths or octaves per 100\n", mode, moves, per100);
        RecordProperty("parallels_per_100_mode_" + std::to_string(mode), std::to_string(per100));
        EXPECT_GT(moves, 300);
        EXPECT_LT(per100, 10.0);
    }
}

}  // namespace

}  // namespace mlh
