#include "choir/mix/Mix.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "choir/Errors.h"
#include "choir/Text.h"

namespace mlh::choir {

std::vector<SideGains> DefaultGains() { return {{0.5, 0.5}, {0.5, 0.0}, {0.0, 0.5}, {0.3, 0.2}, {0.2, 0.3}}; }

namespace {

double ParseGain(const std::string& text) {
    const std::string trimmed = Trim(text);
    char* end = nullptr;
    const double value = std::strtod(trimmed.c_str(), &end);
    const std::string unit = Trim(end);
    const bool decibels = unit == "dB" || unit == "db";
    if (end == trimmed.c_str() || !(unit.empty() || decibels) || !std::isfinite(value)) {
        throw UsageError("gains: cannot read '" + trimmed + "'; write factors or decibels like 0.5 or -6dB");
    }
    return decibels ? std::pow(10.0, value / 20.0) : value;
}

}  // namespace

std::vector<SideGains> ParseGains(const std::string& text) {
    std::vector<SideGains> gains = DefaultGains();
    std::istringstream entries(text);
    std::string entry;
    for (std::size_t i = 0; std::getline(entries, entry, ','); ++i) {
        if (i >= gains.size()) {
            throw UsageError("gains: at most five entries, the lead and four voices");
        }
        if (Trim(entry).empty()) {
            continue;
        }
        const auto colon = entry.find(':');
        const double left = ParseGain(entry.substr(0, colon));
        gains[i] = {left, colon == std::string::npos ? left : ParseGain(entry.substr(colon + 1))};
    }
    return gains;
}

void MixVoices(const float* const* rows, int32_t leadChannels, int32_t voices, int32_t count,
               const std::vector<SideGains>& gains, int32_t outChannels, float* out) {
    constexpr int32_t kPortion = 1024;  // mixed in one place, then put between those of the other side
    float mix[kPortion];
    for (int32_t c = 0; c < outChannels; ++c) {
        const int32_t source = std::min(c, leadChannels - 1);
        for (int32_t first = 0; first < count; first += kPortion) {
            const int32_t portion = std::min(kPortion, count - first);
            for (int32_t v = 0; v <= voices; ++v) {
                const float* row = rows[v * leadChannels + source] + first;
                const SideGains& sides = gains[static_cast<std::size_t>(v)];
                const double gain = c == 0 ? sides.left : sides.right;
                for (int32_t i = 0; i < portion; ++i) {
                    mix[i] = static_cast<float>(v == 0 ? row[i] * gain : mix[i] + row[i] * gain);
                }
            }
            for (int32_t i = 0; i < portion; ++i) {
                out[(first + i) * outChannels + c] = mix[i];
            }
        }
    }
}

void MixToMono(const float* const* rows, int32_t leadChannels, int32_t voices, int32_t count,
               const std::vector<SideGains>& gains, float* out) {
    std::fill_n(out, count, 0.0f);
    for (int32_t v = 0; v <= voices; ++v) {
        const SideGains& sides = gains[static_cast<std::size_t>(v)];
        const double power = 0.5 * (sides.left * sides.left + sides.right * sides.right);
        const auto gain = static_cast<float>(std::sqrt(power) / leadChannels);
        for (int32_t c = 0; c < leadChannels; ++c) {
            const float* row = rows[v * leadChannels + c];
            for (int32_t i = 0; i < count; ++i) {
                out[i] += gain * row[i];
            }
        }
    }
}

}  // namespace mlh::choir
