// The objects that the vector handles of the C interface point to. Their names are global, as in mlh.h.
#pragma once

#include "mlh/addon.h"
#include "mlh/mlh.h"

struct PitchVector {
    mlh::MalleoTuneHarmonyAddOnIf::PitchVector items;
};

struct ChordVector {
    mlh::MalleoTuneHarmonyAddOnIf::ChordVector items;
};
