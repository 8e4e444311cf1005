#include "dsp/Levels.h"

#include "base/Codes.h"
#include "dsp/CrossCorrelation.h"
#include "dsp/Fft.h"
#include "dsp/GenericOperations.h"
#include "dsp/VecMemory.h"
#include "dsp/kernels/Kernels.h"

namespace mlh {

namespace {

constexpr OperationTable PlainOperations() {
    OperationTable table{};
#define MLH_SERVE(name, server) table.name = Generic::name;
    MLH_OPERATION_LIST(MLH_SERVE)
#undef MLH_SERVE
    table.VecAlloc = VecAllocAligned<8>;
    table.VecFree = VecFree;
    table.FFTCreate = FFTCreate<CqrtfFFTGen>;
    table.FFTDestroy = FFTDestroy<CqrtfFFTGen>;
    table.CcfCreate = CcfCreate;
    table.CcfDestroy = CcfDestroy;
    return table;
}

// The levels in rising order.
constexpr Level kLevel0 = {
    .number = 0,
    .name = "none",
    .feature = 0,
    .alignment = 8,
    .lanes = 1,
    .operations = PlainOperations(),
    .harmonic = kPlainHarmonicOperations,
    .voice = kPlainVoiceOperations,
    .paddedMagnitudes = nullptr,
    .transforms = {},
    .fusedTransforms = {},
};

#ifdef MLH_KERNELS

bool IsMissing(const void* vector) { return vector == nullptr; }
bool IsMissing(float) { return false; }
bool IsMissing(int32_t) { return false; }

template <class Argument>
int32_t CountIn(Argument) {
    return 0;
}
int32_t CountIn(int32_t count) { return count; }

// A plain loop after the checks of a kernel. The count is the last argument.
template <auto operation>
struct Checked;
template <class... Arguments, int32_t (*operation)(Arguments...)>
struct Checked<operation> {
    static int32_t Call(Arguments... arguments) {
        if ((IsMissing(arguments) || ...)) {
            return kNullVector;
        }
        int32_t count = 0;
        ((count = CountIn(arguments)), ...);
        return count < 1 ? kBadCount : operation(arguments...);
    }
};

// `operationLevel`: whose kernels the operations are, where a level has nothing better than the one below.
template <int32_t operationLevel, class FFT, int32_t alignment>
constexpr OperationTable KernelOperations() {
    OperationTable table = PlainOperations();
#define MLH_SERVE_Kernel(name) table.name = Kernels<operationLevel>::name;
#define MLH_SERVE_KernelOf3(name) table.name = Kernels<3>::name;
#define MLH_SERVE_Checked(name) table.name = Checked<Generic::name>::Call;
#define MLH_SERVE_Plain(name)
#define MLH_SERVE(name, server) MLH_SERVE_##server(name)
    MLH_OPERATION_LIST(MLH_SERVE)
#undef MLH_SERVE
#undef MLH_SERVE_Plain
#undef MLH_SERVE_Checked
#undef MLH_SERVE_KernelOf3
#undef MLH_SERVE_Kernel
    table.VecAlloc = VecAllocAligned<alignment>;
    table.FFTCreate = FFTCreate<FFT>;
    table.FFTDestroy = FFTDestroy<FFT>;
    return table;
}

template <int32_t level, bool fma>
constexpr TransformKernels Transforms() {
    return {FftKernels<level, fma>::Forward, FftKernels<level, fma>::Inverse,
            AutocorrelationKernels<level, fma>::PowerSpectrum, AutocorrelationKernels<level, fma>::Lags};
}

template <int32_t level, int32_t operationLevel, class FFT, int32_t alignment, int32_t lanes>
constexpr Level MakeLevel(const char* name, uint32_t feature) {
    using Harmonic = HarmonicKernels<operationLevel>;
    using Voice = VoiceKernels<operationLevel>;
    return {
        .number = level,
        .name = name,
        .feature = feature,
        .alignment = alignment,
        .lanes = lanes,
        .operations = KernelOperations<operationLevel, FFT, alignment>(),
        .harmonic = {Harmonic::Largest, Harmonic::FirstLargest, Harmonic::AddQuarter,
                     Harmonic::HarmonicProduct},
        .voice = {Voice::AddGrain, Voice::WriteGrain, Voice::MixTo16},
        .paddedMagnitudes = SpectrumKernels<operationLevel>::PaddedMagnitudes,
        .transforms = Transforms<level, false>(),
        .fusedTransforms = {},
    };
}

constexpr Level WithFusedTransforms(Level level) {
    level.fusedTransforms = Transforms<6, true>();
    return level;
}

constexpr Level kLevels[] = {
    kLevel0,
    MakeLevel<3, 3, CqrtfFFTSSE2, 16, 4>("SSE2", kFeatureSSE2),
    // SSE3 has something to offer to the transforms alone.
    MakeLevel<4, 3, CqrtfFFTSSE3, 16, 4>("SSE3", kFeatureSSE3),
    MakeLevel<5, 5, CqrtfFFTSSE4, 16, 4>("SSE4.2", kFeatureSSE42),
    WithFusedTransforms(MakeLevel<6, 6, CqrtfFFTAVX, 32, 8>("AVX", kFeatureAVX)),
};

#else

constexpr Level kLevels[] = {kLevel0};

#endif

constexpr Level NotChosen() {
    Level level = kLevel0;
    level.number = kHighestLevel + 1;
    return level;
}

}  // namespace

constinit const Level kLevelNotChosen = NotChosen();

const Level& FindLevel(int32_t number) {
    for (const Level& level : kLevels) {
        if (level.number == number) {
            return level;
        }
    }
    return kLevel0;
}

const Level& BestLevel(uint32_t features, int32_t bound) {
    const Level* best = &kLevel0;
    for (const Level& level : kLevels) {
        if (level.number <= bound && (features & level.feature) == level.feature) {
            best = &level;
        }
    }
    return *best;
}

const char* NameOfLevel(int32_t number) { return FindLevel(number).name; }

}  // namespace mlh
