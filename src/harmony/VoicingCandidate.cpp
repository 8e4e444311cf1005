#include "harmony/VoicingCandidate.h"

#include <algorithm>

namespace mlh::ChoiralizerV2 {

VoicingShape MakeShape(const int32_t* voicing, int32_t key, const int32_t* scale) {
    VoicingShape shape;
    std::copy(voicing, voicing + 4, shape.sorted.begin());
    std::sort(shape.sorted.begin(), shape.sorted.end());
    auto pair = shape.pairs.begin();
    for (size_t i = 0; i < 4; ++i) {
        for (size_t j = i + 1; j < 4; ++j) {
            *pair++ = ScaleInterval(shape.sorted[i], shape.sorted[j], key, scale);
        }
    }
    return shape;
}

}  // namespace mlh::ChoiralizerV2
