#include "choir/take/Take.h"

#include <cmath>
#include <utility>

#include "choir/take/PeriodMeter.h"

namespace mlh::choir {

Take::Take(const AudioView& audio, const ProgressCallback& progress)
    : audio_(audio), addOn_(std::make_unique<AddOn>(audio, progress)), analysis_(GetAnalysis(**addOn_)) {
    for (const Note& note : analysis_.notes) {
        notes_.push_back({note.start, note.end, note.pitch, std::sqrt(static_cast<double>(note.energy))});
    }
    for (const PitchPoint& point : analysis_.curve) {
        curve_.push_back({point.time, point.pitch, point.voiced && point.pitch > 0.0f});
    }
}

const std::vector<SungNote>& Take::measuredNotes() const {
    if (measured_.size() != notes_.size()) {
        std::vector<SungNote> notes = notes_;
        RefinePitches(notes, MeasurePeriods(audio_, curve_));
        measured_ = std::move(notes);
    }
    return measured_;
}

std::unique_ptr<AddOn> Take::ReleaseAddOn(const ProgressCallback& progress) {
    return addOn_ ? std::move(addOn_) : std::make_unique<AddOn>(audio_, progress);
}

}  // namespace mlh::choir
