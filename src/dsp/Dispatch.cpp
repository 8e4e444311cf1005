#include "dsp/Dispatch.h"

namespace mlh {

constinit std::atomic<const Level*> currentLevel{&kLevelNotChosen};

void InitDispatch(int32_t maxLevel) {
    const int32_t bound = maxLevel < 0 || maxLevel > kHighestLevel ? kHighestLevel : maxLevel;
    const Level* current = currentLevel.load(std::memory_order_acquire);
    if (current->number <= bound) {
        return;
    }
    const Level* const best = &BestLevel(QueryProcessorFeatures(), bound);
    // Another thread may get in between with a lower bound, which then stays.
    while (current->number > bound &&
           !currentLevel.compare_exchange_weak(current, best, std::memory_order_acq_rel)) {
    }
}

int32_t CurrentLevel() {
    const int32_t number = ChosenLevel().number;
    return number > kHighestLevel ? 0 : number;
}

const TransformKernels& ChosenTransforms(const Level& level) {
    const bool fused = level.fusedTransforms.forward != nullptr && ProcessorHasFusedMultiplyAdd();
    return fused ? level.fusedTransforms : level.transforms;
}

}  // namespace mlh
