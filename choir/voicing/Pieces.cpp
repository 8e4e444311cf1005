#include "choir/voicing/Pieces.h"

#include <algorithm>
#include <cmath>

namespace mlh::choir {

namespace {

constexpr double kNear =
    0.15;  // [s] a change nearer than this to a note's border is meant for the border ...
constexpr double kNearShare = 0.35;  // ... or nearer than this share of the note
constexpr double kPause = 0.6;       // [s] of silence after which a line starts fresh

// Where a change counts: the start of a note, or inside one.
double PlaceChange(const std::vector<NoteSpan>& notes, double time) {
    const auto after = std::upper_bound(notes.begin(), notes.end(), time,
                                        [](double t, const NoteSpan& note) { return t < note.start; });
    if (after == notes.begin()) {
        return notes.front().start;
    }
    const NoteSpan& note = *(after - 1);
    const double nextStart = after == notes.end() ? note.end : after->start;
    const double margin = std::min(kNear, kNearShare * (note.end - note.start));
    if (time - note.start <= margin) {
        return note.start;
    }
    return time >= note.end - margin ? nextStart : time;
}

}  // namespace

std::vector<Piece> CutAtChords(const std::vector<NoteSpan>& notes, const std::vector<double>& changes) {
    std::vector<Piece> pieces;
    if (notes.empty()) {
        return pieces;
    }
    std::vector<double> places;
    for (const double change : changes) {
        places.push_back(PlaceChange(notes, change));
    }
    std::size_t next = 0;  // the first chord that does not hold yet
    double before = -kPause;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const NoteSpan& note = notes[i];
        const bool afterPause = i > 0 && note.start - before > kPause;
        double start = note.start;
        while (next < places.size() && places[next] <= start) {
            ++next;
        }
        while (start < note.end || start == note.start) {
            const bool cut = next < places.size() && places[next] < note.end;
            const double end = cut ? places[next] : note.end;
            const int chord = places.empty() ? -1 : std::max(static_cast<int>(next) - 1, 0);
            pieces.push_back({static_cast<int>(i), start, end, chord, afterPause && start == note.start});
            if (!cut) {
                break;
            }
            start = end;
            while (next < places.size() && places[next] <= start) {
                ++next;
            }
        }
        before = std::max(before, note.end);
    }
    return pieces;
}

}  // namespace mlh::choir
