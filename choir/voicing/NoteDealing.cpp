#include "choir/voicing/NoteDealing.h"

#include <algorithm>
#include <cstddef>

#include "base/Numbering.h"

namespace mlh::choir {

namespace {

struct NoteEvent {
    double time;
    bool starts;
    std::size_t track;
    std::size_t note;
};

// Ends before starts, and higher notes first.
std::vector<NoteEvent> EventsOf(const std::vector<NoteLine>& tracks) {
    std::vector<NoteEvent> events;
    for (std::size_t t = 0; t < tracks.size(); ++t) {
        for (std::size_t n = 0; n < tracks[t].notes.size(); ++n) {
            events.push_back({tracks[t].notes[n].start, true, t, n});
            events.push_back({tracks[t].notes[n].end, false, t, n});
        }
    }
    std::stable_sort(events.begin(), events.end(), [&](const NoteEvent& a, const NoteEvent& b) {
        if (a.time != b.time) {
            return a.time < b.time;
        }
        if (a.starts != b.starts) {
            return b.starts;
        }
        return tracks[a.track].notes[a.note].pitch > tracks[b.track].notes[b.note].pitch;
    });
    return events;
}

}  // namespace

std::vector<PitchChange> DealNotes(const std::vector<NoteLine>& tracks, int voices) {
    const auto count = static_cast<std::size_t>(voices);
    const bool lone = tracks.size() == 1;
    // The notes that each voice holds, the one that sounds last.
    std::vector<std::vector<std::size_t>> held(count);
    std::vector<PitchChange> changes;
    for (const NoteEvent& event : EventsOf(tracks)) {
        if (!lone && event.track >= count) {
            continue;
        }
        if (event.starts) {
            std::size_t voice = event.track;
            if (lone) {
                const auto free =
                    std::find_if(held.begin(), held.end(), [](const auto& h) { return h.empty(); });
                if (free == held.end()) {
                    continue;
                }
                voice = static_cast<std::size_t>(free - held.begin());
            }
            held[voice].push_back(event.note);
        } else {
            for (std::size_t v = 0; v < count; ++v) {
                if (lone || v == event.track) {
                    std::erase(held[v], event.note);
                }
            }
        }
        if (changes.empty() || changes.back().time != event.time) {
            changes.push_back({event.time, std::vector<double>(count, -1.0)});
        }
        for (std::size_t v = 0; v < count; ++v) {
            const auto& track = tracks[lone ? 0 : std::min(v, tracks.size() - 1)];
            changes.back().pitches[v] = held[v].empty() ? -1.0 : track.notes[held[v].back()].pitch;
        }
    }
    return changes;
}

int CountVoices(const std::vector<NoteLine>& tracks) {
    if (tracks.size() != 1) {
        return std::clamp(static_cast<int>(tracks.size()), 1, kVoiceCount);
    }
    std::ptrdiff_t most = 1;
    for (const PitchChange& change : DealNotes(tracks, kVoiceCount)) {
        most = std::max(most, std::count_if(change.pitches.begin(), change.pitches.end(),
                                            [](double pitch) { return pitch >= 0.0; }));
    }
    return static_cast<int>(most);
}

}  // namespace mlh::choir
