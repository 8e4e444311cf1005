#include "support/RandomFrames.h"

#include <algorithm>
#include <cmath>

namespace mlh {

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
        if (Chance(0.8f)) {
            pitch += Real(-5.0f, 5.0f);
        }
        pitch = std::clamp(pitch, 40.0f, 80.0f);
        const float glide = Real(0.001f, 0.15f);
        const float seconds = std::exp(Real(-4.0f, 0.7f));
        const float depth = Chance(0.5f) ? Real(0.0f, 1.5f) : 0.0f;
        const float rate = Real(3.0f, 25.0f);
        const float level = std::exp(Real(-8.0f, 0.0f));
        for (float time = 0.0f; time < seconds;) {
            float here = from + (pitch - from) * std::min(time / glide, 1.0f);
            here += depth * std::sin(6.2831853f * rate * time) + Real(-jitter, jitter);
            if (Chance(0.01f)) {
                here += Chance(0.5f) ? 12.0f : -12.0f;
            }
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

std::vector<AnalysisFrame> FrameMaker::Grid(int32_t count) {
    std::vector<AnalysisFrame> frames;
    // At 40 kHz windows are whole multiples of 250 samples, and crossings must be 464 apart.
    const bool onWindows = Chance(0.6f);
    const int32_t unit = onWindows ? 250 : 232;
    const int32_t longestStep = onWindows ? Whole(1, 3) : Whole(1, 8);
    int32_t position = 0;
    float base = 60.0f;
    int32_t cycle = 2;  // frames of a swing of the pitch
    float swing = 0.0f;
    for (int32_t i = 0; i < count; ++i) {
        if (Chance(0.05f)) {
            base = 60.0f + 0.5f * static_cast<float>(Whole(-8, 8));
        }
        if (Chance(0.03f)) {
            cycle = Whole(2, 16);
            swing = Chance(0.3f) ? 0.0f : 0.25f * static_cast<float>(Whole(1, 4));
        }
        const float jitter = swing == 0.0f ? 0.25f * static_cast<float>(Whole(-2, 2)) : 0.0f;
        const float pitch = base + jitter + (i % cycle < cycle / 2 ? swing : -swing);
        const float energy = 0.0625f * static_cast<float>(Chance(0.9f) ? 12 : Whole(1, 16));
        frames.push_back({pitch, energy, Chance(0.98f) ? 1 : 0, position});
        position += unit * Whole(1, longestStep);
    }
    return frames;
}

std::vector<AnalysisNote> FrameMaker::Notes(int32_t count, const std::vector<AnalysisFrame>& frames) {
    std::vector<AnalysisNote> notes;
    const int32_t lastFrame = static_cast<int32_t>(frames.size()) - 1;
    const bool inOrder = Chance(0.5f);
    int32_t first = 0;
    for (int32_t i = 0; i < count; ++i) {
        first = inOrder ? std::min(first + Whole(0, 3), lastFrame) : Whole(0, lastFrame);
        const int32_t last = inOrder ? std::min(first + Whole(0, 10), lastFrame) : Whole(0, lastFrame);
        const int32_t start =
            frames[static_cast<size_t>(first)].position + (Chance(0.1f) ? Whole(-500, 500) : 0);
        const int32_t end =
            frames[static_cast<size_t>(last)].position + (Chance(0.1f) ? Whole(-500, 500) : 0);
        const float energy = Chance(0.2f) ? 0.0004f : 0.0625f * static_cast<float>(Whole(0, 16));
        notes.push_back(
            {60.0f + 0.25f * static_cast<float>(Whole(-4, 4)), energy, end - start, start, end, first, last});
        first = last;
    }
    return notes;
}

void FrameMaker::Shuffle(std::vector<AnalysisFrame>& frames, int32_t swaps) {
    if (frames.empty()) {
        return;
    }
    const int32_t last = static_cast<int32_t>(frames.size()) - 1;
    for (int32_t i = 0; i < swaps; ++i) {
        std::swap(frames[static_cast<size_t>(Whole(0, last))], frames[static_cast<size_t>(Whole(0, last))]);
    }
}

}  // namespace mlh
