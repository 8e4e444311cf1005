// Any sequence of exported functions, on two instances and a few vectors, with good and absurd arguments.
// What a host promises is kept: rows are as long as said, vectors are not used when disposed of.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "fuzz/Bytes.h"
#include "mlh/mlh.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

constexpr int32_t kInputSamples = 3000;
constexpr int32_t kOutputFrames = 3000;
constexpr int kAssignments = 2;  // each analyses, which takes longer than all other calls
constexpr int kRenderings = 6;

struct Input {
    Input() {
        floats = HarmonicTone(147.0, 11025.0, 0.25);
        floats.resize(kInputSamples / 2);
        const auto higher = HarmonicTone(196.0, 11025.0, 0.25);
        floats.insert(floats.end(), higher.begin(), higher.end());
        floats.resize(kInputSamples);
        for (const float sample : floats) {
            integers.push_back(static_cast<int16_t>(30000.0f * sample));
        }
    }
    std::vector<float> floats;
    std::vector<int16_t> integers;
};

class Host {
  public:
    explicit Host(Bytes& bytes) : bytes_(bytes) {}
    ~Host() {
        for (void*& handle : handles_) {
            mlhDestroyInstance(&handle);
        }
        for (PitchVector* vector : pitches_) {
            mlhDisposePitchVector(vector);
        }
        for (ChordVector* vector : chords_) {
            mlhDisposeChordVector(vector);
        }
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void Call() {
        void*& handle = handles_[bytes_.Below(2)];
        PitchVector*& pitches = pitches_[bytes_.Below(3)];
        ChordVector*& chords = chords_[bytes_.Below(3)];
        switch (bytes_.Below(25)) {
            case 0:
                if (handle == nullptr) {
                    Require(mlhCreateInstance(&handle) == MLH_OK);
                }
                break;
            case 1: {
                const int32_t expected = handle ? MLH_OK : MLH_NOT_READY;
                Require(mlhDestroyInstance(&handle) == expected && handle == nullptr);
                break;
            }
            case 2:
            case 3:
            case 4:
                Assign(handle);
                break;
            case 5:
            case 6:
                SetParams(handle);
                break;
            case 7:
            case 8:
                Process16(handle);
                break;
            case 9:
            case 10:
                Process32(handle);
                break;
            case 11:
            case 12:
                Keep(pitches, GetPitches(handle));
                break;
            case 13:
                mlhSetPitchVector(handle, bytes_.Integer(), pitches);
                break;
            case 14:
            case 15:
                mlhSetChordVector(handle, chords);
                break;
            case 16:
                mlhAssignMidi(handle, pitches);
                break;
            case 17:
                Keep(pitches, mlhGetNewPitchVector());
                break;
            case 18:
                AddPitch(pitches);
                break;
            case 19:
                ChangePitches(pitches);
                break;
            case 20:
                Keep(pitches, mlhPitchVectorAdjust(pitches, bytes_.Byte(), bytes_.Byte()));
                break;
            case 21:
                Keep(chords, mlhGetNewChordVector());
                break;
            case 22:
                AddChord(chords);
                break;
            case 23:
                Keep(chords, pitchVectorToChordVector(pitches));
                break;
            default:
                Look(pitches, chords);
        }
    }

  private:
    static void Keep(PitchVector*& slot, PitchVector* vector) {
        mlhDisposePitchVector(slot);
        slot = vector;
    }
    static void Keep(ChordVector*& slot, ChordVector* vector) {
        mlhDisposeChordVector(slot);
        slot = vector;
    }

    int32_t Rate() {
        static constexpr int32_t kRates[] = {11025, 16000, 22050, 44100, 11024, 255999, 256000, 0};
        return bytes_.Bit() ? bytes_.Integer() : kRates[bytes_.Below(8)];
    }

    void Assign(void* handle) {
        if (++assignments_ > kAssignments) {
            return;
        }
        static const Input input;
        const int32_t channels = bytes_.Integer();
        const int32_t rate = Rate();
        int32_t frames = bytes_.Bit() ? bytes_.Integer() : bytes_.Below(kInputSamples + 1);
        // No longer than the samples are; silence could be longer, but that takes its time.
        frames = std::min(frames, kInputSamples / std::clamp(channels, 1, kInputSamples));
        const bool silent = bytes_.Below(8) == 7;
        const int32_t answer = bytes_.Bit()
                                   ? mlhAssignInputData16(handle, silent ? nullptr : input.integers.data(),
                                                          frames, channels, rate)
                                   : mlhAssignInputData32(handle, silent ? nullptr : input.floats.data(),
                                                          frames, channels, rate);
        Require(answer == (handle ? MLH_OK : MLH_NOT_READY));
    }

    void SetParams(void* handle) {
        const bool automatic = bytes_.Bit();
        const int32_t voices = bytes_.Integer();
        const int32_t above = bytes_.Integer();
        const float spread = bytes_.Real(1.0f);
        mlhSetParams(handle, automatic, voices, above, spread, bytes_.Integer(), bytes_.Bit());
    }

    int32_t Frames() {
        const int32_t frames = bytes_.Bit() ? bytes_.Integer() : bytes_.Below(kOutputFrames + 1);
        return std::min(frames, kOutputFrames);
    }

    void Process16(void* handle) {
        if (++renderings_ > kRenderings) {
            return;
        }
        const int32_t frames = Frames();
        const int32_t channels = bytes_.Integer();
        double gains[10];
        for (double& gain : gains) {
            gain = static_cast<double>(bytes_.Real(1.0f));
        }
        std::vector<int16_t> out(2 * kOutputFrames, 7);
        int16_t* const target = bytes_.Below(8) == 7 ? nullptr : out.data();
        const int32_t answer =
            mlhProcessOutputData16(handle, target, frames, channels, bytes_.Bit() ? gains : nullptr);
        const int64_t written = answer == MLH_OK && frames > 0 ? int64_t{frames} * channels : 0;
        Require(std::all_of(out.begin() + written, out.end(), [](int16_t sample) { return sample == 7; }));
    }

    void Process32(void* handle) {
        if (++renderings_ > kRenderings) {
            return;
        }
        const int32_t frames = Frames();
        const int32_t channels = bytes_.Integer();
        std::vector<std::vector<float>> rows(4, std::vector<float>(2 * kOutputFrames));
        float* out[4];
        const uint8_t missing = bytes_.Byte();  // seldom a row
        for (std::size_t v = 0; v < 4; ++v) {
            out[v] = missing == 255 - v ? nullptr : rows[v].data();
        }
        mlhProcessOutputData32(handle, missing == 200 ? nullptr : out, frames, channels);
    }

    PitchVector* GetPitches(void* handle) {
        const auto voice = static_cast<uint32_t>(bytes_.Integer());
        return mlhGetPitchVector(handle, voice, bytes_.Bit(), bytes_.Byte());
    }

    void AddPitch(PitchVector* pitches) {
        const float start = bytes_.Real(0.5f);
        const float pitch = bytes_.Real(90.0f);
        const float duration = bytes_.Real(0.5f);
        Require(mlhPitchVectorAddItem(pitches, {start, pitch, duration, bytes_.Real(1.0f)}) ==
                (pitches != nullptr));
    }

    void ChangePitches(PitchVector* pitches) {
        const int32_t total = mlhPitchVectorGetTotal(pitches);
        const PitchItem item = {bytes_.Real(0.5f), bytes_.Real(90.0f), 0.0f, 0.0f};
        const int32_t first = bytes_.Integer();
        Require(mlhPitchVectorSetItem(pitches, static_cast<uint32_t>(first), item) ==
                (first >= 0 && first < total));
        if (bytes_.Bit()) {
            for (int32_t i = 0; i < total; ++i) {
                mlhPitchVectorSetItem(pitches, static_cast<uint32_t>(i), item);
            }
        }
    }

    void AddChord(ChordVector* chords) {
        ChordItem item = {bytes_.Real(0.5f), {}};
        for (int32_t& note : item.notes) {
            note = bytes_.Bit() ? bytes_.Integer() : 36 + bytes_.Below(48);
        }
        Require(mlhChordVectorAddItem(chords, item) == (chords != nullptr));
    }

    void Look(const PitchVector* pitches, const ChordVector* chords) {
        const auto index = static_cast<uint32_t>(bytes_.Integer());
        mlhPitchVectorGetItem(pitches, index);
        mlhChordVectorGetItem(chords, index);
        Require(mlhPitchVectorGetTotal(pitches) >= -1 && mlhChordVectorGetTotal(chords) >= -1);
        mlGetVersionString();
        mlhGetVersionString();
    }

    Bytes& bytes_;
    void* handles_[2] = {};
    PitchVector* pitches_[3] = {};
    ChordVector* chords_[3] = {};
    int assignments_ = 0;
    int renderings_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    Host host(bytes);
    while (!bytes.Empty()) {
        host.Call();
    }
    return 0;
}

}  // namespace mlh
