#include "choir/take/AddOn.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "choir/Errors.h"

namespace mlh::choir {

int32_t AudioView::Read(int32_t first, int32_t count, float* const* rows) const {
    const int32_t copied = std::max(std::min(count, frames - first), 0);
    for (int32_t c = 0; c < channels; ++c) {
        if (rows[c] == nullptr) {
            continue;
        }
        const float* in = samples + static_cast<std::ptrdiff_t>(first) * channels + c;
        if (channels == 1) {
            std::copy_n(in, copied, rows[c]);
        } else {
            for (int32_t i = 0; i < copied; ++i) {
                rows[c][i] = in[static_cast<std::ptrdiff_t>(i) * channels];
            }
        }
        std::fill(rows[c] + copied, rows[c] + count, 0.0f);
    }
    return copied;
}

// The recording as the add-on pulls it.
class AddOn::Reader final : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    Reader(const AudioView& audio, ProgressCallback progress)
        : audio_(audio), progress_(std::move(progress)) {}

    int32_t SetPosition(int32_t frame) override {
        position_ = std::max(frame, 0);
        return 0;
    }
    int32_t Read(float** channels, int32_t frames) override {
        const int32_t present = audio_.Read(position_, frames, channels);
        position_ += present;
        if (progress_) {
            progress_(static_cast<double>(position_) / std::max(audio_.frames, 1));
        }
        return present;
    }
    int32_t GetLength() override { return audio_.frames; }
    int32_t GetNumChannels() override { return audio_.channels; }
    int32_t GetSampleRate() override { return audio_.sampleRate; }

    void StopProgress() { progress_ = {}; }

  private:
    AudioView audio_;
    ProgressCallback progress_;
    int32_t position_ = 0;
};

AddOn::AddOn(const AudioView& audio, const ProgressCallback& progress)
    : reader_(std::make_unique<Reader>(audio, progress)) {
    try {
        if (MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn_, reader_.get()) != 0 || addOn_->Prepare() != 0) {
            throw Failure("the library cannot analyse this recording");
        }
    } catch (...) {
        if (addOn_ != nullptr) {
            MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn_);
        }
        throw;
    }
    reader_->StopProgress();
}

AddOn::~AddOn() { MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn_); }

}  // namespace mlh::choir
