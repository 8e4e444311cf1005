#include "analysis/SimpleFilters.h"

#include <cmath>

namespace mlh {

CSimpleFIRFilter::CSimpleFIRFilter(float c) : c_(c), gain_(1.0f - std::fabs(c)) {}

void CSimpleFIRFilter::Process(const float* source, float* destination, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        destination[i] = Next(source[i]);
    }
}

CSimpleIIRFilter::CSimpleIIRFilter(float c) : a_(-c), b_(1.0f - a_) {}

void CSimpleIIRFilter::Process(const float* source, float* destination, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        destination[i] = Next(source[i]);
    }
}

}  // namespace mlh
