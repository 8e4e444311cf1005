#include "dsp/Dispatch.h"

#include "dsp/CrossCorrelation.h"
#include "dsp/Fft.h"
#include "dsp/GenericOperations.h"
#include "dsp/VecMemory.h"
#include "dsp/kernels/Kernels.h"

namespace mlh {

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

#ifdef MLH_KERNELS
template <int32_t level>
constexpr OperationTable KernelTable() {
    OperationTable table = GenericTable();
    table.VecZero = Kernels<level>::VecZero;
    table.VecMaxIndex = Kernels<level>::VecMaxIndex;
    table.VecMinIndex = Kernels<level>::VecMinIndex;
    table.VecMean = Kernels<level>::VecMean;
    table.VecStdDev = Kernels<level>::VecStdDev;
    table.VecMaxInPlace = Kernels<level>::VecMaxInPlace;
    table.VecAdd = Kernels<level>::VecAdd;
    table.VecAddConst = Kernels<level>::VecAddConst;
    table.VecSub = Kernels<level>::VecSub;
    table.VecMul = Kernels<level>::VecMul;
    table.VecMulConst = Kernels<level>::VecMulConst;
    table.VecDiv = Kernels<level>::VecDiv;
    table.VecMulAcc = Kernels<level>::VecMulAcc;
    table.VecAbs = Kernels<level>::VecAbs;
    table.VecExp = Kernels<level>::VecExp;
    table.VecSqrt = Kernels<level>::VecSqrt;
    table.VecThresholdLog = Kernels<level>::VecThresholdLog;
    table.VecDot = Kernels<level>::VecDot;
    table.VecThresholdLow = Kernels<level>::VecThresholdLow;
    table.VecThresholdHigh = Kernels<level>::VecThresholdHigh;
    table.SpectrumMul = Kernels<level>::SpectrumMul;
    table.SpectrumPhase = Kernels<level>::SpectrumPhase;
    table.SpectrumMulAcc = Kernels<3>::SpectrumMulAcc;
    table.SpectrumMagnitude = Kernels<level>::SpectrumMagnitude;
    table.VecWrapPhase = Kernels<level>::VecWrapPhase;
    table.VecSinCos = Kernels<level>::VecSinCos;
    return table;
}

template <class FFT, int32_t alignment>
constexpr OperationTable WithObjects(OperationTable table) {
    table.VecAlloc = VecAllocAligned<alignment>;
    table.FFTCreate = FFTCreate<FFT>;
    table.FFTDestroy = FFTDestroy<FFT>;
    return table;
}

constexpr LevelTable level3{3, WithObjects<CqrtfFFTSSE2, 16>(KernelTable<3>())};
// SSE3 has something to offer to the FFT alone.
constexpr LevelTable level4{4, WithObjects<CqrtfFFTSSE3, 16>(KernelTable<3>())};
constexpr LevelTable level5{5, WithObjects<CqrtfFFTSSE4, 16>(KernelTable<5>())};
constexpr LevelTable level6{6, WithObjects<CqrtfFFTAVX, 32>(KernelTable<6>())};
#endif

constexpr LevelTable level0{0, GenericTable()};

// Callers that come before the first InitDispatch find the generic operations, above any bound.
constexpr LevelTable notFilled{kNotFilled, GenericTable()};

const LevelTable* BestTable([[maybe_unused]] int32_t bound) {
#ifdef MLH_KERNELS
    const uint32_t features = QueryProcessorFeatures();
    if ((features & kFeatureAVX) && bound >= 6) return &level6;
    if ((features & kFeatureSSE42) && bound >= 5) return &level5;
    if ((features & kFeatureSSE3) && bound >= 4) return &level4;
    if ((features & kFeatureSSE2) && bound >= 3) return &level3;
#endif
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

}  // namespace mlh
