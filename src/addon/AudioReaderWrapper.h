// Lets the components read from the host's reader, so that they need not know the public interface.
#pragma once

#include "audio/AudioReader.h"
#include "mlh/addon.h"

namespace mlh {

// Forwards every call unchanged. The reader is the host's and must outlive the wrapper.
class AudioReaderWrapper final : public CAudioReader {
  public:
    explicit AudioReaderWrapper(MalleoTuneHarmonyAddOnIf::AudioReader* reader) : reader_(reader) {}

    int32_t SetPosition(int32_t frame) override { return reader_->SetPosition(frame); }
    int32_t Read(float** channels, int32_t frames) override { return reader_->Read(channels, frames); }
    int32_t GetLength() override { return reader_->GetLength(); }
    int32_t GetNumChannels() override { return reader_->GetNumChannels(); }
    int32_t GetSampleRate() override { return reader_->GetSampleRate(); }
    MalleoTuneHarmonyAddOnIf::AudioReader& GetHostReader() { return *reader_; }

  private:
    MalleoTuneHarmonyAddOnIf::AudioReader* reader_;
};

}  // namespace mlh
