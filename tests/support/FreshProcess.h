// Checks in a process of their own, since within one process the processor level only goes down.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace mlh {

// Fails the test unless `check`, in a forked child, answers true.
template <class Check>
void InFreshProcess(Check check) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(std::exit(check() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

}  // namespace mlh
