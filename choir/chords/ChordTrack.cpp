#include "choir/chords/ChordTrack.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace mlh::choir {

namespace {

constexpr double kTogether = 0.06;  // [s]

struct Event {
    double time;
    bool starts;
    int pitch;
};

int CountPitchClasses(const std::vector<int>& pitches) {
    unsigned classes = 0;
    for (int pitch : pitches) {
        classes |= 1u << (pitch % 12);
    }
    int count = 0;
    for (; classes != 0; classes &= classes - 1) {
        ++count;
    }
    return count;
}

}  // namespace

std::vector<TimedChord> ChordsOfNotes(const std::vector<TimedNote>& notes, bool flats) {
    std::vector<Event> events;
    for (const TimedNote& note : notes) {
        if (!std::isfinite(note.start) || !std::isfinite(note.end) ||
            !(note.pitch >= 0.0 && note.pitch < 128.0)) {
            continue;
        }
        if (!(note.end > note.start)) {
            continue;
        }
        const int pitch = static_cast<int>(std::lround(note.pitch));
        events.push_back({note.start, true, pitch});
        events.push_back({note.end, false, pitch});
    }
    std::stable_sort(events.begin(), events.end(), [](const Event& a, const Event& b) {
        return a.time != b.time ? a.time < b.time : !a.starts && b.starts;
    });

    std::vector<TimedChord> chords;
    std::vector<int> sounding;
    for (std::size_t i = 0; i < events.size();) {
        const double begin = events[i].time;
        bool started = false;
        // What follows closely belongs to the same change.
        for (; i < events.size() && events[i].time - begin <= kTogether; ++i) {
            if (events[i].starts) {
                sounding.push_back(events[i].pitch);
                started = true;
            } else if (const auto held = std::find(sounding.begin(), sounding.end(), events[i].pitch);
                       held != sounding.end()) {
                sounding.erase(held);
            }
        }
        if (!started || CountPitchClasses(sounding) < 2) {
            continue;
        }
        Chord chord = RecogniseChord(sounding, flats);
        if (!chords.empty() && SoundsLike(chords.back().chord, chord)) {
            continue;
        }
        chords.push_back({begin, std::move(chord)});
    }
    return chords;
}

}  // namespace mlh::choir
