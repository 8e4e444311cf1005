// Who sings what: from the notes that were sung and the chords to the notes and pitches of every voice.
//
//     notes -> the singer's grid -> a note of the grid for each sung one -> pieces where chords change
//     -> voicing -> what each voice sounds like
//
// The first voice doubles the lead. The others are named by their place, nearest to the lead first, so that a
// voice keeps its name, its place among the stems and its person when voices are added: Above, High, Top;
// Below, Low, Bass.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "choir/Types.h"
#include "choir/tuning/Tuning.h"
#include "choir/voicing/Voicing.h"

namespace mlh::choir {

struct PlanSettings {
    int voices = 4;  // with the doubling, 1 to 4
    // Harmony voices above the lead at most, 0 to 3; the others lie below. Without a number as many as suit
    // the lead: one, more where people cannot sing so far below it, none where they cannot above.
    std::optional<int> above = {};
    double spread = 0.5;  // 0 close to 1 wide
    VoicingManner manner = VoicingManner::Backing;
    Intonation intonation = Intonation::Equal;
    double correction = 0.0;  // 0 every voice follows the singer's intonation, 1 all are on the singer's grid
    std::optional<int> snapToKey;  // the melody moves to the scale of this key: 0 to 11 major, 12 to 23 minor
    // Of the harmony voices in the order of the voices; entries that are missing suit the lead.
    std::vector<std::optional<PitchRange>> ranges = {};
};

struct ChoirPlan {
    std::vector<int> leadNotes;  // of the grid, one for each sung note
    std::vector<Voice> voices;   // the doubling first
};

// The voices for these notes (by rising start). `chords` by rising time; a chord without tones is "no chord",
// where the harmony rests. Without chords only the doubling sings.
ChoirPlan PlanChoir(const std::vector<SungNote>& notes, const Tuning& tuning,
                    const std::vector<TimedChord>& chords, const PlanSettings& settings);

// The note of the grid for each sung note, moved to the scale of the key if one is given: to the nearer tone,
// the lower one of equals.
std::vector<int> GridNotes(const std::vector<SungNote>& notes, const Tuning& tuning,
                           std::optional<int> snapToKey);

}  // namespace mlh::choir
