// A recording in memory, one row of samples per channel, read as the components read the host's. It counts
// the reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "audio/AudioReader.h"
#include "mlh/reader.h"

namespace mlh {

// The samples of rows of equal length, frame by frame.
inline std::vector<float> Interleaved(const std::vector<std::vector<float>>& rows) {
    std::vector<float> samples;
    for (std::size_t i = 0; !rows.empty() && i < rows.front().size(); ++i) {
        for (const std::vector<float>& row : rows) {
            samples.push_back(row[i]);
        }
    }
    return samples;
}

class RowReader final : public CAudioReader {
  public:
    RowReader(std::vector<std::vector<float>> rows, int32_t sampleRate)
        : rows_(std::move(rows)), samples_(Interleaved(this->rows_)) {
        const std::size_t frames = this->rows_.empty() ? 0 : this->rows_.front().size();
        reader_.Assign(samples_.data(), static_cast<int32_t>(frames),
                       static_cast<int32_t>(this->rows_.size()), sampleRate);
    }
    RowReader(const RowReader&) = delete;  // the reader's samples are its own
    RowReader& operator=(const RowReader&) = delete;

    int32_t SetPosition(int32_t frame) override { return reader_.SetPosition(frame); }
    int32_t Read(float** channels, int32_t frames) override {
        ++reads_;
        return reader_.Read(channels, frames);
    }
    int32_t GetLength() override { return reader_.GetLength(); }
    int32_t GetNumChannels() override { return reader_.GetNumChannels(); }
    int32_t GetSampleRate() override { return reader_.GetSampleRate(); }

    int32_t GetPosition() const { return reader_.GetPosition(); }
    int32_t GetReadCount() const { return reads_; }
    const std::vector<std::vector<float>>& GetRows() const { return rows_; }

  private:
    std::vector<std::vector<float>> rows_;
    std::vector<float> samples_;
    MemoryReader reader_;
    int32_t reads_ = 0;
};

}  // namespace mlh
