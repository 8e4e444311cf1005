#include "choir/take/Take.h"

#include <cmath>
#include <utility>

#include "choir/take/PeriodMeter.h"

namespace mlh::choir {

Take::Take(const AudioView& audio, const ProgressCallback& progress)
    : audio_(audio), addOn_(std::make_unique<AddOn>(audio, progress)), analysis_(GetAnalysis(**addOn_)) {
    for (const Note& note : analysis_.notes) {
        coreNotes_.push_back({note.start, note.end, note.pitch, std::sqrt(static_cast<double>(note.energy))});
    }
    for (const PitchPoint& point : analysis_.curve) {
        curve_.push_back({point.time, point.pitch, point.voiced && point.pitch > 0.0f});
    }
    periods_ = MeasurePeriods(audio_, curve_);
    voice_ = FindVoice(audio_, periods_);
    if (hasVoice()) {
        notes_ = coreNotes_;
        measured_ = coreNotes_;
        DropUnsungNotes(measured_, periods_);
        RefinePitches(measured_, periods_);
    }
}

std::unique_ptr<AddOn> Take::ReleaseAddOn(const ProgressCallback& progress) {
    return addOn_ ? std::move(addOn_) : std::make_unique<AddOn>(audio_, progress);
}

}  // namespace mlh::choir
