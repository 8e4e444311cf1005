// How long the voice's period really is, note by note.
//
// Pitch marks lie on whole samples and follow the tracker's idea of the period, which leans a little: the
// pitch read off them is some cents beside what sounds. Here the waveform is laid over itself some periods
// later, at the distance where it fits best (normalised cross-correlation: Boersma, 1993, in the choice of
// lag), and the distance divided by the number of periods. The marks say how many periods that are.
//
//     for  held notes with or without vibrato, 60 to 1400 Hz, any rate
//     against  noise and consonants: the agreement is low there, and shows it
//
// Cost: linear in the recording, about a million products per second of it.
#pragma once

#include <vector>

#include "choir/Types.h"
#include "choir/take/AddOn.h"

namespace mlh::choir {

struct MeasuredPeriod {
    double time = 0.0;       // [s] of the middle
    double period = 0.0;     // [s] after which the waveform repeats
    double marked = 0.0;     // [s] mean distance of the pitch marks there
    double agreement = 0.0;  // correlation of the waveform with itself a period later, 1 at most
};

// One measurement every 8 ms, or every period where that is longer. `marks` rise in time.
std::vector<MeasuredPeriod> MeasurePeriods(const AudioView& audio, const std::vector<CurvePoint>& marks);

// From this agreement on a stretch counts as sung.
inline constexpr double kSungAgreement = 0.5;

// Pitch (MIDI scale) of a stretch of time: the mean of what was measured in it, its middle counting most;
// `fallback` where fewer than three measurements agree.
double PitchOfStretch(const std::vector<MeasuredPeriod>& periods, double start, double end, double fallback);

// Sets the pitches of notes to what really sounds.
void RefinePitches(std::vector<SungNote>& notes, const std::vector<MeasuredPeriod>& periods);

// Drops notes of which less than half repeats from period to period: breath and noise between the sung notes,
// in which the analysis finds pitches, too.
void DropUnsungNotes(std::vector<SungNote>& notes, const std::vector<MeasuredPeriod>& periods);

// [semitones per second] how fast each note glides, up or down, taken as a whole: the line that fits its
// pitches best. Vibrato comes to little. 0 where fewer than three measurements agree.
std::vector<double> GlidesOf(const std::vector<SungNote>& notes, const std::vector<MeasuredPeriod>& periods);

}  // namespace mlh::choir
