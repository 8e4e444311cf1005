// The singer's own grid: where between the notes of A = 440 Hz the singer stands, and how that drifts.
//
// The notes of a song lie near a grid of semitones, whatever its place. The mean direction of their pitches
// on a circle of one semitone is that place (circular mean: Fisher, 1993). A singer without an instrument
// sags or climbs, so that the place moves: three models of increasing freedom are fitted, a constant, a line
// and a smooth curve, and the simplest that the notes support is taken (Schwarz, 1978), so that a steady
// singer gets no wobble. The line is the slope along which the notes line up best, found by trying; the curve
// is a penalised spline (Eilers and Marx, 1996) fitted with weights that let stray notes count little
// (Huber, 1964).
//
//     for  a lead 40 cents flat, or one that sags by 60 cents in half a minute, evenly or not
//     against  a handful of notes, or notes that glide all the time: too few to see a drift, the constant
//     stays
//
// Cost: linear in the notes, times at most some hundred slopes.
#pragma once

#include <vector>

#include "choir/Types.h"

namespace mlh::choir {

class Tuning {
  public:
    // The grid of A = 440 Hz.
    Tuning() = default;
    // A grid that has A at so many hertz, wherever the singer is. 220 to 880 is meant; others are octaves of
    // it all the same.
    static Tuning OfReference(double hertz);
    // The grid of whoever sang these notes, in any order. Without notes that of A = 440 Hz.
    static Tuning OfSinger(const std::vector<SungNote>& notes);

    // [semitones] how far the grid lies above that of A = 440 Hz: the middle over the notes, -0.5 to 0.5 ...
    double offset() const { return offset_; }
    // ... and at a time in seconds. It goes on from the middle without a jump, so that it may leave -0.5 to
    // 0.5.
    double OffsetAt(double seconds) const;
    // [semitones] from the first note to the last: below 0 the singer sags.
    double drift() const;

    // The note of the grid that is nearest to a sung pitch (MIDI scale).
    int NearestNote(double pitch, double seconds) const;
    // What a note of the grid sounds like at that time (MIDI scale).
    double PitchOf(int note, double seconds) const { return note + OffsetAt(seconds); }

    // The curve: offsets at times that rise, straight lines between them, level outside. Empty for a steady
    // grid.
    struct Point {
        double time;    // [s]
        double offset;  // [semitones]
    };
    const std::vector<Point>& curve() const { return curve_; }

  private:
    double offset_ = 0.0;
    std::vector<Point> curve_;
};

enum class Intonation { Equal, Just };

// [semitones] how far a pure interval lies from its tempered one, for a tone so many semitones above the
// root of its chord (any octave): ratios of small whole numbers up to the factor 5, the third 5/4 or 6/5, the
// fifth 3/2, the minor seventh 9/5.
double PureOffset(int semitonesAboveRoot);

// What a note of the harmony sounds like. With just intonation a long note takes a pure interval to the root
// (pitch class, -1 none) of its chord, whose own place on the grid stays.
double PitchOfHarmony(const Tuning& tuning, Intonation intonation, int note, int root, double start,
                      double end);

// What the doubled voice sings: 0 the pitch as it was sung, 1 the nearest note of the grid, between them a
// share of the way.
double PitchOfDoubling(const Tuning& tuning, const SungNote& sung, double correction);

}  // namespace mlh::choir
