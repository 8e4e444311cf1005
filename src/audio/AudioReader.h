// How analysis and synthesis see the recording: pulled by position, frame by frame, never owned.
#pragma once

#include <cstdint>

namespace mlh {

// One position is shared by all users of a reader, so each Read follows a SetPosition of its own, all on
// one thread.
class CAudioReader {
  public:
    virtual ~CAudioReader() = default;

    // Moves to a frame; below 0 counts as 0, and there is no upper limit. Returns 0.
    virtual int32_t SetPosition(int32_t frame) = 0;
    // Writes all of `frames` samples of each channel, zeros after the end, and moves on by the result: the
    // frames that were really there, negative for a position after the end.
    virtual int32_t Read(float** channels, int32_t frames) = 0;
    virtual int32_t GetLength() = 0;  // frames
    virtual int32_t GetNumChannels() = 0;
    virtual int32_t GetSampleRate() = 0;  // Hz
};

}  // namespace mlh
