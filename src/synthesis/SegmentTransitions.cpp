#include <algorithm>
#include <cmath>

#include "analysis/PitchMarks.h"
#include "base/Truncate.h"
#include "synthesis/SynthSegment.h"

namespace mlh {

namespace {

constexpr double kLongestTransition = 0.075;      // s
constexpr double kLongestTransitionShare = 0.25;  // of the source length

bool HasMark(const SynthSegment& segment, int32_t mark) {
    return mark >= 0 && mark < static_cast<int32_t>(segment.markRecords.size());
}

// A mark after the last is where the last is, so that nothing is measured beyond the recording.
double MarkPosition(const SynthSegment& segment, int32_t mark) {
    return segment.marks->GetPosition(std::min(mark, segment.marks->GetCount() - 1));
}

// Signed distance of a mark's pitch from the segment's [semitones].
float PitchDeviation(const SynthSegment& segment, int32_t mark) {
    return MarkPitch(segment, mark) - segment.detectedPitch;
}

bool SameSide(float deviation, float other) { return (deviation >= 0.0f) == (other >= 0.0f); }

// Where the pitch has arrived: it leaves the side on which it starts, then comes to the far end of the first
// overshoot. Unvoiced marks are walked over.
int32_t FindHead(const SynthSegment& segment, double sourceStart, double limit) {
    const auto isNear = [&](int32_t mark) { return MarkPosition(segment, mark) - sourceStart < limit; };
    const float startSide = PitchDeviation(segment, segment.firstMark);
    int32_t i = segment.firstMark;
    for (; i < segment.lastMark - 1; ++i) {
        const bool goesOn = SameSide(PitchDeviation(segment, i), startSide) && isNear(i);
        if (!goesOn && IsVoiced(segment, i)) {
            break;
        }
    }
    for (; i < segment.lastMark; ++i) {
        const bool goesOn =
            std::abs(PitchDeviation(segment, i + 1)) >= std::abs(PitchDeviation(segment, i)) && isNear(i);
        if (!goesOn && IsVoiced(segment, i)) {
            break;
        }
    }
    return std::max(i - 1, 0);
}

// The same from the end backwards: the last mark before the pitch leaves.
int32_t FindTail(const SynthSegment& segment, int32_t head, double sourceEnd, double limit) {
    const auto isNear = [&](int32_t mark) { return sourceEnd - MarkPosition(segment, mark) < limit; };
    const float endSide = PitchDeviation(segment, segment.lastMark);
    int32_t j = segment.lastMark;
    while (j > head && isNear(j)) {
        --j;
        if (j <= segment.firstMark || !SameSide(PitchDeviation(segment, j), endSide)) {
            break;
        }
    }
    for (; j > segment.firstMark; --j) {
        const bool goesOn =
            std::abs(PitchDeviation(segment, j - 1)) >= std::abs(PitchDeviation(segment, j)) && isNear(j);
        if (!goesOn && IsVoiced(segment, j)) {
            break;
        }
    }
    return j;
}

float MeanLevel(const SynthSegment& segment) {
    float sum = 0.0f;
    for (int32_t mark = segment.firstMark; mark < segment.lastMark; ++mark) {
        if (HasMark(segment, mark)) {
            sum += std::sqrt(segment.markRecords[mark].energy);
        }
    }
    return sum / static_cast<float>(std::max(segment.lastMark - segment.firstMark, 1));
}

// Whole output samples before the global time scale.
float TargetLength(const SynthSegment& segment) {
    const double samples =
        (segment.targetEnd - segment.targetStart) * static_cast<double>(segment.sampleRate);
    return static_cast<float>(std::max(TruncateToInt32(samples), 0));
}

// How far a moment lies inside a stretch of that length at the segment's end; not above 0 before it.
double OffsetIntoTail(float stretchLength, float targetLength, double timeScale, double offset) {
    return timeScale * static_cast<double>(stretchLength) + offset -
           timeScale * static_cast<double>(targetLength);
}

// 1 at the segment's edges, falling to 0 in its steady middle.
float TransitionShape(const SynthSegment& segment, const VoiceSettings& settings, double offset) {
    const float length = TargetLength(segment);
    const float pace = settings.inverseTimeScale * segment.stretch;
    const float in = settings.transitionScale * segment.glideInShare * length;
    const float out = settings.transitionScale * segment.glideOutShare * length;
    if (in > 0.0f && static_cast<double>(in) / static_cast<double>(pace) > offset) {
        return static_cast<float>(1.0 - static_cast<double>(pace) * offset / static_cast<double>(in));
    }
    const double tail = OffsetIntoTail(out, length, settings.timeScale, offset);
    if (out > 0.0f && tail > 0.0) {
        return static_cast<float>(static_cast<double>(pace) * tail / static_cast<double>(out));
    }
    return 0.0f;
}

// Two voiced neighbours meet halfway between their offsets; at a pause each keeps its own.
float ShareOfBorder(const SynthSegment& segment, const SynthSegment& neighbour, bool bothVoiced) {
    return bothVoiced ? (neighbour.pitchOffset - segment.pitchOffset) * 0.5f : 0.0f;
}

float GlideIn(const SynthSegment& segment, const VoiceSettings& settings, double offset) {
    const float length = TargetLength(segment) * segment.glideInShare;
    if (!(static_cast<double>(length) > offset) || !(length > 0.0f) || segment.previous == nullptr) {
        return 0.0f;
    }
    const SynthSegment& previous = *segment.previous;
    const bool bothVoiced = IsVoiced(previous, previous.lastMark - 1) && IsVoiced(segment, segment.firstMark);
    const double border = segment.glideInExtra + ShareOfBorder(segment, previous, bothVoiced);
    const double inverseTimeScale = settings.inverseTimeScale;
    return static_cast<float>(border - inverseTimeScale * static_cast<double>(segment.stretch) * border *
                                           offset / static_cast<double>(length));
}

float GlideOut(const SynthSegment& segment, const VoiceSettings& settings, double offset) {
    const float targetLength = TargetLength(segment);
    const float length = targetLength * segment.glideOutShare;
    const double tail = OffsetIntoTail(length, targetLength, settings.timeScale, offset);
    if (!(tail > 0.0) || !(length > 0.0f) || segment.next == nullptr) {
        return 0.0f;
    }
    const SynthSegment& next = *segment.next;
    const bool bothVoiced = IsVoiced(next, next.firstMark) && IsVoiced(segment, segment.lastMark - 1);
    const double border = segment.glideOutExtra + ShareOfBorder(segment, next, bothVoiced);
    return static_cast<float>(border * static_cast<double>(segment.stretch) *
                              static_cast<double>(settings.inverseTimeScale) * tail /
                              static_cast<double>(length));
}

// Pulls the steady middle of a note towards its mean by what is not to be kept of the movement; the
// transitions stay natural.
float Flattening(const SynthSegment& segment, const VoiceSettings& settings, int32_t mark, double offset) {
    if (!IsVoiced(segment, mark)) {
        return 0.0f;
    }
    const float deviation = PitchDeviation(segment, mark);
    const float dropped = deviation - settings.modulationKeepScale * segment.modulationKeep * deviation;
    return -(1.0f - TransitionShape(segment, settings, offset)) * dropped;
}

float FadeIn(const SynthSegment& segment, const VoiceSettings& settings, double offset) {
    const float length = TargetLength(segment) * segment.fadeInShare;
    const double timeScale = settings.timeScale;
    if (!(timeScale * static_cast<double>(length) > offset) || !(length > 0.0f)) {
        return 1.0f;
    }
    const double x = offset * static_cast<double>(segment.stretch) / static_cast<double>(length);
    return static_cast<float>((1.0 - x) * static_cast<double>(segment.fadeInLevel) + x);
}

float FadeOut(const SynthSegment& segment, const VoiceSettings& settings, double offset) {
    const float targetLength = TargetLength(segment);
    const float length = targetLength * segment.fadeOutShare;
    const double tail = OffsetIntoTail(length, targetLength, settings.timeScale, offset);
    if (TruncateToInt32(tail) < 0 || !(length > 0.0f)) {
        return 1.0f;
    }
    const double x = 1.0 - static_cast<double>(settings.inverseTimeScale) *
                               static_cast<double>(segment.stretch) * tail / static_cast<double>(length);
    return static_cast<float>((1.0 - x) * static_cast<double>(segment.fadeOutLevel) + x);
}

}  // namespace

bool IsVoiced(const SynthSegment& segment, int32_t mark) {
    return HasMark(segment, mark) && segment.markRecords[mark].voiced != 0;
}

float MarkPitch(const SynthSegment& segment, int32_t mark) {
    return HasMark(segment, mark) ? segment.markRecords[mark].pitch : 0.0f;
}

void MeasureTransitions(SynthSegment& segment) {
    const double rate = segment.sampleRate;
    const double sourceStart = segment.sourceStart * rate;
    const double sourceEnd = segment.sourceEnd * rate;
    const double limit = std::min(kLongestTransition * rate,
                                  kLongestTransitionShare * (segment.sourceEnd - segment.sourceStart) * rate);
    const double targetLength = std::max((segment.targetEnd - segment.targetStart) * rate, 1.0);

    const int32_t head = FindHead(segment, sourceStart, limit);
    const int32_t tail = FindTail(segment, head, sourceEnd, limit);
    const double in = std::max(MarkPosition(segment, head) - sourceStart, 0.0);
    const double out = std::max(sourceEnd - MarkPosition(segment, tail + 1), 0.0);
    segment.glideInShare = std::min(static_cast<float>(in / targetLength), 1.0f);
    segment.glideOutShare = std::min(static_cast<float>(out / targetLength), 1.0f);
    segment.level = MeanLevel(segment);
}

float PitchShiftAt(const SynthSegment& segment, const VoiceSettings& settings, int32_t mark, double offset) {
    return GlideIn(segment, settings, offset) + segment.pitchOffset + GlideOut(segment, settings, offset) +
           Flattening(segment, settings, mark, offset);
}

float GainAt(const SynthSegment& segment, const VoiceSettings& settings, double offset) {
    return FadeIn(segment, settings, offset) * segment.gain * FadeOut(segment, settings, offset);
}

}  // namespace mlh
