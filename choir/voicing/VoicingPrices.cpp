#include "choir/voicing/VoicingPrices.h"

namespace mlh::choir {

namespace {

// Voices beside a lead: they stay near it, and move with it.
constexpr VoicingPrices kBacking = {
    .reachAbove = 14,
    .reachBelow = 19,
    .closest = 3.0,
    .widening = 6.0,
    .tolerance = 1.5,
    .widest = 12,
    .widestBass = 14,
    .nearAbove = 9,
    .nearBelow = 12,
    .rub = {120, 700, 2500},
    .foreignDoubled = 120,
    .semitone = 160,
    .wholeTone = 50,
    .minorNinth = 120,
    .unison = 180,
    //          root third fifth altered sixth seventh extension
    .missing = {170, 260, 30, 150, 160, 230, 110},
    .doubled = {15, 55, 25, 120, 80, 220, 90},
    .tripled = 150,
    .spacing = 9,
    .gap = 90,
    .gapMore = 25,
    .muddy = 120,
    .crossing = 400,
    .far = 9,
    .edge = 10,
    .slashBassMissing = 320,
    .inversion = 35,
    .fifthInBass = 90,
    .step = 7,
    .skip = 25,
    .leap = 90,
    .awkward = 50,
    .overOctave = 2500,
    .overlap = 50,
    .seventhUnresolved = 80,
    .leadingToneUnresolved = 70,
    .parallelFifth = 550,
    .parallelOctave = 700,
    .hidden = 40,
};

// Four equal parts: complete chords and clean part writing before nearness.
constexpr VoicingPrices kFourPart = {
    .reachAbove = 28,
    .reachBelow = 36,
    .closest = 3.0,
    .widening = 6.0,
    .tolerance = 2.0,
    .widest = 12,
    .widestBass = 19,
    .nearAbove = 24,
    .nearBelow = 31,
    .rub = {60, 350, 1500},
    .foreignDoubled = 120,
    .semitone = 160,
    .wholeTone = 50,
    .minorNinth = 120,
    .unison = 120,
    .missing = {350, 600, 60, 350, 300, 400, 150},
    .doubled = {0, 90, 25, 200, 120, 400, 150},
    .tripled = 80,
    .spacing = 7,
    .gap = 300,
    .gapMore = 60,
    .muddy = 120,
    .crossing = 800,
    .far = 6,
    .edge = 10,
    .slashBassMissing = 700,
    .inversion = 90,
    .fifthInBass = 300,
    .step = 8,
    .skip = 25,
    .leap = 90,
    .awkward = 70,
    .overOctave = 2500,
    .overlap = 70,
    .seventhUnresolved = 150,
    .leadingToneUnresolved = 120,
    .parallelFifth = 1400,
    .parallelOctave = 1800,
    .hidden = 100,
};

}  // namespace

const VoicingPrices& PricesOf(VoicingManner manner) {
    return manner == VoicingManner::FourPart ? kFourPart : kBacking;
}

}  // namespace mlh::choir
