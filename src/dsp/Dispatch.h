#pragma once

#include <atomic>
#include <cstdint>

#include "dsp/Levels.h"

namespace mlh {

/// The choice of the processor level, made once per process. What a level has is in Levels.h.

/// Chooses the best level of this machine up to `maxLevel` (negative: 6). Where one is chosen already that is
/// not higher, it stays, so within a process the level only goes down.
///
/// May be called from any number of threads at once: each reader sees one whole record or the other.
void InitDispatch(int32_t maxLevel);

/// The chosen level, 0 before the first InitDispatch.
int32_t CurrentLevel();

/// What this machine offers, bits of ProcessorFeature; 0 on processors that are not x86.
uint32_t QueryProcessorFeatures();

/// Whether a machine of level 6 also multiplies and adds in one step.
bool ProcessorHasFusedMultiplyAdd();

/// The transforms that serve a level on this machine.
const TransformKernels& ChosenTransforms(const Level& level);

extern std::atomic<const Level*> currentLevel;

/// The record of the chosen level. Before the first InitDispatch it has what level 0 has. Valid for the whole
/// process; a loop may keep the reference.
inline const Level& ChosenLevel() { return *currentLevel.load(std::memory_order_acquire); }

inline const OperationTable& Ops() { return ChosenLevel().operations; }
inline const HarmonicOperations& HarmonicOps() { return ChosenLevel().harmonic; }
inline const VoiceOperations& VoiceOps() { return ChosenLevel().voice; }

}  // namespace mlh
