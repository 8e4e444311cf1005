#include "dsp/Dispatch.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#elif defined(_M_X64) || defined(_M_IX86)
#include <intrin.h>
#define MLH_MSVC_X86
#endif

namespace mlh {

namespace {

struct Leaf1 {
    uint32_t ecx = 0;
    uint32_t edx = 0;
};

Leaf1 QueryLeaf1() {
    Leaf1 leaf;
#if defined(__x86_64__) || defined(__i386__)
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) {
        leaf = {ecx, edx};
    }
#elif defined(MLH_MSVC_X86)
    int registers[4];
    __cpuid(registers, 1);
    leaf = {static_cast<uint32_t>(registers[2]), static_cast<uint32_t>(registers[3])};
#endif
    return leaf;
}

// Which register states the operating system saves. Only to be asked when OSXSAVE is set.
uint64_t QueryExtendedControl() {
#if defined(__x86_64__) || defined(__i386__)
    uint32_t eax, edx;
    __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
    return (static_cast<uint64_t>(edx) << 32) | eax;
#elif defined(MLH_MSVC_X86)
    return _xgetbv(0);
#else
    return 0;
#endif
}

bool Bit(uint32_t word, int bit) { return (word >> bit) & 1; }

// The processor having AVX is not enough: the operating system must save both halves of the registers.
bool AvxUsable(const Leaf1& leaf) {
    constexpr uint64_t savesXmmAndYmm = 6;
    return Bit(leaf.ecx, 28) && Bit(leaf.ecx, 27) &&
           (QueryExtendedControl() & savesXmmAndYmm) == savesXmmAndYmm;
}

}  // namespace

uint32_t QueryProcessorFeatures() {
    const Leaf1 leaf = QueryLeaf1();
    uint32_t features = 0;
    if (Bit(leaf.edx, 25)) {
        features |= kFeatureSSE;
    }
    if (Bit(leaf.edx, 26)) {
        features |= kFeatureSSE2;
    }
    if (Bit(leaf.ecx, 0)) {
        features |= kFeatureSSE3;
    }
    if (Bit(leaf.ecx, 20)) {
        features |= kFeatureSSE42;
    }
    if (AvxUsable(leaf)) {
        features |= kFeatureAVX;
    }
    return features;
}

bool ProcessorHasFusedMultiplyAdd() { return Bit(QueryLeaf1().ecx, 12); }

}  // namespace mlh
