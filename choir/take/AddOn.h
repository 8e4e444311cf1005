// The core's add-on over a recording in memory.
#pragma once

#include <cstdint>
#include <memory>

#include "choir/Types.h"
#include "mlh/addon.h"

namespace mlh::choir {

// A recording, mono or stereo, that somebody else owns.
struct AudioView {
    const float* samples = nullptr;  // interleaved, full scale is 1
    int32_t frames = 0;
    int32_t channels = 1;    // 1 or 2
    int32_t sampleRate = 0;  // [Hz]

    double Seconds() const { return static_cast<double>(frames) / sampleRate; }
    // Copies `count` frames from `first` on into a row for each channel, zeros where there is nothing. A row
    // that is null is passed over. Returns how many were there.
    int32_t Read(int32_t first, int32_t count, float* const* rows) const;
};

// An add-on that has analysed the recording. Throws Failure when it cannot.
class AddOn {
  public:
    explicit AddOn(const AudioView& audio, const ProgressCallback& progress = {});
    ~AddOn();
    AddOn(const AddOn&) = delete;
    AddOn& operator=(const AddOn&) = delete;

    MalleoTuneHarmonyAddOnIf* operator->() const { return addOn_; }
    MalleoTuneHarmonyAddOnIf& operator*() const { return *addOn_; }

  private:
    class Reader;
    std::unique_ptr<Reader> reader_;
    MalleoTuneHarmonyAddOnIf* addOn_ = nullptr;
};

}  // namespace mlh::choir
