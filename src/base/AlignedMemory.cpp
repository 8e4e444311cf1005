#include "base/AlignedMemory.h"

#include <atomic>
#include <cstdlib>
#include <new>

#ifdef _WIN32
#include <malloc.h>
#endif

namespace mlh {

namespace {

class BadAllocation : public std::bad_alloc {
  public:
    const char* what() const noexcept override { return "bad allocation"; }
};

void* AllocateAligned(size_t bytes, size_t alignment) {
#ifdef _WIN32
    return _aligned_malloc(bytes, alignment);
#else
    return std::aligned_alloc(alignment, bytes);
#endif
}

void FreeAligned(void* memory) {
#ifdef _WIN32
    _aligned_free(memory);
#else
    std::free(memory);
#endif
}

// Every row goes through this pair, so that a row of one level can be freed at another.
void* (*const allocate)(size_t bytes, size_t alignment) = AllocateAligned;
void (*const release)(void* memory) = FreeAligned;

// How much was ever asked for; read with a debugger only.
std::atomic<uint64_t> requestedBytes{0};

}  // namespace

float* AllocateAlignedFloats(int32_t count) {
    if (count < 0) {
        throw BadAllocation();
    }
    const size_t bytes = static_cast<size_t>(count) * sizeof(float);
    requestedBytes.fetch_add(bytes, std::memory_order_relaxed);
    constexpr size_t line = kRowAlignment;
    const size_t lines = bytes / line + (bytes % line != 0 || bytes == 0);
    void* memory = allocate(lines * line, line);
    if (memory == nullptr) {
        throw BadAllocation();
    }
    return static_cast<float*>(memory);
}

int32_t FreeAlignedFloats(float** row) {
    if (*row != nullptr) {
        release(*row);
        *row = nullptr;
    }
    return 0;
}

}  // namespace mlh
