#include "analysis/SimpleFilters.h"

#include <cmath>

CSimpleFIRFilter::CSimpleFIRFilter(float c) : c(c), gain(1.0f - std::fabs(c)) {}

void CSimpleFIRFilter::Process(const float* source, float* destination, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const float input = source[i];
        destination[i] = gain * input + c * previousInput;
        previousInput = input;
    }
}

CSimpleIIRFilter::CSimpleIIRFilter(float c) : a(-c), b(1.0f - a) {}

void CSimpleIIRFilter::Process(const float* source, float* destination, int32_t n) {
    constexpr float kAboveDenormals = 1e-24f;  // the state fades to this in silence, not to denormal numbers
    for (int32_t i = 0; i < n; ++i) {
        previousOutput = b * source[i] + a * previousOutput + kAboveDenormals;
        destination[i] = previousOutput;
    }
}
