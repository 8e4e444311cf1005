// The two first-order filters that split an attack into its high and its low part.
//
// Both keep their state from sample to sample.
#pragma once

#include <cstdint>

namespace mlh {

// y[n] = (1 - |c|) x[n] + c x[n-1]. A negative c makes a high-pass.
class CSimpleFIRFilter {
  public:
    explicit CSimpleFIRFilter(float c);
    virtual ~CSimpleFIRFilter() = default;

    float Next(float input) {
        const float output = gain * input + c * previousInput;
        previousInput = input;
        return output;
    }
    // Source and destination may be the same.
    void Process(const float* source, float* destination, int32_t n);

  private:
    float previousInput = 0.0f;
    float c;
    float gain;
};

// y[n] = (1 - a) x[n] + a y[n-1], with a = -c. A negative c makes a low-pass.
class CSimpleIIRFilter {
  public:
    explicit CSimpleIIRFilter(float c);
    virtual ~CSimpleIIRFilter() = default;

    float Next(float input) {
        // In silence the state stays about as large as this, far above the denormal numbers.
        constexpr float kAboveDenormals = 1e-24f;
        previousOutput = b * input + a * previousOutput + kAboveDenormals;
        return previousOutput;
    }
    // Source and destination may be the same.
    void Process(const float* source, float* destination, int32_t n);

  private:
    float previousOutput = 0.0f;
    float a;
    float b;
};

}  // namespace mlh
