// Harmony voices for a melody and its chords: every voice sings a tone of the chord that is written.
//
// The idea: for each stretch of melody (a note, or the part of one that a chord holds for) list the ways of
// setting the chord beside it, price each by itself (which tones are there, what is doubled, how it is
// spaced, what rubs against the melody), price each move from one setting to the next (motion, parallels,
// tones that want to go somewhere), and take the cheapest path through the whole piece: dynamic programming
// in the order of time (Viterbi, 1967), as chorale harmonisers since Ebcioglu (1988) do it. The rules are
// those of every harmony textbook (Piston, 1941; Aldwell and Schachter, 1978); the prices are ours, whole
// numbers, so that every machine finds the same path.
//
// Cost: stretches times kept settings squared; the settings of equal stretches are made once.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace mlh::choir {

inline constexpr int kMaxHarmonyVoices = 3;
inline constexpr int kRest = -1;

// A chord to be set: absolute pitch classes with what each of them is in the chord.
enum class ToneRole { Root, Third, Fifth, AlteredFifth, Sixth, Seventh, Extension };
struct VoicingTone {
    int pitchClass;  // 0 is C
    ToneRole role;
};
struct VoicingChord {
    std::vector<VoicingTone> tones;  // empty: no chord, the voices rest
    int bass = -1;                   // pitch class of the lowest voice; -1 leaves it open
    bool slash = false;              // the bass was asked for, it is not just the root
};

// The chord on `root` (pitch class) with these tones in semitones above it; 12 and more are extensions.
// `bass` is a pitch class, -1 the root.
VoicingChord MakeVoicingChord(int root, const std::vector<int>& semitones, int bass = -1);

// A stretch of melody under one chord.
struct VoicingStretch {
    int lead;         // MIDI note
    int chord;        // index into the chords, -1 none
    double duration;  // [s]
    bool afterPause;  // a rest that ends a phrase lies before it
};

struct PitchRange {
    int low = 0;  // MIDI notes, both included
    int high = 127;
    friend bool operator==(const PitchRange&, const PitchRange&) = default;
};

// How strictly the rules of part writing count: voices beside a lead, or four equal parts.
enum class VoicingManner { Backing, FourPart };

struct VoicingSettings {
    int above = 1;        // voices above the lead
    int below = 2;        // and below it; together 1 to kMaxHarmonyVoices
    double spread = 0.5;  // 0 close to 1 wide
    VoicingManner manner = VoicingManner::Backing;
    std::array<PitchRange, kMaxHarmonyVoices> ranges = {};  // of the voices, from the top down
};

// One entry per stretch: MIDI notes of the voices from the top down, kRest where the voice rests (no chord)
// or does not exist. A voice whose range holds no tone of the chord near the lead takes the nearest one there
// is.
std::vector<std::array<int, kMaxHarmonyVoices>> VoiceChords(const std::vector<VoicingStretch>& stretches,
                                                            const std::vector<VoicingChord>& chords,
                                                            const VoicingSettings& settings);

// Whether two notes rub: a second, seventh or tritone apart in any octave.
bool Rubs(int note, int other);

}  // namespace mlh::choir
