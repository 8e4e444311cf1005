#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlh {

// Mono samples in the order of their arrival: appended at the end, dropped at the start.
//
// Dropping only moves an index. The content moves back to the start of the memory when the end of the memory
// is reached, so a sample costs constant time however small the steps are in which it is dropped. What lies
// after the last sample reads as zero.
class SampleQueue {
  public:
    // Room for `capacity` samples without further allocation, and `margin` zeros readable after the last.
    void Allocate(int32_t capacity, int32_t newMargin) {
        margin = static_cast<size_t>(newMargin);
        memory.assign(2 * static_cast<size_t>(capacity) + margin, 0.0f);
        first = 0;
        size = 0;
    }

    const float* Data() const { return memory.data() + first; }
    int32_t Size() const { return static_cast<int32_t>(size); }

    // Appends n zeros and returns where they stand, to be filled in place.
    float* Append(int32_t n) {
        const size_t added = static_cast<size_t>(n);
        if (first + size + added + margin > memory.size()) MakeRoom(added);
        float* appended = memory.data() + first + size;
        size += added;
        return appended;
    }

    // Drops the first n samples, or all where there are fewer.
    void Drop(int32_t n) {
        const size_t dropped = std::min(static_cast<size_t>(n), size);
        first += dropped;
        size -= dropped;
    }

    void Clear() {
        std::fill(memory.begin(), memory.end(), 0.0f);
        first = 0;
        size = 0;
    }

  private:
    void MakeRoom(size_t added) {
        const auto start = memory.begin() + static_cast<std::ptrdiff_t>(first);
        std::copy(start, start + static_cast<std::ptrdiff_t>(size), memory.begin());
        std::fill(memory.begin() + static_cast<std::ptrdiff_t>(size), memory.end(), 0.0f);
        first = 0;
        if (size + added + margin > memory.size()) memory.resize(2 * (size + added) + margin, 0.0f);
    }

    std::vector<float> memory;
    size_t margin = 0;
    size_t first = 0;
    size_t size = 0;
};

}  // namespace mlh
