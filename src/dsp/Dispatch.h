#pragma once

#include <atomic>
#include <cstdint>

#include "dsp/OperationTable.h"

namespace mlh {

/// The choice of the processor level, made once per process.
///
/// | Level | Needs  | Alignment of VecAlloc |
/// |-------|--------|-----------------------|
/// | 0     |        | 8                     |
/// | 3     | SSE2   | 16                    |
/// | 4     | SSE3   | 16                    |
/// | 5     | SSE4.2 | 16                    |
/// | 6     | AVX    | 32                    |

/// Fills the operation table with the best level of this machine up to `maxLevel` (negative: 6). A table that
/// is already filled at or below that level stays as it is, so within a process the level only goes down.
///
/// May be called from any number of threads at once: each reader sees one whole table or the other.
void InitDispatch(int32_t maxLevel);

/// The level of the table, 0 before the first InitDispatch.
int32_t CurrentLevel();

/// Bits of QueryProcessorFeatures.
enum ProcessorFeature : uint32_t {
    kFeatureSSE = 1,
    kFeatureSSE2 = 2,
    kFeatureSSE3 = 4,
    kFeatureSSE42 = 8,
    kFeatureAVX = 16,  ///< also enabled by the operating system
};

/// What this machine offers; 0 on processors that are not x86.
uint32_t QueryProcessorFeatures();

/// Whether a machine of level 6 also multiplies and adds in one step.
bool ProcessorHasFusedMultiplyAdd();

/// A filled table and its level. There is one, never changed, per level.
struct LevelTable {
    int32_t level;
    OperationTable operations;
};
extern std::atomic<const LevelTable*> currentLevelTable;

/// The operation table. Before the first InitDispatch it is that of level 0. Valid for the whole process; a
/// loop may keep the reference.
inline const OperationTable& Ops() { return currentLevelTable.load(std::memory_order_acquire)->operations; }

}  // namespace mlh
