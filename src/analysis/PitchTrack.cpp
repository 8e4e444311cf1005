#include "analysis/PitchTrack.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/Codes.h"
#include "base/NarrowedMath.h"
#include "base/Pi.h"
#include "dsp/Dispatch.h"
#include "dsp/HarmonicOperations.h"

namespace mlh {

// How a pitch is found.
//
// The harmonics of a voice stand in its spectrum at equal distances, so the autocorrelation of the magnitude
// spectrum peaks at the distance of one fundamental even where the fundamental itself is weak. A quarter of
// the spectrum is added, which sharpens the peak where the fundamental is there. Three candidates come out of
// that sum:
// - the harmonic product over bins k, 2k and 3k (Schroeder 1968; Noll 1970), the one that is taken initially:
//   robust, but now and then an octave high;
// - the weighted harmonic sum over up to nine harmonics (after Hermes 1988), less what lies at a half, two
//   thirds and a third: it is asked when the product leaps up;
// - the greatest bin of the low range, which is reported only.
//
// The past decides between them. A candidate far above the recent pitches is taken an octave down if the
// harmonic sum agrees. Peak width, flatness and the ratio of the harmonics to the mean spectrum then tell
// voiced from unvoiced. An unvoiced frame keeps a pitch, the present or a remembered one: whoever places
// marks through a consonant goes on with the period of the vowel.
//
// Strong on voices from 60 to 1000 Hz, also without a fundamental (telephone, larynx microphone). It fails on
// two voices at once, and it can't see a pitch change faster than its frame of 93 ms.
//
// Below 200 Hz only the narrow peaks of the spectrum take part, so that hum and rumble between harmonics
// don't correlate.

namespace {

constexpr int32_t kTrackerRate = 11025;
constexpr int32_t kMinSampleRate = 8000;

constexpr int32_t kResamplerQuality = 3;
constexpr float kLowPassHz = 4000.0f;
constexpr float kHighPassHz = 30.0f;

constexpr float kSilence = 1e-25f;      // below every spectral peak
constexpr float kSquareFloor = 1e-24f;  // of a sample

constexpr int32_t kLowestHz = 25;        // of a pitch
constexpr int32_t kPrunedBelowHz = 200;  // where only peaks count
constexpr int32_t kCombEndHz = 4000;
constexpr int32_t kPeakReach = 4;  // bins on each side of a peak
constexpr int32_t kCombHarmonics = 9;

constexpr float kLowVoiceHz = 160.0f;
constexpr float kLowVoiceThresholdDb = 3.5f;
constexpr float kDbPerNeper = 4.3429446f;  // of a power ratio

// What makes the largest of the bins but bin 0 a 1.
float Normalizer(const float* bins, int32_t count) {
    return 1.0f / HarmonicOps().Largest(bins + 1, count - 1, kSilence);
}

bool MovedByAQuarter(float fromHz, float toHz) { return fromHz * 0.75f > toHz || toHz * 0.75f > fromHz; }

// The maximum of the parabola through three bins around `candidate`, walked in thirtieths of a bin. Without a
// maximum between the outer two the left one is the answer.
float RefinePosition(const float* spectrum, int32_t candidate) {
    const float y0 = spectrum[candidate - 1];
    const float y1 = spectrum[candidate];
    const float y2 = spectrum[candidate + 1];
    const float b = (y1 - y0) / 30.0f;
    const float c = (y2 - y0 - 60.0f * b) / 1800.0f;
    float offset = 0.0f;
    float previous = -kSilence;
    for (int32_t step = 0; step <= 60; ++step) {
        const float t = static_cast<float>(step);
        const float y = t * c * (t - 30.0f) + t * b + y0;
        if (!(y > previous)) {
            offset = static_cast<float>(step - 1) / 30.0f;
            break;
        }
        previous = y;
    }
    return static_cast<float>(candidate - 1) + offset;
}

}  // namespace

// ---------------------------------------------------------------- front end

CPTPreProcess::CPTPreProcess(int32_t sampleRate, int32_t channelCount)
    : sampleRate_(sampleRate), channelCount_(channelCount), mono_(kCapacity) {
    InitDispatch(-1);
    CResampleBase* newResampler;
    qMELODOR::CEqIf* newLowPass;
    qMELODOR::CEqIf* newHighPass;
    CreateResampler(&newResampler, kResamplerQuality, kCapacity, 1, kResampleFloat, 0);
    resampler_.reset(newResampler);
    qMELODOR::CreateEq(&newLowPass, kTrackerRate, 1, qMELODOR::kLowPass);
    lowPass_.reset(newLowPass);
    qMELODOR::CreateEq(&newHighPass, kTrackerRate, 1, qMELODOR::kHighPass);
    highPass_.reset(newHighPass);
    if (!resampler_ || !lowPass_ || !highPass_) {
        throw std::bad_alloc();
    }
    lowPass_->SetParameters(kLowPassHz, 0.0f, 1.0f);
    highPass_->SetParameters(kHighPassHz, 0.0f, 1.0f);
    // Rates below 11025 Hz bring more samples than they take.
    output_.resize(static_cast<size_t>(static_cast<int64_t>(kCapacity + 2) * kTrackerRate / sampleRate + 2));
}

CPTPreProcess::~CPTPreProcess() = default;

std::span<const float> CPTPreProcess::Process(const float* samples, int32_t frames) {
    MixDown(samples, frames);
    const int32_t count = resampler_->Process(mono_.data(), output_.data(), static_cast<float>(sampleRate_),
                                              static_cast<float>(kTrackerRate), 1, frames);
    float* const band = output_.data();
    lowPass_->ProcessInterleaved(band, band, count);
    highPass_->ProcessInterleaved(band, band, count);
    return {output_.data(), static_cast<size_t>(count)};
}

void CPTPreProcess::MixDown(const float* samples, int32_t frames) {
    if (channelCount_ == 1) {
        std::copy_n(samples, frames, mono_.begin());
        return;
    }
    for (int32_t i = 0; i < frames; ++i) {
        const float* frame = samples + static_cast<ptrdiff_t>(i) * channelCount_;
        float sum = frame[0];
        for (int32_t channel = 1; channel < channelCount_; ++channel) {
            sum += frame[channel] + 1e-15f;
        }
        mono_[i] = sum / static_cast<float>(channelCount_);
    }
}

int32_t CPTPreProcess::GetRequiredInput(int32_t outFrames) const {
    return mlh::GetRequiredInput(resampler_.get(), outFrames, static_cast<float>(sampleRate_),
                                 static_cast<float>(kTrackerRate));
}

void CPTPreProcess::Reset() {
    resampler_->Reset();
    lowPass_->Reset();
    highPass_->Reset();
}

// ---------------------------------------------------------------- one frame: what it shows by itself

CPTAnalysisNew::CPTAnalysisNew(int32_t sampleRate, int32_t fftSize, int32_t frameSize)
    : sampleRate_(sampleRate),
      fftSize_(fftSize),
      frameSize_(frameSize),
      minCombBin_(static_cast<int32_t>(static_cast<float>(fftSize) * 44.0f / 8192.0f)),
      combStartBin_(static_cast<int32_t>(static_cast<float>(fftSize) * 28.0f / 8192.0f)),
      window_(frameSize),
      paddedSpectrum_(frameSize, fftSize),
      correlation_(fftSize / 2) {
    InitDispatch(-1);
    for (int32_t i = 0; i < frameSize; ++i) {
        const float angle = static_cast<float>(i) * (2.0f * kPi32) / static_cast<float>(frameSize - 1);
        window_[i] = (1.0f - Narrowed::Cos(angle)) * 0.5f;
    }
    combDivisor_.resize(BinOf(kCombEndHz));
    for (int32_t i = combStartBin_; i < BinOf(kCombEndHz); ++i) {
        combDivisor_[i] = static_cast<float>(std::min(kCombHarmonics, (fftSize - 1) / i));
    }
    frame_.spectrum.resize(fftSize);
    frame_.combined.resize(fftSize);
    frame_.product.resize(fftSize / 2);
    frame_.scratch.resize(fftSize);
    Reset();
}

CPTAnalysisNew::~CPTAnalysisNew() = default;

void CPTAnalysisNew::Reset() {
    for (std::vector<float>* bins : {&frame_.spectrum, &frame_.combined, &frame_.product, &frame_.scratch}) {
        Ops().VecZero(bins->data(), static_cast<int32_t>(bins->size()));
    }
    frame_.level = 0.0f;
    frame_.productPeak = 0;
    frame_.lowPeak = 0;
    frame_.combPeak = 0;
    harmonicRatio_ = 0.0f;
    peakWidth_ = 0.0f;
    levelChange_ = 0.0f;
    previousLevel_ = 0.0f;
    std::fill(std::begin(pitchHistory_), std::end(pitchHistory_), 0.0f);
    lastPitchHz_ = 0.0f;
    octaveDown_ = false;
}

void CPTAnalysisNew::Analyze(const float* samples, PitchTrackResult* result) {
    Measure(samples);
    if (IsLeap(frame_)) {
        MeasureRivals();
    }
    Decide(frame_, result);
}

void CPTAnalysisNew::Measure(const float* samples) {
    MeasureLevel(samples);
    ComputeSpectrum(samples);
    PruneSpectrum();
    AutocorrelateSpectrum();
    CombineWithSpectrum();
    ClearBelowFirstMinimum();
    FindProductPeak();
}

void CPTAnalysisNew::MeasureRivals() {
    FindLowPeak();
    FindCombPeak();
}

void CPTAnalysisNew::MeasureLevel(const float* samples) {
    // Only the positive half counts; the thresholds on the level are tuned to that.
    constexpr int32_t kLanes = 4;
    double sums[kLanes] = {};
    for (int32_t i = 0; i < frameSize_; i += kLanes) {
        for (int32_t l = 0; l < kLanes; ++l) {
            const float x = samples[i + l];
            const float square = x > kSquareFloor ? x * x : kSquareFloor;
            sums[l] += static_cast<double>(square);
        }
    }
    const double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    frame_.level = static_cast<float>(std::sqrt(sum / frameSize_));
}

void CPTAnalysisNew::ComputeSpectrum(const float* samples) {
    float* const work = frame_.scratch.data();
    std::copy_n(samples, frameSize_, work);
    Ops().VecMul(work, window_.data(), frameSize_);
    // The upper half stays 0: the refinement looks one bin beyond the lower half.
    paddedSpectrum_.Compute(frame_.spectrum.data(), work);
}

void CPTAnalysisNew::PruneSpectrum() {
    const float* const spectrum = frame_.spectrum.data();
    float* const combined = frame_.combined.data();
    const int32_t lowBin = std::max(BinOf(kLowestHz), 6);
    const int32_t highBin = BinOf(kPrunedBelowHz);
    const int32_t open = highBin - kPeakReach;
    std::fill_n(combined, lowBin, kSilence);
    std::fill(combined + lowBin, combined + open, 0.0f);
    for (int32_t k = lowBin; k < highBin; ++k) {
        if (spectrum[k] > spectrum[k - 1] && spectrum[k] >= spectrum[k + 1]) {
            std::copy_n(spectrum + k - kPeakReach, 2 * kPeakReach + 1, combined + k - kPeakReach);
        }
    }
    std::copy_n(spectrum + open, fftSize_ / 2 - open, combined + open);
}

void CPTAnalysisNew::AutocorrelateSpectrum() {
    correlation_.Compute(frame_.combined.data(), frame_.combined.data());
}

void CPTAnalysisNew::CombineWithSpectrum() {
    float* const combined = frame_.combined.data();
    float* const spectrum = frame_.spectrum.data();
    const int32_t half = fftSize_ / 2;
    const float spectrumScale = Normalizer(spectrum, half);
    const float combinedScale = Normalizer(combined, half);
    HarmonicOps().AddQuarter(combined, combinedScale, spectrum, spectrumScale, half);
}

void CPTAnalysisNew::ClearBelowFirstMinimum() {
    float* const combined = frame_.combined.data();
    int32_t minimum = 0;
    for (int32_t k = 1; k < fftSize_ / 8; ++k) {
        if (combined[k] < combined[k - 1] && combined[k] <= combined[k + 1]) {
            minimum = k;
            break;
        }
    }
    std::fill_n(combined, std::max(minimum, BinOf(kLowestHz)), 0.0f);
}

void CPTAnalysisNew::FindLowPeak() {
    frame_.lowPeak = HarmonicOps().FirstLargest(frame_.combined.data(), fftSize_ / 4);
}

void CPTAnalysisNew::FindProductPeak() {
    // Harmonics beyond the lower half count as 0.
    HarmonicOps().HarmonicProduct(frame_.product.data(), frame_.combined.data(), fftSize_ / 2);
    frame_.productPeak = HarmonicOps().FirstLargest(frame_.product.data(), fftSize_ / 2);
}

void CPTAnalysisNew::FindCombPeak() {
    const float* const combined = frame_.combined.data();
    float* const comb = frame_.scratch.data();
    const int32_t half = fftSize_ / 2;
    const int32_t end = BinOf(kCombEndHz);
    Ops().VecZero(comb, fftSize_);
    for (int32_t h = 1; h <= kCombHarmonics; ++h) {
        // Harmonics in the empty upper half have nothing to add.
        const int32_t harmonicEnd = std::min(end, (half - 1) / h + 1);
        const float weight = static_cast<float>(30 + h);
        for (int32_t i = combStartBin_; i < harmonicEnd; ++i) {
            comb[i] += combined[i * h] * 31.0f / weight;
        }
    }
    for (int32_t i = combStartBin_; i < end; ++i) {
        // What a candidate at a third, a half or two thirds explains as well is taken off.
        const float position = static_cast<float>(i);
        float sum = comb[i];
        sum -= 0.25f * combined[static_cast<int32_t>(position * 0.5f)];
        sum -= 0.1f * combined[static_cast<int32_t>(position * 0.6666f)];
        sum -= 0.1f * combined[static_cast<int32_t>(position * 0.3333f)];
        comb[i] = sum / combDivisor_[i];
    }
    frame_.combPeak = HarmonicOps().FirstLargest(comb, half);
}

// ---------------------------------------------------------------- one frame: the decision

void CPTAnalysisNew::Decide(const PitchFrame& measured, PitchTrackResult* result) {
    levelChange_ = (measured.level - previousLevel_) / (measured.level + 1e-32f);
    previousLevel_ = measured.level;

    int32_t candidate = CheckOctave(measured);
    peakWidth_ = PeakWidth(measured, candidate) + PeakFlatness(measured, candidate);
    harmonicRatio_ = HarmonicRatio(measured, candidate);
    float harmonicityDb = Narrowed::Log(harmonicRatio_) * kDbPerNeper;

    const float previousHz = result->pitchHz;
    const float candidateHz = BinToHz(static_cast<float>(candidate));
    if (IsUnvoiced(harmonicityDb, candidateHz)) {
        harmonicityDb = 0.0f;
        if (std::fabs(previousHz - candidateHz) > 0.2f * previousHz) {
            candidate = HzToBin(pitchHistory_[6]);
        }
    } else {
        std::copy_backward(std::begin(pitchHistory_), std::end(pitchHistory_) - 1, std::end(pitchHistory_));
        pitchHistory_[0] = previousHz;
    }
    lastPitchHz_ = previousHz;
    result->pitchHz = candidate > 0 ? BinToHz(RefinePosition(measured.spectrum.data(), candidate)) : 0.0f;
    result->harmonicityDb = harmonicityDb;
    result->level = measured.level;
    result->levelChange = levelChange_;
    result->peakWidth = peakWidth_;
}

// The product's candidate leaps up by about an octave, or did so in the frame before and was taken down.
bool CPTAnalysisNew::IsLeap(const PitchFrame& measured) const {
    if (!KnowsTwoPitches()) {
        return false;
    }
    const float candidateHz = BinToHz(static_cast<float>(measured.productPeak));
    return candidateHz > (pitchHistory_[1] + lastPitchHz_) * 1.8f * 0.5f || octaveDown_;
}

bool CPTAnalysisNew::KnowsTwoPitches() const { return lastPitchHz_ > 0.0f && pitchHistory_[1] > 0.0f; }

// The harmonic product's candidate, or that of the harmonic sum when the product leaps up by about an octave
// and the sum stays.
int32_t CPTAnalysisNew::CheckOctave(const PitchFrame& measured) {
    const int32_t candidate = measured.productPeak;
    if (!KnowsTwoPitches()) {
        return candidate;
    }
    const bool leap = IsLeap(measured);
    octaveDown_ = false;
    if (!leap) {
        return candidate;
    }
    const int32_t distance = std::abs(candidate - 2 * measured.combPeak);
    if (measured.combPeak > minCombBin_ &&
        static_cast<float>(distance) <= 0.3f * static_cast<float>(candidate)) {
        octaveDown_ = true;
        return measured.combPeak;
    }
    return candidate;
}

// Width of the peak at a quarter of its height, relative to its frequency.
float CPTAnalysisNew::PeakWidth(const PitchFrame& measured, int32_t candidate) const {
    const float* const product = measured.product.data();
    const float quarter = 0.25f * product[candidate];
    int32_t left = candidate;
    while (left > 0 && !(product[left] < quarter)) {
        --left;
    }
    int32_t right = candidate;
    while (right < fftSize_ / 2 && !(product[right] < quarter)) {
        ++right;
    }
    const int32_t unit = std::max(candidate >> 3, BinOf(kLowestHz));
    return static_cast<float>(right - left) / static_cast<float>(unit);
}

// 0 for a peak at least twice as high as the geometric mean of its surroundings, rising to 1 for a flat one.
// Not a number where the surroundings hold exact zeros and the peak does too.
float CPTAnalysisNew::PeakFlatness(const PitchFrame& measured, int32_t candidate) const {
    const float* const product = measured.product.data();
    const double peak = static_cast<double>(product[candidate]);
    const int32_t reach = BinOf(kLowestHz);
    const int32_t from = std::max(candidate - reach, 1);
    const int32_t to = std::min(fftSize_ / 2, candidate + reach);
    double surroundings = 1.0 / peak;
    for (int32_t k = from; k < to; ++k) {
        surroundings *= static_cast<double>(product[k]);
    }
    const double height = peak / std::pow(surroundings, 1.0 / (to - from));
    const double clipped = height > 2.0 ? 2.0 : height;
    return static_cast<float>(2.0 - clipped);
}

// Mean of the spectrum at the multiples of the candidate over its mean from the candidate upwards.
float CPTAnalysisNew::HarmonicRatio(const PitchFrame& measured, int32_t candidate) const {
    const float candidateHz = BinToHz(static_cast<float>(candidate));
    const bool leapsFromAWidePeak =
        peakWidth_ > 1.0f && lastPitchHz_ > 0.0f && MovedByAQuarter(lastPitchHz_, candidateHz);
    if (leapsFromAWidePeak || candidate <= 0) {
        return 1.0f;
    }
    if (!(measured.level * measured.level > 1e-7f)) {
        return 1.0f;
    }
    if (candidate >= fftSize_ / 4) {
        return 0.0f;  // no harmonic to sum
    }

    const float* const spectrum = measured.spectrum.data();
    float mean;
    Ops().VecMean(spectrum + candidate, &mean, fftSize_ / 2 - candidate);
    float sum = 0.0f;
    int32_t count = 0;
    for (int32_t k = candidate; k < fftSize_ / 4; k += candidate, ++count) {
        sum += spectrum[k];
    }
    return sum / (static_cast<float>(count) * mean);
}

bool CPTAnalysisNew::IsUnvoiced(float harmonicityDb, float candidateHz) const {
    if (candidateHz < kLowVoiceHz) {
        return harmonicityDb < kLowVoiceThresholdDb;
    }
    return harmonicityDb < voicingThresholdDb_;
}

float CPTAnalysisNew::BinToHz(float bin) const {
    return bin * static_cast<float>(sampleRate_) / static_cast<float>(fftSize_);
}

int32_t CPTAnalysisNew::HzToBin(float hz) const {
    return static_cast<int32_t>(static_cast<float>(fftSize_) * hz / static_cast<float>(sampleRate_) + 0.5f);
}

int32_t CPTAnalysisNew::BinOf(int32_t hz) const { return fftSize_ * hz / sampleRate_; }

// ---------------------------------------------------------------- framing

int32_t CPitchTrack::Create(CPitchTrack** out, int32_t sampleRate, int32_t channelCount, int32_t mode) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = nullptr;
    if (sampleRate < kMinSampleRate) {
        return kRateTooLow;
    }
    if (channelCount < 1 || mode < 0 || mode > 1) {
        return kBadArgument;
    }
    try {
        *out = new CPitchTrack(sampleRate, channelCount, SizesOfMode(mode));
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    return 0;
}

int32_t CPitchTrack::Destroy(CPitchTrack** tracker) {
    if (tracker == nullptr || *tracker == nullptr) {
        return kBadArgument;
    }
    delete *tracker;
    *tracker = nullptr;
    return 0;
}

CPitchTrack::Sizes CPitchTrack::SizesOfMode(int32_t mode) {
    return mode == 0 ? Sizes{2048, 256, 512} : Sizes{8192, 128, 1024};
}

CPitchTrack::CPitchTrack(int32_t sampleRate, int32_t channelCount, Sizes sizes)
    : preProcess_(sampleRate, channelCount),
      analysis_(kTrackerRate, sizes.fftSize, sizes.frameSize),
      sizes_(sizes) {
    InitDispatch(-1);
    samples_.Allocate(sizes.frameSize + preProcess_.GetLargestOutput(), 0);
    Reset();
}

CPitchTrack::~CPitchTrack() = default;

void CPitchTrack::Reset() {
    // The first hop completes a frame: silence is before it.
    samples_.Clear();
    samples_.Append(sizes_.frameSize - sizes_.hop);
    peakLevel_ = 0.0f;
    result_ = {};
    preProcess_.Reset();
    analysis_.Reset();
}

int32_t CPitchTrack::Process(const float* input, int32_t count, PitchTrackResult* out) {
    if (count < 0 || count > kMaxInput || out == nullptr) {
        return kBadArgument;
    }
    if (input == nullptr && count > 0) {
        return kBadArgument;
    }
    const std::span<const float> arrived = preProcess_.Process(input, count);
    std::copy(arrived.begin(), arrived.end(), samples_.Append(static_cast<int32_t>(arrived.size())));
    while (samples_.Size() >= sizes_.frameSize) {
        AnalyzeNextFrame();
        *out = result_;
    }
    return 0;
}

void CPitchTrack::AnalyzeNextFrame() {
    analysis_.Analyze(samples_.Data(), &result_);
    if (result_.level > peakLevel_) {
        peakLevel_ = result_.level;
    }
    samples_.Drop(sizes_.hop);
}

int32_t CPitchTrack::GetHopInInputSamples() const { return preProcess_.GetRequiredInput(sizes_.hop); }

void CPitchTrack::SetVoicingThreshold(float decibels) { analysis_.SetVoicingThreshold(decibels); }

float CPitchTrack::GetVoicingThreshold() const { return analysis_.GetVoicingThreshold(); }

}  // namespace mlh
