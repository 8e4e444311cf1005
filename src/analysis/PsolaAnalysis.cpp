// How a mark is found
//
// Take two periods of the signal from the last mark on (the window) and the stretch that starts half a
// window, hence one expected period, later. Where the expectation is right the two agree as they stand, at
// lag 0; a true period shorter or longer by n samples shows as a correlation peak at lag n or -n. So the next
// mark is halfWindow - lag after the last one. Looking only a sixteenth of a period around the
// expectation keeps the search off the octaves; the expectation comes from the tracker, which has heard 93
// ms, and between two of its frames from the lag just found.
//
// Correlation says how far the next period is, not where in the period a mark stands. Rounding alone would
// let marks wander through the waveform, and grains cut at wandering marks sound rough. So each mark is drawn
// towards the highest peak around it: at once where it is near, else by two samples a period, since a jump
// would be heard as a break. Short periods are left alone, there being nothing to choose from.
//
// Where there is no voice, marks fall at the last pitch known, or every eighth of a block where there never
// was one; they only serve to cut the signal somewhere.
//
// For: any single voice from about 25 Hz up to 2.7 kHz, as the tracker goes. Against: several voices at once,
// where the tracker's choice decides which one is followed, and anything quieter than the grid of the
// correlation, where the expectation is taken as it is.
//
// Cost: per mark one sum of products over the window for each lag in reach, so linear in the length of the
// recording; the tracker, at one long spectrum per 11.6 ms, costs far more than all marks.
#include "analysis/PsolaAnalysis.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "base/Codes.h"
#include "base/PitchUnits.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace {

constexpr int32_t kMinBlockSize = 1024;
constexpr int32_t kMaxBlockSize = 65536;
constexpr float kMaxSampleRate = 1.0e6f;

constexpr float kSilence = 1e-24f;
constexpr float kStrongTransient = 0.7f;
constexpr float kHighThreshold = 0.01f;  // peaks of the high-passed signal up to this are no attack
constexpr float kLowThreshold = 0.1f;    // the same of the low-passed signal
constexpr float kRivalFactor = 1.25f;    // by how much a peak's energy must exceed that at the mark
constexpr int32_t kNear = 4;             // samples; a higher peak as near as this is taken at once,
constexpr int32_t kCreep = 2;            // one further away in steps of this
constexpr float kRadiusVoiced = 0.0625f;
constexpr float kRadiusUnvoiced = 0.125f;
constexpr float kRadiusReanalysis = 0.5f;
constexpr float kReanalysisHarmonicity = 12.0f;  // dB

using RateSettings = CPSOLAAnalysis::RateSettings;

// clang-format off
constexpr RateSettings kRateSettings[] = {
    //  below [Hz]  block  shortest half window  fallback   tail   default
    //              factor  enhanced     plain        hop   fill    buffer
    {     32000.0f,      1,       16,       64,       512,   4096,   16384},
    {     64000.0f,      1,       32,      128,      1024,   8192,   32768},
    {    128000.0f,      2,       64,      256,      2048,  16384,   65536},
    {    256000.0f,      4,      128,      512,      4096,  32768,  131072},
    {std::numeric_limits<float>::infinity(),
                         8,      256,     1024,      8192,  65536,  262144},
};
// clang-format on

const RateSettings& SettingsFor(float sampleRate) {
    const auto* row = std::begin(kRateSettings);
    while (sampleRate >= row->belowRate && row + 1 != std::end(kRateSettings)) {
        ++row;
    }
    return *row;
}

bool IsPowerOfTwo(int32_t n) { return n > 0 && (n & (n - 1)) == 0; }

// Mostly known from the first sample.
bool IsSilent(const float* samples, int32_t n) {
    return std::none_of(samples, samples + n, [](float value) { return std::fabs(value) >= kSilence; });
}

// 0 where the peak does not rise, towards 1 the more it does, both relative to the peak before and
// absolutely.
float AttackStrength(float peak, float peakBefore, float threshold) {
    if (!(peak > peakBefore) || !(peak > threshold)) {
        return 0.0f;
    }
    constexpr double kTiny = 1e-31;
    const double now = peak;
    const double before = peakBefore;
    const double ratio = (now + kTiny) / (before + kTiny);
    return static_cast<float>(std::tanh((ratio * (now - before) + kTiny) / ((now + before) + kTiny)));
}

int32_t ToMarkPosition(int64_t position) {
    return static_cast<int32_t>(std::min<int64_t>(position, std::numeric_limits<int32_t>::max()));
}

}  // namespace

CPSOLAAnalysis::CPSOLAAnalysis(CPitchMarksIf* marks, float sampleRate, int32_t blockSize,
                               int32_t channelCount, bool enhanced, int32_t bufferSize)
    : marks_(marks),
      sampleRate_(sampleRate),
      channelCount_(channelCount),
      enhanced_(enhanced),
      settings_(SettingsFor(sampleRate)),
      minPeriodUnit_(enhanced ? settings_.minPeriodUnitEnhanced : settings_.minPeriodUnitPlain),
      blockSize_(std::clamp(blockSize, 1, kMaxBlockSize + 1) * settings_.blockFactor),
      bufferSize_(bufferSize == 0 ? settings_.bufferSize : bufferSize),
      lowPassFilter_(-0.9f),
      highPassFilter_(-0.5f),
      windows_(FirstWindows()),
      period_(static_cast<float>(settings_.tailFill / (2 * this->blockSize_))),
      previousDistance_(windows_.halfWindow) {
    InitDispatch(-1);
    if (marks && marks->GetCount() == 0) {
        marks->AppendMarkNoPeriod(0, 0.0f, 0.0f, 0.0f, 0.0f);
    }
}

bool CPSOLAAnalysis::ArgumentsAreValid() const {
    return marks_ && channelCount_ >= 1 && sampleRate_ >= 1.0f && sampleRate_ <= kMaxSampleRate &&
           IsPowerOfTwo(blockSize_) && blockSize_ >= kMinBlockSize * settings_.blockFactor &&
           bufferSize_ >= std::max(4 * blockSize_, settings_.tailFill);
}

int32_t CPSOLAAnalysis::Initialize() {
    if (!ArgumentsAreValid()) {
        return kBadArgument;
    }
    try {
        if (enhanced_) {
            CPitchTrack* created = nullptr;
            if (CPitchTrack::Create(&created, static_cast<int32_t>(sampleRate_), 1, 1) != 0) {
                return kOutOfMemory;
            }
            tracker_.reset(created);
            trackerInput_.Allocate(bufferSize_, 0);
        }
        samples_.Allocate(bufferSize_, blockSize_);  // 1.5 windows are looked at where 1 is there for sure
        correlators_.clear();
        const int32_t smallest = enhanced_ ? blockSize_ / 4 : 2 * blockSize_;
        const int32_t largest = enhanced_ ? 4 * blockSize_ : 2 * blockSize_;
        for (int32_t size = smallest; size <= largest; size *= 2) {
            correlators_.push_back(std::make_unique<qrtSPAdapter::CKKF>());
            if (correlators_.back()->Configure(size) != 0) {
                return kOutOfMemory;
            }
        }
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    initialized_ = true;
    return 0;
}

CPSOLAAnalysis::Windows CPSOLAAnalysis::FirstWindows() const {
    return {blockSize_, blockSize_ / 2, blockSize_ / 4, blockSize_ / 4};
}

int32_t CPSOLAAnalysis::Reset() {
    if (!initialized_) {
        return kWrongState;
    }
    windows_ = FirstWindows();
    lag_ = 0;
    predictedLag_ = 0;
    lastMark_ = 0;
    nextMark_ = 0;
    distance_ = 0;
    samples_.Clear();
    trackerInput_.Clear();
    trackerPosition_ = 0;
    previousHighPeak_ = 0.0f;
    previousLowPeak_ = 0.0f;
    transientNow_ = false;
    transientBefore_ = false;
    marks_->KeepNewest(0);
    marks_->AppendMarkNoPeriod(0, 0.0f, 0.0f, 0.0f, 0.0f);
    tracked_ = PitchTrackResult{};
    if (tracker_) {
        tracker_->Reset();
    }
    return 0;
}

int32_t CPSOLAAnalysis::GetFreeSpace() const { return bufferSize_ - samples_.Size(); }

void CPSOLAAnalysis::SetVoicingThreshold(float decibels) {
    if (tracker_) {
        tracker_->SetVoicingThreshold(decibels);
    }
}

float CPSOLAAnalysis::GetVoicingThreshold() const {
    return tracker_ ? tracker_->GetVoicingThreshold() : 0.0f;
}

int32_t CPSOLAAnalysis::AnalyzeBlock(const float* const* channels, int32_t frameCount) {
    if (!initialized_) {
        return kWrongState;
    }
    if (channels) {
        if (frameCount < 0 || frameCount > GetFreeSpace()) {
            return kBadArgument;
        }
        const float* mono = AppendSum(channels, 0, frameCount);
        if (tracker_) {
            std::copy_n(mono, frameCount, trackerInput_.Append(frameCount));
        }
    }
    // Ends: each round drops at least a sample, since no lag is as long as half a window.
    while (samples_.Size() >= 2 * blockSize_) {
        if (enhanced_) {
            const bool trackerIsAhead = RunTrackerAhead();
            if (!trackerIsAhead && channels) {
                return 0;
            }
            // A short period is expected afresh at each mark: the last lag would soon drift off by a period.
            const auto samplesPerPeriod = static_cast<int32_t>(period_);
            if (samplesPerPeriod > 0 && samplesPerPeriod < 2 * minPeriodUnit_) {
                FollowPeriod(kRadiusVoiced);
            }
        }
        Measured mark;
        const bool align = enhanced_ && tracked_.harmonicityDb != 0.0f;
        const TooNear tooNear = enhanced_ ? TooNear::skip : TooNear::repeatDistance;
        const Step step = AdvanceToNextMark(marks_->GetLastPosition(), align, tooNear, mark);
        if (step == Step::starved) {
            return 0;
        }
        if (step == Step::marked) {
            marks_->AppendMark(ToMarkPosition(mark.position), tracked_.harmonicityDb, mark.energy,
                               mark.transient, tracked_.peakWidth, mark.period);
        }
    }
    return 0;
}

int32_t CPSOLAAnalysis::InsertHop() {
    if (!initialized_) {
        return kWrongState;
    }
    lastMark_ += settings_.fallbackHop;
    return marks_->AppendMarkNoPeriod(ToMarkPosition(lastMark_), 0.0f, 0.0f, 0.0f, 0.0f);
}

int32_t CPSOLAAnalysis::Finish() {
    if (!initialized_) {
        return kWrongState;
    }
    const int32_t end = ToMarkPosition(lastMark_ + samples_.Size());
    while (marks_->GetLastPosition() < end) {
        const int32_t padding = settings_.tailFill - samples_.Size();
        if (padding < 1) {
            break;
        }
        samples_.Append(padding);
        AnalyzeBlock(nullptr, 0);
    }
    while (marks_->GetCount() > 0 && marks_->GetLastPosition() >= end) {
        marks_->RemoveLast();
    }
    return marks_->AppendMark(end, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f);
}

// Appends the sum of the channels to the samples and returns where it stands.
const float* CPSOLAAnalysis::AppendSum(const float* const* channels, int32_t start, int32_t count) {
    float* mono = samples_.Append(count);
    for (int32_t c = 0; c < channelCount_; ++c) {
        Ops().VecAdd(mono, channels[c] + start, count);
    }
    return mono;
}

// Lets the tracker see at least a block beyond the last mark. False where its input ends before that.
bool CPSOLAAnalysis::RunTrackerAhead() {
    while (trackerPosition_ <= std::max(blockSize_, windows_.window) + lastMark_) {
        const int32_t hop = std::max(tracker_->GetHopInInputSamples(), 1);
        if (trackerInput_.Size() <= hop + blockSize_) {
            return false;
        }
        tracker_->Process(trackerInput_.Data(), hop, &tracked_);
        trackerInput_.Drop(hop);
        trackerPosition_ += hop;
        FollowTracker();
    }
    return true;
}

void CPSOLAAnalysis::FollowTracker() {
    if (tracked_.pitchHz <= 0.0f) {
        period_ = -1.0f;
    } else {
        SetPeriod(tracked_.pitchHz);
    }
    if (NearestPeriod32(period_) < 1.0f) {
        windows_.window = blockSize_ / 4;
        windows_.halfWindow = blockSize_ / 8;
        windows_.quarterWindow = blockSize_ / 16;
        if (windows_.quarterWindow < windows_.searchRadius) {
            windows_.searchRadius = blockSize_ / 32;
        }
    } else {
        FollowPeriod(tracked_.harmonicityDb == 0.0f ? kRadiusUnvoiced : kRadiusVoiced);
    }
}

void CPSOLAAnalysis::SetPeriod(float hertz) {
    const float limit = static_cast<float>(2 * blockSize_);
    const float measured = sampleRate_ / hertz;
    period_ = measured < limit ? measured : limit;
}

// Windows of two periods, and the lag that this period would give.
void CPSOLAAnalysis::FollowPeriod(float radiusShare) {
    const auto samplesPerPeriod = static_cast<int32_t>(period_);
    windows_.window = std::max(std::min(2 * samplesPerPeriod, 2 * blockSize_), 2 * minPeriodUnit_);
    windows_.halfWindow = windows_.window / 2;
    windows_.quarterWindow = windows_.window / 4;
    SetSearchRadius(radiusShare);
    predictedLag_ = windows_.halfWindow - std::min(samplesPerPeriod, windows_.halfWindow);
}

void CPSOLAAnalysis::SetSearchRadius(float share) {
    const auto radius = static_cast<int32_t>(period_ * share);
    windows_.searchRadius = std::min(std::max(radius, minPeriodUnit_ / 4), windows_.quarterWindow);
}

// Finds the next mark, measures it and moves the samples up to it. Where it lies too near to `lastStored` to
// be one, `tooNear` decides.
CPSOLAAnalysis::Step CPSOLAAnalysis::AdvanceToNextMark(int64_t lastStored, bool align, TooNear tooNear,
                                                       Measured& mark) {
    if (samples_.Size() < windows_.window) {
        return Step::starved;
    }
    SelectCorrelator();
    FindLag();
    if (align) {
        AlignToPeak();
    }
    distance_ = windows_.halfWindow - lag_;
    nextMark_ = lastMark_ + distance_;

    if (nextMark_ - lastStored < minPeriodUnit_ / 4) {
        if (tooNear == TooNear::skip) {
            MoveToNextMark();
            return Step::skipped;
        }
        RepeatPreviousDistance();
    }
    if (samples_.Size() < distance_) {
        return Step::starved;
    }

    mark.position = nextMark_;
    MeasurePeriod(mark);
    mark.period = static_cast<float>(windows_.halfWindow - predictedLag_);
    MoveToNextMark();
    transientBefore_ = transientNow_;
    transientNow_ = mark.transient > kStrongTransient;
    return Step::marked;
}

// The smallest that holds the window twice, so that a short period does not pay for a long transform. Its
// size is also the factor of the correlation, so where the grid of the search lies.
void CPSOLAAnalysis::SelectCorrelator() {
    const auto fits = [this](const auto& correlator) { return correlator->GetSize() >= 2 * windows_.window; };
    const auto found = std::find_if(correlators_.begin(), correlators_.end(), fits);
    currentCorrelator_ = found != correlators_.end() ? found->get() : correlators_.back().get();
}

void CPSOLAAnalysis::FindLag() {
    const float* waveform = samples_.Data();
    if (IsSilent(waveform, windows_.window)) {
        lag_ = 0;
    } else {
        const int32_t length = std::min(windows_.window, currentCorrelator_->GetSize() / 2);
        lag_ = currentCorrelator_->FindLag(waveform, waveform + windows_.halfWindow, length,
                                           windows_.halfWindow - 1, predictedLag_, windows_.searchRadius);
        // Where nothing was found, the expectation comes back, and may still be that of a wider window.
        if (std::abs(lag_) >= windows_.halfWindow) {
            lag_ = 0;
        }
    }
    predictedLag_ = lag_;
}

// Moves the mark towards the highest peak around it, so that marks keep to one feature of the waveform.
void CPSOLAAnalysis::AlignToPeak() {
    const int32_t expected = windows_.halfWindow - lag_;
    if (expected <= 4 * minPeriodUnit_) {
        return;
    }
    const float* waveform = samples_.Data();
    const int32_t half = expected / 2;
    float best = waveform[expected] * waveform[expected] * kRivalFactor;
    int32_t shift = lag_;  // not 0: without a rival, a small lag is levelled out and a large one creeps on
    for (int32_t k = -half; k < half; ++k) {
        const float value = waveform[std::max(1, expected + k)];
        if (value * value > best) {
            best = value * value;
            shift = k;
        }
    }
    int32_t aligned = lag_;
    if (shift < -kNear) {
        aligned += kCreep;
    } else if (shift > kNear) {
        aligned -= kCreep;
    } else {
        aligned = windows_.halfWindow - std::max(1, expected + shift);
    }
    if (std::abs(aligned) < windows_.halfWindow) {
        lag_ = aligned;
    }
}

// Where no tracker leads, a period too short to be one is taken for the one before.
void CPSOLAAnalysis::RepeatPreviousDistance() {
    distance_ = previousDistance_;
    nextMark_ = lastMark_ + distance_;
    windows_ = {blockSize_, blockSize_ / 2, blockSize_ / 4, blockSize_ / 2};
    predictedLag_ = windows_.halfWindow - distance_;
}

// Transient and energy of the samples up to the next mark, in one loop: the low-pass waits for its last value
// long enough for all the rest to be done beside it.
void CPSOLAAnalysis::MeasurePeriod(Measured& mark) {
    const float* waveform = samples_.Data();
    CSimpleFIRFilter highPass = highPassFilter_;
    CSimpleIIRFilter lowPass = lowPassFilter_;
    // Peaks by comparison, so that what is not a number is never the largest.
    float highPeak = 0.0f;
    float lowPeak = 0.0f;
    double squares = 0.0;
    for (int32_t i = 0; i < distance_; ++i) {
        const float high = std::fabs(highPass.Next(waveform[i]));
        const float low = std::fabs(lowPass.Next(waveform[i]));
        if (high > highPeak) {
            highPeak = high;
        }
        if (low > lowPeak) {
            lowPeak = low;
        }
        squares += static_cast<double>(waveform[i] * waveform[i]);
    }
    highPassFilter_ = highPass;
    lowPassFilter_ = lowPass;

    mark.energy = static_cast<float>(squares / distance_);
    mark.transient = Transient(highPeak, lowPeak);
    previousHighPeak_ = highPeak;
    previousLowPeak_ = lowPeak;
}

float CPSOLAAnalysis::Transient(float highPeak, float lowPeak) const {
    if (transientNow_ || transientBefore_) {
        return 0.0f;
    }
    const float high = AttackStrength(highPeak, previousHighPeak_, kHighThreshold);
    const float low = AttackStrength(lowPeak, previousLowPeak_, kLowThreshold);
    return high > low ? high : low;
}

void CPSOLAAnalysis::MoveToNextMark() {
    samples_.Drop(distance_);
    lastMark_ = nextMark_;
    previousDistance_ = distance_;
}

int32_t CPSOLAAnalysis::ReanalyzeSegment(const float* const* source, int32_t length, int32_t markIndex,
                                         float midiPitch) {
    if (!initialized_) {
        return kWrongState;
    }
    const int32_t start = marks_->GetPosition(markIndex);
    if (!source || length < 0 || start < 0) {
        return kBadArgument;
    }

    CPitchMarks placed;
    placed.Reserve(blockSize_);
    SetPeriod(PitchToHertz32(midiPitch));
    FollowPeriod(kRadiusReanalysis);
    PlaceSegmentMarks(source, length, start, placed);
    if (placed.GetCount() > 0) {
        ReplaceMarks(markIndex, placed);
    }
    return 0;
}

void CPSOLAAnalysis::PlaceSegmentMarks(const float* const* source, int32_t length, int32_t start,
                                       CPitchMarks& placed) {
    const int64_t end = static_cast<int64_t>(start) + length;
    int32_t taken = 0;
    samples_.Clear();
    lastMark_ = start;
    nextMark_ = start;
    while (nextMark_ < end) {
        const int32_t chunk = std::min(4 * blockSize_ - samples_.Size(), length - taken);
        AppendSum(source, taken, chunk);
        taken += chunk;
        samples_.Append(4 * blockSize_ - samples_.Size());  // silence after the end

        while (samples_.Size() >= 2 * blockSize_ && nextMark_ < end) {
            Measured mark;
            const int32_t lastPlaced = placed.GetCount() > 0 ? placed.GetLastPosition() : start;
            // The pitch is the caller's, so marks are placed as where there is no tracker.
            const Step step = AdvanceToNextMark(lastPlaced, true, TooNear::repeatDistance, mark);
            if (step == Step::starved) {
                return;
            }
            if (mark.position >= end) {
                continue;
            }
            const int32_t position = ToMarkPosition(mark.position);
            const int32_t old = std::max(marks_->FindNearest(0, position), 0);
            placed.AppendMark(position, kReanalysisHarmonicity, marks_->GetEnergy(old), mark.transient,
                              marks_->GetPeakWidth(old), mark.period);
            SetSearchRadius(kRadiusReanalysis);
        }
    }
}

// The marks up to `markIndex`, then those placed, then those after the one nearest to the last placed.
void CPSOLAAnalysis::ReplaceMarks(int32_t markIndex, const CPitchMarks& placed) {
    const PitchMark* records = nullptr;
    const int32_t count = marks_->GetRecords(&records);
    std::vector<PitchMark> replaced(records, records + markIndex + 1);
    replaced.back().period = static_cast<float>(placed.GetPosition(0) - replaced.back().position);

    const PitchMark* placedRecords = nullptr;
    const int32_t placedCount = placed.GetRecords(&placedRecords);
    replaced.insert(replaced.end(), placedRecords, placedRecords + placedCount);

    const int32_t nearest = std::max(marks_->FindNearest(0, placed.GetLastPosition()), markIndex);
    replaced.insert(replaced.end(), records + nearest + 1, records + count);

    marks_->Clear();
    for (const PitchMark& mark : replaced) {
        marks_->AppendMark(mark.position, mark.harmonicity, mark.energy, mark.transient, mark.peakWidth,
                           mark.period);
    }
}

}  // namespace mlh
