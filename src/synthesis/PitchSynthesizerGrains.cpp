// Rendering: pitch-synchronous overlap-add of the recording's own grains.
//
// A grain is centred on a pitch mark of the recording. In the accumulator its left half is added to what
// stands there, the right half of the grain before, and its right half is written after its centre. The two
// halves between neighbouring centres are equally long while the shift stays, and their windows sum to 1:
//
//     grain k       grain k+1     grain k+2
//        |\_         _/|\_         _/|
//        |  \_     _/  |  \_     _/  |        left half: w, a rise like the cube of a sine
//        |    \_ _/    |    \_ _/    |        right half: 1 - w
//        |_____X_______|_____X_______|
//        <-- period -> <-- period ->         source period * ratio of the pitches
//
// Pitch comes from the distance of the grains, formants from the read step inside a grain, time from how far
// the source position moves from grain to grain. At the recording's own pitch, formants and time every grain
// lands where it was cut out, and from the first sample to the last but one mark the output is the recording
// but for rounding; the last period fades out, since the last mark has no period of its own.
//
// A voice that sings lower than the recording lets a grain reach as far as the recording's period goes and
// leaves silence up to the next grain; one that sings higher lets the grains overlap fully.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <type_traits>

#include "analysis/PitchMarks.h"
#include "audio/AudioReader.h"
#include "base/NarrowedMath.h"
#include "base/Pi.h"
#include "base/PitchUnits.h"
#include "base/Truncate.h"
#include "dsp/Dispatch.h"
#include "dsp/VoiceOperations.h"
#include "synthesis/PitchSynthesizerImpl.h"

namespace mlh {

namespace {

constexpr int32_t kSmallestBuffer = 65536;
constexpr int32_t kMaxPeriod = 4194304;  // samples; no pitch that is meant comes near
constexpr int32_t kWindowSize = 32768;
constexpr float kAlike = 0.2f;       // share by which neighbouring periods of one note may differ
constexpr int32_t kScrubBlocks = 3;  // a scrub ends when that many blocks came without a SetPosition

// Rises from 0 to 1 like the cube of a sine.
std::array<float, kWindowSize> MakeWindowTable() {
    std::array<float, kWindowSize> table;
    for (int32_t i = 0; i < kWindowSize; ++i) {
        const float s = Narrowed::Sin(static_cast<float>(i) * (0.5f * kPi32) / 32767.0f);
        table[i] = s * s * s;
    }
    return table;
}

// One for all voices. A plain function makes it: a compiler that evaluates a lambda's or constexpr function's
// sines beforehand rounds them otherwise than the library does.
const std::array<float, kWindowSize>& WindowTable() {
    static const std::array<float, kWindowSize> table = MakeWindowTable();
    return table;
}

// Index into the window table from one sample of a half to the next; the half's ends meet the table's ends.
float WindowStep(int32_t halfLength) {
    return halfLength > 1 ? 32767.0f / static_cast<float>(halfLength - 1) : 32768.0f;
}

// The window of a half of this length, 0 to 1.
void FillWindowRow(float* row, int32_t halfLength) {
    const auto& table = WindowTable();
    const float step = WindowStep(halfLength);
    for (int32_t i = 0; i < halfLength; ++i) {
        row[i] = table[static_cast<int32_t>(static_cast<float>(i) * step + 0.5f)];
    }
}

constexpr int32_t kLongestKeptRow = 512;  // a period of 86 Hz at 44.1 kHz

// The rows of lengths 1 to kLongestKeptRow, one after the other: half a megabyte for all voices. It has no
// destructor, since hosts may render until the process is gone, after the statics of this library's sources.
struct KeptWindowRows {
    KeptWindowRows() {
        for (int32_t length = 1; length <= kLongestKeptRow; ++length) {
            FillWindowRow(Row(length), length);
        }
    }
    float* Row(int32_t length) { return values.data() + length * (length - 1) / 2; }
    const float* Row(int32_t length) const { return values.data() + length * (length - 1) / 2; }

    std::array<float, kLongestKeptRow*(kLongestKeptRow + 1) / 2> values;
};
static_assert(std::is_trivially_destructible_v<KeptWindowRows>);

const float* KeptWindowRow(int32_t length) {
    static const KeptWindowRows rows;
    return rows.Row(length);
}

// How many output samples a half of a grain has: as far as its source reaches, and no further than a period
// of the recording where the voice sings lower.
int32_t HalfLength(const Grain& grain, int32_t period, float total) {
    const float width = static_cast<float>(period);
    return std::max(TruncateToInt32(std::min(grain.grainWidth * width, width / total + 0.5f)), 0);
}

// `last` keeps the read inside where rounding makes the position drift through a grain of absurd length.
float Interpolate(const float* samples, float position, int32_t last) {
    const int32_t index = std::clamp(static_cast<int32_t>(position), 0, last);
    const float fraction = position - static_cast<float>(index);
    return samples[index] + fraction * (samples[index + 1] - samples[index]);
}

// Both buffers have two channels and only ever grow.
void Grow(AudioSampleBuffer& buffer, int64_t size) {
    if (size <= buffer.GetSize()) {
        return;
    }
    if (size > std::numeric_limits<int32_t>::max()) {
        throw std::bad_alloc();
    }
    buffer.SetSize(2, std::max(static_cast<int32_t>(size), kSmallestBuffer));
}

// In steps, so that slowly growing grains don't make it grow every time.
void GrowInSteps(AudioSampleBuffer& buffer, int64_t size) {
    if (size > buffer.GetSize()) {
        Grow(buffer, size + kSmallestBuffer);
    }
}

}  // namespace

void CMELODORPitchSynthesizer::Process(float** out, int32_t frames) {
    if (frames > 0) {
        output_.Wrap(out, reader_.GetNumChannels(), frames);
        GrowBuffersForBlock(frames);
        if (AtEnd(frames)) {
            reader_.SetPosition(reader_.GetLength());
            output_.Clear();
        } else {
            RenderBlock(frames);
        }
        previousPosition_ = outputPosition_;
        outputPosition_ = static_cast<int32_t>(std::min<int64_t>(
            static_cast<int64_t>(outputPosition_) + frames, std::numeric_limits<int32_t>::max()));
    }
    blocksSincePosition_ = std::min(blocksSincePosition_ + 1, kScrubBlocks);
    if (blocksSincePosition_ == kScrubBlocks) {
        speed_ = 1.0f;
    }
}

void CMELODORPitchSynthesizer::GrowBuffersForBlock(int32_t frames) {
    if (frames <= accumulator_.GetSize()) {
        return;
    }
    Grow(grainSource_, 2 * static_cast<int64_t>(frames));
    Grow(accumulator_, 8 * static_cast<int64_t>(frames));
}

void CMELODORPitchSynthesizer::GrowBuffersForGrain() {
    const int64_t width = static_cast<int64_t>(previousPeriod_) + currentPeriod_;
    GrowInSteps(grainSource_, width + 2);  // interpolation looks one sample ahead
    GrowInSteps(accumulator_, accumulated_ + width);
    // A half is at most a period long.
    const size_t longest = static_cast<size_t>(std::max(previousPeriod_, currentPeriod_)) + 1;
    if (windowRow_.size() < longest) {
        const size_t size = std::max(longest, 2 * windowRow_.size());
        // First, since the other's size is what is asked for: memory may run out between them.
        resampledGrain_.resize(size);
        windowRow_.resize(size);
    }
}

bool CMELODORPitchSynthesizer::AtEnd(int32_t frames) const {
    return static_cast<int64_t>(outputPosition_) + frames > std::numeric_limits<int32_t>::max() ||
           outputPosition_ >= TruncateToInt32(GetDuration() * static_cast<double>(sampleRate_));
}

int32_t CMELODORPitchSynthesizer::RenderedChannels() const {
    return std::min(output_.GetNumChannels(), accumulator_.GetNumChannels());
}

void CMELODORPitchSynthesizer::RenderBlock(int32_t frames) {
    const PlaceResult result = PlaceGrains(frames);
    for (int32_t c = 0; c < RenderedChannels(); ++c) {
        output_.CopyFrom(c, 0, accumulator_, c, 0, frames);
    }

    if (result == PlaceResult::Failed) {  // what was there has gone out; start again from empty
        accumulated_ = 0;
        previousPeriod_ = 0;
        accumulator_.Clear();
    } else if (result == PlaceResult::Placed) {
        accumulated_ -= frames;
        const int32_t kept = accumulated_ + previousPeriod_;
        for (int32_t c = 0; c < RenderedChannels(); ++c) {
            accumulator_.CopyFrom(c, 0, accumulator_, c, frames, kept);
            accumulator_.Clear(c, kept, frames);
        }
    }
}

// Places grains until more than `frames` samples are complete.
CMELODORPitchSynthesizer::PlaceResult CMELODORPitchSynthesizer::PlaceGrains(int32_t frames) {
    if (lastSourcePosition_ < 0.0) {
        accumulator_.Clear();
        return PlaceResult::Halted;
    }
    int64_t target = static_cast<int64_t>(outputPosition_) + accumulated_ + previousPeriod_;
    while (accumulated_ <= frames) {
        SynthSegment* segment = EnterSegmentAt(static_cast<double>(target));
        if (segment == nullptr) {
            return PlaceResult::Failed;
        }
        const int32_t mark = FindMark(*segment, segment->sourcePosition);
        if (mark < 0) {
            return PlaceResult::Failed;
        }
        segment->currentMark = mark;
        currentMarkIndex_ = mark;
        lastSourcePosition_ = segment->sourcePosition;

        const Grain grain = ShapeGrain(*segment);
        const int32_t distance = marks_.GetDistanceToNext(mark);
        if (distance < 0) {
            return PlaceResult::Failed;
        }
        const float sourcePeriod =
            carriesRounding_ ? PeriodAt(*segment, distance) : static_cast<float>(distance);
        currentPeriod_ = OutputPeriod(grain, sourcePeriod);

        GrowBuffersForGrain();
        if (target + currentPeriod_ > silentBefore_) {
            grainSource_.ReadFromAudioReader(reader_, 0, previousPeriod_ + currentPeriod_,
                                             std::max(marks_.GetPosition(mark), 0) - previousPeriod_, true,
                                             true);
            OverlapAddGrain(grain);
        }
        accumulated_ += previousPeriod_;
        previousPeriod_ = currentPeriod_;
        target += currentPeriod_;
        segment->sourcePosition += static_cast<double>(SourceAdvance(grain, sourcePeriod));
    }
    return PlaceResult::Placed;
}

// The segment of an output sample, with the source positioned on a mark if rendering enters it.
SynthSegment* CMELODORPitchSynthesizer::EnterSegmentAt(double target) {
    const int32_t from = std::max(currentSegmentIndex_, 0);
    currentSegmentIndex_ = FindSegment(target, from);
    const int32_t passed = currentSegmentIndex_ < 0 ? GetSegmentCount() : currentSegmentIndex_;
    for (int32_t i = from; i < passed; ++i) {
        segments_[i]->positioned = 0;
    }
    if (currentSegmentIndex_ < 0) {
        return nullptr;
    }
    SettleSegmentsAround(currentSegmentIndex_);

    SynthSegment& segment = *segments_[currentSegmentIndex_];
    segment.outputOffset = target - OutputStart(segment);
    if (segment.positioned == 0) {
        const double place = SourcePositionAt(segment, segment.outputOffset);
        const int32_t mark = FindMark(segment, place);
        // Half a period early or late is some cents where the pitch moves. What is neither moved nor
        // stretched starts on the mark all the same: it is to be the recording.
        const bool exactly =
            carriesRounding_ && mark >= 0 &&
            (segment.stretch != 1.0f || PitchShiftAt(segment, settings_, mark, segment.outputOffset) != 0.0f);
        segment.sourcePosition = exactly ? std::max(place, 0.0) : marks_.GetPosition(mark);
        segment.positioned = 1;
    }
    return &segment;
}

Grain CMELODORPitchSynthesizer::ShapeGrain(const SynthSegment& segment) const {
    const float semitones = PitchShiftAt(segment, settings_, segment.currentMark, segment.outputOffset);
    Grain grain;
    grain.periodRatio = SemitonesToRatio32(-static_cast<double>(semitones));
    grain.grainGain = GainAt(segment, settings_, segment.outputOffset);
    grain.segmentStretch = segment.stretch;
    grain.segmentFormantRatio = segment.formantRatio;
    const float step = grain.segmentFormantRatio * settings_.formantShift;
    grain.grainWidth = step <= 1.0f ? 1.0f : 1.0f / step;
    return grain;
}

// The period of the recording at the source position itself, between the distances of the marks around it: a
// voice that takes the marks unevenly would otherwise take an uneven choice of long and short distances.
float CMELODORPitchSynthesizer::PeriodAt(const SynthSegment& segment, int32_t distance) const {
    const int32_t nearest = segment.currentMark;
    const int32_t left = marks_.GetPosition(nearest) <= segment.sourcePosition ? nearest : nearest - 1;
    const int32_t first = marks_.GetDistanceToNext(left);
    const int32_t second = marks_.GetDistanceToNext(left + 1);
    const bool alike = first > 0 && second > 0 && std::abs(first - second) < kAlike * distance;
    if (!alike) {
        return static_cast<float>(distance);
    }
    const double share = std::clamp((segment.sourcePosition - marks_.GetPosition(left)) / first, 0.0, 1.0);
    return static_cast<float>(first + share * (second - first));
}

int32_t CMELODORPitchSynthesizer::OutputPeriod(const Grain& grain, float sourcePeriod) {
    const float period = sourcePeriod * settings_.transposition * grain.periodRatio;
    if (!carriesRounding_) {
        return std::clamp(TruncateToInt32(NearestPeriod32(period)), 1, kMaxPeriod);
    }
    const float wanted = period + carriedRounding_;
    const int32_t whole = std::clamp(TruncateToInt32(NearestPeriod32(wanted)), 1, kMaxPeriod);
    const float left = wanted - static_cast<float>(whole);
    carriedRounding_ = left >= -0.5f && left <= 0.5f ? left : 0.0f;
    return whole;
}

// How far the source moves on, so that it keeps up with the output's time.
float CMELODORPitchSynthesizer::SourceAdvance(const Grain& grain, float sourcePeriod) const {
    return sourcePeriod * settings_.transposition * speed_ * settings_.inverseTimeScale * grain.periodRatio *
           grain.segmentStretch;
}

// The window of a half of this length. Of the long ones the last is kept: the left half of a grain mostly has
// the length of the right half before.
const float* CMELODORPitchSynthesizer::WindowRow(int32_t halfLength) {
    if (halfLength <= kLongestKeptRow) {
        return KeptWindowRow(halfLength);
    }
    if (halfLength != windowRowLength_) {
        FillWindowRow(windowRow_.data(), halfLength);
        windowRowLength_ = halfLength;
    }
    return windowRow_.data();
}

// `count` samples of the grain from `position` on, `step` apart; `position` moves on past them. With a step
// of 1, which is the rule, positions are whole and the samples the recording's own.
const float* CMELODORPitchSynthesizer::ReadGrain(const float* source, float& position, float step,
                                                 int32_t count) {
    if (step == 1.0f) {
        const float* samples = source + static_cast<int32_t>(position);
        position += static_cast<float>(count);
        return samples;
    }
    const int32_t lastIndex = grainSource_.GetSize() - 2;
    for (int32_t i = 0; i < count; ++i) {
        resampledGrain_[i] = Interpolate(source, position, lastIndex);
        position += step;
    }
    return resampledGrain_.data();
}

void CMELODORPitchSynthesizer::OverlapAddGrain(const Grain& grain) {
    const float step = settings_.formantShift * grain.segmentFormantRatio;
    const float total = settings_.transposition * grain.periodRatio * step;
    const int32_t centre = accumulated_ + previousPeriod_;

    const int32_t leftLength = HalfLength(grain, previousPeriod_, total);
    const float leftStart = static_cast<float>(previousPeriod_) - static_cast<float>(leftLength) * step;
    float position = leftStart;
    const float* const rising = WindowRow(leftLength);
    for (int32_t c = 0; c < RenderedChannels(); ++c) {
        position = leftStart;
        const float* x = ReadGrain(grainSource_.GetChannel(c), position, step, leftLength);
        float* left = accumulator_.GetChannel(c) + centre - leftLength;
        VoiceOps().AddGrain(left, x, rising, grain.grainGain, leftLength);
    }

    const int32_t rightLength = HalfLength(grain, currentPeriod_, total);
    const float rightStart = position;
    const float* const falling = WindowRow(rightLength);
    for (int32_t c = 0; c < RenderedChannels(); ++c) {
        position = rightStart;
        const float* x = ReadGrain(grainSource_.GetChannel(c), position, step, rightLength);
        float* right = accumulator_.GetChannel(c) + centre;
        VoiceOps().WriteGrain(right, x, falling, grain.grainGain, rightLength);
    }
}

void CMELODORPitchSynthesizer::Restart() {
    for (const auto& segment : segments_) {
        segment->positioned = 0;
        segment->sourcePosition = 0.0;
        segment->outputOffset = 0.0;
        segment->currentMark = 0;
    }
    accumulator_.Clear();
    accumulated_ = previousPeriod_ = currentPeriod_ = 0;
    carriedRounding_ = 0.0f;
    lastSourcePosition_ = 0.0;
    outputPosition_ = 0;
    previousPosition_ = -1;
    currentMarkIndex_ = currentSegmentIndex_ = 0;
    lookupSegmentIndex_ = -1;
    blocksSincePosition_ = 0;
    speed_ = 1.0f;
}

void CMELODORPitchSynthesizer::SetPosition(double seconds) {
    const int32_t position = TruncateToInt32(seconds * static_cast<double>(sampleRate_));
    if (HasSegment(currentSegmentIndex_)) {
        segments_[currentSegmentIndex_]->positioned = 0;
    }
    currentSegmentIndex_ = FindSegment(static_cast<double>(position), 0);
    if (HasSegment(currentSegmentIndex_)) {
        segments_[currentSegmentIndex_]->positioned = 0;
    }

    if (outputPosition_ != previousPosition_) {
        const double asked = std::abs(static_cast<double>(position) - previousPosition_);
        const double rendered = std::abs(static_cast<double>(outputPosition_) - previousPosition_);
        speed_ = std::clamp(static_cast<float>(asked / rendered), -1.0f, 1.0f);
        currentSegmentIndex_ = 0;
    }
    if (blocksSincePosition_ >= kScrubBlocks) {
        speed_ = 1.0f;
        accumulated_ = 0;
        currentPeriod_ = 0;
    }
    outputPosition_ = position;
    previousPosition_ = position;
    blocksSincePosition_ = 0;
    currentMarkIndex_ = 0;
}

}  // namespace mlh
