// The block loop that both process calls share.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/HarmonyInstance.h"

namespace mlh {

inline constexpr int32_t kBlockFrames = 4096;
inline constexpr int32_t kScratchRows = 2 * kMixRows;

// Walks the queue of MIDI chords during one process call.
class ChordQueue {
  public:
    explicit ChordQueue(HarmonyInstance& instance) : instance_(instance) {}

    // Applies each chord due at frame `first` and returns how many of `frames` frames the block can hold
    // until the next one. A chord before `first`, or at no finite time, holds up the queue for good.
    int32_t ApplyDue(int32_t first, int32_t frames) {
        const float rate = static_cast<float>(instance_.reader->GetSampleRate());
        for (; next_ < instance_.midiChords.size(); ++next_) {
            const float at = std::floor(instance_.midiChords[next_].GetTime() * rate);
            if (!std::isfinite(at)) {
                break;
            }
            const double ahead = static_cast<double>(at) - first;
            if (ahead > 0.0 && ahead < frames) {
                frames = static_cast<int32_t>(ahead);
            }
            if (ahead != 0.0) {
                break;
            }
            instance_.addOn->ApplyChord(instance_.midiChords[next_]);
        }
        return frames;
    }

  private:
    HarmonyInstance& instance_;
    std::size_t next_ = 0;
};

// Runs over `frames` frames from the start of the recording, in blocks that end at each chord of the
// queue. Hands each block to `deliver(rows, first, count)`: channel c of voice v is row v * channels + c,
// voice 0 being the dry lead.
template <class Deliver>
void RunBlocks(HarmonyInstance& instance, int32_t frames, int32_t channels, Deliver deliver) {
    std::vector<float> scratch(static_cast<std::size_t>(kScratchRows) * kBlockFrames);
    float* rows[kScratchRows];
    for (int32_t r = 0; r < kScratchRows; ++r) {
        rows[r] = scratch.data() + r * kBlockFrames;
    }

    ChordQueue chords(instance);
    for (int32_t first = 0; first < frames;) {
        const int32_t count = chords.ApplyDue(first, std::min(frames - first, kBlockFrames));
        instance.reader->SetPosition(first);
        instance.reader->Read(rows, count);
        instance.addOn->Process(rows + channels, count);
        deliver(rows, first, count);
        first += count;
    }
}

}  // namespace mlh
