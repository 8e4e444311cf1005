// Renders the voices of a choir, each made of the recording's own grains.
//
// A renderer analyses the recording once for its grains: at the recording's own rate or, since grains lie on
// whole samples and high voices have few of them, at two or four times that (see Quality), and with some
// silence after its end, without which the core marks no grains in the last quarter of a second of a
// recording below 32 kHz. SetVoice then says what a voice sings, and Render renders any stretch of it, as
// often as wanted. Nothing but some blocks is kept of what was rendered: the grains before a
// stretch are retraced without their sound, which is cheap, so that a stretch has the bits of the whole and
// changing one voice renders no other.
//
// Pitch: the mean over a note's steady part is what its VoiceNote asks for, given lead notes with the pitch
// that really sounds (PeriodMeter.h). Loudness: each note is made as loud as the lead is there, before its
// own level and manner; where grains lie closer or further apart than in the recording they sum to more or
// less.
//
// Cost: linear in the recording for the analysis, in the stretch for rendering. Preparing a voice renders up
// to 80 ms of each note to measure its loudness. Rendering allocates nothing once it has begun.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "choir/Types.h"
#include "choir/render/VoicePlan.h"
#include "choir/take/AddOn.h"
#include "choir/take/PeriodMeter.h"

namespace mlh::choir {

enum class Quality { Fast, Normal, High, Auto };

// How many times the recording's rate voices are rendered at: 1, 2 or 4. Fast takes the least there is, High
// the most; Auto as much as the highest pitch (MIDI scale) that will be sung needs. The finer rate is below
// 256000 Hz, and at least 32000 Hz if 4 times the rate is; 1 where nothing more can be had.
int OversamplingFor(Quality quality, int32_t sampleRate, double highestPitch);

class Renderer {
  public:
    // Analyses the recording, whose samples must outlive the renderer. `lead` are its notes as sung, which
    // VoiceNote::lead counts, `periods` what was measured on its waveform. Throws Failure when the core
    // cannot analyse it, std::bad_alloc, and what `progress` throws.
    Renderer(const AudioView& audio, const std::vector<SungNote>& lead,
             const std::vector<MeasuredPeriod>& periods, int oversampling,
             const ProgressCallback& progress = {});
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    int oversampling() const;
    // Stretches of the recording without pitch, longer than 25 ms.
    const std::vector<Unvoiced>& unvoiced() const;

    // Number of voices; new ones are silent. Voices keep their orders.
    void SetVoiceCount(int count);
    // Sets what a voice (from 0) sings; costs nothing if it is what it sang before. Other voices are not
    // touched.
    void SetVoice(int voice, const VoiceOrder& order);
    // What became of it: segments, times and levels.
    const VoicePlan& plan(int voice) const;

    // Renders `count` frames of the recording's clock from `first` on into a row for each channel. Frames
    // past the recording are what the voice still sings there, at last silence.
    void Render(int voice, int32_t first, int32_t count, float* const* rows);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace mlh::choir
