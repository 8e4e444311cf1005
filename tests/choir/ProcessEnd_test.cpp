// Hosts use the choir until the very end of the process, in exit handlers and on threads that outlive main.
// Each case is a process of its own, in which nothing has used the library before.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "mlh/choir.h"
#include "support/FreshProcess.h"
#include "support/SungTunes.h"

namespace mlh::choir {

namespace {

constexpr int32_t kRate = 16000;
constexpr int kResultDiffers = 3;

const std::vector<float>& Song() {
    static const auto& samples = *new std::vector<float>(SingScale({55, 59}, 0.25, 0, kRate).samples);
    return samples;
}

// What a choir with many settings is and sounds like; empty where a call fails.
struct Result {
    std::string document;
    std::vector<float> mix;
    bool operator==(const Result&) const = default;
};

Result MakeChoir() {
    const auto frames = static_cast<int64_t>(Song().size());
    const char* const settings =
        R"({"style": "choir", "key": "C", "scale": "minor", "range": ["soprano", "bass"],
        "chords": "0 Cm", "quality": "high", "snap": "scale", "consonants": "thin", "mix": "backing"})";
    Result result{std::string(100000, '\0'), std::vector<float>(2 * Song().size())};
    mlhTake* take = nullptr;
    mlhChoir* choir = nullptr;
    int64_t size = 0;
    const bool made =
        mlhTakeCreate(&take, Song().data(), frames, 1, kRate, nullptr, nullptr) == MLH_CHOIR_OK &&
        mlhChoirCreate(&choir, take, settings, nullptr, nullptr) == MLH_CHOIR_OK &&
        mlhChoirRenderMix(choir, 0, frames, 2, result.mix.data(), nullptr, nullptr) == MLH_CHOIR_OK &&
        mlhChoirGetDocument(choir, 0, result.document.data(), 100000, &size) == MLH_CHOIR_OK;
    mlhChoirDestroy(&choir);
    mlhTakeDestroy(&take);
    return made ? result : Result();
}

Result* expected = nullptr;

// Ends the process with a code of its own where the result is not that of before.
void MakeAgain() {
    if (expected == nullptr || expected->mix.empty() || MakeChoir() != *expected) {
        std::_Exit(kResultDiffers);
    }
}

TEST(ChoirProcessEnd, AnExitHandlerOfBeforeTheFirstUseMakesAChoir) {
    InFreshProcess([] {
        std::atexit(MakeAgain);
        expected = new Result(MakeChoir());
        return !expected->mix.empty();
    });
}

// Made before the library's first use, and so destroyed after all that the library might have to destroy.
class StaticWorker {
  public:
    ~StaticWorker() {
        ending_ = true;
        thread_.join();
    }

  private:
    std::atomic<bool> ending_{false};
    std::thread thread_{[this] {
        while (!ending_) {
            std::this_thread::yield();
        }
        MakeAgain();
    }};
};

TEST(ChoirProcessEnd, AStaticWorkerMakesAChoirAfterMainHasReturned) {
    InFreshProcess([] {
        static StaticWorker worker;
        expected = new Result(MakeChoir());
        return !expected->mix.empty();
    });
}

}  // namespace

}  // namespace mlh::choir
