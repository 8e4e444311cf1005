// Phrase analysis of the harmony engine, against hand-worked melodies and a plain reading of its rules.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "harmony/ChoiralizerV2.h"
#include "support/Paths.h"
#include "support/Tunes.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using Marks = std::vector<int32_t>;

struct Phrases {
    Marks candidates;
    Marks boundaries;
};

struct TimedMelody {
    std::vector<int32_t> pitch;
    std::vector<float> duration;
};

Phrases Analyse(const TimedMelody& melody, int32_t key = 0, int32_t scale = 0) {
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
    return {engine.GetBoundaryCandidates(), engine.GetPhraseBoundaries()};
}

Phrases Analyse(const std::vector<int32_t>& pitch) {
    return Analyse({pitch, std::vector<float>(pitch.size(), 1.0f)});
}

Marks MarksAt(size_t n, std::initializer_list<size_t> notes) {
    Marks marks(n, 0);
    for (size_t note : notes) marks[note] = 1;
    return marks;
}

TEST(PhraseAnalysis, OneNoteIsACandidateAndNoBoundary) {
    const Phrases phrases = Analyse({60});
    EXPECT_EQ(phrases.candidates, Marks{1});
    EXPECT_EQ(phrases.boundaries, Marks{0});
}

TEST(PhraseAnalysis, ANoteAfterALongOneStandsOut) {
    // Strength of note i: pitch moved + 2 x length of the note before / mean + length changed.
    // Mean 9/6 = 1.5; strengths from note 1: 2.33, 2.33, 3.33, 7.33, 3.33.
    const TimedMelody melody = {{60, 62, 64, 65, 67, 69}, {1, 1, 1, 4, 1, 1}};
    const Phrases phrases = Analyse(melody);
    EXPECT_EQ(phrases.candidates, MarksAt(6, {0, 4}));
    EXPECT_EQ(phrases.boundaries, Marks(6, 0));  // two candidates decide nothing
}

TEST(PhraseAnalysis, TheFirstTwoAndTheLastNotesNeverStandOut) {
    // The long notes 0 and 4 lie before notes 1 and 5, the ends of what is looked at.
    EXPECT_EQ(Analyse({{60, 62, 64, 65, 67, 69}, {4, 1, 1, 1, 4, 1}}).candidates, MarksAt(6, {0}));
}

TEST(PhraseAnalysis, EqualLengthsWithoutMovesHaveNoCandidates) {
    EXPECT_EQ(Analyse({60, 60, 60, 60, 60, 60, 60}).candidates, MarksAt(7, {0}));
}

TEST(PhraseAnalysis, OneMoveInALineOfEqualNotesStandsOut) {
    EXPECT_EQ(Analyse({60, 60, 60, 62, 62, 62, 62}).candidates, MarksAt(7, {0, 3}));
}

TEST(PhraseAnalysis, TheMiddleOfThreeCandidatesBehindTheFirstCanBeABoundary) {
    // Candidates 0, 4, 8 and 12 (each after a long note). Strengths by hand, mean 28 / 16 = 1.75:
    //   4: (|60 - 60| + 7) + (0 + 1), x 4 / 1.75 = 18.29
    //   8: (|72 - 60| + 7) + (0 + 1) + 7, x 4 / 1.75 = 61.71
    //  12: (|72 - 72| + 7) + (0 + 1), x 4 / 1.75 = 18.29
    TimedMelody melody;
    for (int32_t phrase = 0; phrase < 4; ++phrase) {
        for (int32_t note = 0; note < 4; ++note) {
            melody.pitch.push_back(phrase < 2 ? 60 : 72);
            melody.duration.push_back(note == 3 ? 4.0f : 1.0f);
        }
    }
    // Other first lengths keep the opening from being found again.
    melody.duration[0] = 1.5f;
    melody.duration[1] = 0.5f;
    const Phrases phrases = Analyse(melody);
    EXPECT_EQ(phrases.candidates, MarksAt(16, {0, 4, 8, 12}));
    EXPECT_EQ(phrases.boundaries, MarksAt(16, {8}));
}

TEST(PhraseAnalysis, ThreeCandidatesDecideNothing) {
    TimedMelody melody;
    for (int32_t phrase = 0; phrase < 3; ++phrase) {
        for (int32_t note = 0; note < 4; ++note) {
            melody.pitch.push_back(phrase == 1 ? 72 : 60);
            melody.duration.push_back(note == 3 ? 4.0f : 1.0f);
        }
    }
    melody.duration[0] = 1.5f;
    melody.duration[1] = 0.5f;
    const Phrases phrases = Analyse(melody);
    EXPECT_EQ(phrases.candidates, MarksAt(12, {0, 4, 8}));
    EXPECT_EQ(phrases.boundaries, Marks(12, 0));
}

TEST(PhraseAnalysis, AnOpeningThatComesAgainMakesCandidates) {
    // Notes 0 to 3 again at 5, with no long note anywhere: 5 and, behind it, 9.
    const Phrases phrases = Analyse({60, 64, 62, 67, 65, 60, 64, 62, 67, 71});
    EXPECT_EQ(phrases.candidates[5], 1);
    EXPECT_EQ(phrases.candidates[9], 1);
    // The note behind the opening itself.
    EXPECT_EQ(phrases.candidates[5 - 1], 0);  // cleared again, it lies right before a recurrence
}

TEST(PhraseAnalysis, SevenNotesAreTooFewForARecurrence) {
    EXPECT_EQ(Analyse({60, 60, 60, 60, 60, 60, 60}).candidates, MarksAt(7, {0}));
    // With eight notes the second half is the opening again.
    EXPECT_EQ(Analyse({60, 60, 60, 60, 60, 60, 60, 60}).candidates, MarksAt(8, {0, 4}));
}

TEST(PhraseAnalysis, OverlappingRecurrencesAreThinned) {
    // In 16 equal notes the longest opening that recurs has 8 notes, at 8 alone. In 13 it has 6: at 6 and 7,
    // of which 7 overlaps; behind 6 lies 12.
    EXPECT_EQ(Analyse(std::vector<int32_t>(16, 60)).candidates, MarksAt(16, {0, 8}));
    EXPECT_EQ(Analyse(std::vector<int32_t>(13, 60)).candidates, MarksAt(13, {0, 6, 12}));
}

TEST(PhraseAnalysis, TheTrendIntoTheOpeningDoesNotCount) {
    // The recurrence at 4 is reached from above and from below.
    EXPECT_EQ(Analyse({60, 62, 64, 65, 60, 62, 64, 65}).candidates[4], 1);
    EXPECT_EQ(Analyse({60, 62, 64, 65, 70, 72, 74, 75}).candidates[4], 1);
}

TEST(PhraseAnalysis, TheLastNoteOfARecurrenceMayDifferInLengthIfTheIntervalIsTheSame) {
    // All lengths that matter to the strengths are equal but that of the last note.
    const std::vector<float> lengths = {1, 1, 1, 1, 1, 1, 1, 2};
    EXPECT_EQ(Analyse({{60, 62, 64, 65, 67, 69, 71, 72}, lengths}).candidates, MarksAt(8, {0, 4}));
    EXPECT_EQ(Analyse({{60, 62, 64, 65, 67, 69, 71, 74}, lengths}).candidates, MarksAt(8, {0}));
}

TEST(PhraseAnalysis, WithoutTimesOnlyTheFirstNoteIsACandidate) {
    const Phrases phrases = Analyse({std::vector<int32_t>(20, 60), std::vector<float>(20, 0.0f)});
    EXPECT_EQ(phrases.candidates, MarksAt(20, {0}));
    EXPECT_EQ(phrases.boundaries, Marks(20, 0));
}

TEST(PhraseAnalysis, TakesTimesThatAreNoNumbers) {
    for (float odd :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -3.0f}) {
        TimedMelody melody = {std::vector<int32_t>(40, 60), std::vector<float>(40, 1.0f)};
        melody.duration[7] = odd;
        EXPECT_EQ(Analyse(melody).boundaries.size(), 40u);
    }
}

// The rules read off one after the other, with the search for recurrences tried length by length.
namespace plain {

int32_t Sign(float x) { return x > 0 ? 1 : x < 0 ? -1 : 0; }

std::vector<int32_t> MotifStart(const TimedMelody& m, const std::vector<int32_t>& trend, int32_t key,
                                const int32_t* scale) {
    const int32_t n = static_cast<int32_t>(m.pitch.size());
    std::vector<int32_t> start(m.pitch.size(), 0), match(m.pitch.size(), 0);
    if (n < 8) return start;
    int32_t best = 0;
    for (int32_t L = 4; L - 1 < n / 2; ++L) {
        for (int32_t s = L; s < n - (L - 1); ++s) {
            bool same = true;
            for (int32_t k = 0; k <= L - 2 && same; ++k) {
                same = (k == 0 || trend[k] == trend[s + k]) && m.duration[k] == m.duration[s + k];
            }
            if (!same || trend[L - 1] != trend[s + L - 1]) continue;
            if (m.duration[L - 1] != m.duration[s + L - 1]) {
                const ScaleDistance a = ScaleInterval(m.pitch[L - 2], m.pitch[L - 1], key, scale);
                const ScaleDistance b = ScaleInterval(m.pitch[s + L - 2], m.pitch[s + L - 1], key, scale);
                if (!(a == b)) continue;
            }
            best = L;
            match[0] = L;
            match[s] = L;
        }
    }
    if (best == 0) return start;
    start[0] = 1;
    start[best] = 1;
    int32_t last = 0;
    for (int32_t s = best; s < n; ++s) {
        if (match[s] != best) continue;
        if (s >= best - 1 + last) {
            start[s] = 1;
            if (s + best < n) start[s + best] = 1;
            if (s > 0) start[s - 1] = 0;
            last = s;
        } else {
            start[s] = 0;
        }
    }
    return start;
}

Phrases Read(const TimedMelody& given, int32_t key, int32_t row) {
    const int32_t n = static_cast<int32_t>(given.pitch.size());
    const int32_t* scale = ScaleRow(row);
    // Durations as they come out of times.
    TimedMelody m = given;
    std::vector<float> times = {0.0f};
    for (float duration : given.duration) times.push_back(times.back() + duration);
    for (int32_t i = 0; i < n; ++i) m.duration[i] = times[i + 1] - times[i];
    const float mean = (times[n] - times[0]) / static_cast<float>(n);

    Phrases out{Marks(n, 0), Marks(n, 0)};
    out.candidates[0] = 1;
    if (n == 1) return out;
    std::vector<int32_t> trend(n, 0), lengthTrend(n, 0);
    std::vector<float> strength(n, 0.0f);
    for (int32_t i = 1; i < n; ++i) {
        trend[i] = Sign(static_cast<float>(m.pitch[i] - m.pitch[i - 1]));
        lengthTrend[i] = Sign(m.duration[i] - m.duration[i - 1]);
        strength[i] = static_cast<float>(std::abs(trend[i])) + 2.0f * m.duration[i - 1] / mean +
                      static_cast<float>(std::abs(lengthTrend[i]));
    }
    for (int32_t j = 2; j <= n - 2; ++j) {
        if (strength[j] > strength[j - 1] && strength[j] > strength[j + 1]) out.candidates[j] = 1;
    }
    const std::vector<int32_t> motif = MotifStart(m, trend, key, scale);
    for (int32_t i = 0; i < n; ++i) {
        if (motif[i] == 1) out.candidates[i] = 1;
    }
    std::vector<int32_t> list;
    for (int32_t i = 0; i < n; ++i) {
        strength[i] = -1.0f;
        if (out.candidates[i] == 1) list.push_back(i);
    }
    float previousMean = 0.0f, previousSum = 0.0f;
    for (size_t k = 0; k < list.size(); ++k) {
        const int32_t c = list[k], end = k + 1 < list.size() ? list[k + 1] : n;
        float weighted = 0.0f, sum = 0.0f;
        for (int32_t i = c; i < end; ++i) {
            weighted = weighted + static_cast<float>(m.pitch[i]) * m.duration[i];
            sum = sum + m.duration[i];
        }
        const float pitch = weighted / sum;
        if (k > 0) {
            float s = std::abs(pitch - previousMean) + previousSum;
            if (motif[c] == 1) s = s * 2.0f;
            const ScaleDistance I = ScaleInterval(m.pitch[c], m.pitch[c - 1], key, scale);
            s = s + static_cast<float>(I.steps + 1);
            s = s + static_cast<float>(7 * I.octaves);
            strength[c] = s * m.duration[c - 1] / mean;
        }
        previousMean = pitch;
        previousSum = sum;
    }
    float A = -1.0f, B = -1.0f;
    int32_t noteOfB = 0;
    for (int32_t c : list) {
        if (A == -1.0f) {
            A = strength[c];
        } else if (B == -1.0f) {
            B = strength[c];
            noteOfB = c;
        } else {
            if (B > A && B > strength[c]) out.boundaries[noteOfB] = 1;
            A = B;
            B = strength[c];
            noteOfB = c;
        }
    }
    return out;
}

}  // namespace plain

TEST(PhraseAnalysis, AgreesWithAPlainReadingOnRandomMelodies) {
    std::mt19937 random(99);
    int32_t boundaries = 0, recurrences = 0;
    for (int round = 0; round < 3000; ++round) {
        const size_t n = 1 + random() % 40;
        const int32_t pitches = 1 + static_cast<int32_t>(random() % 12),
                      lengths = 1 + static_cast<int32_t>(random() % 3);
        TimedMelody melody;
        for (size_t i = 0; i < n; ++i) {
            // Some melodies repeat themselves, here and there with a slip.
            const bool copy = round % 2 == 0 && i >= 7 && random() % 20 != 0;
            melody.pitch.push_back(copy ? melody.pitch[i - 7]
                                        : 60 + static_cast<int32_t>(random()) % pitches);
            melody.duration.push_back(
                copy ? melody.duration[i - 7]
                     : 0.5f * static_cast<float>(1 + static_cast<int32_t>(random() % 3) % lengths));
        }
        const int32_t key = static_cast<int32_t>(random() % 12), scale = static_cast<int32_t>(random() % 14);
        const Phrases phrases = Analyse(melody, key, scale), expected = plain::Read(melody, key, scale);
        ASSERT_EQ(phrases.candidates, expected.candidates) << round;
        ASSERT_EQ(phrases.boundaries, expected.boundaries) << round;
        for (int32_t boundary : phrases.boundaries) boundaries += boundary;
        recurrences += n >= 8 && round % 2 == 0 ? 1 : 0;
    }
    // The melodies must reach what is compared.
    EXPECT_GT(boundaries, 1000);
    EXPECT_GT(recurrences, 500);
}

TEST(PhraseAnalysis, FindsPhrasesInRealTunes) {
    std::string why;
    const std::vector<Tune> tunes = LoadTunes(MelodiesDir(), why);
    if (tunes.empty()) GTEST_SKIP() << why;
    int32_t withPhrases = 0;
    for (const Tune& tune : tunes) {
        TimedMelody melody;
        for (const TuneNote& note : tune.notes) {
            melody.pitch.push_back(note.pitch);
            melody.duration.push_back(note.duration);
        }
        const Phrases phrases = Analyse(melody), expected = plain::Read(melody, 0, 0);
        EXPECT_EQ(phrases.boundaries, expected.boundaries) << tune.name;
        EXPECT_EQ(phrases.boundaries[0], 0);
        int32_t count = 0;
        for (int32_t boundary : phrases.boundaries) count += boundary;
        withPhrases += count > 0 ? 1 : 0;
        EXPECT_LT(count, static_cast<int32_t>(melody.pitch.size()) / 4) << tune.name;
    }
    EXPECT_GT(withPhrases, static_cast<int32_t>(tunes.size()) * 9 / 10);
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
