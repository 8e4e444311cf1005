// The calls compute alike whatever a host does with the processor's floating point.
#pragma once

#include <cfenv>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

namespace mlh {

// To nearest, denormals kept, nothing trapped. Some hosts let errors trap, and the analysis divides by zero
// where that means something; tables that all instances share must not be rounded one host's way. The host's
// own state comes back at the end of the scope.
class DefaultFloatingPoint {
  public:
    DefaultFloatingPoint() {
        std::feholdexcept(&host_);
        std::fesetround(FE_TONEAREST);
#ifdef __SSE2__
        _mm_setcsr(kNothingFlushedOrTrapped);
#endif
    }
    ~DefaultFloatingPoint() {
        std::fesetenv(&host_);
#ifdef __SSE2__
        _mm_setcsr(hostVectors_);
#endif
    }
    DefaultFloatingPoint(const DefaultFloatingPoint&) = delete;
    DefaultFloatingPoint& operator=(const DefaultFloatingPoint&) = delete;

  private:
#ifdef __SSE2__
    // Standard functions know nothing of flushing, and not every system's restore the vector unit. First of
    // all members, before anything is changed.
    static constexpr unsigned kNothingFlushedOrTrapped = 0x1F80;
    unsigned hostVectors_ = _mm_getcsr();
#endif
    std::fenv_t host_;
};

}  // namespace mlh
