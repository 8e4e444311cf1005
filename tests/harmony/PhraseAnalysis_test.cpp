// Phrase analysis of the harmony engine, against hand-worked melodies and a plain reading of its rules.
#include "harmony/PhraseAnalysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "harmony/ChoiralizerV2.h"
#include "support/PlainPhrases.h"
#include "support/Tunes.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using Marks = std::vector<int32_t>;

struct Found {
    Marks candidates;
    Marks boundaries;
};

struct TimedMelody {
    std::vector<int32_t> pitch;
    std::vector<float> duration;
};

Found Analyse(const TimedMelody& melody, int32_t key = 0, int32_t scale = 0) {
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

Found Analyse(const std::vector<int32_t>& pitch) {
    return Analyse({pitch, std::vector<float>(pitch.size(), 1.0f)});
}

Marks MarksAt(size_t n, std::initializer_list<size_t> notes) {
    Marks marks(n, 0);
    for (size_t note : notes) {
        marks[note] = 1;
    }
    return marks;
}

TEST(PhraseAnalysis, OneNoteIsACandidateAndNoBoundary) {
    const Found phrases = Analyse({60});
    EXPECT_EQ(phrases.candidates, Marks{1});
    EXPECT_EQ(phrases.boundaries, Marks{0});
}

TEST(PhraseAnalysis, ANoteAfterALongOneStandsOut) {
    // Strength of note i: pitch moved + 2 x length of the note before / mean + length changed.
    // Mean 9/6 = 1.5; strengths from note 1: 2.33, 2.33, 3.33, 7.33, 3.33.
    const TimedMelody melody = {{60, 62, 64, 65, 67, 69}, {1, 1, 1, 4, 1, 1}};
    const Found phrases = Analyse(melody);
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
    const Found phrases = Analyse(melody);
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
    const Found phrases = Analyse(melody);
    EXPECT_EQ(phrases.candidates, MarksAt(12, {0, 4, 8}));
    EXPECT_EQ(phrases.boundaries, Marks(12, 0));
}

TEST(PhraseAnalysis, AnOpeningThatComesAgainMakesCandidates) {
    // Notes 0 to 3 again at 5, with no long note anywhere: 5 and, after it, 9.
    const Found phrases = Analyse({60, 64, 62, 67, 65, 60, 64, 62, 67, 71});
    EXPECT_EQ(phrases.candidates[5], 1);
    EXPECT_EQ(phrases.candidates[9], 1);
    // The note after the opening itself.
    EXPECT_EQ(phrases.candidates[5 - 1], 0);  // cleared again, it lies right before a recurrence
}

TEST(PhraseAnalysis, SevenNotesAreTooFewForARecurrence) {
    EXPECT_EQ(Analyse({60, 60, 60, 60, 60, 60, 60}).candidates, MarksAt(7, {0}));
    // With eight notes the second half is the opening again.
    EXPECT_EQ(Analyse({60, 60, 60, 60, 60, 60, 60, 60}).candidates, MarksAt(8, {0, 4}));
}

TEST(PhraseAnalysis, OverlappingRecurrencesAreThinned) {
    // In 16 equal notes the longest opening that recurs has 8 notes, at 8 alone. In 13 it has 6: at 6 and 7,
    // of which 7 overlaps; after 6 comes 12.
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
    const Found phrases = Analyse({std::vector<int32_t>(20, 60), std::vector<float>(20, 0.0f)});
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

// The melody with its durations as they come out of times.
PlainPhrases::Melody Plain(const TimedMelody& given, int32_t key = 0, int32_t row = 0) {
    PlainPhrases::Melody melody{given.pitch, given.duration, 0.0f, key, ScaleRow(row)};
    float time = 0.0f;
    for (float& duration : melody.duration) {
        const float end = time + duration;
        duration = end - time;
        time = end;
    }
    melody.meanDuration = time / static_cast<float>(given.pitch.size());
    return melody;
}

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
        const Found phrases = Analyse(melody, key, scale);
        const PlainPhrases::Marks expected =
            PlainPhrases::Analyse(Plain(melody, key, scale), PlainPhrases::RepeatedOpeningByLength);
        ASSERT_EQ(phrases.candidates, expected.candidates) << round;
        ASSERT_EQ(phrases.boundaries, expected.boundaries) << round;
        for (int32_t boundary : phrases.boundaries) {
            boundaries += boundary;
        }
        recurrences += n >= 8 && round % 2 == 0 ? 1 : 0;
    }
    // The melodies must reach what is compared.
    EXPECT_GT(boundaries, 1000);
    EXPECT_GT(recurrences, 500);
}

// Melodies that repeat themselves as much as they can, each with slips in pitch and length here and there.
std::vector<TimedMelody> RepeatingMelodies(size_t n, std::mt19937& random) {
    const auto periodic = [n](size_t period, auto pitchOf, auto durationOf) {
        TimedMelody melody;
        for (size_t i = 0; i < n; ++i) {
            melody.pitch.push_back(pitchOf(i % period));
            melody.duration.push_back(durationOf(i % period));
        }
        return melody;
    };
    const auto one = [](size_t) { return 1.0f; };
    std::vector<TimedMelody> melodies = {
        periodic(
            1, [](size_t) { return 60; }, one),
        periodic(
            2, [](size_t i) { return i == 0 ? 60 : 67; }, one),
        periodic(
            2, [](size_t) { return 60; }, [](size_t i) { return i == 0 ? 1.0f : 2.0f; }),
        periodic(
            7, [](size_t i) { return 60 + static_cast<int32_t>(i * i % 11); }, one),
        // A note that lasts through a long rest ends each line.
        periodic(
            9, [](size_t i) { return 64 - static_cast<int32_t>(i); },
            [](size_t i) { return i == 8 ? 32.0f : 0.5f; }),
        // Two openings that differ in their last note alone.
        periodic(
            16, [](size_t i) { return i == 15 ? 72 : 60 + static_cast<int32_t>(i % 8); }, one),
    };
    const size_t clean = melodies.size();
    for (size_t k = 0; k < clean; ++k) {
        for (const bool inPitch : {true, false}) {
            TimedMelody slipped = melodies[k];
            for (int slips = 1 + static_cast<int>(random() % 3); slips > 0; --slips) {
                const size_t at = random() % n;
                if (inPitch) {
                    slipped.pitch[at] += 1 + static_cast<int32_t>(random() % 4);
                } else {
                    slipped.duration[at] *= 2.0f;
                }
            }
            melodies.push_back(slipped);
        }
    }
    return melodies;
}

TEST(PhraseAnalysis, AgreesWithAPlainReadingOnMelodiesThatRepeatThemselves) {
    std::mt19937 random(41);
    int32_t recurring = 0;
    for (const size_t n : {8, 9, 15, 16, 33, 64, 101, 500}) {
        for (const TimedMelody& melody : RepeatingMelodies(n, random)) {
            const PlainPhrases::Melody plain = Plain(melody);
            const Found phrases = Analyse(melody);
            const PlainPhrases::Marks expected =
                PlainPhrases::Analyse(plain, PlainPhrases::RepeatedOpeningByPlace);
            ASSERT_EQ(phrases.candidates, expected.candidates) << n;
            ASSERT_EQ(phrases.boundaries, expected.boundaries) << n;
            if (n <= 64) {
                ASSERT_EQ(PlainPhrases::RepeatedOpeningByPlace(plain),
                          PlainPhrases::RepeatedOpeningByLength(plain))
                    << n;
            }
            for (size_t i = 1; i < n; ++i) {
                if (PlainPhrases::RepeatedOpeningByPlace(plain)[i] == 1) {
                    ++recurring;
                    break;
                }
            }
        }
    }
    EXPECT_GT(recurring, 100);
}

// Times that are not numbers equal nothing, so no opening goes on across them.
TEST(PhraseAnalysis, FindsRecurrencesBetweenDurationsThatAreNoNumbers) {
    std::mt19937 random(42);
    for (int round = 0; round < 300; ++round) {
        const size_t n = 8 + random() % 60;
        MelodyRecord record;
        for (size_t i = 0; i < n; ++i) {
            record.notePitch.push_back(60 + static_cast<int32_t>(random() % 2));
            record.noteDuration.push_back(random() % 12 == 0 ? std::numeric_limits<float>::quiet_NaN()
                                                             : 1.0f);
        }
        record.meanDuration = 1.0f;
        std::vector<int32_t> trend(n, 0);
        for (size_t i = 1; i < n; ++i) {
            trend[i] = record.notePitch[i] - record.notePitch[i - 1];
        }
        ASSERT_EQ(FindRepeatedOpening(record, trend, {0, 0}),
                  PlainPhrases::RepeatedOpeningByPlace(
                      {record.notePitch, record.noteDuration, record.meanDuration, 0, ScaleRow(0)}))
            << round;
    }
}

// Comparing every place with the opening would take 2.5 * 10^11 steps here.
TEST(PhraseAnalysis, AMillionNotesOfOnePitchAreNoMatter) {
    const Found phrases = Analyse(std::vector<int32_t>(1000000, 60));
    EXPECT_EQ(phrases.candidates, MarksAt(1000000, {0, 500000}));
}

TEST(PhraseAnalysis, FindsPhrasesInRealTunes) {
    const std::vector<Tune> tunes = AllTunes();
    int32_t withPhrases = 0;
    for (const Tune& tune : tunes) {
        TimedMelody melody;
        for (const TuneNote& note : tune.notes) {
            melody.pitch.push_back(note.pitch);
            melody.duration.push_back(note.duration);
        }
        const Found phrases = Analyse(melody);
        const PlainPhrases::Marks expected =
            PlainPhrases::Analyse(Plain(melody), PlainPhrases::RepeatedOpeningByLength);
        EXPECT_EQ(phrases.candidates, expected.candidates) << tune.name;
        EXPECT_EQ(phrases.boundaries, expected.boundaries) << tune.name;
        EXPECT_EQ(phrases.boundaries[0], 0);
        int32_t count = 0;
        for (int32_t boundary : phrases.boundaries) {
            count += boundary;
        }
        withPhrases += count > 0 ? 1 : 0;
        EXPECT_LT(count, static_cast<int32_t>(melody.pitch.size()) / 4) << tune.name;
    }
    EXPECT_GT(withPhrases, static_cast<int32_t>(tunes.size()) * 9 / 10);
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
