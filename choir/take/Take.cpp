#include "choir/take/Take.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "choir/take/PeriodMeter.h"

namespace mlh::choir {

namespace {

// So many measurements, one every 8 ms, must find a period before there is a voice at all: the core finds a
// note in silence, too.
constexpr int kLeastSung = 12;

}  // namespace

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
    Measure();
    return measured_;
}

const std::vector<MeasuredPeriod>& Take::measuredPeriods() const {
    Measure();
    return periods_;
}

void Take::Measure() const {
    if (isMeasured_) {
        return;
    }
    periods_ = MeasurePeriods(audio_, curve_);
    const auto sung = std::count_if(periods_.begin(), periods_.end(), [](const MeasuredPeriod& period) {
        return period.agreement >= kSungAgreement;
    });
    if (sung >= kLeastSung) {
        std::vector<SungNote> notes = notes_;
        RefinePitches(notes, periods_);
        measured_ = std::move(notes);
    }
    isMeasured_ = true;
}

std::unique_ptr<AddOn> Take::ReleaseAddOn(const ProgressCallback& progress) {
    return addOn_ ? std::move(addOn_) : std::make_unique<AddOn>(audio_, progress);
}

}  // namespace mlh::choir
