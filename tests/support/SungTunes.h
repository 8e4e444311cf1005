// Short songs for the tests of the whole road, sung by the synthetic singer.
#pragma once

#include <vector>

#include "support/SyntheticSinger.h"

namespace mlh {

// Notes of `seconds` each, in the vowels a e i o u by turns, with a short rest after every `phrase` notes
// (0: none).
inline SungRecording SingScale(const std::vector<double>& pitches, double seconds = 0.6, int phrase = 0,
                               double sampleRate = 44100.0) {
    const char vowels[] = {'a', 'e', 'i', 'o', 'u'};
    std::vector<SungNote> notes;
    for (std::size_t i = 0; i < pitches.size(); ++i) {
        notes.push_back({pitches[i], seconds, vowels[i % 5], 0, 1.0});
        if (phrase > 0 && (i + 1) % phrase == 0) {
            notes.push_back({0.0, 0.3, kRest, 0, 1.0});
        }
    }
    SingerSettings settings;
    settings.sampleRate = sampleRate;
    return Sing(notes, settings);
}

// A phrase in C major with rests, 7 s.
inline SungRecording SingPhrase(double sampleRate = 44100.0) {
    return SingScale({60, 62, 64, 65, 67, 64, 62, 60, 59, 60}, 0.6, 4, sampleRate);
}

}  // namespace mlh
