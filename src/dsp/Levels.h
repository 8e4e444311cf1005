#pragma once

#include <cstdint>

#include "dsp/HarmonicOperations.h"
#include "dsp/OperationTable.h"
#include "dsp/VoiceOperations.h"

namespace mlh {

struct FftPlan;
struct QuarterPointPlan;
struct PaddedSpectrumTables;

/// Bits of QueryProcessorFeatures.
enum ProcessorFeature : uint32_t {
    kFeatureSSE = 1,
    kFeatureSSE2 = 2,
    kFeatureSSE3 = 4,
    kFeatureSSE42 = 8,
    kFeatureAVX = 16,  ///< also enabled by the operating system
};

/// The kernels of the transforms; see kernels/Kernels.h. Null at level 0.
struct TransformKernels {
    void (*forward)(const FftPlan& plan, const float* in, float* out, float* work);
    void (*inverse)(const FftPlan& plan, const float* in, float* out, float* work);
    float (*powerSpectrum)(const QuarterPointPlan& plan, const float* in, float* power, float* work);
    void (*lags)(float* lags, const float* spectrum, const float* turns, float removed, int32_t n);
};

/// All that a processor level has. The records are in Levels.cpp, one for each level, and never change.
struct Level {
    int32_t number;
    const char* name;   ///< what it needs of the processor
    uint32_t feature;   ///< the ProcessorFeature, 0 for none
    int32_t alignment;  ///< of VecAlloc [bytes]
    int32_t lanes;      ///< of its widest vectors
    OperationTable operations;
    HarmonicOperations harmonic;
    VoiceOperations voice;
    /// The spectrum of PaddedSpectrum.h; null at level 0.
    void (*paddedMagnitudes)(const PaddedSpectrumTables& tables, const float* in, float* out, float* work);
    TransformKernels transforms;
    TransformKernels
        fusedTransforms;  ///< for processors that multiply and add in one step; null for most levels
};

/// The record of a level, or that of level 0 for a number that is not in this build.
const Level& FindLevel(int32_t number);

/// The highest level of at most `bound` whose feature is among `features`.
const Level& BestLevel(uint32_t features, int32_t bound);

/// The name of a level; "none" for level 0 and for numbers that this build does not have.
const char* NameOfLevel(int32_t number);

/// The record that serves before the first InitDispatch: level 0 with a number above all others.
extern const Level kLevelNotChosen;

inline constexpr int32_t kHighestLevel = 6;

}  // namespace mlh
