// What the rules of voicing cost: whole numbers, 100 being a fault that one hears.
#pragma once

#include <cstddef>
#include <cstdint>

#include "choir/voicing/Voicing.h"

namespace mlh::choir {

enum class Length { Short, Middle, Long };
inline constexpr double kShortNote = 0.15;  // [s] below it a note passes by
inline constexpr double kLongNote = 0.30;   // [s] from it on friction is heard as wrong

inline constexpr std::size_t kKeptSettings = 36;  // cheapest ones that take part in the search
inline constexpr int kMuddyBelow = 48;            // small intervals sound muddy under C3
inline constexpr int kEdge = 3;                   // semitones from the end of a range that are better avoided

struct VoicingPrices {
    // The settings that are tried. [semitones]
    int reachAbove, reachBelow;  // from the lead
    double closest, widening;    // wanted distance of neighbours at spread 0, and what spread 1 adds
    double tolerance;
    int widest, widestBass;    // most between neighbours, and between the two lowest
    int nearAbove, nearBelow;  // beyond these from the lead every semitone costs

    // Settings.
    int32_t rub[3];          // against a foreign lead, by Length
    int32_t foreignDoubled;  // a voice on the pitch class of a lead that is foreign to the chord
    int32_t semitone, wholeTone, minorNinth, unison;
    int32_t missing[7], doubled[7], tripled;  // by ToneRole
    int32_t spacing, gap, gapMore, muddy, crossing;
    int32_t far, edge;
    int32_t slashBassMissing, inversion, fifthInBass;

    // Moves.
    int32_t step, skip, leap, awkward, overOctave, overlap;
    int32_t seventhUnresolved, leadingToneUnresolved;
    int32_t parallelFifth, parallelOctave, hidden;
};

const VoicingPrices& PricesOf(VoicingManner manner);

}  // namespace mlh::choir
