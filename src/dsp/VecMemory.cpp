#include "dsp/VecMemory.h"

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

// Every vector goes through this pair, so that a vector of one level can be freed at another.
void* (*const allocate)(size_t bytes, size_t alignment) = AllocateAligned;
void (*const release)(void* memory) = FreeAligned;

// How much was ever asked for; read with a debugger only.
std::atomic<uint64_t> requestedBytes{0};

}  // namespace

template <int32_t alignment>
float* VecAllocAligned(int32_t count) {
    if (count < 0) throw BadAllocation();
    const size_t bytes = static_cast<size_t>(count) * sizeof(float);
    requestedBytes.fetch_add(bytes, std::memory_order_relaxed);
    // Whole cache lines, at least one: an empty vector has an address too, and copies between vectors a few
    // bytes out of step with each other take many times as long on some processors.
    constexpr size_t line = 64;
    static_assert(line % alignment == 0);
    const size_t lines = bytes / line + (bytes % line != 0 || bytes == 0);
    void* memory = allocate(lines * line, line);
    if (memory == nullptr) throw BadAllocation();
    return static_cast<float*>(memory);
}

template float* VecAllocAligned<8>(int32_t);
template float* VecAllocAligned<16>(int32_t);
template float* VecAllocAligned<32>(int32_t);

int32_t VecFree(float** vec) {
    if (*vec != nullptr) {
        release(*vec);
        *vec = nullptr;
    }
    return 0;
}

}  // namespace mlh
