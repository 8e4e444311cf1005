// The objects that the vector handles of the C interface point to. Their names are global, as in mlh.h.
#pragma once

#include <cstddef>

#include "mlh/addon.h"
#include "mlh/mlh.h"

// `ordered` is how many items from the front are known to be in rising order of time. Items are added, never
// moved or taken away, and their times do not change.
struct PitchVector {
    mlh::MalleoTuneHarmonyAddOnIf::PitchVector items;
    std::size_t ordered = 0;
};

struct ChordVector {
    mlh::MalleoTuneHarmonyAddOnIf::ChordVector items;
    std::size_t ordered = 0;
};
