#include "Progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace mlh::cli {

namespace {

constexpr int kWidth = 40;          // [characters] of the bar
constexpr int kLine = kWidth + 19;  // [characters] of the line

}  // namespace

Progress::Progress(std::string label, bool quiet)
    : label_(std::move(label)), enabled_(!quiet && isatty(fileno(stderr)) != 0) {}

Progress::~Progress() { Finish(); }

void Progress::Finish() {
    if (drawn_) {
        std::fprintf(stderr, "\r%*s\r", kLine, "");
    }
    drawn_ = false;
    enabled_ = false;
}

void Progress::Update(double share) {
    const int percent = static_cast<int>(share * 100.0);
    if (!enabled_ || percent == percent_) {
        return;
    }
    percent_ = percent;
    if (std::chrono::steady_clock::now() - start_ < std::chrono::seconds(1)) {
        return;
    }
    drawn_ = true;
    const int filled = percent * kWidth / 100;
    std::fprintf(stderr, "\r%-10s [%.*s%*s] %3d %%", label_.c_str(), filled,
                 "########################################", kWidth - filled, "", percent);
    std::fflush(stderr);
}

}  // namespace mlh::cli
