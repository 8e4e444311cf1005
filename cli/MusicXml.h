// Arrangements as sheet music.
#pragma once

#include <string>
#include <vector>

#include "Arrangement.h"

// Units of MusicXML durations in a quarter note: 32nd notes and triplets of 16ths are whole numbers.
inline constexpr int kDivisions = 24;

// A note on the grid of notation, in divisions.
struct GridNote {
    int start = 0;
    int end = 0;
};

// The nearest 32nd or sixteenth triplet, for a sung melody the nearest 16th. Notes keep their order and a
// length above 0, and do not overlap.
std::vector<GridNote> PutOnGrid(const Melody& melody);

// Writes a MusicXML 4.0 score: a part for each voice, chord symbols above the first, key, metre and tempo of
// the melody, ties over bar lines, rests. The file appears whole or not at all.
void WriteMusicXml(const std::string& path, const Arrangement& arrangement);
