#include "choir/take/AddOn.h"

#include <algorithm>
#include <utility>

#include "choir/Errors.h"
#include "mlh/reader.h"

namespace mlh::choir {

int32_t AudioView::Read(int32_t first, int32_t count, float* const* rows) const {
    MemoryReader reader(samples, frames, channels, sampleRate);
    reader.SetPosition(first);
    float* targets[2] = {rows[0], channels > 1 ? rows[1] : nullptr};
    return std::max(reader.Read(targets, count), 0);
}

// The recording as the add-on pulls it.
class AddOn::Reader final : public MemoryReader {
  public:
    Reader(const AudioView& audio, ProgressCallback progress)
        : MemoryReader(audio.samples, audio.frames, audio.channels, audio.sampleRate),
          progress_(std::move(progress)) {}

    int32_t Read(float** channels, int32_t frames) override {
        const int32_t present = MemoryReader::Read(channels, frames);
        if (progress_) {
            progress_(static_cast<double>(GetPosition()) / std::max(GetLength(), 1));
        }
        return present;
    }

    void StopProgress() { progress_ = {}; }

  private:
    ProgressCallback progress_;
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
