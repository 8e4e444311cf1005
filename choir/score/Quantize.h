// Sung notes on the grid of notation.
//
// Singers are early and late, so the nearest grid line is often the wrong one: a note a tenth of a beat late
// is still on the beat. Each onset may take several lines; being off a line costs by the square of the
// distance, a line costs by how hard it is to read (beat, half, quarter, third), and so does a change between
// halves and thirds inside a beat; how far off and how rare each kind of line is, is learned from the song
// itself in a few rounds. The cheapest way through all notes is found by dynamic programming (after
// Raphael, 2001, without his tempo model: the beats are given). Linear in the notes. Ends go to lines that
// their beat has already, so that no note is a splinter of a triplet.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh::choir {

inline constexpr int kTicksPerBeat = 24;  // halves, quarters, eighths and thirds of a beat are whole numbers

// What a beat is divided into: a quarter note into halves, a dotted one, as in 6/8, into thirds.
enum class BeatDivision { Halves, Thirds };

struct SungSpan {
    double start = 0.0;  // [s]
    double end = 0.0;    // [s]
};

struct TickSpan {
    int64_t start = 0;  // ticks from the first beat; below 0 before it
    int64_t end = 0;
    friend bool operator==(const TickSpan&, const TickSpan&) = default;
};

// Beats as a function of time: `beats` are rising times [s] of beat 0, 1, 2 ...; at least two. Outside of
// them the nearest beat's length goes on.
double BeatAt(const std::vector<double>& beats, double seconds);
double SecondsAt(const std::vector<double>& beats, double beat);

// One span for each note: `notes` by rising start. Starts rise strictly, spans have a length and do not
// overlap; a short gap to the next note is closed, as singers breathe inside the written length.
std::vector<TickSpan> Quantize(const std::vector<SungSpan>& notes, const std::vector<double>& beats,
                               BeatDivision division = BeatDivision::Halves);

}  // namespace mlh::choir
