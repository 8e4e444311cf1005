// What a fuzz target draws its decisions from: the bytes of one input, from front to back, zeros after them.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

namespace mlh {

// What a fuzzing engine, or the replay in the tests, calls with each input. Defined by each target.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

class Bytes {
  public:
    Bytes(const uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    bool Empty() const { return left_ == 0; }

    uint8_t Byte() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *data_++;
    }
    bool Bit() { return (Byte() & 1) != 0; }
    uint32_t Word() {
        uint32_t word = 0;
        for (int i = 0; i < 4; ++i) {
            word = word << 8 | Byte();
        }
        return word;
    }
    // 0 to count - 1, of at most 65536.
    int32_t Below(int32_t count) {
        const int32_t bits = count > 256 ? Byte() << 8 | Byte() : Byte();
        return bits % count;
    }
    std::string Text() { return {reinterpret_cast<const char*>(data_), left_}; }

    // Mostly small, sometimes at an edge, sometimes anything.
    int32_t Integer() {
        static constexpr int32_t kEdges[] = {kMin, kMin + 1, -1000, -13, -2,    -1,    5,        12,
                                             46,   47,       48,    127, 11024, 11025, kMax - 1, kMax};
        const uint8_t kind = Byte();
        if (kind < 128) {
            return kind % 8;
        }
        if (kind < 192) {
            return static_cast<int8_t>(Byte());
        }
        if (kind < 240) {
            return kEdges[kind % std::size(kEdges)];
        }
        return static_cast<int32_t>(Word());
    }
    // Mostly sensible, sometimes absurd, sometimes any pattern of bits. `unit` is the size of what is
    // sensible.
    float Real(float unit) {
        static constexpr float kEdges[] = {kNaN,   kInfinity, -kInfinity, 1e9f,    -1e9f,  1e30f,
                                           -1e30f, 3.4e38f,   1e-40f,     -1e-40f, 1e-30f, 0.0f,
                                           -0.0f,  -1.0f,     -5.0f,      -0.001f};
        const uint8_t kind = Byte();
        if (kind < 160) {
            return unit * static_cast<float>(Byte()) / 255.0f;
        }
        if (kind < 200) {
            return unit * static_cast<float>(static_cast<int8_t>(Byte())) / 32.0f;
        }
        if (kind < 248) {
            return kEdges[kind % std::size(kEdges)];
        }
        const uint32_t bits = Word();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

  private:
    static constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
    static constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
    static constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    static constexpr float kInfinity = std::numeric_limits<float>::infinity();

    const uint8_t* data_;
    std::size_t left_;
};

// Ends the process: something came out that must not. Kept in every build type.
inline void Require(bool holds) {
    if (!holds) {
        __builtin_trap();
    }
}

}  // namespace mlh
