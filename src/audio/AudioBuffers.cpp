#include "audio/AudioBuffers.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "audio/AudioReader.h"
#include "base/AlignedMemory.h"
#include "base/StandardLibrary.h"

namespace mlh {

namespace {

constexpr int64_t kSpareBytes = 32;  // after the last channel

int64_t BlockBytes(int32_t numChannels, int32_t size) {
    return static_cast<int64_t>(numChannels) * size * static_cast<int64_t>(sizeof(float)) + kSpareBytes;
}

size_t BlockFloats(int32_t numChannels, int32_t size) {
    return static_cast<size_t>(BlockBytes(numChannels, size)) / sizeof(float);
}

int32_t ReportedBytes(int32_t numChannels, int32_t size) {
    return static_cast<int32_t>(
        std::min<int64_t>(BlockBytes(numChannels, size), std::numeric_limits<int32_t>::max()));
}

}  // namespace

AudioSampleBuffer::AudioSampleBuffer(int32_t numChannels, int32_t size)
    : numChannels_(std::max(numChannels, 0)),
      size_(std::max(size, 0)),
      allocatedBytes_(ReportedBytes(this->numChannels_, this->size_)),
      allocatedData_(MakeUniqueForOverwrite<float[]>(BlockFloats(this->numChannels_, this->size_))) {
    MakeRoomForChannels(this->numChannels_);
    PointIntoBlock();
}

AudioSampleBuffer::AudioSampleBuffer(float** external, int32_t numChannels, int32_t size)
    : numChannels_(0), size_(0), allocatedBytes_(0) {
    Wrap(external, numChannels, size);
}

void AudioSampleBuffer::Wrap(float** external, int32_t newNumChannels, int32_t newSize) {
    newNumChannels = std::max(newNumChannels, 0);
    MakeRoomForChannels(newNumChannels);
    std::copy_n(external, newNumChannels, channels_.get());
    channels_[newNumChannels] = nullptr;
    allocatedData_.reset();
    numChannels_ = newNumChannels;
    size_ = std::max(newSize, 0);
    allocatedBytes_ = 0;
}

void AudioSampleBuffer::MakeRoomForChannels(int32_t count) {
    if (count < tableLength_) {
        return;
    }
    auto table = std::make_unique<float*[]>(static_cast<size_t>(count) + 1);
    std::copy_n(channels_.get(), tableLength_, table.get());
    channels_ = std::move(table);
    tableLength_ = count + 1;
}

void AudioSampleBuffer::PointIntoBlock() {
    for (int32_t c = 0; c < numChannels_; ++c) {
        channels_[c] = allocatedData_.get() + static_cast<size_t>(c) * static_cast<size_t>(size_);
    }
    channels_[numChannels_] = nullptr;
}

void AudioSampleBuffer::SetSize(int32_t newNumChannels, int32_t newSize) {
    newNumChannels = std::max(newNumChannels, 0);
    newSize = std::max(newSize, 0);
    if (newNumChannels == numChannels_ && newSize == size_) {
        return;
    }

    auto newData = std::make_unique<float[]>(BlockFloats(newNumChannels, newSize));
    MakeRoomForChannels(newNumChannels);
    const int32_t kept = std::min(size_, newSize);
    for (int32_t c = std::min(numChannels_, newNumChannels) - 1; c >= 0; --c) {
        std::copy_n(channels_[c], kept,
                    newData.get() + static_cast<size_t>(c) * static_cast<size_t>(newSize));
    }
    allocatedData_ = std::move(newData);
    numChannels_ = newNumChannels;
    size_ = newSize;
    allocatedBytes_ = ReportedBytes(numChannels_, size_);
    PointIntoBlock();
}

void AudioSampleBuffer::Clear() {
    for (int32_t c = 0; c < numChannels_; ++c) {
        Clear(c, 0, size_);
    }
}

void AudioSampleBuffer::Clear(int32_t channel, int32_t start, int32_t count) {
    if (count < 1) {
        return;
    }
    std::fill_n(channels_[channel] + start, count, 0.0f);
}

void AudioSampleBuffer::CopyFrom(int32_t destChannel, int32_t destStart, const AudioSampleBuffer& source,
                                 int32_t sourceChannel, int32_t sourceStart, int32_t count) {
    if (count < 1) {
        return;
    }
    std::memmove(channels_[destChannel] + destStart, source.channels_[sourceChannel] + sourceStart,
                 static_cast<size_t>(count) * sizeof(float));
}

void AudioSampleBuffer::ReadFromAudioReader(CAudioReader& reader, int32_t start, int32_t count,
                                            int32_t readerStart, bool useLeft, bool useRight) {
    if (count < 1 || numChannels_ < 1) {
        return;
    }
    const int32_t readerChannels = reader.GetNumChannels();
    if (readerChannels > 2) {
        for (int32_t c = 0; c < numChannels_; ++c) {
            Clear(c, start, count);
        }
        return;
    }

    float* targets[2] = {channels_[0] + start, nullptr};
    if (useLeft == useRight) {
        if (readerChannels > 1 && numChannels_ > 1) {
            targets[1] = channels_[1] + start;
        }
    } else if (useRight && readerChannels != 1) {
        targets[0] = nullptr;
        targets[1] = channels_[0] + start;
    }
    reader.SetPosition(readerStart);
    reader.Read(targets, count);
    if (numChannels_ > 1 && (targets[0] == nullptr || targets[1] == nullptr)) {
        CopyFrom(1, start, *this, 0, start, count);
    }
}

CTBuffer<float>::CTBuffer(int32_t numChannels)
    : channels_(std::make_unique<float*[]>(static_cast<size_t>(std::max(numChannels, 0)))),
      spareChannels_(std::make_unique<float*[]>(static_cast<size_t>(std::max(numChannels, 0)))),
      numChannels_(std::max(numChannels, 0)),
      size_(0) {}

// Delegates, so that the rows are freed when a later one gets no memory.
CTBuffer<float>::CTBuffer(int32_t numChannels, int32_t frames) : CTBuffer(numChannels) {
    size_ = std::max(frames, 0);
    for (int32_t c = 0; c < this->numChannels_; ++c) {
        channels_[c] = AllocateAlignedFloats(size_);
        std::fill_n(channels_[c], size_, 0.0f);
    }
}

CTBuffer<float>::~CTBuffer() {
    for (int32_t c = 0; c < numChannels_; ++c) {
        FreeAlignedFloats(&channels_[c]);
    }
}

}  // namespace mlh
