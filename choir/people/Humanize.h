// Makes people of voices: who comes in a little early or late, how loud, how high, with how much vibrato.
//
// All voices are made of one recording, and without this they share its onsets to the sample, its vibrato
// and its loudness, which no ear takes for four people. People are late and early by some hundredths of a
// second, and stay so for some notes; they differ by some cents and some decibels. Numbers follow what is
// measured in small ensembles: onsets apart by 10 to 40 ms (Rasch, 1979; D'Amario and others, 2018), voices
// of a choir section apart by some cents (Ternstrom, 2003).
//
// Levels move slowly: phrases grow or fade, notes are leaned on or passed over, long notes swell and fall
// off. In the mean a voice stays as loud as it was asked for. Inside long notes the pitch wanders by a few
// cents. Where the lead glides fast, being late is being out of tune, and people stay closer together.
//
// Consonants are softer than the soloist's, each by its own measure: nobody wants four at once.
//
// Wandering values follow a first-order autoregression from note to note. Everything is drawn from a seed and
// numbers of voice and note (see RandomSource.h): the same seed gives the same bits everywhere.
//
// Cost: linear in the notes.
#pragma once

#include <cstdint>
#include <vector>

#include "choir/Types.h"

namespace mlh::choir {

struct HumanizeSettings {
    double amount = 0.5;  // 0 none to 1 much
    uint64_t seed = 1;
};

// What matters of a note of the lead.
struct LeadTraits {
    double glide = 0.0;  // [semitones per second] how fast it glides as a whole
    double level = 1.0;  // root of the mean energy
};

// How one person sings one note. All zeros and ones: as the recording.
struct NoteManner {
    double onset = 0.0;    // [s] later (above 0) or earlier than written
    double release = 0.0;  // [s] the same for the end
    std::vector<double> inside =
        {};                          // [s] the same inside the note, at even distances: sooner or later in it
    double detune = 0.0;             // [semitones]
    std::vector<double> drift = {};  // [semitones] on top, in each of the stretches that `inside` makes
    double levelAtStart = 0.0;       // [dB]
    std::vector<double> levelsInside = {};  // [dB] at even distances inside the note
    double levelAtEnd = 0.0;                // [dB]
    double consonant = 0.0;                 // [dB] of what is unvoiced before the note and in it
    double vibrato = 1.0;                   // factor on the movement of the pitch
    double formant = 0.0;                   // [semitones]
    friend bool operator==(const NoteManner&, const NoteManner&) = default;
};

// One manner per note of the voice. `person` distinguishes the voices; it should go with the part, so that a
// voice stays the same person when others come or go. Notes are in the order of time and rests (note -1) may
// be among them. Notes that touch move their common border together; no note becomes shorter than 0.4 of
// itself, none begins before 0, and the order stays. With amount 0 all manners are neutral. `lead` has the
// notes of the lead, by VoiceNote::lead; missing ones are as the defaults.
std::vector<NoteManner> Humanize(const std::vector<VoiceNote>& notes, int person,
                                 const HumanizeSettings& settings, const std::vector<LeadTraits>& lead = {});

}  // namespace mlh::choir
