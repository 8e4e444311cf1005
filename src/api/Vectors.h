// The objects behind the vector handles of the C interface.
#pragma once

#include "mlh/addon.h"
#include "mlh/mlh.h"

struct PitchVector {
    MalleoTuneHarmonyAddOnIf::PitchVector items;
};

struct ChordVector {
    MalleoTuneHarmonyAddOnIf::ChordVector items;
};
