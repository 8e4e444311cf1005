#include "choir/melody/MelodyTracker.h"

#include <algorithm>
#include <cmath>

namespace mlh::choir {

KnownMetre MetreOf(int upper, int lower, double quarter, std::optional<double> barLine) {
    const double unit = quarter * 4.0 / std::max(lower, 1);  // what the lower number counts
    KnownMetre metre;
    metre.barLine = barLine;
    upper = std::max(upper, 1);
    if (upper % 3 == 0 && upper > 3 && lower >= 8) {
        metre.half = 3.0 * unit;
        metre.shape = {1, upper / 3};
    } else if (upper % 3 == 0) {
        metre.half = 3.0 * unit;
        metre.shape = {3, upper / 3};
    } else if (upper == 2 && lower >= 4) {
        metre.half = unit;
        metre.shape = {2, 2};
    } else if (upper % 2 == 0) {
        metre.half = upper == 2 ? unit : 2.0 * unit;
        metre.shape = {2, upper == 2 ? 2 : upper / 2};
    } else {  // five, seven: chords change on bar lines
        metre.half = upper * unit;
        metre.shape = {upper, 1};
    }
    return metre;
}

MelodyTrack TrackMelody(const std::vector<MelodyNote>& notes, const TrackOptions& options) {
    const std::vector<MelodyNote> line = OneLine(notes);
    const double tuning = options.tuning && std::isfinite(*options.tuning) ? *options.tuning : TuningOf(line);
    KeyEstimate key = FindKey(line, tuning);
    const int used = options.key ? ((*options.key % 24) + 24) % 24 : key.best;
    MelodyTrack track = {line, key, used, {HalfBarClock(0.0, 1.0)}, {}};
    for (MelodyNote& note : track.notes) {
        note.pitch -= tuning;
    }
    PulseOptions search;
    search.tonic = used % 12;
    const bool known = options.metre && options.metre->half > 0.0;
    if (known) {
        search.metre = options.metre->shape;
        search.half = options.metre->half;
    } else if (options.bpm && *options.bpm > 1.0 && *options.bpm < 2000.0) {
        search.beat = 60.0 / *options.bpm;
    }
    if (known && options.metre->barLine) {
        track.pulse = {HalfBarClock(*options.metre->barLine, options.metre->half), options.metre->shape, 1.0,
                       1.0};
    } else {
        track.pulse = FindPulse(track.notes, search);
    }
    track.chords = TrackChords(track.notes, used % 12, used >= 12, track.pulse.clock, track.pulse.metre,
                               known ? MetreSource::Known : MetreSource::Found);
    return track;
}

}  // namespace mlh::choir
