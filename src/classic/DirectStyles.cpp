// The styles that need no chord and no search: every voice follows from the lead by fixed arithmetic on the
// scale. None of them touches the history.
#include <algorithm>
#include <cstdlib>

#include "classic/BlockChordTables.h"
#include "classic/Choiralizer.h"

namespace mlh {

namespace ChoiralizerClassic {

namespace {

constexpr int32_t kOctaveSteps = 7;
constexpr int32_t kLargestInterval = 1200;  // scale steps; more is no interval, and walks shall end

// Semitones may come from a caller unchecked, so sums are formed wide and narrowed.
void Write(int32_t* result, int64_t lead, int64_t first, int64_t second, int64_t third) {
    result[0] = static_cast<int32_t>(lead);
    result[1] = static_cast<int32_t>(first);
    result[2] = static_cast<int32_t>(second);
    result[3] = static_cast<int32_t>(third);
}

// The pitch `interval` scale steps away.
int32_t StepsAway(const KeyedScale& scale, int32_t lead, int32_t interval) {
    const int32_t position = scale.Position(lead);
    const int32_t tones = std::abs(interval) + 1;  // the lead's own position counts
    return interval < 0 ? lead - scale.WalkDown(position, tones) : lead + scale.WalkUp(position, tones);
}

// The chord of a block style under a lead, both notes in semitones above the tonic.
const BlockChord& BlockChordFor(int32_t degree, int32_t nextDegree, bool passing) {
    if (passing) {
        for (const PassingChord& entry : kPassingChords) {
            if (entry.degree == degree && entry.nextDegree == nextDegree) {
                return *entry.chord;
            }
        }
    }
    for (const PlainChord& entry : kPlainChords) {
        if (entry.degree == degree) {
            return entry.chord;
        }
    }
    return kDiminishedChord;
}

}  // namespace

int32_t CChoiralizer::VoiceIntervals(int32_t note, int32_t* result, const int32_t* intervals) {
    if (!result || !intervals) {
        return kBadArgument;
    }
    const int32_t lead = PrepareNote(note);
    const KeyedScale scale = OutputScale();
    const bool pentatonic = IsPentatonic(outputScale_);
    for (int32_t slot = 0; slot < 4; ++slot) {
        const int32_t interval = std::clamp(intervals[slot], -kLargestInterval, kLargestInterval);
        if (pentatonic) {
            result[slot] = slot == 0 ? lead : StepsAway(scale, lead, interval);
        } else if (interval == 0) {
            result[slot] = lead;
        } else if (std::abs(interval) == kOctaveSteps) {
            // An octave on every scale, however many tones it has.
            result[slot] = interval < 0 ? lead - 12 : lead + 12;
        } else {
            result[slot] = StepsAway(scale, lead, interval);
        }
    }
    return 0;
}

int32_t CChoiralizer::VoiceBlock(int32_t note, int32_t nextNote, int32_t* result, int32_t style) {
    if (!result || style < 0 || style > 8) {
        return kBadArgument;
    }
    const int32_t lead = PrepareNote(note);
    if (style >= 6) {
        const int32_t(&below)[3] = kRandomStacks[style - 6][RandomBit()];
        Write(result, lead, lead - below[0], lead - below[1], lead - below[2]);
        return 0;
    }

    const KeyedScale input = InputScale();
    const KeyedScale output = OutputScale();
    const bool passing = style % 2 == 1 && nextNote != lead;  // the next note is taken as it comes
    const BlockChord& chord = BlockChordFor(input.Position(lead), input.Position(nextNote), passing);
    result[0] = lead;
    for (int32_t voice = 0; voice < 3; ++voice) {
        const BlockVoice& below = chord.voices[style / 2][voice];
        const int32_t walk = below.steps == 0 ? 0 : output.WalkDown(output.Position(lead), below.steps);
        result[1 + voice] = lead - walk - below.semitones;
    }
    return 0;
}

void CChoiralizer::VoiceOpenFourths(int32_t note, int32_t* result, int32_t variant) {
    if (!result) {
        return;
    }
    const int32_t lead = PrepareNote(note);
    const KeyedScale scale = OutputScale();
    const int32_t position = scale.Position(lead);
    if (variant == 1 && scale.WalkUp(position, 4) != 5) {
        // No perfect fourth in the scale here: take one all the same, over the third below.
        Write(result, lead, lead + 5, lead - scale.WalkDown(position, 3), -1);
        return;
    }
    if (variant == 3) {
        // Unlike above the lead, a perfect fourth is taken wherever it falls.
        Write(result, lead, lead - 5, lead - scale.WalkDown(position, 6), -1);
        return;
    }
    const int32_t around[4] = {0, 3, -2, 0};
    const int32_t below[4] = {0, -3, -5, 0};
    const int32_t savedMap = mapScale_;
    mapScale_ = 0;  // the note has been through the map
    VoiceIntervals(lead, result, variant < 2 ? around : below);
    mapScale_ = savedMap;
    result[3] = -1;
}

int32_t CChoiralizer::VoiceFixedInterval(int32_t note, int32_t* result, int32_t variant) {
    if (!result || variant < 0 || variant > 6) {
        return kBadArgument;
    }
    if (mapScale_) {
        constexpr int32_t kIntervals[7][4] = {
            {0, 3, 0, 0}, {0, -3, 0, 0}, {0, 4, 0, 0},  {0, -4, 0, 0},
            {0, 7, 0, 0}, {0, -7, 0, 0}, {0, -4, 3, 0},
        };
        VoiceIntervals(note, result, kIntervals[variant]);
        if (variant != 6) {
            result[2] = -1;
        }
        result[3] = -1;
        return 0;
    }
    const int64_t lead = note;
    switch (variant) {
        case 0:
            Write(result, lead, lead + 5, -1, -1);
            break;
        case 1:
            Write(result, lead, lead - 5, -1, -1);
            break;
        case 2:  // the one variant that sounds the lead in the voices between
            Write(result, lead, lead, lead, lead + 7);
            break;
        case 3:
            Write(result, lead, lead - 7, -1, -1);
            break;
        case 4:
            Write(result, lead, lead + 12, -1, -1);
            break;
        case 5:
            Write(result, lead, lead - 12, -1, -1);
            break;
        default:
            Write(result, lead, lead - 7, lead + 5, -1);
            break;
    }
    return 0;
}

int32_t CChoiralizer::VoiceDouble(int32_t note, int32_t* result, int32_t interval, int32_t direction) {
    if (!result || (direction == 0 && interval != 0)) {
        return kBadArgument;
    }
    const int64_t lead = note;
    Write(result, lead, lead, lead, direction == 2 ? lead + interval : lead - interval);
    return 0;
}

// A linear congruential generator of 15-bit numbers; the bit is the lowest of each.
int32_t CChoiralizer::RandomBit() {
    randomState_ = randomState_ * 214013u + 2531011u;
    return static_cast<int32_t>((randomState_ >> 16) & 1u);
}

}  // namespace ChoiralizerClassic

}  // namespace mlh
