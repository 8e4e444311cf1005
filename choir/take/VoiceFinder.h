// Whether a recording has one voice in it that notes can be found of: a pitch tracker follows something in
// noise, drums or a whole band, too.
//
// At moments 20 ms apart, where the recording is about as loud as it usually is, three things must hold
// together for a voice:
//     the waveform agrees with itself a period later (normalised correlation: Boersma, 1993);
//     the spectrum has its peaks on the harmonics of that period and its valleys between them (the kernel of
//     Camacho and Harris, 2008, at the one pitch that the marks follow): partials of other instruments and
//     voices lie in the valleys;
//     the pitch goes on for some moments (as contours must: Salamon and Gomez, 2012), where that of noise
//     and of drums jumps.
//
//     for  singing of any kind, breathy, falsetto, with noise or hall, whistling, speech
//     against  a voice that stands well above an accompaniment, or two that take turns: they count as one;
//     a solo instrument is no different from a singer
//
// Cost: some 20000 products for each moment that is loud enough, independent of the sample rate.
#pragma once

#include <vector>

#include "choir/take/AddOn.h"
#include "choir/take/PeriodMeter.h"

namespace mlh::choir {

struct VoiceEvidence {
    double sounding = 0.0;  // [s] of the recording about as loud as it usually is
    double sung = 0.0;      // [s] of that with a voice

    // Real singers, even breathy ones, have it in over half of `sounding`, speakers in three quarters; songs
    // with a band in up to a third, whispers, drums and noise in none to a sixth.
    bool Found() const { return sung >= kLeastSung && sung >= kLeastShare * sounding; }

    static constexpr double kLeastSung = 0.1;   // [s]
    static constexpr double kLeastShare = 0.4;  // of the sounding time
};

// `periods` as MeasurePeriods gives them for this recording. Samples that are no numbers count as not sung.
VoiceEvidence FindVoice(const AudioView& audio, const std::vector<MeasuredPeriod>& periods);

}  // namespace mlh::choir
