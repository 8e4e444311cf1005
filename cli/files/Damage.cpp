#include "files/Damage.h"

#include <fcntl.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "choir/Text.h"

namespace mlh::cli {

namespace {

constexpr float kFullScale = 0.99f;
constexpr int32_t kFlatTop = 3;         // samples
constexpr double kMuchClipping = 1e-3;  // share of the samples
constexpr std::string_view kShouldBe = "should be ";

// Streams write the largest numbers, or none, since they do not know their length.
bool IsOpenLength(int64_t bytes) { return bytes <= 0 || bytes >= 0x7ffff000; }

}  // namespace

double PromisedShare(const std::string& headerAccount) {
    // The library writes "data : 1697352 (should be 99956)", "SSND" for AIFF.
    for (const std::string chunk : {"data : ", "SSND : "}) {
        const auto at = headerAccount.find(chunk);
        if (at == std::string::npos) {
            continue;
        }
        const std::string line = headerAccount.substr(at, headerAccount.find('\n', at) - at);
        const auto second = line.find(kShouldBe);
        const int64_t promised = std::strtoll(line.c_str() + chunk.size(), nullptr, 0);
        if (second == std::string::npos || IsOpenLength(promised)) {
            return 1.0;
        }
        const int64_t present = std::strtoll(line.c_str() + second + kShouldBe.size(), nullptr, 0);
        return static_cast<double>(promised) / static_cast<double>(std::max<int64_t>(present, 1));
    }
    return 1.0;
}

void SilenceNonNumbers(Audio& audio, std::vector<std::string>& damage) {
    int64_t count = 0;
    std::size_t first = 0;
    for (std::size_t i = 0; i < audio.samples.size(); ++i) {
        if (std::isfinite(audio.samples[i])) {
            continue;
        }
        if (count++ == 0) {
            first = i;
        }
        audio.samples[i] = 0.0f;
    }
    if (count > 0) {
        const double time = static_cast<double>(first) / audio.channels / audio.sampleRate;
        damage.push_back(
            Format("%lld of its %zu samples are not numbers, the first at %.2f s; export it again",
                   static_cast<long long>(count), audio.samples.size(), time));
    }
}

void FindClipping(const Audio& audio, std::vector<std::string>& damage, std::vector<std::string>& warnings) {
    const auto channels = static_cast<std::size_t>(audio.channels);
    int64_t clipped = 0;
    int64_t places = 0;
    std::size_t first = audio.samples.size();
    for (std::size_t c = 0; c < channels; ++c) {
        int32_t run = 0;
        for (std::size_t i = c; i < audio.samples.size(); i += channels) {
            const float sample = audio.samples[i];
            const bool goesOn = run > 0 && sample == audio.samples[i - channels];
            run = std::fabs(sample) < kFullScale ? 0 : goesOn ? run + 1 : 1;
            if (run == kFlatTop) {
                ++places;
                clipped += kFlatTop;
                first = std::min(first, i);
            } else if (run > kFlatTop) {
                ++clipped;
            }
        }
    }
    if (places == 0) {
        return;
    }
    const double share = static_cast<double>(clipped) / static_cast<double>(audio.samples.size());
    const double time = static_cast<double>(first / channels) / audio.sampleRate;
    const std::string line = Format(
        "it was recorded too loud and is clipped at %lld places, %.2g %% of it, the first at %.2f s; record "
        "it lower",
        static_cast<long long>(places), 100.0 * share, time);
    (share >= kMuchClipping ? damage : warnings).push_back(line);
}

#ifdef _WIN32
QuietStandardError::QuietStandardError() {
    std::fflush(stderr);
    const int nothing = _open("NUL", _O_WRONLY);
    if (nothing >= 0) {
        saved_ = _dup(2);
        _dup2(nothing, 2);
        _close(nothing);
    }
}

QuietStandardError::~QuietStandardError() {
    std::fflush(stderr);
    if (saved_ >= 0) {
        _dup2(saved_, 2);
        _close(saved_);
    }
}
#else
QuietStandardError::QuietStandardError() {
    std::fflush(stderr);
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing >= 0) {
        saved_ = fcntl(2, F_DUPFD_CLOEXEC, 3);
        dup2(nothing, 2);
        close(nothing);
    }
}

QuietStandardError::~QuietStandardError() {
    std::fflush(stderr);
    if (saved_ >= 0) {
        dup2(saved_, 2);
        close(saved_);
    }
}
#endif

}  // namespace mlh::cli
