// Voices of a caller's own over an analysed recording, segment by segment: for hosts that link the static
// library and decide themselves who sings what. The add-on's own four voices know nothing of them.
#pragma once

#include <cstdint>
#include <vector>

#include "mlh/addon.h"

namespace mlh {

// One stretch of a voice: where in the recording it comes from, when it sounds, and how. Pitches are on the
// MIDI scale. What sounds is the recording's own pitch there plus (targetPitch - detectedPitch), so that the
// singer's movement around detectedPitch stays. A "share" is a part of the target length, at most 1.
struct VoiceSegment {
    static constexpr float kMeasured = -1.0f;  // a glide as long as the singer's own

    double sourceStart = 0.0;  // [s] range of the recording
    double sourceEnd = 0.0;
    double targetStart = 0.0;  // [s] when it sounds; a length other than the source's stretches time
    double targetEnd = 0.0;
    float detectedPitch = 60.0f;
    float targetPitch = 60.0f;
    float gain = 1.0f;                // linear; 0 mutes
    float modulationKeep = 1.0f;      // share of the singer's own pitch movement that stays; 0 is a flat note
    float formantShift = 0.0f;        // [semitones]
    float glideInShare = kMeasured;   // how long the pitch takes to arrive from halfway to the neighbour ...
    float glideOutShare = kMeasured;  // ... and to leave; below 0 kMeasured
    float glideInExtra = 0.0f;        // [semitones] on top at the outer ends of the glides
    float glideOutExtra = 0.0f;
    float fadeInShare = 0.0f;
    float fadeOutShare = 0.0f;
    float fadeInLevel = 1.0f;  // linear gain at the outer end of the fades
    float fadeOutLevel = 1.0f;
};

// One voice. Order of use: CreateInstance over a prepared add-on, SetSegments, Render. A voice is used by one
// thread at a time; voices that have readers of their own may run on different threads at once, as long as
// nobody calls the add-on. Floating point as for the add-on.
//
// Codes: 0 success, 1 could not be built, 2 bad argument, 3 the add-on is not prepared. std::bad_alloc passes
// through.
class HarmonyVoiceIf {
  public:
    // Creates a voice with the natural segments, which sing a copy of the recording. It reads from `reader`,
    // which must give the samples that the add-on analysed, or with null from the add-on's own. Add-on and
    // reader must outlive it. *out is null unless the result is 0.
    static int32_t CreateInstance(HarmonyVoiceIf** out, MalleoTuneHarmonyAddOnIf* addOn,
                                  MalleoTuneHarmonyAddOnIf::AudioReader* reader = nullptr);
    // Destroys *handle and clears it. 2 for null.
    static int32_t DestroyInstance(HarmonyVoiceIf** handle);

    // The segments as they are now; glides are shown as measured. Initially a lead-in from 0 to the first
    // note and one segment per note, each reaching to the start of the next.
    virtual std::vector<VoiceSegment> GetSegments() const = 0;
    // Replaces all segments, in time linear in their number. 2, and nothing changed, unless all numbers are
    // finite, no range ends before it starts and each target range starts where the one before ends, the
    // first at 0: a rest is a segment with gain 0.
    virtual int32_t SetSegments(const std::vector<VoiceSegment>& segments) = 0;

    // Grains lie on whole samples, so that the pitch of a steady high note is off by up to half a sample per
    // period, and a segment starts on the nearest mark, up to half a period off. With true, what a period
    // lacks is added to the next, the period is taken between the marks and a segment that moves anything
    // starts where it should: the mean pitch is exact. Initially false, as the add-on's voices are.
    virtual void CarryRounding(bool carry) = 0;

    // [s] where the last segment ends.
    virtual double GetDuration() const = 0;
    // Renders frames `first` to `first` + `frames` - 1 into out[channel], one or two channels as the reader
    // has. Zeros past the duration. Any stretch has the same bits whatever was rendered before: going on is
    // cheapest, going back or ahead retraces the grains from the start without their sound (some
    // milliseconds for minutes of singing). 2 for negative numbers or a reader of more than two channels.
    virtual int32_t Render(float* const* out, int32_t first, int32_t frames) = 0;

  protected:
    virtual ~HarmonyVoiceIf() = default;
};

}  // namespace mlh
