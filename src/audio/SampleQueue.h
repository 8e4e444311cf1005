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
        margin_ = static_cast<size_t>(newMargin);
        memory_.assign(2 * static_cast<size_t>(capacity) + margin_, 0.0f);
        first_ = 0;
        size_ = 0;
    }

    const float* Data() const { return memory_.data() + first_; }
    int32_t Size() const { return static_cast<int32_t>(size_); }

    // Appends n zeros and returns where they stand, to be filled in place.
    float* Append(int32_t n) {
        const size_t added = static_cast<size_t>(n);
        if (first_ + size_ + added + margin_ > memory_.size()) {
            MakeRoom(added);
        }
        float* appended = memory_.data() + first_ + size_;
        size_ += added;
        return appended;
    }

    // Drops the first n samples, or all where there are fewer.
    void Drop(int32_t n) {
        const size_t dropped = std::min(static_cast<size_t>(n), size_);
        first_ += dropped;
        size_ -= dropped;
    }

    void Clear() {
        std::fill(memory_.begin(), memory_.end(), 0.0f);
        first_ = 0;
        size_ = 0;
    }

  private:
    void MakeRoom(size_t added) {
        const auto start = memory_.begin() + static_cast<std::ptrdiff_t>(first_);
        std::copy(start, start + static_cast<std::ptrdiff_t>(size_), memory_.begin());
        std::fill(memory_.begin() + static_cast<std::ptrdiff_t>(size_), memory_.end(), 0.0f);
        first_ = 0;
        if (size_ + added + margin_ > memory_.size()) {
            memory_.resize(2 * (size_ + added) + margin_, 0.0f);
        }
    }

    std::vector<float> memory_;
    size_t margin_ = 0;
    size_t first_ = 0;
    size_t size_ = 0;
};

}  // namespace mlh
