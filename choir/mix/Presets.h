// Where the voices stand in the mix, and how loud.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace mlh::choir {

// A linear gain for the left and the right channel.
struct StereoGain {
    double left = 0.0;
    double right = 0.0;
    friend bool operator==(const StereoGain&, const StereoGain&) = default;
};

// choir: the lead in the middle, the voices around it, all near; wide: the voices out to the sides; backing:
// as wide, without the lead, to lie under a take that is mixed elsewhere; mono: all in the middle.
enum class MixPreset { Choir, Wide, Backing, Mono };

std::optional<MixPreset> ReadMixPreset(const std::string& name);
const char* NameOf(MixPreset preset);

struct MixSettings {
    MixPreset preset = MixPreset::Choir;
    // By line, the lead first, then the voices; entries that are missing keep what the preset says.
    std::vector<std::optional<double>> pans;    // -1 left to 1 right
    std::vector<std::optional<double>> levels;  // [dB] relative to the preset's level of the line
};

// Gains of the lead (entry 0) and of `voices` voices. Panned at constant power: a line in the middle is as
// loud as one at a side. Pans outside -1 to 1 are held there; a level of -infinity mutes.
std::vector<StereoGain> GainsOf(const MixSettings& settings, int voices);

}  // namespace mlh::choir
