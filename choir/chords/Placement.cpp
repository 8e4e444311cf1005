#include "choir/chords/Placement.h"

#include <algorithm>

namespace mlh::choir {

namespace {

// A chord this near to the end of a note is meant for the next one.
constexpr double kChordAnticipation = 0.2;  // [s]

}  // namespace

std::vector<TimedChord> PlaceChords(const MalleoTuneHarmonyAddOnIf::PitchVector& lead,
                                    const std::vector<TimedChord>& chords) {
    std::vector<TimedChord> placed;
    for (TimedChord chord : chords) {
        if (chord.chord.root < 0 && placed.empty()) {
            continue;  // nothing to hold on to yet
        }
        const auto meant =
            std::find_if(lead.begin(), lead.end(), [&](const MalleoTuneHarmonyAddOnIf::PitchElement& note) {
                const double length = note.GetDuration();
                const double margin = std::min(kChordAnticipation, 0.5 * length);
                return length > 2 * kInsideNote && note.GetEnd() - margin > chord.time;
            });
        if (meant == lead.end()) {
            break;  // past the last note
        }
        chord.time = std::max(chord.time, meant->GetStart() + kInsideNote);
        if (placed.empty()) {
            chord.time = std::min(chord.time, meant->GetStart() + kInsideNote);
        }
        if (!placed.empty() && chord.time - placed.back().time < kInsideNote) {
            placed.pop_back();
        }
        placed.push_back(chord);
    }
    return placed;
}

}  // namespace mlh::choir
