#include "choir/score/Tempo.h"

#include <cstddef>

namespace mlh::choir {

double SecondsAt(const TempoMap& tempo, double beat) {
    double seconds = 0.0;
    for (std::size_t i = 0; i < tempo.size(); ++i) {
        const bool last = i + 1 == tempo.size() || tempo[i + 1].beat >= beat;
        const double end = last ? beat : tempo[i + 1].beat;
        seconds += (end - tempo[i].beat) * 60.0 / tempo[i].bpm;
        if (last) {
            break;
        }
    }
    return seconds;
}

double BeatAt(const TempoMap& tempo, double seconds) {
    double start = 0.0;  // of the change, in seconds
    for (std::size_t i = 0;; ++i) {
        const double inBeats = tempo[i].beat + (seconds - start) * tempo[i].bpm / 60.0;
        if (i + 1 == tempo.size() || inBeats <= tempo[i + 1].beat) {
            return inBeats;
        }
        start += (tempo[i + 1].beat - tempo[i].beat) * 60.0 / tempo[i].bpm;
    }
}

}  // namespace mlh::choir
