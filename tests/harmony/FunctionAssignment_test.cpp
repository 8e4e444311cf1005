// The harmonic functions of a melody, against hand-worked notes and an independent second-order search.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "base/Codes.h"
#include "harmony/CadenceRules.h"
#include "harmony/ChoiralizerV2.h"
#include "harmony/ProgressionTables.h"
#include "support/Tunes.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using Functions = std::vector<int32_t>;

constexpr int32_t kMajor = 0, kMinor = 5, kHarmonicMinor = 7, kChromatic = 13;
constexpr int32_t T = FunctionTonic, S = FunctionSubdominant, D = FunctionDominant;

struct TimedMelody {
    std::vector<int32_t> pitch;
    std::vector<float> duration;
};

struct Assigned {
    int32_t code = 0;
    Functions functions;
    std::vector<int32_t> boundaries;
};

Assigned Assign(const TimedMelody& melody, int32_t key = 0, int32_t scale = kMajor) {
    std::vector<NoteItem> items(melody.pitch.size());
    float time = 0.0f;
    for (size_t i = 0; i < items.size(); ++i) {
        items[i].pitch = melody.pitch[i];
        items[i].startTime = time;
        time += melody.duration[i];
        items[i].endTime = time;
    }
    NoteList list;
    list.items = items.data();
    list.count = static_cast<int32_t>(items.size());
    CChoiralizerV2 engine;
    engine.SetKey(key);
    engine.SetOutputScale(scale);
    EXPECT_EQ(engine.SetMelody(&list, 1), 0);
    EXPECT_EQ(engine.AnalysePhrases(), 0);
    const int32_t code = engine.AssignFunctions();
    return {code, engine.GetNoteFunctions(), engine.GetPhraseBoundaries()};
}

Functions FunctionsOf(const std::vector<int32_t>& pitch, int32_t key = 0, int32_t scale = kMajor) {
    return Assign({pitch, std::vector<float>(pitch.size(), 1.0f)}, key, scale).functions;
}

TEST(FunctionAssignment, OneNoteTakesTheFunctionOfItsDegree) {
    // Each note between two tones of the scale is the lower one raised.
    const int32_t inMajor[12] = {T, S, D, D, T, S, D, T, S, S, T, D};
    for (int32_t pitch = 0; pitch < 12; ++pitch) {
        EXPECT_EQ(FunctionsOf({60 + pitch}), Functions{inMajor[pitch]}) << pitch;
        EXPECT_EQ(FunctionsOf({60 + pitch + 7}, 7), Functions{inMajor[pitch]}) << pitch;
    }
}

TEST(FunctionAssignment, OneNoteOfTheMinorScales) {
    const int32_t inMinor[12] = {T, S, D, T, S, S, D, T, S, T, D, T};
    for (int32_t pitch = 0; pitch < 12; ++pitch) {
        EXPECT_EQ(FunctionsOf({60 + pitch}, 0, kMinor), Functions{inMinor[pitch]}) << pitch;
    }
    EXPECT_EQ(FunctionsOf({71}, 0, kHarmonicMinor), Functions{D});
    // B flat in harmonic minor has no scale tone a semitone below: the sixth degree lowered.
    EXPECT_EQ(FunctionsOf({70}, 0, kHarmonicMinor), Functions{S});
}

TEST(FunctionAssignment, TheEighthDegreeOfTheChromaticScaleReadsOnIntoTheRaisedRow) {
    EXPECT_EQ(FunctionsOf({67}, 0, kChromatic), Functions{S});
    EXPECT_EQ(FunctionsOf({66}, 0, kChromatic), Functions{D});
}

TEST(FunctionAssignment, PitchesBelowTheKeyAreReadAnOctaveUp) {
    EXPECT_EQ(FunctionsOf({4}, 9), FunctionsOf({16}, 9));
    EXPECT_EQ(FunctionsOf({8, 9}, 9), FunctionsOf({20, 21}, 9));
}

TEST(FunctionAssignment, TwoNotesAreBothAnchors) {
    EXPECT_EQ(FunctionsOf({60, 67}), (Functions{T, D}));
    EXPECT_EQ(FunctionsOf({67, 60}), (Functions{T, T}));
    EXPECT_EQ(FunctionsOf({62, 60}), (Functions{D, T}));
}

TEST(FunctionAssignment, WithOnePhraseOneSearchFillsAllBetweenTheEnds) {
    const Assigned result = Assign({{60, 62, 64, 65, 67, 69, 71, 72}, std::vector<float>(8, 1.0f)});
    EXPECT_EQ(result.boundaries, std::vector<int32_t>(8, 0));
    EXPECT_EQ(result.functions.front(), T);
    EXPECT_EQ(result.functions.back(), T);
    for (int32_t function : result.functions) {
        EXPECT_NE(function, FunctionNone);
    }
}

TEST(FunctionAssignment, ANoteOutOfTheScaleIsLeftOut) {
    const Functions functions = FunctionsOf({60, 61, 64, 65, 60});
    EXPECT_EQ(functions[1], FunctionNone);
    for (size_t i : {0u, 2u, 3u, 4u}) {
        EXPECT_NE(functions[i], FunctionNone) << i;
    }
}

TEST(FunctionAssignment, AnAuxiliaryNoteIsLeftOut) {
    const Functions functions = FunctionsOf({60, 64, 65, 64, 67, 60});
    EXPECT_EQ(functions[2], FunctionNone);
    for (size_t i : {0u, 1u, 3u, 4u, 5u}) {
        EXPECT_NE(functions[i], FunctionNone) << i;
    }
}

TEST(FunctionAssignment, ARepeatedPitchIsLeftOutButForItsLast) {
    // The note kept before is compared with the note after it: the first of the repeated ones stays, since
    // the note after it is the same as itself only from the second on.
    const Functions functions = FunctionsOf({60, 64, 64, 64, 67, 60});
    EXPECT_NE(functions[1], FunctionNone);
    EXPECT_EQ(functions[2], FunctionNone);
    EXPECT_NE(functions[3], FunctionNone);
}

TEST(FunctionAssignment, AnchorsAreKeptWhateverTheirPitch) {
    // The last note is out of the scale, but the cadence gives it a function.
    EXPECT_EQ(FunctionsOf({60, 62, 61}).back(), D);
}

TEST(FunctionAssignment, ANoteWithoutAPitchIsABadArgument) {
    for (const std::vector<int32_t>& pitch : {std::vector<int32_t>{-1}, {60, -1, 60}, {60, 62, -5}}) {
        EXPECT_EQ(Assign({pitch, std::vector<float>(pitch.size(), 1.0f)}).code, kBadArgument);
    }
}

TEST(FunctionAssignment, AnEndThatNoRuleKnowsKeepsNoFunctionButLetsTheNotesBeforeItBeFilled) {
    // In the chromatic scale the fifth above the key is an eighth degree, of which the cadence rules know
    // nothing.
    const Functions functions = FunctionsOf({60, 62, 64, 65, 67}, 0, kChromatic);
    for (size_t i = 0; i + 1 < functions.size(); ++i) {
        EXPECT_NE(functions[i], FunctionNone) << i;
    }
    EXPECT_EQ(functions.back(), FunctionNone);
}

// ---- an independent implementation -----------------------------------------------------------------------

const int32_t kMajorSteps[8] = {0, 2, 4, 5, 7, 9, 11, 12};

float StepWeight(int32_t table, int32_t x, int32_t y, int32_t z, int32_t column, float before) {
    float sum = 0.0f;
    for (int32_t k = 0; k < 12; ++k) {
        sum = sum + DegreeFitTable[table][y][z][k];
    }
    const float reached = ProgressionTable[x][y][z] * 3.1622777f * before;
    return reached * 3.1622777f * (DegreeFitTable[table][y][z][column] / sum);
}

// Fills the gap by full back tracking from tables over (before, current, note).
void PlainGap(const CadenceMelody& melody, const std::vector<int32_t>& K, int32_t k, int32_t h,
              Functions& f) {
    const int32_t length = h - k + 1, table = melody.scale == 0 ? 0 : 1;
    std::vector<std::array<std::array<float, 5>, 5>> prob(static_cast<size_t>(length));
    std::vector<std::array<std::array<int32_t, 5>, 5>> from(static_cast<size_t>(length));
    for (auto& p : prob) {
        p = {};
    }
    const int32_t x0 = k >= 2 && f[K[k - 2]] != 0 ? f[K[k - 1]] : 0;
    prob[0][x0][f[K[k]]] = 1.0f;
    for (int32_t t = 1; t < length; ++t) {
        const int32_t note = K[k + t];
        const int32_t column = ((kMajorSteps[melody.degree[note]] + melody.alteration[note]) % 12 + 12) % 12;
        for (int32_t z = 0; z < 5; ++z) {
            for (int32_t y = 0; y < 5; ++y) {
                int32_t best = -1;
                float bestReached = 0.0f;
                for (int32_t x = 0; x < 5; ++x) {
                    const float reached = ProgressionTable[x][y][z] * 3.1622777f * prob[t - 1][x][y];
                    if (reached > bestReached) {
                        bestReached = reached;
                        best = x;
                    }
                }
                from[t][y][z] = best;
                prob[t][y][z] = best < 0 ? 0.0f : StepWeight(table, best, y, z, column, prob[t - 1][best][y]);
            }
        }
    }
    const int32_t given = f[K[h]];
    int32_t x = -1, y = -1;
    for (int32_t a = 0; a < 5; ++a) {
        for (int32_t b = 0; b < 5; ++b) {
            if (given != 0 && b != given) {
                continue;
            }
            if (x < 0 || prob[length - 1][a][b] > prob[length - 1][x][y]) {
                x = a;
                y = b;
            }
        }
    }
    for (int32_t t = length - 1; t >= 2 && from[t][x][y] >= 0; --t) {
        const int32_t before = from[t][x][y];
        y = x;
        x = before;
        f[K[k + t - 1]] = y;
    }
}

struct PlainResult {
    Functions functions;
    std::vector<int32_t> kept;
    CadenceMelody melody;
};

PlainResult PlainAssign(const TimedMelody& timed, const std::vector<int32_t>& boundaries, int32_t key,
                        int32_t scale) {
    const int32_t n = static_cast<int32_t>(timed.pitch.size());
    const int32_t* row = ScaleRow(scale);
    PlainResult out;
    CadenceMelody& melody = out.melody;
    melody.scale = scale;
    float time = 0.0f;
    for (int32_t i = 0; i < n; ++i) {
        const float start = time;
        time += timed.duration[i];
        melody.duration.push_back(time - start);
        const int32_t above = ((timed.pitch[i] - key) % 12 + 12) % 12;
        int32_t tones = 0;
        for (int32_t s = 0; s <= above; ++s) {
            tones += row[s];
        }
        melody.degree.push_back((tones - 1) % 8);
        melody.alteration.push_back(row[above] == 1 ? 0 : row[(above + 11) % 12] == 1 ? 1 : -1);
    }
    Functions& f = out.functions;
    f.assign(static_cast<size_t>(n), 0);
    const int32_t byDegree[3][8] = {
        {3, 2, 3, 1, 3, 2, 1, 1}, {1, 3, 1, 2, 1, 2, 3, 2}, {2, 3, 2, 3, 2, 1, 1, 3}};
    f[0] = byDegree[melody.alteration[0] + 1][melody.degree[0]];
    int32_t previousEnd = 0;
    for (int32_t e = 1; e < n; ++e) {
        if (e == n - 1 || boundaries[e + 1] == 1) {
            AssignCadence(melody, e, previousEnd, f);
            previousEnd = e;
        }
    }
    std::vector<int32_t>& K = out.kept;
    for (int32_t i = 0; i < n; ++i) {
        const bool inScale = melody.alteration[i] == 0;
        const int32_t before = K.empty() ? timed.pitch[0] : timed.pitch[K.back()];
        const bool auxiliary = i != 0 && i != n - 1 && before == timed.pitch[i + 1];
        if (f[i] != 0 || (inScale && !auxiliary)) {
            K.push_back(i);
        }
    }
    for (int32_t k = 0; k + 1 < static_cast<int32_t>(K.size());) {
        if (f[K[k]] == 0 || f[K[k + 1]] != 0) {
            ++k;
            continue;
        }
        int32_t h = k + 1;
        while (h + 1 < static_cast<int32_t>(K.size()) && f[K[h]] == 0) {
            ++h;
        }
        PlainGap(melody, K, k, h, f);
        k = h;
    }
    return out;
}

TimedMelody RandomMelody(std::mt19937& random, size_t n, int32_t key, int32_t scale, bool chromatic) {
    TimedMelody melody;
    while (melody.pitch.size() < n) {
        const int32_t pitch = 48 + static_cast<int32_t>(random() % 30);
        if (!chromatic && ScaleRow(scale)[(pitch - key + 120) % 12] == 0) {
            continue;
        }
        melody.pitch.push_back(pitch);
        melody.duration.push_back(0.5f * static_cast<float>(1 + random() % 4));
    }
    return melody;
}

TEST(FunctionAssignment, AgreesWithAnIndependentSearchOnRandomMelodies) {
    std::mt19937 random(1234);
    const int32_t rows[6] = {kMajor, kMinor, kHarmonicMinor, 1, 11, kChromatic};
    for (int round = 0; round < 3000; ++round) {
        const int32_t key = static_cast<int32_t>(random() % 12), scale = rows[random() % 6];
        const TimedMelody melody = RandomMelody(random, 1 + random() % 60, key, scale, round % 3 == 0);
        const Assigned result = Assign(melody, key, scale);
        ASSERT_EQ(result.code, 0);
        ASSERT_EQ(result.functions, PlainAssign(melody, result.boundaries, key, scale).functions)
            << "round " << round << " key " << key << " scale " << scale;
    }
}

TEST(FunctionAssignment, NoSequenceOfFunctionsIsLikelierThanTheOneFound) {
    std::mt19937 random(77);
    int32_t compared = 0;
    while (compared < 60) {
        // One phrase whose first and last notes have a function; all sequences between them are tried.
        const TimedMelody melody = RandomMelody(random, 5 + random() % 3, 0, kMajor, false);
        const Assigned result = Assign(melody);
        const PlainResult plain = PlainAssign(melody, result.boundaries, 0, kMajor);
        const std::vector<int32_t>& K = plain.kept;
        const size_t gap = K.size() - 2;
        // The cadence may have fixed more than the ends; such melodies are left out.
        bool searched = K.size() >= 4;
        Functions anchors(melody.pitch.size(), 0);
        anchors[0] = result.functions[0];
        for (size_t i = 0; i < result.boundaries.size(); ++i) {
            searched = searched && result.boundaries[i] == 0;
        }
        AssignCadence(plain.melody, static_cast<int32_t>(melody.pitch.size()) - 1, 0, anchors);
        for (size_t i = 1; i + 1 < anchors.size(); ++i) {
            searched = searched && anchors[i] == 0;
        }
        if (!searched) {
            continue;
        }
        ++compared;

        const auto likelihood = [&](const Functions& path) {
            float p = 1.0f;
            for (size_t t = 1; t < path.size(); ++t) {
                const int32_t note = K[t];
                const int32_t column =
                    (kMajorSteps[plain.melody.degree[note]] + plain.melody.alteration[note]) % 12;
                p = StepWeight(0, t >= 2 ? path[t - 2] : 0, path[t - 1], path[t], column, p);
            }
            return p;
        };
        Functions found;
        for (int32_t note : K) {
            found.push_back(result.functions[note]);
        }
        float best = 0.0f;
        Functions path = found;
        int32_t sequences = 1;
        for (size_t i = 0; i < gap; ++i) {
            sequences *= 5;
        }
        for (int32_t code = 0; code < sequences; ++code) {
            for (int32_t i = 0, rest = code; i < static_cast<int32_t>(gap); ++i, rest /= 5) {
                path[i + 1] = rest % 5;
            }
            best = std::max(best, likelihood(path));
        }
        EXPECT_GT(best, 0.0f);
        EXPECT_EQ(likelihood(found), best);
    }
}

// Scales up and down without a phrase end: one gap.
std::vector<int32_t> UpAndDown(int32_t notes) {
    const int32_t line[14] = {60, 62, 64, 65, 67, 69, 71, 72, 71, 69, 67, 65, 64, 62};
    std::vector<int32_t> pitch;
    for (int32_t i = 0; i < notes; ++i) {
        pitch.push_back(line[i % 14]);
    }
    return pitch;
}

TEST(FunctionAssignment, AGapOfAHundredNotesIsFilledButForItsAuxiliaryNotes) {
    const std::vector<int32_t> pitch = UpAndDown(100);
    const Functions functions = FunctionsOf(pitch);
    for (size_t i = 1; i + 1 < pitch.size(); ++i) {
        EXPECT_EQ(functions[i] == FunctionNone, pitch[i - 1] == pitch[i + 1]) << i;
    }
}

TEST(FunctionAssignment, AGapWhoseLikelihoodIsBeyondTheSmallestFloatKeepsNoFunctions) {
    const Functions functions = FunctionsOf(UpAndDown(1000));
    EXPECT_NE(functions.front(), FunctionNone);
    EXPECT_NE(functions.back(), FunctionNone);
    for (size_t i = 1; i + 2 < functions.size(); ++i) {
        EXPECT_EQ(functions[i], FunctionNone) << i;
    }
}

TEST(FunctionAssignment, RealTunesGetFunctionsOnAlmostAllNotesOfTheirScale) {
    const std::vector<Tune> tunes = AllTunes();
    for (const Tune& tune : tunes) {
        TimedMelody melody;
        for (const TuneNote& note : tune.notes) {
            melody.pitch.push_back(note.pitch);
            melody.duration.push_back(note.duration);
        }
        const int32_t key = std::max(tune.keyTonic, 0), scale = tune.keyMode == "minor" ? kMinor : kMajor;
        const Assigned result = Assign(melody, key, scale);
        ASSERT_EQ(result.code, 0) << tune.name;
        const PlainResult plain = PlainAssign(melody, result.boundaries, key, scale);
        EXPECT_EQ(result.functions, plain.functions) << tune.name;
        for (int32_t note : plain.kept) {
            EXPECT_NE(result.functions[note], FunctionNone) << tune.name << " " << note;
        }
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
