// What the analysis of a prepared add-on found out: for hosts that link the static library and want to
// show or store it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mlh/addon.h"

namespace mlh {

// The voice at one pitch mark; marks are one period apart.
struct PitchPoint {
    double time;   // [s]
    float pitch;   // MIDI scale; 0 where no period was measured
    float energy;  // mean square since the mark before; the loudest of the recording is 1
    bool voiced;
};

// A detected note.
struct Note {
    double start;  // [s]
    double end;    // [s]
    float pitch;   // MIDI scale, fractions allowed
    float energy;  // mean of its points
};

// The chord of one segment of the lead, as given by the host or tracked from the melody.
struct SegmentChord {
    double start;         // [s]
    int32_t root;         // pitch class, 0 is C; -1 none
    int32_t triadType;    // 0 major, 1 minor, 2 diminished, 3 augmented, 4 unknown, 5 a seventh chord or none
    int32_t seventhType;  // 9 major, 10 minor, 11 dominant, 12 half-diminished, 13 diminished, 14 minor-major
                          // seventh, 15 unknown, 16 a triad or none
};

struct Analysis {
    std::vector<PitchPoint> curve;
    std::vector<Note> notes;
    std::vector<SegmentChord> chords;  // one per segment; in the manual mode without meaning
    float tuning = 0.0f;               // semitones above the grid of A = 440 Hz, about -0.5 to 0.5
    int32_t key = -1;                  // as the analysis found it: 0 to 11 major, 12 to 23 minor, -1 none
};

// Empty for an add-on that is not prepared.
Analysis GetAnalysis(MalleoTuneHarmonyAddOnIf& addOn);

// The number of the processor level that the library's kernels run at (0, 3, 4, 5 or 6) and what it needs:
// "none", "SSE2", "SSE3", "SSE4.2" or "AVX".
int32_t GetProcessorLevel();
const char* GetProcessorLevelName(int32_t level);
// Asks for a level of at most `level`. A process can only go down: a higher level than the present one
// changes nothing.
void LimitProcessorLevel(int32_t level);

}  // namespace mlh
