// A recording in memory, read as the components read the host's: one row of samples per channel.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "audio/AudioReader.h"

namespace mlh {

class MemoryReader final : public CAudioReader {
  public:
    MemoryReader(std::vector<std::vector<float>> rows, int32_t sampleRate)
        : rows(std::move(rows)), sampleRate(sampleRate) {}

    int32_t SetPosition(int32_t frame) override {
        position = std::max(frame, 0);
        return 0;
    }

    // Null entries of `channels` are skipped.
    int32_t Read(float** channels, int32_t frames) override {
        const int32_t present = std::min(frames, GetLength() - position);
        const int32_t copied = std::max(present, 0);
        for (size_t c = 0; c < rows.size(); ++c) {
            if (channels[c] == nullptr) continue;
            if (copied > 0) std::copy_n(rows[c].data() + position, copied, channels[c]);
            std::fill(channels[c] + copied, channels[c] + frames, 0.0f);
        }
        position += present;
        ++reads;
        return present;
    }

    int32_t GetLength() override { return rows.empty() ? 0 : static_cast<int32_t>(rows.front().size()); }
    int32_t GetNumChannels() override { return static_cast<int32_t>(rows.size()); }
    int32_t GetSampleRate() override { return sampleRate; }

    int32_t GetPosition() const { return position; }
    int32_t GetReadCount() const { return reads; }
    const std::vector<std::vector<float>>& GetRows() const { return rows; }

  private:
    std::vector<std::vector<float>> rows;
    int32_t sampleRate;
    int32_t position = 0;
    int32_t reads = 0;
};

}  // namespace mlh
