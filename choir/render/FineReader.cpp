#include "choir/render/FineReader.h"

#include <algorithm>
#include <limits>

#include "choir/Errors.h"

namespace mlh::choir {

namespace {

constexpr int32_t kBlock = 1024;  // frames of the recording in a block
constexpr double kKept = 1.0;     // [s] of it; voices are some tenths of a second apart at most

}  // namespace

FineSamples::FineSamples(const AudioView& audio, const Oversampler& oversampler, int32_t silence)
    : audio_(audio), oversampler_(oversampler) {
    const int64_t length = (static_cast<int64_t>(audio.frames) + silence) * oversampler.factor();
    if (length > std::numeric_limits<int32_t>::max()) {
        throw Failure("the recording is too long for this quality");
    }
    length_ = static_cast<int32_t>(length);
    blocks_.resize(static_cast<std::size_t>(kKept * audio.sampleRate / kBlock) + 2);
    for (Block& block : blocks_) {
        for (int32_t c = 0; c < audio.channels; ++c) {
            block.rows[c].resize(static_cast<std::size_t>(kBlock) * oversampler.factor());
        }
    }
    in_.resize(static_cast<std::size_t>(kBlock + 2 * oversampler.margin()));
}

void FineSamples::Copy(int32_t first, int32_t frames, float* const* rows) {
    const int32_t blockLength = kBlock * oversampler_.factor();
    for (int32_t done = 0; done < frames;) {
        const int32_t position = first + done;
        const Block& block = BlockOf(position / blockLength);
        const int32_t offset = position % blockLength;
        const int32_t count = std::min(frames - done, blockLength - offset);
        for (int32_t c = 0; c < audio_.channels; ++c) {
            if (rows[c] != nullptr) {
                std::copy_n(block.rows[c].data() + offset, count, rows[c] + done);
            }
        }
        done += count;
    }
}

const FineSamples::Block& FineSamples::BlockOf(int64_t index) {
    Block& block = blocks_[static_cast<std::size_t>(index) % blocks_.size()];
    if (block.index == index) {
        return block;
    }
    const int64_t first = index * kBlock - oversampler_.margin();
    for (int32_t c = 0; c < audio_.channels; ++c) {
        ReadRow(c, first, in_);
        oversampler_.Up(in_.data(), kBlock, block.rows[c].data());
    }
    block.index = index;
    return block;
}

void FineSamples::ReadRow(int32_t channel, int64_t first, std::vector<float>& row) const {
    const auto size = static_cast<int64_t>(row.size());
    const int64_t start = std::clamp<int64_t>(-first, 0, size);
    const int64_t end = std::clamp<int64_t>(audio_.frames - first, start, size);
    std::fill(row.begin(), row.begin() + start, 0.0f);
    for (int64_t i = start; i < end; ++i) {
        row[static_cast<std::size_t>(i)] = audio_.samples[(first + i) * audio_.channels + channel];
    }
    std::fill(row.begin() + end, row.end(), 0.0f);
}

int32_t FineReader::SetPosition(int32_t frame) {
    position_ = std::max(frame, 0);
    return 0;
}

// Below 0 past the end, moving back to it, as the readers of hosts do.
int32_t FineReader::Read(float** channels, int32_t frames) {
    const int32_t available = std::min(frames, samples_.length() - position_);
    const int32_t present = std::max(available, 0);
    samples_.Copy(position_, present, channels);
    for (int32_t c = 0; c < samples_.channels(); ++c) {
        if (channels[c] != nullptr) {
            std::fill(channels[c] + present, channels[c] + std::max(frames, present), 0.0f);
        }
    }
    position_ += available;
    return available;
}

}  // namespace mlh::choir
