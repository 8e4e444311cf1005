// The whole job of a host, once through the classes and once through the C functions. What comes out is
// hashed, so that two hosts can be compared.
#pragma once

#include <mlh/mlh.h>

#include <cmath>
#include <cstdint>
#include <vector>

#ifdef HOST_OF_CLASSES
#include <mlh/addon.h>
#include <mlh/analysis.h>
#include <mlh/arrange.h>
#endif

class JobHash {
  public:
    void AddBytes(const void* data, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            value_ = (value_ ^ static_cast<const unsigned char*>(data)[i]) * 0x100000001B3u;
        }
    }
    template <class T>
    void Add(const T& value) {
        AddBytes(&value, sizeof value);
    }
    uint64_t Value() const { return value_; }

  private:
    uint64_t value_ = 0xCBF29CE484222325u;
};

inline constexpr int32_t kJobRate = 22050;

// Five hummed notes and a pause.
inline std::vector<float> JobLead() {
    std::vector<float> samples;
    double phase = 0.0;
    for (const double hertz : {220.0, 246.94, 261.63, 0.0, 329.63, 293.66}) {
        for (int i = 0; i < kJobRate / 2; ++i) {
            phase += hertz / kJobRate;
            double sample = 0.0;
            for (int h = 1; h <= 8 && hertz > 0.0; ++h) {
                sample += std::sin(6.283185307179586 * h * phase) / h;
            }
            samples.push_back(static_cast<float>(0.2 * sample));
        }
    }
    return samples;
}

// 0 where a call failed.
inline uint64_t JobThroughCFunctions() {
    const std::vector<float> lead = JobLead();
    std::vector<int16_t> mix(lead.size());
    const auto frames = static_cast<int32_t>(lead.size());
    void* mlh = nullptr;
    if (mlhCreateInstance(&mlh) != MLH_OK) {
        return 0;
    }
    if (mlhAssignInputData32(mlh, lead.data(), frames, 1, kJobRate) != MLH_OK) {
        return 0;
    }
    if (mlhSetParams(mlh, true, 4, 1, 0.5f, 0, false) != MLH_OK) {
        return 0;
    }
    ChordVector* chords = mlhGetNewChordVector();
    mlhChordVectorAddItem(chords, {0.0f, {57, 60, 64, -1}});
    mlhChordVectorAddItem(chords, {1.1f, {60, 64, 67, -1}});
    if (mlhSetChordVector(mlh, chords) != MLH_OK) {
        return 0;
    }
    mlhDisposeChordVector(chords);
    JobHash hash;
    PitchVector* notes = mlhGetPitchVector(mlh, 0, 0, 0);
    hash.Add(mlhPitchVectorGetTotal(notes));
    for (int32_t i = 0; i < mlhPitchVectorGetTotal(notes); ++i) {
        const PitchItem note = mlhPitchVectorGetItem(notes, i);
        hash.Add(note.start);
        hash.Add(note.pitch);
    }
    mlhDisposePitchVector(notes);
    if (mlhProcessOutputData16(mlh, mix.data(), frames, 1, nullptr) != MLH_OK) {
        return 0;
    }
    hash.AddBytes(mix.data(), mix.size() * sizeof(int16_t));
    return mlhDestroyInstance(&mlh) == MLH_OK ? hash.Value() : 0;
}

#ifdef HOST_OF_CLASSES

class JobReader final : public mlh::MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    int32_t SetPosition(int32_t frame) override {
        position_ = frame < 0 ? 0 : frame;
        return 0;
    }
    int32_t Read(float** channels, int32_t frames) override {
        int32_t present = 0;
        for (int32_t i = 0; i < frames; ++i) {
            const bool inside = position_ + i < GetLength();
            channels[0][i] = inside ? samples_[static_cast<std::size_t>(position_ + i)] : 0.0f;
            present += inside ? 1 : 0;
        }
        position_ += present;
        return present;
    }
    int32_t GetLength() override { return static_cast<int32_t>(samples_.size()); }
    int32_t GetNumChannels() override { return 1; }
    int32_t GetSampleRate() override { return kJobRate; }

  private:
    std::vector<float> samples_ = JobLead();
    int32_t position_ = 0;
};

// 0 where a call failed.
inline uint64_t JobThroughClasses() {
    JobReader lead;
    mlh::MalleoTuneHarmonyAddOnIf* addOn = nullptr;
    if (mlh::MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn, &lead) != 0 || addOn->Prepare() != 0) {
        return 0;
    }
    JobHash hash;
    const mlh::Analysis analysis = mlh::GetAnalysis(*addOn);
    std::vector<mlh::ArrangeNote> melody;
    for (const mlh::PitchPoint& point : analysis.curve) {
        hash.Add(point.pitch);
    }
    for (const mlh::Note& note : analysis.notes) {
        hash.Add(note.start);
        mlh::ArrangeNote sung;
        sung.pitch = static_cast<int32_t>(std::lround(note.pitch));
        sung.start = static_cast<float>(note.start);
        sung.end = static_cast<float>(note.end);
        melody.push_back(sung);
    }
    hash.Add(analysis.key);

    addOn->SetHarmonyMode(0);
    addOn->SetSpread(0.5f);
    mlh::MalleoTuneHarmonyAddOnIf::ChordVector chords;
    chords.emplace_back(0.0f, 57, 60, 64);
    chords.emplace_back(1.1f, 60, 64, 67);
    if (addOn->SetChordVector(chords) != 0 || addOn->Update() != 0) {
        return 0;
    }
    addOn->SetPosition(0.0);
    std::vector<float> voice[4];
    float* rows[4];
    for (int v = 0; v < 4; ++v) {
        voice[v].resize(1024);
        rows[v] = voice[v].data();
    }
    for (int32_t at = 0; at < lead.GetLength(); at += 1024) {
        addOn->Process(rows, 1024);
        for (const float* row : rows) {
            hash.AddBytes(row, 1024 * sizeof(float));
        }
    }
    if (mlh::MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn) != 0) {
        return 0;
    }

    for (int style = 0; style < 7; ++style) {
        mlh::ArrangeSettings settings;
        settings.style = static_cast<mlh::ArrangeStyle>(style);
        for (const mlh::ArrangedNote& note : mlh::Arrange(melody, settings)) {
            for (const int32_t row : note.rows) {
                hash.Add(row);
            }
            hash.AddBytes(note.chordName.data(), note.chordName.size());
        }
    }
    return hash.Value();
}

#endif
