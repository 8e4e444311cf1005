#include "dsp/Resampler.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "base/Codes.h"
#include "base/Pi.h"
#include "base/Truncate.h"
#include "dsp/Dispatch.h"

namespace mlh {

// Read times and table positions are fixed-point numbers: a time has 15 fraction bits, a table position 7.

namespace {

constexpr int32_t kMaxQuality = 120;
constexpr int32_t kMaxStep = 1000;  // input frames per output frame that the history has room for
constexpr double kGain = 0.99;      // headroom for the overshoot of a band-limited signal

// Modified Bessel function of the first kind, order 0.
double BesselI0(double x) {
    double sum = 1.0;
    double term = 1.0;
    double k = 1.0;
    do {
        const double factor = x / 2.0 / k;
        term *= factor * factor;
        sum += term;
        k += 1.0;
    } while (term >= 1e-21 * sum);
    return sum;
}

// Entry i of a filter wing of `length` entries: sinc times Kaiser window.
double FilterValue(int32_t i, int32_t length, double rolloff, double beta) {
    if (i == 0) {
        return rolloff;
    }
    const double x = i / 256.0;
    const double sinc = std::sin(kPi * x * rolloff) / (kPi * x);
    const double position = static_cast<double>(i) / (length - 1);
    return sinc * (BesselI0(beta * std::sqrt(1.0 - position * position)) / BesselI0(beta));
}

// What a converter does differently on float and on 16-bit samples.
template <class Sample>
struct Arithmetic;

template <>
struct Arithmetic<float> {
    using Sum = float;
    static float Entry(double value) { return static_cast<float>(value); }
    static float Weight(float table, float delta, int32_t fraction) {
        return table + static_cast<float>(fraction) / 128.0f * delta;
    }
    static float Output(float sum, float gain) { return sum * gain; }
};

template <>
struct Arithmetic<int16_t> {
    using Sum = int64_t;
    static int16_t Entry(double value) { return static_cast<int16_t>(std::lround(value * 32767.0)); }
    static int32_t Weight(int16_t table, int16_t delta, int32_t fraction) {
        return table + ((delta * fraction) >> 7);
    }
    static int16_t Output(int64_t sum, float gain) {
        const int64_t integerGain = static_cast<int64_t>(gain * 32768.0f);
        return static_cast<int16_t>(((sum >> 7) * integerGain) >> 15);
    }
};

// Output frames that `usable` input frames give, counted to a hundredth of a frame.
int32_t CountOutput(double factor, int32_t usable) {
    const double hundredths = usable * 100.0;
    int32_t count = 0;
    if (factor < 1.0) {
        const double step = 1.0 / factor;
        while (std::round(count * step * 100.0) < hundredths) {
            ++count;
        }
    } else {
        const double limit = std::round(usable * factor * 100.0);
        count = static_cast<int32_t>(std::max(0.0, std::ceil(limit / 100.0)));
    }
    return count;
}

}  // namespace

CResampleBase::CResampleBase(int32_t quality, int32_t capacity, int32_t channels)
    : tableLength(quality * 256),
      halfLength(quality + 1),
      historySize((static_cast<int64_t>(halfLength) * kMaxStep + 1) * channels),
      numChannels(channels),
      capacity(capacity),
      bufferSize(channels * (2 * static_cast<int64_t>(quality) + 2 + capacity + halfLength * kMaxStep + 1)),
      rolloff(static_cast<float>(0.9 + quality * 0.025 * 0.03125)) {
    InitDispatch(-1);
    ResetState();
}

void CResampleBase::ResetState() {
    creep = 0;
    margin = 2 * halfLength;
    pendingMargin = margin;  // the silence before the first frame
    readIndex = 0;
    outputTotal = 0;
    tableIncrement = 0;
    writeIndex = 0;
    historyOffset = 0;
    dropped = 0;
    firstCall = true;
    time = margin;
}

bool CResampleBase::Accepts(double factor, int32_t channels, int32_t frames) const {
    if (frames < 0 || frames > capacity || channels < 1 || channels > numChannels) {
        return false;
    }
    // A long filter at a small table step would reach beyond the margin: the step is rounded.
    const double maxStep = std::min<double>(kMaxStep, 60000.0 / (halfLength - 1));
    const double mostOutput = (frames + 2.0) * factor;
    return factor * maxStep >= 1.0 && mostOutput < std::numeric_limits<int32_t>::max();
}

void CResampleBase::WidenMargin(double step, int32_t channels) {
    const double needed = halfLength * std::max(step, 1.0) + 1.0;
    if (margin > needed) {
        return;
    }
    const int32_t growth = static_cast<int32_t>(needed) - margin;
    margin += growth;
    pendingMargin += growth;
    readIndex += growth;
    historyOffset += static_cast<int64_t>(growth) * channels;
    time += growth;
}

template <class Sample>
CResample<Sample>::CResample(int32_t quality, int32_t capacity, int32_t channels)
    : CResampleBase(quality, capacity, channels) {}

template <class Sample>
int32_t CResample<Sample>::Init() {
    // One frame more than history and buffer: rounding may leave the read time a frame after the margin.
    const int64_t size = historySize + bufferSize + numChannels;
    try {
        table_.assign(static_cast<size_t>(tableLength), Sample{});
        delta_.assign(static_cast<size_t>(tableLength), Sample{});
        storage_.assign(static_cast<size_t>(2 * size), Sample{});
        const size_t mostTaps = static_cast<size_t>(halfLength) * kMaxStep + 2;
        leftTaps_.assign(mostTaps, Weight{});
        rightTaps_.assign(mostTaps, Weight{});
    } catch (const std::bad_alloc&) {
        Release();
        return kOutOfMemory;
    }
    BuildFilter(tableLength);
    ResetState();
    return 0;
}

template <class Sample>
void CResample<Sample>::Release() {
    table_ = {};
    delta_ = {};
    storage_ = {};
    leftTaps_ = {};
    rightTaps_ = {};
    ResetState();
}

template <class Sample>
void CResample<Sample>::Reset() {
    std::fill(storage_.begin(), storage_.end(), Sample{});
    ResetState();
}

template <class Sample>
const std::vector<Sample>& CResample<Sample>::GetTable() const {
    return table_;
}

template <class Sample>
const std::vector<Sample>& CResample<Sample>::GetDelta() const {
    return delta_;
}

template <class Sample>
void CResample<Sample>::BuildFilter(int32_t length) {
    if (length < 1 || static_cast<size_t>(length) > table_.size()) {
        return;
    }
    for (int32_t i = 0; i < length; ++i) {
        table_[i] = Arithmetic<Sample>::Entry(FilterValue(i, length, rolloff, kaiserBeta));
        if (i > 0) {
            delta_[i - 1] = static_cast<Sample>(table_[i] - table_[i - 1]);
        }
    }
    delta_[length - 1] = Sample{};
}

template <class Sample>
int32_t CResample<Sample>::Process(const void* in, void* out, float inRate, float outRate, int32_t channels,
                                   int32_t frames) {
    if (!(inRate > 0.0f) || !(outRate > 0.0f) || storage_.empty()) {
        return 0;
    }
    const double factor = static_cast<double>(outRate) / static_cast<double>(inRate);
    if (!Accepts(factor, channels, frames)) {
        return 0;
    }

    WidenMargin(1.0 / factor, channels);
    Append(static_cast<const Sample*>(in), channels, frames);
    const int32_t usable =
        writeIndex + pendingMargin - 2 * margin;  // frames with a full margin on both sides
    const int32_t outFrames = CountOutput(factor, usable);
    RunKernel(static_cast<Sample*>(out), channels, factor, outFrames);
    Advance(usable, channels);
    outputTotal += outFrames;
    firstCall = false;
    return outFrames;
}

template <class Sample>
void CResample<Sample>::Append(const Sample* in, int32_t channels, int32_t frames) {
    std::copy_n(in, static_cast<size_t>(frames) * channels,
                Buffer() + static_cast<ptrdiff_t>(writeIndex + pendingMargin) * channels);
    writeIndex += frames;
}

template <class Sample>
void CResample<Sample>::RunKernel(Sample* out, int32_t channels, double factor, int32_t outFrames) {
    const double tableStep = std::min(256.0, factor * 256.0);
    tableIncrement = static_cast<int32_t>(tableStep * 128.0 + 0.5);
    // A wider filter has a greater sum; this brings it back to one.
    const float gain = static_cast<float>(kGain * std::min(factor, 1.0));
    const double step = 1.0 / factor;
    const double start = time;
    tapFraction_ = -1;
    for (int32_t channel = 0; channel < channels; ++channel) {
        time = start;
        int32_t count;
        for (int32_t k = 0; k < outFrames; k += count) {
            count = std::min(outFrames - k, kGroup);
            Sample* const first = out + static_cast<ptrdiff_t>(k) * channels + channel;
            RunGroup(Buffer() + channel, count, step, channels, gain, first);
        }
    }
}

// `count` outputs of one channel, up to kGroup, from the read time on; it moves on past them.
template <class Sample>
void CResample<Sample>::RunGroup(const Sample* source, int32_t count, double step, int32_t channels,
                                 float gain, Sample* out) {
    int64_t fixedTimes[kGroup];
    for (int32_t i = 0; i < count; ++i, time += step) {
        fixedTimes[i] = static_cast<int64_t>(time * 32768.0);
    }
    if (count == kGroup && AreWholeFramesApart(fixedTimes)) {
        WeighTaps(fixedTimes[0]);
        InterpolateGroup(source, fixedTimes, channels, gain, out);
        return;
    }
    for (ptrdiff_t i = 0; i < count; ++i) {
        WeighTaps(fixedTimes[i]);
        const Sample* const centre = source + (fixedTimes[i] >> 15) * channels;
        out[i * channels] = Interpolate(centre, channels, gain);
    }
}

template <class Sample>
bool CResample<Sample>::AreWholeFramesApart(const int64_t (&fixedTimes)[kGroup]) {
    const int64_t distance = fixedTimes[1] - fixedTimes[0];
    bool apart = (distance & 0x7fff) == 0;
    for (int32_t i = 2; i < kGroup; ++i) {
        apart &= fixedTimes[i] - fixedTimes[i - 1] == distance;
    }
    return apart;
}

// Where the rates are in a whole ratio, all outputs have the same fraction of the read time and these
// weights.
template <class Sample>
void CResample<Sample>::WeighTaps(int64_t fixedTime) {
    const int32_t behind = static_cast<int32_t>(fixedTime & 0x7fff);
    if (behind == tapFraction_) {
        return;
    }
    tapFraction_ = behind;
    const int32_t ahead = static_cast<int32_t>(-fixedTime & 0x7fff);
    const auto weigh = [this](Weight* taps, int32_t h, int32_t end) {
        int32_t count = 0;
        for (; h < end; h += tableIncrement) {
            taps[count++] = Arithmetic<Sample>::Weight(table_[h >> 7], delta_[h >> 7], h & 127);
        }
        return count;
    };
    const int32_t leftStart = static_cast<int32_t>((static_cast<int64_t>(behind) * tableIncrement) >> 15);
    leftCount_ = weigh(leftTaps_.data(), leftStart, tableLength * 128);
    // With the read time right on the centre, the right wing begins a whole frame away.
    const int32_t rightStart =
        ahead == 0 ? tableIncrement
                   : static_cast<int32_t>((static_cast<int64_t>(ahead) * tableIncrement) >> 15);
    rightCount_ = weigh(rightTaps_.data(), rightStart, tableLength * 128 - 128);
}

template <class Sample>
Sample CResample<Sample>::Interpolate(const Sample* centre, int32_t channels, float gain) const {
    using Sum = typename Arithmetic<Sample>::Sum;
    Sum left{};
    const Sample* x = centre;
    for (int32_t i = 0; i < leftCount_; ++i, x -= channels) {
        left += static_cast<Sum>(leftTaps_[i]) * *x;
    }
    Sum right{};
    x = centre + channels;
    for (int32_t i = 0; i < rightCount_; ++i, x += channels) {
        right += static_cast<Sum>(rightTaps_[i]) * *x;
    }
    return Arithmetic<Sample>::Output(left + right, gain);
}

// Interpolate for outputs that share their weights: each takes its own sums in the same order, but none waits
// for its last addition.
template <class Sample>
void CResample<Sample>::InterpolateGroup(const Sample* source, const int64_t (&fixedTimes)[kGroup],
                                         int32_t channels, float gain, Sample* out) const {
    using Sum = typename Arithmetic<Sample>::Sum;
    const ptrdiff_t distance = ((fixedTimes[1] - fixedTimes[0]) >> 15) * channels;
    const auto sum = [=](const Sample* x, ptrdiff_t next, const Weight* taps, int32_t count, Sum* sums) {
        for (int32_t i = 0; i < count; ++i, x += next) {
            const Sum tap = static_cast<Sum>(taps[i]);
            for (int32_t k = 0; k < kGroup; ++k) {
                sums[k] += tap * x[k * distance];
            }
        }
    };
    const Sample* const centre = source + (fixedTimes[0] >> 15) * channels;
    Sum left[kGroup] = {}, right[kGroup] = {};
    sum(centre, -channels, leftTaps_.data(), leftCount_, left);
    sum(centre + channels, channels, rightTaps_.data(), rightCount_, right);
    for (ptrdiff_t k = 0; k < kGroup; ++k) {
        out[k * channels] = Arithmetic<Sample>::Output(left[k] + right[k], gain);
    }
}

template <class Sample>
void CResample<Sample>::Advance(int32_t usable, int32_t channels) {
    time -= usable;
    creep = static_cast<int32_t>(time - margin);
    creep = std::max(creep, -usable);  // a margin that has just grown must not pull frames back
    time -= creep;
    const int32_t passed = usable + creep;
    readIndex += passed;
    if (passed > 0) {
        Drop(passed, channels);
    }
    pendingMargin = 2 * margin;
    writeIndex = -creep;
}

// The history is kept before the buffer, so that a margin that grows later finds what was there. Samples move
// only when the room before them is used up.
template <class Sample>
void CResample<Sample>::Drop(int32_t passed, int32_t channels) {
    const ptrdiff_t end =
        Buffer() - storage_.data() + static_cast<ptrdiff_t>(writeIndex + pendingMargin) * channels;
    dropped += static_cast<int64_t>(passed) * channels;
    if (dropped <= static_cast<int64_t>(storage_.size() / 2)) {
        return;
    }
    std::copy(storage_.begin() + dropped, storage_.begin() + end, storage_.begin());
    dropped = 0;
}

template class CResample<float>;
template class CResample<int16_t>;

int32_t CreateResampler(CResampleBase** out, int32_t quality, int32_t capacity, int32_t channels,
                        int32_t kind, int32_t /*flag*/) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = nullptr;
    if (quality < 1 || quality > kMaxQuality || capacity < 0 || channels < 1) {
        return kBadArgument;
    }
    switch (kind) {
        case kResampleFloat:
            *out = new (std::nothrow) CResampleFloat(quality, capacity, channels);
            break;
        case kResampleInt:
            *out = new (std::nothrow) CResampleInt(quality, capacity, channels);
            break;
        default:
            return kBadArgument;
    }
    if (*out == nullptr) {
        return kOutOfMemory;
    }
    if ((*out)->Init() != 0) {
        DestroyResampler(out);
    }
    return 0;
}

int32_t DestroyResampler(CResampleBase** resampler) {
    if (resampler == nullptr || *resampler == nullptr) {
        return kBadArgument;
    }
    delete *resampler;
    *resampler = nullptr;
    return 0;
}

int32_t GetRequiredInput(const CResampleBase* resampler, int32_t outFrames, float inRate, float outRate) {
    if (resampler == nullptr || !(inRate > 0.0f) || !(outRate > 0.0f)) {
        return 0;
    }
    const double ratio = static_cast<double>(inRate) / static_cast<double>(outRate);
    double needed = outFrames * ratio;
    if (resampler->IsFirstCall()) {
        const double margin = resampler->GetHalfLength() * std::max(ratio, 1.0) + 1.0;
        needed += std::max<double>(resampler->GetMargin(), margin);
    } else {
        needed -= resampler->GetWriteIndex();
    }
    return std::max(TruncateToInt32(std::ceil(needed)), 0);
}

}  // namespace mlh
