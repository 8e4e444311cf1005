// Two small containers of multi-channel float audio. Both keep an array of one pointer per channel, since
// all readers and voices take float**. Indices and ranges are the caller's to keep inside.
#pragma once

#include <cstdint>
#include <memory>

namespace mlh {

class CAudioReader;

// The synthesizer's working buffer: one block for all channels, so that a change of size is one allocation.
// It can also stand for memory of somebody else's.
class AudioSampleBuffer {
  public:
    // The samples are not cleared.
    AudioSampleBuffer(int32_t numChannels, int32_t size);
    // Wraps `numChannels` rows of `size` samples, which must outlive it. The array itself is copied.
    AudioSampleBuffer(float** external, int32_t numChannels, int32_t size);
    virtual ~AudioSampleBuffer() = default;
    AudioSampleBuffer(const AudioSampleBuffer&) = delete;
    AudioSampleBuffer& operator=(const AudioSampleBuffer&) = delete;

    int32_t GetNumChannels() const { return numChannels_; }
    int32_t GetSize() const { return size_; }                      // frames per channel
    int32_t GetAllocatedBytes() const { return allocatedBytes_; }  // 0 for a wrapper
    float** GetChannels() const { return channels_.get(); }        // with a null after the last channel
    float* GetChannel(int32_t channel) const { return channels_[channel]; }

    // Stands for other rows from now on, as the second constructor does; allocates only for more channels
    // than it ever had.
    void Wrap(float** external, int32_t newNumChannels, int32_t newSize);
    // Keeps the samples that fit; new ones are 0. A wrapper moves into memory of its own. Nothing happens
    // where both values are the present ones.
    void SetSize(int32_t newNumChannels, int32_t newSize);

    void Clear();
    void Clear(int32_t channel, int32_t start, int32_t count);
    // The ranges may overlap. Nothing is copied for a count below 1.
    void CopyFrom(int32_t destChannel, int32_t destStart, const AudioSampleBuffer& source,
                  int32_t sourceChannel, int32_t sourceStart, int32_t count);

    // Fills `count` samples from `start` on with the recording from frame `readerStart` on. Both sides, or
    // neither, take channels 0 and 1; the left one alone takes channel 0. The right one alone hands the
    // reader no place for its left channel, as a one-channel buffer hands it none for the right: the reader
    // must skip null channels for that. A channel that came without a source gets a copy of channel 0.
    // A reader of more than two channels is not read, since two places are all it would get: silence.
    void ReadFromAudioReader(CAudioReader& reader, int32_t start, int32_t count, int32_t readerStart,
                             bool useLeft, bool useRight);

  private:
    void MakeRoomForChannels(int32_t count);
    void PointIntoBlock();

    int32_t numChannels_;
    int32_t size_;
    int32_t allocatedBytes_;
    std::unique_ptr<float*[]> channels_;
    std::unique_ptr<float[]> allocatedData_;  // null for a wrapper
    int32_t tableLength_ = 0;                 // entries of `channels`
};

template <typename Sample>
class CTBuffer;

// The block buffer that feeds the analysis: each row is an allocation of its own, aligned for the vector
// operations. Everything starts as 0.
template <>
class CTBuffer<float> {
  public:
    CTBuffer(int32_t numChannels, int32_t size);
    virtual ~CTBuffer();
    CTBuffer(const CTBuffer&) = delete;
    CTBuffer& operator=(const CTBuffer&) = delete;

    int32_t GetNumChannels() const { return numChannels_; }
    int32_t GetSize() const { return size_; }  // frames per channel
    float** GetChannels() const { return channels_.get(); }
    float* GetChannel(int32_t channel) const { return channels_[channel]; }

  private:
    explicit CTBuffer(int32_t numChannels);

    std::unique_ptr<float*[]> channels_;
    std::unique_ptr<float*[]> spareChannels_;  // a second row table of the same length, unused so far
    int32_t numChannels_;
    int32_t size_;
};

}  // namespace mlh
