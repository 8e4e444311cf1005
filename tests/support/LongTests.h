// Tests that take minutes run only where they are asked for, as scripts/test-long does.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace mlh {

#define MLH_LONG_TEST()                                            \
    if (std::getenv("MLH_LONG_TESTS") == nullptr) {                \
        GTEST_SKIP() << "takes minutes: run by scripts/test-long"; \
    }                                                              \
    static_assert(true)

}  // namespace mlh
