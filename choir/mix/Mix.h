// Lead and voices summed into one stream.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mlh::choir {

// A linear gain for the left and the right side.
struct SideGains {
    double left;
    double right;
};

// The library's own defaults: the lead in the middle, voices 1 to 4 spread from the sides inwards.
std::vector<SideGains> DefaultGains();

// "1, 0.5:0, 0.3:0.2, -6dB": one entry for the lead, then one for each voice, each a gain for both sides or a
// pair left:right, as factors or in dB. Entries left out keep their defaults. Throws UsageError.
std::vector<SideGains> ParseGains(const std::string& text);

// Mixes `count` frames. Row v * leadChannels + c is channel c of voice v, voice 0 being the lead. `out` is
// interleaved, with one channel (the left gains) or two; a mono lead goes to both. Rounded as the library's
// own mix: each product and each sum to 32 bits.
void MixVoices(const float* const* rows, int32_t leadChannels, int32_t voices, int32_t count,
               const std::vector<SideGains>& gains, int32_t outChannels, float* out);

// Mixes to one channel at the power that each line has in two: a line keeps its level wherever it is panned,
// and the channels of a stereo recording are averaged. For the gains of presets; MixVoices takes the left
// side alone, as the core does.
void MixToMono(const float* const* rows, int32_t leadChannels, int32_t voices, int32_t count,
               const std::vector<SideGains>& gains, float* out);

}  // namespace mlh::choir
