#pragma once

#include <cstdint>

/// Level 0 of the operation table: plain loops that say what each operation means (see OperationTable.h).
/// They check nothing and always return 0.
namespace mlh::Generic {

int32_t VecZero(float* dst, int32_t n);
int32_t VecMaxIndex(const float* src, float* max, int32_t* index, int32_t n);
int32_t VecMinIndex(const float* src, float* min, int32_t* index, int32_t n);
int32_t VecMean(const float* src, float* mean, int32_t n);
int32_t VecStdDev(const float* src, float* dev, int32_t n);
int32_t VecMaxInPlace(float* dst, const float* src, int32_t n);
int32_t VecAdd(float* dst, const float* src, int32_t n);
int32_t VecAddConst(float* dst, float c, int32_t n);
int32_t VecSub(float* dst, const float* src, int32_t n);
int32_t VecMul(float* dst, const float* src, int32_t n);
int32_t VecMulConst(float* dst, float c, int32_t n);
int32_t VecDiv(float* dst, const float* src, int32_t n);
int32_t VecMulAcc(float* dst, const float* a, const float* b, int32_t n);
int32_t VecAbs(float* dst, int32_t n);
int32_t VecExp(float* dst, int32_t n);
int32_t VecSqrt(float* dst, int32_t n);
int32_t VecThresholdLog(float* dst, float level, float value, int32_t n);
int32_t VecDot(const float* a, const float* b, float* out, int32_t n);
int32_t VecThresholdLow(float* dst, float level, float value, int32_t n);
int32_t VecThresholdHigh(float* dst, float level, float value, int32_t n);
int32_t SpectrumPack(float* dst, const float* re, const float* im, int32_t n);
int32_t SpectrumUnpack(float* re, float* im, const float* src, int32_t n);
int32_t SpectrumAdd(float* dst, const float* src, int32_t nBins);
int32_t SpectrumMul(float* dst, const float* src, int32_t nBins);
int32_t NoOperation();
int32_t SpectrumPhase(float* dst, const float* src, int32_t n);
int32_t SpectrumMulAcc(float* dst, const float* a, const float* b, int32_t nBins);
int32_t SpectrumMagnitude(float* dst, const float* src, int32_t nBins);
int32_t SpectrumConjugate(float* dst, int32_t n);
int32_t VecWrapPhase(float* dst, const float* src, int32_t n);
int32_t VecSinCos(float* sine, float* cosine, const float* src, int32_t n);
int32_t SpectrumReIndex(int32_t k);
int32_t SpectrumImIndex(int32_t k);

}  // namespace mlh::Generic
