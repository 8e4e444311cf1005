// The key of a melody from its notes alone, with a confidence that can be taken at its word.
//
// Each of the 24 keys gets a linear score of what its tonic makes of the melody: the sung time on each degree
// (as C. Krumhansl and E. Kessler, 1982, and D. Temperley, 1999, compare with profiles), the first note, the
// last note, the sung time on each degree in the last eighth of the notes, and how often each degree is come
// to by a fourth up or a fifth down and by steps: in what order tones come says more of the tonic
// than how many there are (D. Butler, 1989). The weights are those of a multinomial logistic regression,
// learned from tunes with known keys, also sung out of tune and cut to excerpts; its softmax is the posterior
// of the keys.
//
// For: tunes in major and minor. Against: modes (a Dorian tune is given its minor or the major a tone lower),
// and melodies that leave their key for most of the time.
#pragma once

#include <array>
#include <vector>

#include "choir/melody/MelodyNote.h"

namespace mlh::choir {

// Of the keys given with a confidence below this about half are wrong: better to say "not sure".
constexpr double kSureOfKey = 0.5;

struct KeyEstimate {
    std::array<double, 24> posterior = {};  // sums to 1; C major is 0, B major 11, C minor 12, B minor 23
    int best = 0;                           // index of the likeliest key, the first of equals
    int second = 1;                         // of the runner-up
    double confidence = 0.0;                // posterior of the best; 0 when there are no notes
    double tuning = 0.0;                    // semitones above A = 440 that the notes were freed of

    bool Sure() const { return confidence >= kSureOfKey; }
    int Tonic() const { return best % 12; }  // pitch class
    bool Minor() const { return best >= 12; }
};

// Notes as OneLine gives them. The notes' own tuning (TuningOf) is taken off before they are counted.
KeyEstimate FindKey(const std::vector<MelodyNote>& notes);

// The same with a tuning in semitones that the caller knows better.
KeyEstimate FindKey(const std::vector<MelodyNote>& notes, double tuning);

}  // namespace mlh::choir
