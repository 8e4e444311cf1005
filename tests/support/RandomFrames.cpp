#include "support/RandomFrames.h"

#include <algorithm>
#include <cmath>

std::vector<AnalysisFrame> FrameMaker::Noise(int32_t count, bool equalPositions) {
    const float voicedShare = Real(0.0f, 1.2f);
    const float low = Real(40.0f, 60.0f);
    const float high = low + Real(0.0f, 12.0f);
    const int32_t longestStep = Whole(1, 2000);
    std::vector<AnalysisFrame> frames;
    int32_t position = equalPositions ? Whole(0, 3) : 0;
    for (int32_t i = 0; i < count; ++i) {
        const float energy = Chance(0.1f) ? 0.0f : std::exp(Real(-9.0f, 0.0f));
        frames.push_back({Real(low, high), energy, Chance(voicedShare) ? 1 : 0, position});
        const bool stays = equalPositions && Chance(0.3f);
        position += stays ? 0 : Whole(1, longestStep);
    }
    return frames;
}

std::vector<AnalysisFrame> FrameMaker::Voice(int32_t count, float sampleRate) {
    std::vector<AnalysisFrame> frames;
    int32_t position = 0;
    float pitch = Real(45.0f, 70.0f);
    const float jitter = Chance(0.3f) ? 0.0f : Real(0.0f, 0.3f);
    while (static_cast<int32_t>(frames.size()) < count) {
        if (Chance(0.3f)) {
            const int32_t pause = Chance(0.1f) ? Whole(50, 300) : Whole(1, 20);
            for (int32_t i = 0; i < pause; ++i) {
                frames.push_back({Real(30.0f, 80.0f), Real(0.0f, 0.001f), 0, position});
                position += static_cast<int32_t>(sampleRate * 0.006f);
            }
        }
        const float from = pitch;
        if (Chance(0.8f)) pitch += Real(-5.0f, 5.0f);
        pitch = std::clamp(pitch, 40.0f, 80.0f);
        const float glide = Real(0.001f, 0.15f);
        const float seconds = std::exp(Real(-4.0f, 0.7f));
        const float depth = Chance(0.5f) ? Real(0.0f, 1.5f) : 0.0f;
        const float rate = Real(3.0f, 25.0f);
        const float level = std::exp(Real(-8.0f, 0.0f));
        for (float time = 0.0f; time < seconds;) {
            float here = from + (pitch - from) * std::min(time / glide, 1.0f);
            here += depth * std::sin(6.2831853f * rate * time) + Real(-jitter, jitter);
            if (Chance(0.01f)) here += Chance(0.5f) ? 12.0f : -12.0f;
            const float envelope = std::min(1.0f, time / 0.03f) * Real(0.6f, 1.2f);
            frames.push_back({here, level * envelope, Chance(0.98f) ? 1 : 0, position});
            const float period = sampleRate / (440.0f * std::exp2((here - 69.0f) / 12.0f));
            position += std::max(static_cast<int32_t>(period), 1);
            time += period / sampleRate;
        }
    }
    frames.resize(static_cast<size_t>(count));
    return frames;
}

void FrameMaker::Shuffle(std::vector<AnalysisFrame>& frames, int32_t swaps) {
    if (frames.empty()) return;
    const int32_t last = static_cast<int32_t>(frames.size()) - 1;
    for (int32_t i = 0; i < swaps; ++i) {
        std::swap(frames[static_cast<size_t>(Whole(0, last))], frames[static_cast<size_t>(Whole(0, last))]);
    }
}
