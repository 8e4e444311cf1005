#include "harmony/ClassicModes.h"

#include <cstddef>
#include <cstring>

#include "base/Codes.h"
#include "base/StandardLibrary.h"
#include "classic/Choiralizer.h"

namespace mlh::ChoiralizerV2 {

using ChoiralizerClassic::CChoiralizer;
using ChoiralizerClassic::ClassicChord;

int32_t PrepareClassicMode(CChoiralizer& classic, int32_t mode, const HarmonyParams* params,
                           bool holdsPointer, ClassicTask& task) {
    task = {mode, params, {}};
    if (mode >= NumberOf(HarmonyMode::ThreeVoices) && mode <= NumberOf(HarmonyMode::OneVoice)) {
        classic.SetVoiceMode(mode);
        classic.SetSpread(BitCast<float>(params[1]));
        classic.SetVoicesAbove(params[0]);
    } else if (mode == NumberOf(HarmonyMode::Intervals)) {
        const int32_t* pairs = nullptr;
        if (holdsPointer) {
            std::memcpy(&pairs, params, sizeof pairs);
        }
        if (pairs == nullptr) {
            return kBadArgument;
        }
        classic.SetVoiceMode(3);
        for (size_t i = 0; i < task.intervals.size(); ++i) {
            // Whatever words a host passes, arithmetic on them wraps.
            task.intervals[i] = static_cast<int32_t>(int64_t{pairs[2 * i]} * pairs[2 * i + 1]);
        }
    }
    return 0;
}

void VoiceClassicNote(CChoiralizer& classic, const ClassicTask& task, int32_t pitch, int32_t next,
                      const ClassicChord& chord, int32_t result[4]) {
    const HarmonyParams* params = task.params;
    switch (static_cast<HarmonyMode>(task.mode)) {
        case HarmonyMode::ThreeVoices:
        case HarmonyMode::TwoVoices:
        case HarmonyMode::OneVoice:
            classic.VoiceChord(pitch, result, chord);
            break;
        case HarmonyMode::Intervals:
            classic.VoiceIntervals(pitch, result, task.intervals.data());
            break;
        case HarmonyMode::Block:
            classic.VoiceBlock(pitch, next, result, params[0]);
            break;
        case HarmonyMode::OpenFourths:
            classic.VoiceOpenFourths(pitch, result, params[0]);
            break;
        case HarmonyMode::FixedInterval:
            classic.VoiceFixedInterval(pitch, result, params[0]);
            break;
        case HarmonyMode::Double:
            classic.VoiceDouble(pitch, result, params[0], params[1] == 1 ? 2 : params[1] == -1 ? 1 : 0);
            break;
        default:
            break;
    }
}

}  // namespace mlh::ChoiralizerV2
