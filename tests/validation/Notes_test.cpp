// Where the found notes lie against the truth: the score of the synthetic singer, and notes that people wrote
// down.
//
// Borders are moved outward while the energy lasts, so detached notes end late, and periods in whole samples
// lean short, so pitches lie some cents sharp. The amounts are printed; held to is what a listener would call
// the same note.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "support/Paths.h"
#include "validation/AudioFiles.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

struct Note {
    double start;  // [s]
    double end;
    double pitch;  // MIDI
};

std::vector<Note> FoundNotes(Performance& performance) {
    std::vector<Note> found;
    const double rate = performance.rate();
    for (const AnalysisNote& note : performance.Notes()) {
        found.push_back({note.startPosition / rate, note.endPosition / rate, note.pitch});
    }
    return found;
}

struct Comparison {
    std::size_t written = 0;
    std::size_t found = 0;
    std::size_t sung = 0;   // written notes more than half covered by a found one, within half a semitone
    std::size_t begun = 0;  // with a found one that starts less than 0.1 s away, within half a semitone
    std::vector<double> starts;   // [ms] of the covering notes; late is positive
    std::vector<double> ends;     // [ms]
    std::vector<double> pitches;  // [cents]

    void Add(const std::vector<Note>& truth, const std::vector<Note>& notes) {
        written += truth.size();
        found += notes.size();
        for (const Note& wanted : truth) {
            const Note* covering = nullptr;
            double most = 0.5 * (wanted.end - wanted.start);
            bool starts = false;
            for (const Note& note : notes) {
                if (std::fabs(note.pitch - wanted.pitch) > 0.5) {
                    continue;
                }
                starts = starts || std::fabs(note.start - wanted.start) < 0.1;
                const double shared = std::min(note.end, wanted.end) - std::max(note.start, wanted.start);
                if (shared > most) {
                    most = shared, covering = &note;
                }
            }
            begun += starts;
            if (covering != nullptr) {
                AddCovered(wanted, *covering);
            }
        }
    }

    void AddCovered(const Note& wanted, const Note& note) {
        ++sung;
        starts.push_back(1000.0 * (note.start - wanted.start));
        ends.push_back(1000.0 * (note.end - wanted.end));
        pitches.push_back(100.0 * (note.pitch - wanted.pitch));
    }

    static double Quantile(std::vector<double> values, double share) {
        if (values.empty()) {
            return 0.0;
        }
        std::sort(values.begin(), values.end());
        return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
    }

    void Print(const std::string& name) const {
        std::printf("%-28s %3zu notes, %3zu found; %3zu sung, %3zu begun; median and middle 80 %%: ",
                    name.c_str(), written, found, sung, begun);
        std::printf("starts %+4.0f (%+4.0f to %+4.0f) ms, ends %+4.0f (%+4.0f to %+4.0f) ms, ",
                    Quantile(starts, 0.5), Quantile(starts, 0.1), Quantile(starts, 0.9), Quantile(ends, 0.5),
                    Quantile(ends, 0.1), Quantile(ends, 0.9));
        std::printf("pitches %+5.1f (%+5.1f to %+5.1f) cents\n", Quantile(pitches, 0.5),
                    Quantile(pitches, 0.1), Quantile(pitches, 0.9));
    }
};

struct Style {
    const char* name;
    std::string consonants;  // in turn; '.' none
    double vibrato;          // semitones to each side
    std::size_t phrase;      // notes between rests, 0 none
};

SungRecording SingTune(double lowest, const Style& style) {
    const std::vector<double> tune = {0, 2, 4, 5, 7, 4, 2, 0, 7, 12, 11, 9, 7, 5, 4, 0};
    std::vector<SungNote> score;
    for (std::size_t i = 0; i < tune.size(); ++i) {
        const char consonant = style.consonants[i % style.consonants.size()];
        score.push_back({lowest + tune[i], 0.45, "aeiou"[i % 5], consonant == '.' ? '\0' : consonant});
        if (style.phrase > 0 && (i + 1) % style.phrase == 0) {
            score.push_back({0.0, 0.15, kRest});
        }
    }
    SingerSettings settings;
    settings.vibratoDepth = style.vibrato;
    settings.formantScale = lowest > 55.0 ? 1.17 : 1.0;
    return Sing(score, settings);
}

TEST(Notes, OfTheSyntheticSingerAreFoundWhereTheyAre) {
    const Style styles[] = {{"legato", ".", 0.0, 0},
                            {"detached", ".", 0.0, 1},
                            {"consonants", "sthm", 0.0, 4},
                            {"legato, vibrato", ".", 0.5, 0},
                            {"consonants, vibrato", "sthm", 0.5, 4}};
    for (const Style& style : styles) {
        Comparison comparison;
        for (const double lowest : {41.0, 48.0, 57.0, 65.0}) {
            const SungRecording song = SingTune(lowest, style);
            std::vector<Note> truth;
            const double rate = song.sampleRate;
            for (const TrueNote& note : song.notes) {
                truth.push_back({note.startPosition / rate, note.endPosition / rate, note.pitch});
            }
            Performance performance(song);
            comparison.Add(truth, FoundNotes(performance));
        }
        comparison.Print(style.name);
        EXPECT_EQ(comparison.sung, comparison.written) << style.name;
        EXPECT_GE(comparison.begun, 0.95 * static_cast<double>(comparison.written)) << style.name;
        // A sample more or less is 20 cents at the highest note.
        EXPECT_GE(Comparison::Quantile(comparison.pitches, 0.05), -20.0) << style.name;
        EXPECT_LE(Comparison::Quantile(comparison.pitches, 0.95), 20.0) << style.name;
    }
}

std::vector<Note> ReadListenersNotes(const std::string& listener) {
    std::vector<Note> notes;
    std::ifstream file(VoicesDir() + "/vocadito_1.notes" + listener + ".csv");
    double start, hertz, duration;
    char comma;
    while (file >> start >> comma >> hertz >> comma >> duration) {
        notes.push_back({start, start + duration, 69.0 + 12.0 * std::log2(hertz / 440.0)});
    }
    return notes;
}

TEST(Notes, OfASongAreThoseThatListenersWrote) {
    Recording voice;
    std::string why;
    if (!LoadRecording(VoicesDir(), "vocadito_1.wav", voice, why)) {
        GTEST_SKIP() << why;
    }
    const auto first = ReadListenersNotes("A1");
    const auto second = ReadListenersNotes("A2");
    if (first.empty() || second.empty()) {
        GTEST_SKIP() << "the listeners' notes are missing";
    }
    Performance performance(voice);
    const auto found = FoundNotes(performance);
    for (const auto* truth : {&first, &second}) {
        Comparison comparison;
        comparison.Add(*truth, found);
        comparison.Print(truth == &first ? "listener A1's notes" : "listener A2's notes");
        EXPECT_EQ(comparison.sung, comparison.written);
        EXPECT_GE(comparison.begun, 0.8 * static_cast<double>(comparison.written));
    }
    Comparison listeners;
    listeners.Add(second, first);
    listeners.Print("A2's notes as A1 wrote them");
}

TEST(Notes, OfHeldVowelsAreTheMarkedOnes) {
    Recording voice;
    std::string why;
    if (!LoadAudioFile(VoicesDir(), "vocobox_c2-vowels.mp3", 1e9, voice, why)) {
        GTEST_SKIP() << why;
    }
    constexpr double kPitch = 47.5;  // of all of them, within 20 cents; the labels say C3
    std::vector<Note> truth;
    std::ifstream file(VoicesDir() + "/vocobox_c2-vowels.markers.txt");
    double start, end;
    std::string label;
    while (file >> start >> end >> label) {
        truth.push_back({start, end, kPitch});
    }
    if (truth.empty()) {
        GTEST_SKIP() << "the markers are missing";
    }
    Performance performance(voice);
    Comparison comparison;
    comparison.Add(truth, FoundNotes(performance));
    // The rumble of the room between the vowels, below 40 Hz and 25 dB softer, makes notes too.
    comparison.Print("held vowels");
    EXPECT_EQ(comparison.sung, comparison.written);
}

}  // namespace

}  // namespace mlh
