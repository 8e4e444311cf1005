// main() of the test programs that run once per processor level, each time in a process of its own, since
// within one process the level only goes down:
//
//     <program> --level=6
//
// Without the option the best level of the machine runs. A level that the machine lacks is skipped.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dsp/Dispatch.h"

namespace mlh {

inline int32_t requestedLevel = -1;

inline uint32_t FeatureOfLevel(int32_t level) {
    switch (level) {
        case 3:
            return kFeatureSSE2;
        case 4:
            return kFeatureSSE3;
        case 5:
            return kFeatureSSE42;
        case 6:
            return kFeatureAVX;
        default:
            return 0;
    }
}

inline bool MachineHas(int32_t level) {
    const uint32_t feature = FeatureOfLevel(level);
    return (QueryProcessorFeatures() & feature) == feature;
}

// A program that silently ran at another level would prove nothing.
class LevelEnvironment : public ::testing::Environment {
  public:
    void SetUp() override { ExpectLevel(); }
    void TearDown() override { ExpectLevel(); }

  private:
    static void ExpectLevel() {
        if (requestedLevel >= 0) {
            ASSERT_EQ(CurrentLevel(), requestedLevel);
        }
    }
};

}  // namespace mlh

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--level=", 8) == 0) {
            mlh::requestedLevel = std::atoi(argv[i] + 8);
        }
    }
    if (mlh::requestedLevel >= 0 && !mlh::MachineHas(mlh::requestedLevel)) {
        std::printf("this machine has no level %d\n", mlh::requestedLevel);
        return 77;
    }
    mlh::InitDispatch(mlh::requestedLevel);
    std::printf("processor level %d\n", mlh::CurrentLevel());
    ::testing::AddGlobalTestEnvironment(new mlh::LevelEnvironment);
    return RUN_ALL_TESTS();
}
