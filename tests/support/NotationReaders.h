// Readers of other make for the notes that the command writes: midicsv for MIDI files, LilyPond's converter
// and its event listener for sheet music. Tests skip where the programs are missing.
#pragma once

#include <string>
#include <vector>

namespace mlh {

// A note in 24ths of a quarter note.
struct Struck {
    int start;
    int end;
    int pitch;
    auto operator<=>(const Struck&) const = default;
};
using Part = std::vector<Struck>;

bool HaveMidicsv();
bool HaveLilyPond();

// The tracks with notes of a MIDI file, as midicsv lists them.
std::vector<Part> PartsOfMidi(const std::string& path);

// A note as a synthesizer plays it: with the pitch wheel as it stands when it starts.
struct PlayedNote {
    double start;  // [beats]
    double end;    // [beats]
    double pitch;  // MIDI scale
};
// The tracks with notes of a MIDI file, played; the wheel goes by the range that the track sets, two
// semitones where it sets none.
std::vector<std::vector<PlayedNote>> PlayedByMidi(const std::string& path);
// The texts of all markers, in their order.
std::vector<std::string> MarkersOfMidi(const std::string& path);

// A score's parts as LilyPond plays them, ties joined. `names` are those of the parts.
struct Score {
    std::string path;  // ends with .musicxml
    std::vector<std::string> names;
};
// All scores in one run, in their order. An empty result where LilyPond complains.
std::vector<std::vector<Part>> PartsOfScores(const std::vector<Score>& scores);

}  // namespace mlh
