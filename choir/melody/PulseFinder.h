// The pulse of a melody that nobody counted: where its half bars are, while the tempo drifts.
//
// Chords change on bar lines and on half bars, so that is the pulse that a chord tracker needs. Two steps:
//
// 1. A comb follows the notes. Its state is a period (0.3 to 1.9 s in steps of 1 %) and a phase; from note to
// note the period may
//    take one step, at a cost. Each onset earns by its phase, the more the longer its note: whole and half
//    periods pay, quarters cost. The best path is found by dynamic programming (as the bar pointer of N.
//    Whiteley, A. T. Cemgil, S. Godsill, 2006, on the resonance idea of E. Scheirer, 1998, and A. Klapuri,
//    2006). Local lines through its onsets give a clock.
// 2. On that clock the tempo is steady, whatever it did. Multiples and fractions of the comb's period, at
// every twelfth, are
//    ranked by a linear score of 130 numbers: which notes fall on the line, off it, on thirds, quarters,
//    halves, by length and interval; the degrees on the lines; the period in seconds and in notes; the
//    rhythm's echo after 1, 2, 4 lines.
//
// For: songs and dances. Against: free chant, rubato that doubles a beat, melodies in equal notes without
// accent. Cost: notes x 9000 states in step 1, notes x about 130 hypotheses in step 2.
#pragma once

#include <optional>
#include <vector>

#include "choir/melody/MelodyNote.h"

namespace mlh::choir {

// A clock that counts half bars. It goes through knots and goes on as between the two outermost ones.
class HalfBarClock {
  public:
    // Steady: half bar 0 begins at `origin`, each lasts `half` (above 0), in the notes' unit.
    HalfBarClock(double origin, double half);

    // Through `times` (at least two, rising), which are counts apart by 1 from `firstCount` on; half bars are
    // (count - phase) / ratio.
    HalfBarClock(std::vector<double> times, double firstCount, double ratio, double phase);

    double HalvesAt(double time) const;
    double TimeAt(double halves) const;
    double CountAt(double time) const;

    // Length of a half bar around the middle of the knots, in the notes' unit.
    double Half() const;

    // The same clock with other half bars.
    HalfBarClock With(double ratio, double phase) const;

    // The same clock counted from another half bar.
    HalfBarClock From(double halves) const;

    const std::vector<double>& Knots() const { return times_; }

  private:
    std::vector<double> times_;
    double firstCount_ = 0.0;
    double ratio_ = 1.0;
    double phase_ = 0.0;
};

// How half bars make bars, and what is in them.
struct HalfBarMetre {
    int beats = 2;   // in a half bar: 2 in 4/4, 2/2, 2/4; 3 in 3/4, whose half bar is the bar; 1 in a written
                     // 6/8 or 9/8
    int halves = 2;  // half bars in a bar: 2 in 4/4, 2/4, 6/8; 1 in 3/4; 3 in 9/8
};

struct PulseOptions {
    std::optional<double> beat;  // seconds of a beat, when the tempo is known: the comb then hardly moves
    std::optional<double>
        half;  // seconds (or beats) of a half bar, when it is known and steady: only lines are sought
    std::optional<HalfBarMetre> metre;  // when it is known
    int tonic = 0;                      // pitch class; its degrees on the lines are part of the score
};

struct MelodyPulse {
    HalfBarClock clock;          // half bar 0 is the first bar line at the first note or after it
    HalfBarMetre metre = {};     // given or found; beats 3 also stand for a 6/8 that was found
    double confidence = 0.0;     // posterior of the chosen half bars among those that were ranked, 0 to 1
    double barConfidence = 0.0;  // of the bar lines, given the half bars
};

// Notes as OneLine gives them, times in seconds (unless `half` is given, when they are in its unit), pitches
// free of tuning. Bar lines are ranked as half bars are, with weights of their own. With fewer than two notes
// the pulse is the given one, or 0.9 s, from the first note on.
MelodyPulse FindPulse(const std::vector<MelodyNote>& notes, const PulseOptions& options = {});

// For paper: the time signature to write a pulse in, and the seconds of its quarter note.
struct WrittenMetre {
    int upper = 4;
    int lower = 4;
    double quarter = 0.5;  // [s]
    double bpm = 120.0;    // of what one counts: quarters, or dotted quarters where the lower number is 8
};
WrittenMetre WrittenMetreOf(const HalfBarMetre& metre, double half);

// Counted beats from the one at or before `from` to the one at or past `to`.
struct Beat {
    double time = 0.0;
    bool barLine = false;
};
std::vector<Beat> BeatsOf(const MelodyPulse& pulse, double from, double to);

}  // namespace mlh::choir
