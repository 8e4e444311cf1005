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
        const float output = gain_ * input + c_ * previousInput_;
        previousInput_ = input;
        return output;
    }
    // Source and destination may be the same.
    void Process(const float* source, float* destination, int32_t n);

  private:
    float previousInput_ = 0.0f;
    float c_;
    float gain_;
};

// y[n] = (1 - a) x[n] + a y[n-1], with a = -c. A negative c makes a low-pass.
class CSimpleIIRFilter {
  public:
    explicit CSimpleIIRFilter(float c);
    virtual ~CSimpleIIRFilter() = default;

    float Next(float input) {
        // In silence the state stays about as large as this, far above the denormal numbers.
        constexpr float kAboveDenormals = 1e-24f;
        previousOutput_ = b_ * input + a_ * previousOutput_ + kAboveDenormals;
        return previousOutput_;
    }
    // Source and destination may be the same.
    void Process(const float* source, float* destination, int32_t n);

  private:
    float previousOutput_ = 0.0f;
    float a_;
    float b_;
};

}  // namespace mlh
