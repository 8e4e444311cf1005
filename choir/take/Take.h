// A recording of one voice, and what was sung in it.
#pragma once

#include <memory>
#include <vector>

#include "choir/Types.h"
#include "choir/take/AddOn.h"
#include "choir/take/PeriodMeter.h"
#include "mlh/analysis.h"

namespace mlh::choir {

class Take {
  public:
    // Analyses the whole recording, whose samples must outlive the take. Throws Failure when the library
    // cannot analyse it, and what `progress` throws.
    explicit Take(const AudioView& audio, const ProgressCallback& progress = {});

    const AudioView& audio() const { return audio_; }
    // Everything that the core's analysis found.
    const Analysis& analysis() const { return analysis_; }
    const std::vector<SungNote>& notes() const { return notes_; }
    const std::vector<CurvePoint>& curve() const { return curve_; }

    // The notes with the pitch that really sounds, measured on the waveform when first asked for: the core's
    // marks lie on whole samples and lean by some cents. None where no voice can be found.
    const std::vector<SungNote>& measuredNotes() const;
    // What was measured for it.
    const std::vector<MeasuredPeriod>& measuredPeriods() const;

    // An add-on that has analysed the take. The first call hands out the one that the take was made with,
    // each further one analyses the recording again.
    std::unique_ptr<AddOn> ReleaseAddOn(const ProgressCallback& progress = {});

  private:
    void Measure() const;

    AudioView audio_;
    std::unique_ptr<AddOn> addOn_;
    Analysis analysis_;
    std::vector<SungNote> notes_;
    std::vector<CurvePoint> curve_;
    mutable std::vector<MeasuredPeriod> periods_;
    mutable std::vector<SungNote> measured_;
    mutable bool isMeasured_ = false;
};

}  // namespace mlh::choir
