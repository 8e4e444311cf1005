// A recording of one voice, and what was sung in it.
#pragma once

#include <memory>
#include <vector>

#include "choir/Types.h"
#include "choir/take/AddOn.h"
#include "choir/take/PeriodMeter.h"
#include "choir/take/VoiceFinder.h"
#include "mlh/analysis.h"

namespace mlh::choir {

// What the user reads where nobody sings.
inline constexpr const char* kNoVoice = "no voice was found in the recording";

class Take {
  public:
    // Analyses the whole recording, whose samples must outlive the take. Throws Failure when the library
    // cannot analyse it, and what `progress` throws.
    explicit Take(const AudioView& audio, const ProgressCallback& progress = {});

    const AudioView& audio() const { return audio_; }
    // Everything that the core's analysis found: notes in noise and in a whole band, too.
    const Analysis& analysis() const { return analysis_; }
    const std::vector<SungNote>& coreNotes() const { return coreNotes_; }
    const std::vector<CurvePoint>& curve() const { return curve_; }

    // Whether one voice was found. Without one, nobody sang the notes that the core found.
    bool hasVoice() const { return voice_.Found(); }
    const VoiceEvidence& voice() const { return voice_; }
    // The core's notes; none without a voice.
    const std::vector<SungNote>& notes() const { return notes_; }
    // The same with the pitch that really sounds, measured on the waveform: the core's marks lie on whole
    // samples and lean by some cents. Without those in breath and noise.
    const std::vector<SungNote>& measuredNotes() const { return measured_; }
    // What was measured for that.
    const std::vector<MeasuredPeriod>& measuredPeriods() const { return periods_; }

    // An add-on that has analysed the take. The first call hands out the one that the take was made with,
    // each further one analyses the recording again.
    std::unique_ptr<AddOn> ReleaseAddOn(const ProgressCallback& progress = {});

  private:
    void Measure() const;

    AudioView audio_;
    std::unique_ptr<AddOn> addOn_;
    Analysis analysis_;
    std::vector<SungNote> coreNotes_;
    std::vector<CurvePoint> curve_;
    std::vector<MeasuredPeriod> periods_;
    VoiceEvidence voice_;
    std::vector<SungNote> notes_;
    std::vector<SungNote> measured_;
};

}  // namespace mlh::choir
