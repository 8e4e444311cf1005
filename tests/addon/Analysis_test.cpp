#include "mlh/analysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/FreshProcess.h"
#include "support/SungTunes.h"
#include "validation/Performance.h"

namespace {

TEST(ProcessorLevel, IsTheBestOneOfTheMachineUpToTheLimit) {
    for (const int32_t limit : {2, 1, 0, -1}) {
        InFreshProcess([limit] {
            mlh::LimitProcessorLevel(limit);
            return mlh::GetProcessorLevel() == 0;
        });
    }
    for (const int32_t limit : {7, 6, 5, 4, 3}) {
        InFreshProcess([limit] {
            const int32_t best = mlh::GetProcessorLevel();
            mlh::LimitProcessorLevel(limit);
            return mlh::GetProcessorLevel() == std::min(limit, best);
        });
    }
}

TEST(ProcessorLevel, NeverRisesAgain) {
    InFreshProcess([] {
        mlh::LimitProcessorLevel(0);
        mlh::LimitProcessorLevel(6);
        return mlh::GetProcessorLevel() == 0;
    });
}

TEST(ProcessorLevel, IsNamedAfterWhatItNeeds) {
    EXPECT_STREQ(mlh::GetProcessorLevelName(0), "none");
    EXPECT_STREQ(mlh::GetProcessorLevelName(3), "SSE2");
    EXPECT_STREQ(mlh::GetProcessorLevelName(4), "SSE3");
    EXPECT_STREQ(mlh::GetProcessorLevelName(5), "SSE4.2");
    EXPECT_STREQ(mlh::GetProcessorLevelName(6), "AVX");
}

TEST(ProcessorLevel, EveryOneFindsTheNotesThatWereSung) {
    const std::vector<double> sung = {60, 64, 67, 62};
    const SungRecording lead = SingScale(sung);
    for (const int32_t limit : {6, 5, 4, 3, 0}) {
        InFreshProcess([&] {
            mlh::LimitProcessorLevel(limit);
            Performance performance(lead);
            std::vector<double> found;
            for (const mlh::Note& note : mlh::GetAnalysis(performance.addOn()).notes) {
                found.push_back(std::round(static_cast<double>(note.pitch)));
            }
            return found == sung;
        });
    }
}

}  // namespace
