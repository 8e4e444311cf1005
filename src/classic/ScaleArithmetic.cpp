#include "classic/ScaleArithmetic.h"

#include "classic/ScaleTable.h"

namespace mlh::ChoiralizerClassic {

int32_t PitchClass(int64_t pitch) {
    const int64_t remainder = pitch % 12;
    return static_cast<int32_t>(remainder < 0 ? remainder + 12 : remainder);
}

KeyedScale::KeyedScale(int32_t tonic, int32_t row) : tonic_(tonic), tones_(ScaleTones(row)) {}

int32_t KeyedScale::CountSteps(int32_t from, int32_t delta) const {
    const int32_t start = Position(from);
    const int32_t first = delta < 0 ? start + delta : start;
    const int32_t last = delta < 0 ? start : start + delta;
    int32_t tones = 0;
    for (int32_t position = first; position <= last; ++position) {
        tones += IsTone(position);
    }
    return delta < 0 ? -(tones - 1) : tones - 1;
}

int32_t KeyedScale::WalkUp(int32_t position, int32_t k) const {
    int32_t semitones = 0;
    for (int32_t met = IsTone(position); met < k; met += IsTone(position + semitones)) {
        ++semitones;
    }
    return semitones;
}

int32_t KeyedScale::WalkDown(int32_t position, int32_t k) const {
    int32_t semitones = 0;
    for (int32_t met = IsTone(position); met < k; met += IsTone(position - semitones)) {
        ++semitones;
    }
    return semitones;
}

int32_t KeyedScale::Degree(int32_t pitch) const {
    const int32_t distance = Position(pitch);
    int32_t tones = 0;
    for (int32_t position = 0; position <= distance; ++position) {
        tones += IsTone(position);
    }
    return tones - 1;
}

}  // namespace mlh::ChoiralizerClassic
