// How much memory this process has had at most. Of no meaning under sanitizers, which keep freed memory.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

namespace mlh {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kMemoryIsMeasurable = false;
#else
inline constexpr bool kMemoryIsMeasurable = true;
#endif

// [MB] since the process began or ForgetPeakMemory was called; 0 where the system does not tell.
inline double PeakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            double kilobytes = 0.0;
            status >> kilobytes;
            return kilobytes / 1024.0;
        }
    }
    return 0.0;
}

inline void ForgetPeakMemory() { std::ofstream("/proc/self/clear_refs") << "5"; }

}  // namespace mlh
