// The same input gives the same bits, however many instances ran before or run beside it. Builds are compared
// by scripts/compare-builds.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "mlh/analysis.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

SungRecording SingLead(double lowest, double rate) {
    SingerSettings settings;
    settings.sampleRate = rate;
    settings.vibratoDepth = 0.4;
    settings.roomNoise = 0.001;
    return Sing(
        {{lowest, 0.5, 'a', 's'}, {lowest + 4, 0.4, 'e'}, {0, 0.2, kRest}, {lowest + 7, 0.6, 'o', 'm'}},
        settings);
}

Rows RenderChoir(const SungRecording& lead) {
    Performance performance(lead);
    return performance.Render();
}

TEST(Reproducibility, HoldsAfterManyOtherInstances) {
    const SungRecording lead = SingLead(55, 44100);
    const Rows first = RenderChoir(lead);
    std::vector<std::unique_ptr<Performance>> others;  // some stay alive
    for (int i = 0; i < 6; ++i) {
        others.push_back(std::make_unique<Performance>(SingLead(48 + 3 * i, i % 2 == 0 ? 44100 : 22050)));
        if (i % 3 != 0) {
            others.back()->SingMoved({0.0f, 2.0f * static_cast<float>(i)});
        }
        others.back()->Render();
    }
    EXPECT_EQ(RenderChoir(lead), first);
    others.clear();
    EXPECT_EQ(RenderChoir(lead), first);
}

#ifndef _WIN32
// The choir of a process of its own, since within one process the level only goes down.
Rows RenderInFreshProcess(const SungRecording& lead, const std::vector<int32_t>& levels) {
    int ends[2];
    if (pipe(ends) != 0) {
        return {};
    }
    const pid_t child = fork();
    if (child == 0) {
        Rows rows;
        for (const int32_t level : levels) {
            mlh::LimitProcessorLevel(level);
            rows = RenderChoir(lead);
        }
        FILE* out = fdopen(ends[1], "w");
        for (const auto& row : rows) {
            fwrite(row.data(), sizeof(float), row.size(), out);
        }
        _exit(fclose(out) == 0 ? 0 : 1);
    }
    close(ends[1]);
    FILE* in = fdopen(ends[0], "r");
    Rows rows(4, std::vector<float>(lead.samples.size()));
    for (auto& row : rows) {
        EXPECT_EQ(fread(row.data(), sizeof(float), row.size(), in), row.size());
    }
    fclose(in);
    waitpid(child, nullptr, 0);
    return rows;
}

TEST(Reproducibility, HoldsAtALevelThatTheProcessWentDownTo) {
    const SungRecording lead = SingLead(55, 44100);
    for (const int32_t level : {5, 4, 3, 0}) {
        EXPECT_EQ(RenderInFreshProcess(lead, {6, level}), RenderInFreshProcess(lead, {level})) << level;
    }
}
#endif

TEST(Reproducibility, HoldsForInstancesThatRenderInTurn) {
    const SungRecording low = SingLead(48, 44100);
    const SungRecording high = SingLead(67, 48000);
    const Rows lowAlone = RenderChoir(low);
    const Rows highAlone = RenderChoir(high);
    Performance one(low), other(high);
    static constexpr int32_t kBlock = 4096;
    Rows lowRows(4, std::vector<float>(low.samples.size())),
        highRows(4, std::vector<float>(high.samples.size()));
    const auto render = [](Performance& performance, Rows& rows, int32_t first) {
        std::vector<float*> pointers;
        for (auto& row : rows) {
            pointers.push_back(row.data() + first);
        }
        performance.addOn().Process(pointers.data(), std::min(kBlock, performance.frames() - first));
    };
    for (int32_t first = 0; first < std::max(one.frames(), other.frames()); first += kBlock) {
        if (first < one.frames()) {
            render(one, lowRows, first);
        }
        if (first < other.frames()) {
            render(other, highRows, first);
        }
    }
    EXPECT_EQ(lowRows, lowAlone);
    EXPECT_EQ(highRows, highAlone);
}

TEST(Reproducibility, HoldsForInstancesOnThreadsOfTheirOwn) {
    const std::vector<SungRecording> leads = {SingLead(48, 44100), SingLead(60, 22050), SingLead(67, 48000)};
    std::vector<Rows> alone(leads.size()), together(leads.size());
    for (std::size_t i = 0; i < leads.size(); ++i) {
        alone[i] = RenderChoir(leads[i]);
    }
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < leads.size(); ++i) {
        threads.emplace_back([&, i] { together[i] = RenderChoir(leads[i]); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(together, alone);
}

}  // namespace

}  // namespace mlh
