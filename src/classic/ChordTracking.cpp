// Chords for a bare melody.
//
// Every note votes for the diatonic triads that contain it, more for tonic and dominant than for others, and
// at both ends of the melody most of all for the tonic. A Viterbi search (Viterbi, 1967) over 25 chord states
// then finds the cheapest path: a state costs what it lacks in votes, a step from chord to chord what it
// lacks in likelihood. Cost: 25 * 25 table look-ups for each note.
#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "classic/Choiralizer.h"
#include "classic/TransitionTables.h"

namespace mlh {

namespace ChoiralizerClassic {

namespace {

// State s is a triad on root s % 12 of type s / 12: majors, minors, and one diminished triad that nobody
// votes for.
constexpr int32_t kStates = 25;
constexpr int32_t kVotesPerNote = 3;

template <class T>
using PerState = std::array<T, kStates>;

ClassicChord ChordOfState(int32_t state) { return {state % 12, 3, state / 12, SeventhNone}; }

float Weight(const float (&table)[8], int32_t degree) { return degree < 8 ? table[degree] : 0.0f; }

// What the search asks of a state.
struct StateTraits {
    bool diatonic;
    int32_t degree;  // of the root, in the parent scale
};

// The cheapest way into a state from the costs of the note before.
struct Step {
    int32_t predecessor = 0;
    float cost = 1e37f;

    // The first of equals stays. A cost that is not a number never wins.
    void Offer(int32_t state, float newCost) {
        if (newCost < cost) {
            predecessor = state;
            cost = newCost;
        }
    }
};

Step BestStep(int32_t to, const PerState<float>& cost, const PerState<StateTraits>& traits,
              const float (&transition)[7][7]) {
    Step best;
    if (traits[to].diatonic) {
        for (int32_t p = 0; p < 24; ++p) {
            // Only seven-tone scales have diatonic triads, so both degrees are within the table.
            const float likelihood =
                traits[p].diatonic ? transition[traits[p].degree][traits[to].degree] : 0.0f;
            best.Offer(p, cost[p] + 1.0f - likelihood);
        }
    } else {
        // The last minor triad is not offered to a chord out of the scale.
        for (int32_t p = 0; p < 23; ++p) {
            best.Offer(p, cost[p] + 1.0f);
        }
    }
    best.Offer(24, cost[24] + 1.0f);
    return best;
}

void ScaleToMaximumOne(std::vector<PerState<float>>& votes) {
    float maximum = 0.0f;
    for (const PerState<float>& column : votes) {
        for (const float vote : column) {
            if (vote > maximum) {
                maximum = vote;
            }
        }
    }
    if (maximum > 0.0f) {
        for (PerState<float>& column : votes) {
            for (float& vote : column) {
                vote /= maximum;
            }
        }
    }
}

}  // namespace

void CChoiralizer::TrackChords(const int32_t* notes, ClassicChord* chordsOut, int32_t count) const {
    if (!notes || !chordsOut || count < 1) {
        return;
    }
    const size_t length = static_cast<size_t>(count);
    const KeyedScale scale = OutputScale();
    const KeyedScale parent = ParentScale();

    std::vector<PerState<float>> votes(length, PerState<float>{});
    for (size_t t = 0; t < length; ++t) {
        ClassicChord chords[kVotesPerNote];
        ChordsOfNote(PrepareNote(notes[t]), chords, kVotesPerNote);
        float weights[kVotesPerNote] = {1.0f, 1.0f, 1.0f};
        if (t == 0 || t == length - 1) {
            for (int32_t c = 0; c < kVotesPerNote; ++c) {
                const float opening = Weight(kOpeningWeight, scale.Degree(chords[c].root));
                weights[c] *= chords[c].triadType != TriadNone ? opening : 0.0f;
            }
            // A note out of the scale has three weights of 0 here. The quotients are not numbers, and the
            // search passes by the state that carries them.
            const float maximum = *std::max_element(weights, weights + kVotesPerNote);
            for (float& weight : weights) {
                weight /= maximum;
            }
        }
        for (int32_t c = 0; c < kVotesPerNote; ++c) {
            const int32_t root = chords[c].root;
            const int32_t type = chords[c].triadType;
            weights[c] *= Weight(kGeneralWeight, scale.Degree(root));
            const bool minorThird = type == TriadMinor || type == TriadDiminished ||
                                    (type >= TriadOther && scale.WalkUp(scale.Position(root), 3) != 4);
            votes[t][static_cast<size_t>(root + (minorThird ? 12 : 0))] = weights[c];
        }
    }
    ScaleToMaximumOne(votes);

    PerState<StateTraits> traits;
    for (int32_t s = 0; s < kStates; ++s) {
        traits[s] = {IsDiatonic(ChordOfState(s)), parent.Degree(s % 12)};
    }
    const float(&transition)[7][7] = kTransition[outputScale_ == ScaleMajor ? 0 : 1];

    PerState<float> cost;
    for (int32_t s = 0; s < kStates; ++s) {
        cost[s] = 1.0f - votes[0][s];
    }
    std::vector<PerState<int8_t>> back(length);  // predecessor minus state
    for (size_t t = 1; t < length; ++t) {
        PerState<float> newCost;
        for (int32_t s = 0; s < kStates; ++s) {
            const Step best = BestStep(s, cost, traits, transition);
            newCost[s] = 1.0f - votes[t][s] + best.cost;
            back[t][s] = static_cast<int8_t>(best.predecessor - s);
        }
        cost = newCost;
    }

    Step last;
    for (int32_t s = 0; s < kStates; ++s) {
        last.Offer(s, cost[s]);
    }
    int32_t state = last.predecessor;
    for (size_t t = length; t-- > 0;) {
        chordsOut[t] = ChordOfState(state);
        state += back[t][state];
    }
}

}  // namespace ChoiralizerClassic

}  // namespace mlh
