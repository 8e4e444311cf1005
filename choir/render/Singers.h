// What makes sound of voices.
#pragma once

#include <cstdint>

namespace mlh::choir {

class Singers {
  public:
    virtual ~Singers() = default;
    // Renders `count` frames from `first` on: channel c of voice v (0 is the first beside the lead) goes to
    // rows[v * channels + c], none of them null.
    virtual void Render(int32_t first, int32_t count, float* const* rows) = 0;
};

}  // namespace mlh::choir
