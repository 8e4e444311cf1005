// The stretches that voices sing: the notes of the lead, cut where chords change inside them.
#pragma once

#include <vector>

namespace mlh::choir {

struct NoteSpan {
    double start = 0.0;  // [s]
    double end = 0.0;    // [s]
};

struct Piece {
    int note = 0;        // index of the lead's note
    double start = 0.0;  // [s] of the note, or the cut
    double end = 0.0;
    int chord = -1;           // index of the chord that holds, -1 none
    bool afterPause = false;  // a pause lies before it, long enough that a line starts fresh
    friend bool operator==(const Piece&, const Piece&) = default;
};

// Cuts `notes` (by rising start, not overlapping) at the changes of chords, whose times [s] rise. People set
// chords a little before or after the note that they are meant for, so a change near the border of a note is
// moved there, and a change in a rest counts from the next note. Before the first chord the first one holds.
// Several changes on one spot leave the last. Without chords every note is one piece with chord -1.
std::vector<Piece> CutAtChords(const std::vector<NoteSpan>& notes, const std::vector<double>& changes);

}  // namespace mlh::choir
