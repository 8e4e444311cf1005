#include "dsp/Dispatch.h"

#include "dsp/CrossCorrelation.h"
#include "dsp/Fft.h"
#include "dsp/GenericOperations.h"
#include "dsp/VecMemory.h"

namespace {

constexpr int32_t kHighestLevel = 6;
constexpr int32_t kNotFilled = kHighestLevel + 1;

constexpr OperationTable GenericTable() {
    OperationTable table{};
    table.VecAlloc = VecAllocAligned<8>;
    table.VecFree = VecFree;
    table.VecZero = Generic::VecZero;
    table.VecMaxIndex = Generic::VecMaxIndex;
    table.VecMinIndex = Generic::VecMinIndex;
    table.VecMean = Generic::VecMean;
    table.VecStdDev = Generic::VecStdDev;
    table.VecMaxInPlace = Generic::VecMaxInPlace;
    table.VecAdd = Generic::VecAdd;
    table.VecAddConst = Generic::VecAddConst;
    table.VecSub = Generic::VecSub;
    table.VecMul = Generic::VecMul;
    table.VecMulConst = Generic::VecMulConst;
    table.VecDiv = Generic::VecDiv;
    table.VecMulAcc = Generic::VecMulAcc;
    table.VecAbs = Generic::VecAbs;
    table.VecExp = Generic::VecExp;
    table.VecSqrt = Generic::VecSqrt;
    table.VecThresholdLog = Generic::VecThresholdLog;
    table.VecDot = Generic::VecDot;
    table.VecThresholdLow = Generic::VecThresholdLow;
    table.VecThresholdHigh = Generic::VecThresholdHigh;
    table.SpectrumPack = Generic::SpectrumPack;
    table.SpectrumUnpack = Generic::SpectrumUnpack;
    table.SpectrumAdd = Generic::SpectrumAdd;
    table.SpectrumMul = Generic::SpectrumMul;
    table.NoOperation = Generic::NoOperation;
    table.SpectrumPhase = Generic::SpectrumPhase;
    table.SpectrumMulAcc = Generic::SpectrumMulAcc;
    table.SpectrumMagnitude = Generic::SpectrumMagnitude;
    table.SpectrumConjugate = Generic::SpectrumConjugate;
    table.VecWrapPhase = Generic::VecWrapPhase;
    table.VecSinCos = Generic::VecSinCos;
    table.SpectrumReIndex = Generic::SpectrumReIndex;
    table.SpectrumImIndex = Generic::SpectrumImIndex;
    table.FFTCreate = FFTCreate<CqrtfFFTGen>;
    table.FFTDestroy = FFTDestroy<CqrtfFFTGen>;
    table.CcfCreate = CcfCreate;
    table.CcfDestroy = CcfDestroy;
    return table;
}

// The first of equal maxima wins at the kernel levels.
int32_t FirstMaxIndex(const float* src, float* max, int32_t* index, int32_t n) {
    *max = src[0];
    *index = 0;
    for (int32_t i = 1; i < n; ++i) {
        if (src[i] > *max) {
            *max = src[i];
            *index = i;
        }
    }
    return 0;
}

template <class FFT, int32_t alignment>
constexpr OperationTable KernelTable() {
    OperationTable table = GenericTable();
    table.VecAlloc = VecAllocAligned<alignment>;
    table.VecMaxIndex = FirstMaxIndex;
    table.FFTCreate = FFTCreate<FFT>;
    table.FFTDestroy = FFTDestroy<FFT>;
    return table;
}

constexpr LevelTable level0{0, GenericTable()};
constexpr LevelTable level3{3, KernelTable<CqrtfFFTSSE2, 16>()};
constexpr LevelTable level4{4, KernelTable<CqrtfFFTSSE3, 16>()};
constexpr LevelTable level5{5, KernelTable<CqrtfFFTSSE4, 16>()};
constexpr LevelTable level6{6, KernelTable<CqrtfFFTAVX, 32>()};

// Callers that come before the first InitDispatch find the generic operations, above any bound.
constexpr LevelTable notFilled{kNotFilled, GenericTable()};

const LevelTable* BestTable(int32_t bound) {
    const uint32_t features = QueryProcessorFeatures();
    if ((features & kFeatureAVX) && bound >= 6) return &level6;
    if ((features & kFeatureSSE42) && bound >= 5) return &level5;
    if ((features & kFeatureSSE3) && bound >= 4) return &level4;
    if ((features & kFeatureSSE2) && bound >= 3) return &level3;
    return &level0;
}

}  // namespace

constinit std::atomic<const LevelTable*> currentLevelTable{&notFilled};

void InitDispatch(int32_t maxLevel) {
    const int32_t bound = maxLevel < 0 || maxLevel > kHighestLevel ? kHighestLevel : maxLevel;
    const LevelTable* current = currentLevelTable.load(std::memory_order_acquire);
    if (current->level <= bound) return;
    const LevelTable* const best = BestTable(bound);
    // Another thread may get in between with a lower bound, which then stays.
    while (current->level > bound &&
           !currentLevelTable.compare_exchange_weak(current, best, std::memory_order_acq_rel)) {
    }
}

int32_t CurrentLevel() {
    const int32_t level = currentLevelTable.load(std::memory_order_acquire)->level;
    return level == kNotFilled ? 0 : level;
}
