#include "dsp/FftWindow.h"

#include <cmath>

#include "base/Pi.h"

namespace mlh {

namespace {

double Triangle(int32_t i, int32_t n) {
    const double h = (n - 1) / 2.0;
    const int32_t fromEdge = i < n / 2 ? i : n - 1 - i;
    return 1.0 - (h - fromEdge) / h;
}

// Types 1 and 2 leave the zero end points out, 3 and 4 reach their ends.
double WindowValue(int32_t i, int32_t n, int32_t windowType) {
    const double inner = kPi * (i + 1) / (n + 1);
    const double outer = kPi * i / (n - 1);
    switch (windowType) {
        case 0:
            return 1.0;
        case 1:
            return std::sin(inner);
        case 2:
            return (1.0 - std::cos(2.0 * inner)) / 2.0;
        case 3:
            return 0.54 - 0.46 * std::cos(2.0 * outer);
        case 4:
            return 0.42 - 0.5 * std::cos(2.0 * outer) + 0.08 * std::cos(4.0 * outer);
        case 5:
            return Triangle(i, n);
        case 6:
            return Triangle(i, n) * Triangle(i, n);
        default:
            return 0.0;
    }
}

}  // namespace

void FillWindow(float* window, int32_t n, int32_t windowType) {
    if (windowType < 0 || windowType > 7) {
        return;
    }
    for (int32_t i = 0; i < n; ++i) {
        window[i] = static_cast<float>(WindowValue(i, n, windowType));
    }
}

}  // namespace mlh
