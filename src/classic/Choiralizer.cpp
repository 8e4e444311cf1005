#include "classic/Choiralizer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace mlh {

namespace ChoiralizerClassic {

namespace {

// Lead notes are held within what the arithmetic and its loops are made for; no voice gets near either end.
constexpr int32_t kLowestPitch = -156;
constexpr int32_t kHighestPitch = 1200;

// The position of the tone of `scale` nearest to `position`, looking up before down at each distance.
int32_t NearestTone(const KeyedScale& scale, int32_t position) {
    for (int32_t t = 0; t < 12; ++t) {
        if (scale.IsTone(position + t)) {
            return PitchClass(position + t);
        }
        if (scale.IsTone(position - t)) {
            return PitchClass(position - t);
        }
    }
    return position;
}

// How many voices stay above the lead when their number changes. From three voices below the lead to two, one
// of them moves above it.
int32_t VoicesAboveAfter(int32_t newCount, int32_t oldCount, int32_t above) {
    switch (newCount) {
        case 3:
            return oldCount == 2 ? (above > 1 ? 2 : 1) : (above > 0 ? 2 : 1);
        case 2:
            return oldCount == 3 ? (above >= 3 ? 2 : 1) : (above < 1 ? 0 : 2);
        default:
            return oldCount == 3 ? (above < 2 ? 0 : 1) : (above == 0 ? 0 : 1);
    }
}

std::vector<int32_t> TonesOf(const KeyedScale& scale) {
    std::vector<int32_t> tones;
    for (int32_t position = 0; position < 12; ++position) {
        if (scale.IsTone(position)) {
            tones.push_back(position);
        }
    }
    return tones;
}

}  // namespace

int32_t CChoiralizer::Create(CChoiralizer** instance) {
    if (!instance) {
        return kBadArgument;
    }
    *instance = nullptr;
    try {
        *instance = new CChoiralizer;
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    return 0;
}

CChoiralizer::CChoiralizer() {
    BuildScaleMap();
    UpdateLimits();
}

CChoiralizer::~CChoiralizer() = default;

int32_t CChoiralizer::SetKey(int32_t key) {
    inputKey_ = key;
    outputKey_ = key;
    BuildScaleMap();
    return 0;
}

int32_t CChoiralizer::SetInputScale(int32_t row) {
    inputScale_ = row;
    BuildScaleMap();
    return 0;
}

int32_t CChoiralizer::SetOutputScale(int32_t row) {
    outputScale_ = row;
    BuildScaleMap();
    return 0;
}

int32_t CChoiralizer::SetQuantize(int32_t flag) {
    quantizeToScale_ = flag;
    return 0;
}

int32_t CChoiralizer::SetScaleMap(int32_t flag) {
    mapScale_ = flag;
    return 0;
}

int32_t CChoiralizer::SetVoiceMode(int32_t mode) {
    voiceMode_ = mode;
    const int32_t newCount = mode == 0 ? 3 : mode == 1 ? 2 : mode == 2 ? 1 : voiceCount_;
    if (newCount != voiceCount_) {
        voicesAbove_ = VoicesAboveAfter(newCount, voiceCount_, voicesAbove_);
        voiceCount_ = newCount;
        UpdateLimits();
    }
    return 0;
}

int32_t CChoiralizer::SetVoicesAbove(int32_t n) {
    if (n < 0 || n > voiceCount_) {
        return kBadArgument;
    }
    voicesAbove_ = n;
    UpdateLimits();
    return 0;
}

int32_t CChoiralizer::SetSpread(float x) {
    if (!(x >= 0.0f && x <= 1.0f)) {
        return kBadArgument;
    }
    spreadTarget_ = x;
    return 0;
}

int32_t CChoiralizer::ResetHistory() {
    std::fill(std::begin(lastVoicing_), std::end(lastVoicing_), -1);
    stepDirection_ = 0;
    return 0;
}

int32_t CChoiralizer::PrepareNote(int32_t note) const {
    note = std::clamp(note, kLowestPitch, kHighestPitch);
    if (quantizeToScale_) {
        const KeyedScale scale = InputScale();
        const int32_t position = scale.Position(note);
        const int32_t up = scale.WalkUp(position, 1);
        const int32_t down = scale.WalkDown(position, 1);
        note += up < down ? up : -down;
    }
    if (mapScale_) {
        note += scaleMap_[PitchClass(note)];
    }
    return note;
}

void CChoiralizer::BuildScaleMap() {
    std::fill(std::begin(scaleMap_), std::end(scaleMap_), 0);
    const KeyedScale output = OutputScale();
    const std::vector<int32_t> inputTones = TonesOf(InputScale());
    const std::vector<int32_t> outputTones = TonesOf(output);
    const bool degreeToDegree = inputTones.size() == outputTones.size();
    if (!degreeToDegree && outputScale_ == ScaleChromatic) {
        return;
    }
    for (size_t i = 0; i < inputTones.size(); ++i) {
        // Offsets between positions 0..11: a nearest tone across the octave border lands an octave away.
        const int32_t u = inputTones[i];
        const int32_t v = degreeToDegree ? outputTones[i] : NearestTone(output, u);
        scaleMap_[PitchClass(int64_t{inputKey_} + u)] = v - u;
    }
}

void CChoiralizer::UpdateLimits() {
    const int32_t below = voiceCount_ - voicesAbove_;
    lowLimit_ = below <= 0 ? 0 : -std::clamp(12 * below, 12, 16);
    highLimit_ = below > 0 && voicesAbove_ < 1 ? 0 : std::min(12 * voicesAbove_, 16);

    // Four chord tones to the octave, and one for the far end.
    const float octaves = static_cast<float>(highLimit_ - lowLimit_) / 12.0f;
    const int32_t capacity = static_cast<int32_t>(std::ceil(octaves * 4.0f) + 1.5f);
    if (capacity == candidateCapacity_) {
        return;
    }
    std::vector<int32_t> newCandidates(static_cast<size_t>(capacity), -1);
    std::vector<float> newCube(static_cast<size_t>(capacity * capacity * capacity), 0.0f);
    candidates_ = std::move(newCandidates);
    candidateCount_ = 0;
    scoreCube_ = std::move(newCube);
    candidateCapacity_ = capacity;
}

void CChoiralizer::VoiceChord(int32_t note, int32_t* result, const ClassicChord& chord) {
    if (!result) {
        return;
    }
    const int32_t lead = PrepareNote(note);
    if (IsEmptyChord(chord)) {
        const int32_t leadSlot = voiceCount_ - voicesAbove_;
        result[0] = lead;
        for (int32_t slot = 0, voice = 1; slot < 4; ++slot) {
            if (slot != leadSlot) {
                result[voice++] = lastVoicing_[slot];
            }
        }
        return;
    }
    SearchVoices(voiceMode_ == 1 || voiceMode_ == 2 ? voiceMode_ : 0, lead, result, chord);
}

}  // namespace ChoiralizerClassic

}  // namespace mlh
