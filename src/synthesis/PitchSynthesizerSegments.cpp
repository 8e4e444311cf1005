#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "analysis/PitchMarks.h"
#include "audio/AudioReader.h"
#include "base/Codes.h"
#include "base/PitchUnits.h"
#include "base/Truncate.h"
#include "synthesis/PitchSynthesizerImpl.h"

namespace mlh {

namespace {

constexpr float kPitchWithoutNotes = 60.0f;

// Shares are held at 1 at most.
float Share(float value) { return value > 1.0f ? 1.0f : value; }

float FormantRatio(float semitones) { return SemitonesToRatio32(static_cast<double>(semitones)); }

float FormantShift(float ratio) { return static_cast<float>(RatioToSemitones(static_cast<double>(ratio))); }

int32_t WholeSamples(double seconds, float sampleRate) {
    return std::max(TruncateToInt32(seconds * static_cast<double>(sampleRate)), 0);
}

void UpdateStretch(SynthSegment& segment) {
    const int32_t source = WholeSamples(segment.sourceEnd - segment.sourceStart, segment.sampleRate);
    const int32_t target = WholeSamples(segment.targetEnd - segment.targetStart, segment.sampleRate);
    segment.stretch =
        target == 0 ? 1.0f : static_cast<float>(static_cast<double>(source) / static_cast<double>(target));
}

// Where a parameter is in the record that callers see and in the segment, and what the segment makes of a
// value given and shows for one held.
struct ParameterField {
    float SegmentInfo::*shown;
    float SynthSegment::*held;
    float (*hold)(float);
    float (*show)(float);
};

float AsItIs(float value) { return value; }

// By SegmentParameter. The target pitch has two sides more: see SetParameter and GetParameter.
constexpr ParameterField kParameterFields[kSegmentParameters] = {
    {&SegmentInfo::targetPitch, &SynthSegment::targetPitch, AsItIs, AsItIs},
    {&SegmentInfo::glideInShare, &SynthSegment::glideInShare, Share, AsItIs},
    {&SegmentInfo::glideOutShare, &SynthSegment::glideOutShare, Share, AsItIs},
    {&SegmentInfo::glideInExtra, &SynthSegment::glideInExtra, AsItIs, AsItIs},
    {&SegmentInfo::glideOutExtra, &SynthSegment::glideOutExtra, AsItIs, AsItIs},
    {&SegmentInfo::fadeInShare, &SynthSegment::fadeInShare, Share, AsItIs},
    {&SegmentInfo::fadeOutShare, &SynthSegment::fadeOutShare, Share, AsItIs},
    {&SegmentInfo::fadeInLevel, &SynthSegment::fadeInLevel, AsItIs, AsItIs},
    {&SegmentInfo::fadeOutLevel, &SynthSegment::fadeOutLevel, AsItIs, AsItIs},
    {&SegmentInfo::formantShift, &SynthSegment::formantRatio, FormantRatio, FormantShift},
    {&SegmentInfo::modulationKeep, &SynthSegment::modulationKeep, AsItIs, AsItIs},
    {&SegmentInfo::gain, &SynthSegment::gain, AsItIs, AsItIs},
};

bool IsParameter(int32_t which) { return which >= 0 && which < kSegmentParameters; }

// Of parameters that there are.
void SetParameter(SynthSegment& segment, int32_t which, float value) {
    const ParameterField& field = kParameterFields[which];
    segment.*field.held = field.hold(value);
    if (which == SegmentTargetPitch) {
        segment.pitchOffset = value - segment.detectedPitch;
    }
}

// Where the note's end comes out in the target range.
double TargetNoteEnd(const SynthSegment& segment, double targetStart, double targetEnd) {
    const float sourceLength = static_cast<float>(segment.sourceEnd - segment.sourceStart);
    if (sourceLength == 0.0f) {
        return targetStart;
    }
    const float ratio = static_cast<float>(segment.noteEnd - segment.sourceStart) / sourceLength;
    return static_cast<double>(ratio) * (targetEnd - targetStart) + targetStart;
}

}  // namespace

double CMELODORPitchSynthesizer::ToSeconds(int32_t samples) const {
    return static_cast<double>(samples) / static_cast<double>(sampleRate_);
}

int32_t CMELODORPitchSynthesizer::MarkAt(double seconds) const {
    return marks_.FindNearest(0, TruncateToInt32(static_cast<double>(sampleRate_) * seconds + 0.5));
}

std::unique_ptr<SynthSegment> CMELODORPitchSynthesizer::MakeSegment() const {
    auto segment = std::make_unique<SynthSegment>();
    segment->sampleRate = sampleRate_;
    segment->marks = &marks_;
    segment->markRecords = frames_;
    return segment;
}

// A lead-in to the first note, then one segment per note, each reaching to the start of the next.
void CMELODORPitchSynthesizer::BuildSegments() {
    const double end = ToSeconds(reader_.GetLength());
    if (notes_.empty()) {
        AppendSegment(kPitchWithoutNotes, 0.0, end, end, 0, marks_.GetCount());
        return;
    }
    segments_.reserve(notes_.size() + 1);
    AppendSegment(notes_[0].pitch, 0.0, ToSeconds(notes_[0].startPosition), 0.0, 0, notes_[0].firstFrame);
    for (size_t k = 0; k < notes_.size(); ++k) {
        const bool last = k + 1 == notes_.size();
        AppendSegment(notes_[k].pitch, ToSeconds(notes_[k].startPosition),
                      last ? end : ToSeconds(notes_[k + 1].startPosition), ToSeconds(notes_[k].endPosition),
                      marks_.FindNearest(0, notes_[k].startPosition),
                      last ? marks_.GetCount() - 1 : notes_[k + 1].firstFrame);
    }
    LinkSegments();
}

void CMELODORPitchSynthesizer::AppendSegment(float pitch, double start, double end, double noteEnd,
                                             int32_t firstMark, int32_t lastMark) {
    auto segment = MakeSegment();
    segment->detectedPitch = pitch;
    segment->targetPitch = pitch;
    segment->sourceStart = segment->targetStart = start;
    segment->sourceEnd = segment->targetEnd = end;
    segment->noteEnd = noteEnd;
    segment->firstMark = firstMark;
    segment->lastMark = lastMark;
    MeasureTransitions(*segment);
    segments_.push_back(std::move(segment));
}

void CMELODORPitchSynthesizer::LinkSegments() {
    SynthSegment* previous = nullptr;
    for (const auto& segment : segments_) {
        segment->previous = previous;
        segment->next = nullptr;
        if (previous != nullptr) {
            previous->next = segment.get();
        }
        previous = segment.get();
    }
}

int32_t CMELODORPitchSynthesizer::GetSegmentCount() const { return static_cast<int32_t>(segments_.size()); }

bool CMELODORPitchSynthesizer::HasSegment(int32_t index) const {
    return index >= 0 && index < GetSegmentCount();
}

int32_t CMELODORPitchSynthesizer::RemoveSegment(int32_t index) {
    SettleSegments();
    if (!HasSegment(index)) {
        return kNoSuchSegment;
    }
    segments_.erase(segments_.begin() + index);
    LinkSegments();
    return 0;
}

void CMELODORPitchSynthesizer::ClearSegments() {
    SettleSegments();
    segments_.clear();
}

void CMELODORPitchSynthesizer::InsertSegment(const SegmentInfo& info) {
    SettleSegments();
    const auto startsLater = [&](const auto& other) {
        return other->targetStart * static_cast<double>(settings_.timeScale) > info.targetStart;
    };
    auto segment = MakeSegment();
    FillSegment(*segment, info, false);
    segments_.insert(std::find_if(segments_.begin(), segments_.end(), startsLater), std::move(segment));
    LinkSegments();
}

void CMELODORPitchSynthesizer::ReplaceSegments(std::span<const SegmentInfo> infos) {
    ClearSegments();
    segments_.reserve(infos.size());
    for (const SegmentInfo& info : infos) {
        auto segment = MakeSegment();
        FillSegment(*segment, info, false);
        if (info.glideInShare < 0.0f || info.glideOutShare < 0.0f) {
            MeasureTransitions(*segment);  // its length is known by now
            if (!(info.glideInShare < 0.0f)) {
                segment->glideInShare = Share(info.glideInShare);
            }
            if (!(info.glideOutShare < 0.0f)) {
                segment->glideOutShare = Share(info.glideOutShare);
            }
        }
        segments_.push_back(std::move(segment));
    }
    LinkSegments();
}

int32_t CMELODORPitchSynthesizer::SplitSegment(int32_t index, double offset) {
    SegmentInfo info;
    if (GetSegmentInfo(index, &info) != 0) {
        return kNoSuchSegment;
    }
    if (!(offset <= info.targetEnd - info.targetStart)) {
        return kVoiceBadArgument;
    }

    // The source point is reckoned from the target's start: the two coincide as long as nothing was moved.
    const double splitTarget = info.targetStart + offset;
    const double pace =
        static_cast<double>(segments_[index]->stretch) / static_cast<double>(settings_.timeScale);
    const double splitSource = info.targetStart + offset / pace;

    SegmentInfo second = info;
    info.targetEnd = second.targetStart = splitTarget;
    info.sourceEnd = second.sourceStart = splitSource;
    SetSegmentInfo(index, info, false);
    InsertSegment(second);
    return 0;
}

int32_t CMELODORPitchSynthesizer::MergeSegments(int32_t first, int32_t second) {
    if (!HasSegment(first) || !HasSegment(second)) {
        return kNoSuchSegment;
    }
    if (std::abs(first - second) != 1) {
        return kVoiceBadArgument;
    }
    const int32_t lower = std::min(first, second);
    SegmentInfo info, other;
    GetSegmentInfo(lower, &info);
    GetSegmentInfo(std::max(first, second), &other);
    info.targetEnd = other.targetEnd;
    info.sourceEnd = other.sourceEnd;
    SetSegmentInfo(lower, info, false);
    return RemoveSegment(second);
}

int32_t CMELODORPitchSynthesizer::GetSegmentInfo(int32_t index, SegmentInfo* info) const {
    SettleSegments();
    if (!HasSegment(index)) {
        return kNoSuchSegment;
    }
    const SynthSegment& segment = *segments_[index];
    for (int32_t which = 0; which < kSegmentParameters; ++which) {
        info->*kParameterFields[which].shown = GetParameter(segment, which);
    }
    GetSegmentTimes(index, &info->targetStart, &info->targetEnd);
    info->targetNoteEnd = TargetNoteEnd(segment, info->targetStart, info->targetEnd);
    info->detectedPitch = segment.detectedPitch;
    info->level = segment.level;
    info->sourceStart = segment.sourceStart;
    info->sourceEnd = segment.sourceEnd;
    info->noteEnd = segment.noteEnd;
    return 0;
}

int32_t CMELODORPitchSynthesizer::SetSegmentInfo(int32_t index, const SegmentInfo& info,
                                                 bool adjustNeighbours) {
    SettleSegments();
    if (!HasSegment(index)) {
        return kNoSuchSegment;
    }
    FillSegment(*segments_[index], info, adjustNeighbours);
    return 0;
}

// What depends on the source range is measured first; the record then overwrites what it carries.
void CMELODORPitchSynthesizer::FillSegment(SynthSegment& segment, const SegmentInfo& info,
                                           bool adjustNeighbours) {
    segment.sourceStart = info.sourceStart;
    segment.sourceEnd = info.sourceEnd;
    segment.firstMark = MarkAt(info.sourceStart);
    segment.lastMark = MarkAt(info.sourceEnd);
    segment.noteEnd = FindNoteEnd(info);
    segment.detectedPitch = info.detectedPitch;
    MeasureTransitions(segment);

    for (int32_t which = 0; which < kSegmentParameters; ++which) {
        SetParameter(segment, which, info.*kParameterFields[which].shown);
    }
    SetTimes(segment, info.targetStart, info.targetEnd, adjustNeighbours);
}

// From the mark at the end of the source range back to the first unvoiced one, at most to its start.
double CMELODORPitchSynthesizer::FindNoteEnd(const SegmentInfo& info) const {
    const auto isVoiced = [&](int32_t mark) {
        return mark >= 0 && mark < static_cast<int32_t>(frames_.size()) && frames_[mark].voiced != 0;
    };
    const int32_t start = MarkAt(info.sourceStart);
    int32_t mark = MarkAt(info.sourceEnd);
    while (mark > start && isVoiced(mark)) {
        --mark;
    }
    return ToSeconds(marks_.GetPosition(mark));
}

int32_t CMELODORPitchSynthesizer::SetSegmentTimes(int32_t index, double* start, double* end,
                                                  bool adjustNeighbours) {
    if (!HasSegment(index)) {
        return kNoSuchSegment;
    }
    SetTimes(*segments_[index], *start, *end, adjustNeighbours);
    return 0;
}

// The neighbours' edges count as they are before the time scale, the times given as they are after it.
void CMELODORPitchSynthesizer::SetTimes(SynthSegment& segment, double& start, double& end,
                                        bool adjustNeighbours) {
    if (segment.previous != nullptr && start < segment.previous->targetStart) {
        start = segment.previous->targetStart;
    }
    if (segment.next != nullptr && end > segment.next->targetEnd) {
        end = segment.next->targetEnd;
    }

    segment.targetStart = (start < 0.0 ? 0.0 : start) / static_cast<double>(settings_.timeScale);
    segment.targetEnd = end / static_cast<double>(settings_.timeScale);
    UpdateStretch(segment);
    if (!adjustNeighbours) {
        return;
    }
    if (segment.previous != nullptr) {
        segment.previous->targetEnd = segment.targetStart;
        UpdateStretch(*segment.previous);
    }
    if (segment.next != nullptr) {
        segment.next->targetStart = segment.targetEnd;
        UpdateStretch(*segment.next);
    }
}

int32_t CMELODORPitchSynthesizer::GetSegmentTimes(int32_t index, double* start, double* end) const {
    if (!HasSegment(index)) {
        return kNoSuchSegment;
    }
    *start = segments_[index]->targetStart * static_cast<double>(settings_.timeScale);
    *end = segments_[index]->targetEnd * static_cast<double>(settings_.timeScale);
    return 0;
}

float CMELODORPitchSynthesizer::CorrectedTargetPitch(const SynthSegment& segment) const {
    const float toSemitone = NearestSemitone32(segment.detectedPitch) - segment.detectedPitch;
    return toSemitone * settings_.pitchCorrection + segment.targetPitch;
}

int32_t CMELODORPitchSynthesizer::QuantizeToScale(const std::vector<int32_t>& pitchClasses) {
    SettleSegments();
    if (pitchClasses.empty() || pitchClasses.size() > 11) {
        return kVoiceBadArgument;
    }
    for (const auto& segment : segments_) {
        const float pitch = CorrectedTargetPitch(*segment);
        float inOctave = std::fmod(pitch, 12.0f);
        if (inOctave < 0.0f) {
            inOctave += 12.0f;
        }
        // Distances do not wrap round at the octave: 11.8 belongs to 11 or what lies below, never to 0.
        float nearest = 13.0f;
        float toScale = 0.0f;
        for (const int32_t pitchClass : pitchClasses) {
            const float distance = inOctave - static_cast<float>(pitchClass);
            if (std::abs(distance) < nearest) {
                nearest = std::abs(distance);
                toScale = distance;
            }
        }
        SetParameter(*segment, SegmentTargetPitch, pitch - NearestInterval32(toScale));
    }
    return 0;
}

int32_t CMELODORPitchSynthesizer::SetSegmentParameter(int32_t index, int32_t which, float value) {
    if (!HasSegment(index)) {
        return kNoSuchSegment;
    }
    if (!IsParameter(which)) {
        return kVoiceBadArgument;
    }
    SettleSegments();
    SetParameter(*segments_[index], which, value);
    return 0;
}

int32_t CMELODORPitchSynthesizer::SetSegmentParameters(int32_t first, int32_t end, int32_t which,
                                                       float value) {
    if (first < 0 || first > end || end > GetSegmentCount()) {
        return kNoSuchSegment;
    }
    if (!IsParameter(which)) {
        return kVoiceBadArgument;
    }
    if (first == end) {
        return 0;
    }
    if (end != tailEnd_) {
        SettleSegments();
    }
    tails_[which].Assign(first, value);
    tailEnd_ = end;
    hasTails_ = true;
    settledAround_ = -1;
    return 0;
}

void CMELODORPitchSynthesizer::SettleSegments() const {
    if (!hasTails_) {
        return;
    }
    for (int32_t which = 0; which < kSegmentParameters; ++which) {
        tails_[which].ForEach(tailEnd_,
                              [&](int32_t i, float value) { SetParameter(*segments_[i], which, value); });
        tails_[which].Clear();
    }
    hasTails_ = false;
}

// A segment glides towards its neighbours' pitches, so these count too.
void CMELODORPitchSynthesizer::SettleSegmentsAround(int32_t index) const {
    if (!hasTails_ || index == settledAround_) {
        return;
    }
    const int32_t end = std::min(index + 2, tailEnd_);
    for (int32_t i = std::max(index - 1, 0); i < end; ++i) {
        for (int32_t which = 0; which < kSegmentParameters; ++which) {
            const float* const value = tails_[which].Find(i);
            if (value != nullptr) {
                SetParameter(*segments_[i], which, *value);
            }
        }
    }
    settledAround_ = index;
}

// What a caller sees of a parameter: the target pitch as the pitch correction pulls it.
float CMELODORPitchSynthesizer::GetParameter(const SynthSegment& segment, int32_t which) const {
    if (which == SegmentTargetPitch) {
        return CorrectedTargetPitch(segment);
    }
    const ParameterField& field = kParameterFields[which];
    return field.show(segment.*field.held);
}

float CMELODORPitchSynthesizer::GetSegmentParameter(int32_t index, int32_t which) const {
    if (!HasSegment(index) || !IsParameter(which)) {
        return 0.0f;
    }
    SettleSegments();
    return GetParameter(*segments_[index], which);
}

}  // namespace mlh
