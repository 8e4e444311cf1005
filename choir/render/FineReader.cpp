#include "choir/render/FineReader.h"

#include <algorithm>
#include <limits>

#include "choir/Errors.h"

namespace mlh::choir {

namespace {

constexpr int32_t kBlock = 4096;  // frames of the recording in a block

}  // namespace

FineReader::FineReader(const AudioView& audio, const Oversampler& oversampler, int32_t silence)
    : audio_(audio), oversampler_(oversampler) {
    const int64_t length = (static_cast<int64_t>(audio.frames) + silence) * oversampler.factor();
    if (length > std::numeric_limits<int32_t>::max()) {
        throw Failure("the recording is too long for this quality");
    }
    length_ = static_cast<int32_t>(length);
    for (auto& row : in_) {
        row.resize(static_cast<std::size_t>(kBlock + 2 * oversampler.margin()));
    }
}

int32_t FineReader::SetPosition(int32_t frame) {
    position_ = std::max(frame, 0);
    return 0;
}

int32_t FineReader::Read(float** channels, int32_t frames) {
    const int32_t present = std::min(frames, length_ - position_);
    const int32_t blockLength = kBlock * oversampler_.factor();
    int32_t done = 0;
    while (done < present) {
        const int32_t position = position_ + done;
        const Block& block = BlockOf(position / blockLength);
        const int32_t offset = position % blockLength;
        const int32_t count = std::min(present - done, blockLength - offset);
        for (int32_t c = 0; c < audio_.channels; ++c) {
            if (channels[c] != nullptr) {
                std::copy_n(block.rows[c].data() + offset, count, channels[c] + done);
            }
        }
        done += count;
    }
    for (int32_t c = 0; c < audio_.channels; ++c) {
        if (channels[c] != nullptr) {
            std::fill(channels[c] + done, channels[c] + std::max(frames, 0), 0.0f);
        }
    }
    position_ += present;
    return present;
}

const FineReader::Block& FineReader::BlockOf(int64_t index) {
    Block& block = blocks_[static_cast<std::size_t>(index % static_cast<int64_t>(blocks_.size()))];
    if (block.index == index) {
        return block;
    }
    const int32_t margin = oversampler_.margin();
    const int64_t first = index * kBlock - margin;
    for (int32_t c = 0; c < audio_.channels; ++c) {
        auto& in = in_[c];
        for (std::size_t i = 0; i < in.size(); ++i) {
            const int64_t frame = first + static_cast<int64_t>(i);
            in[i] = frame >= 0 && frame < audio_.frames ? audio_.samples[frame * audio_.channels + c] : 0.0f;
        }
        block.rows[c].resize(static_cast<std::size_t>(kBlock * oversampler_.factor()));
        oversampler_.Up(in.data(), kBlock, block.rows[c].data());
    }
    block.index = index;
    return block;
}

}  // namespace mlh::choir
