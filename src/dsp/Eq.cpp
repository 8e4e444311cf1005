#include "dsp/Eq.h"

#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "base/Codes.h"
#include "base/NarrowedMath.h"
#include "base/Pi.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace qMELODOR {

namespace {

constexpr float kLn10 = 2.30258509f;
constexpr float kRootOfTwo = 1.4142135f;

// Beyond these a band edge has nothing left to do (and the bilinear transform gets ill-conditioned).
constexpr float kLowPassLimit = 0.45f;
constexpr float kHighPassLimit = 0.01f;

EqCoefficients LowShelf(float K, float K2, float V, float gainDb) {
    const float r = kRootOfTwo;
    const float sV = std::sqrt(V);
    if (gainDb > 0.0f) {
        const float n = 1.0f / (1.0f + r * K + K2);
        const float s = sV * r * K;
        return {(1.0f + s + V * K2) * n, 2.0f * (V * K2 - 1.0f) * n, (1.0f - s + V * K2) * n,
                2.0f * (K2 - 1.0f) * n, (1.0f - r * K + K2) * n};
    }
    const float n = 1.0f / (1.0f + sV * r * K + V * K2);
    return {(1.0f + r * K + K2) * n, 2.0f * (K2 - 1.0f) * n, (1.0f - r * K + K2) * n,
            2.0f * (V * K2 - 1.0f) * n, (1.0f - sV * r * K + V * K2) * n};
}

EqCoefficients HighShelf(float K, float K2, float V, float gainDb) {
    const float r = kRootOfTwo;
    const float sV = std::sqrt(V);
    if (gainDb > 0.0f) {
        const float n = 1.0f / (1.0f + r * K + K2);
        const float s = sV * r * K;
        return {(V + s + K2) * n, 2.0f * (K2 - V) * n, (V - s + K2) * n, 2.0f * (K2 - 1.0f) * n,
                (1.0f - r * K + K2) * n};
    }
    const float n = 1.0f / (sV * r * K + V + K2);
    const float t = (r / sV) * K;
    const float w = K2 / V;
    const float m = 1.0f / (t + V + w);
    return {(1.0f + r * K + K2) * n, 2.0f * (K2 - 1.0f) * n, (1.0f - r * K + K2) * n, 2.0f * (w - 1.0f) * m,
            (V - t + w) * m};
}

EqCoefficients Peak(float K, float K2, float V, float gainDb, float q) {
    const float d = 1.0f / q;
    const float dn = gainDb > 0.0f ? d : d * V;
    const float nm = gainDb > 0.0f ? d * V : d;
    const float n = 1.0f / (1.0f + dn * K + K2);
    const float middle = 2.0f * (K2 - 1.0f) * n;
    return {(1.0f + nm * K + K2) * n, middle, (1.0f - nm * K + K2) * n, middle, (1.0f - dn * K + K2) * n};
}

EqCoefficients LowPass(float K, float K2) {
    const float r = kRootOfTwo;
    const float n = 1.0f / (1.0f + r * K + K2);
    return {K2 * n, 2.0f * K2 * n, K2 * n, 2.0f * (K2 - 1.0f) * n, (1.0f - r * K + K2) * n};
}

EqCoefficients HighPass(float K, float K2) {
    const float r = kRootOfTwo;
    const float n = 1.0f / (1.0f + r * K + K2);
    return {n, -2.0f * n, n, 2.0f * (K2 - 1.0f) * n, (1.0f - r * K + K2) * n};
}

EqCoefficients OnePole(float frequency) {
    const float c = Narrowed::Cos(2.0f * kPi32 * frequency);
    const float p = (2.0f - c) - std::sqrt((c - 2.0f) * (c - 2.0f) - 1.0f);
    const float b0 = 1.0f - p;
    return {b0, 0.0f, 0.0f, b0 - 1.0f, 0.0f};
}

// a1 and a2 in the usual sign of a denominator.
EqCoefficients TransferFunction(int32_t type, float frequency, float gainDb, float q) {
    const float K = Narrowed::Tan(kPi32 * frequency);
    const float K2 = K * K;
    const float V = Narrowed::Exp(gainDb * 0.05f * kLn10);
    switch (type) {
        case kLowShelf:
            return LowShelf(K, K2, V, gainDb);
        case kHighShelf:
            return HighShelf(K, K2, V, gainDb);
        case kPeak:
            return Peak(K, K2, V, gainDb, q);
        case kLowPass:
            return LowPass(K, K2);
        case kHighPass:
            return HighPass(K, K2);
        case kPeakNoDirect: {
            EqCoefficients c = Peak(K, K2, V, gainDb, q);
            c.b0 = 0.0f;
            return c;
        }
        default:
            return OnePole(frequency);
    }
}

class CEQ final : public CEqIf {
  public:
    CEQ(int32_t sampleRate, int32_t numChannels, int32_t type);

    void Process(const float* const* in, float** out, int32_t frames) override;
    void ProcessInterleaved(const float* in, float* out, int32_t frames) override;
    int32_t SetParameters(float frequencyHz, float gainDb, float q) override;
    void GetParameters(float* frequencyHz, float* gainDb, float* q) override;
    int32_t GetType() override { return type_; }
    void Reset() override;

  private:
    void ApplyParameters();
    void Filter(int32_t channel, const float* in, float* out, int32_t frames, int32_t stride);

    int32_t numChannels_;
    int32_t type_;
    float sampleRate_;
    std::vector<float> x1_, x2_, y1_, y2_;  // delay lines, one entry per channel
    EqCoefficients coefficients_;
    bool dirty_ = true;
    bool bypass_ = true;
    float appliedFrequency_, appliedGain_, appliedQ_;  // what the coefficients were computed from
    float frequency_;                                  // Hz over the sample rate
    float gainDb_ = 0.0f;
    float q_ = 1.0f;
};

CEQ::CEQ(int32_t sampleRate, int32_t numChannels, int32_t type)
    : numChannels_(numChannels), type_(type), sampleRate_(static_cast<float>(sampleRate)), coefficients_{} {
    InitDispatch(-1);
    const auto channels = static_cast<size_t>(numChannels);
    for (std::vector<float>* line : {&x1_, &x2_, &y1_, &y2_}) {
        line->assign(channels, 0.0f);
    }
    // The edge of the band where each type does nothing.
    frequency_ = type == kHighPass ? 0.0f : 0.5f;
    appliedFrequency_ = frequency_;
    appliedGain_ = gainDb_;
    appliedQ_ = q_;
}

void CEQ::ApplyParameters() {
    coefficients_ = DesignEq(type_, frequency_, gainDb_, q_);
    switch (type_) {
        case kLowPass:
            bypass_ = frequency_ > kLowPassLimit;
            break;
        case kHighPass:
            bypass_ = frequency_ < kHighPassLimit;
            break;
        case kPeak:
        case kPeakNoDirect:
            bypass_ = false;
            break;
        default:  // shelves and the one-pole keep the bypass they have
            break;
    }
    dirty_ = false;
    appliedFrequency_ = frequency_;
    appliedGain_ = gainDb_;
    appliedQ_ = q_;
}

void CEQ::Process(const float* const* in, float** out, int32_t frames) {
    if (dirty_) {
        ApplyParameters();
    }
    if (frames < 1) {
        return;
    }
    for (int32_t channel = 0; channel < numChannels_; ++channel) {
        if (!bypass_) {
            Filter(channel, in[channel], out[channel], frames, 1);
        } else if (in[channel] != out[channel]) {
            std::memmove(out[channel], in[channel], static_cast<size_t>(frames) * sizeof(float));
        }
    }
}

void CEQ::ProcessInterleaved(const float* in, float* out, int32_t frames) {
    if (dirty_) {
        ApplyParameters();
    }
    if (frames < 1) {
        return;
    }
    if (!bypass_) {
        for (int32_t channel = 0; channel < numChannels_; ++channel) {
            Filter(channel, in + channel, out + channel, frames, numChannels_);
        }
    } else if (in != out) {
        std::memmove(out, in,
                     static_cast<size_t>(frames) * static_cast<size_t>(numChannels_) * sizeof(float));
    }
}

void CEQ::Filter(int32_t channel, const float* in, float* out, int32_t frames, int32_t stride) {
    const auto [b0, b1, b2, a1, a2] = coefficients_;
    float lastX = x1_[channel], olderX = x2_[channel];
    float lastY = y1_[channel], olderY = y2_[channel];
    const ptrdiff_t end = static_cast<ptrdiff_t>(frames) * stride;
    for (ptrdiff_t i = 0; i < end; i += stride) {
        const float x = in[i];
        const float y = b0 * x + b1 * lastX + b2 * olderX + a1 * lastY + a2 * olderY;
        olderX = lastX;
        lastX = x;
        olderY = lastY;
        lastY = y;
        out[i] = y;
    }
    x1_[channel] = lastX;
    x2_[channel] = olderX;
    y1_[channel] = lastY;
    y2_[channel] = olderY;
}

int32_t CEQ::SetParameters(float frequencyHz, float newGainDb, float newQ) {
    frequency_ = frequencyHz / sampleRate_;
    gainDb_ = newGainDb;
    q_ = newQ;
    dirty_ = true;
    return 0;
}

void CEQ::GetParameters(float* frequencyHz, float* gain, float* quality) {
    if (frequencyHz != nullptr) {
        *frequencyHz = appliedFrequency_ * sampleRate_;
        if (bypass_ && type_ == kLowPass) {
            *frequencyHz = sampleRate_ * 0.5f;
        }
        if (bypass_ && type_ == kHighPass) {
            *frequencyHz = 0.0f;
        }
    }
    if (gain != nullptr) {
        *gain = appliedGain_;
    }
    if (quality != nullptr) {
        *quality = appliedQ_;
    }
}

void CEQ::Reset() {
    for (std::vector<float>* line : {&x1_, &x2_, &y1_, &y2_}) {
        line->assign(line->size(), 0.0f);
    }
}

}  // namespace

EqCoefficients DesignEq(int32_t type, float frequency, float gainDb, float q) {
    EqCoefficients c = TransferFunction(type, frequency, gainDb, q);
    c.a1 = -c.a1;
    c.a2 = -c.a2;
    return c;
}

int32_t CreateEq(CEqIf** out, int32_t sampleRate, int32_t numChannels, int32_t type) {
    if (out == nullptr) {
        return kBadArgument;
    }
    *out = nullptr;
    if (sampleRate < 1 || numChannels < 1 || type < kLowShelf || type > kOnePole) {
        return kBadArgument;
    }
    try {
        *out = new CEQ(sampleRate, numChannels, type);
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    return 0;
}

}  // namespace qMELODOR

}  // namespace mlh
