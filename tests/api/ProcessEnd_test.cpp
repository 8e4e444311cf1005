// Hosts render until the very end of the process, in exit handlers and on threads that outlive main, and load
// and unload the library. Each case is a process of its own, in which nothing has used the library before.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "mlh/mlh.h"
#include "support/FreshProcess.h"
#include "support/Paths.h"
#include "support/ProcessMemory.h"
#include "support/Shell.h"
#include "support/SungTunes.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace mlh {

namespace {

constexpr int32_t kRate = 16000;
constexpr int kMixDiffers = 3;

const std::vector<float>& Song() {
    static const auto& samples = *new std::vector<float>(SingScale({55, 59}, 0.25, 0, kRate).samples);
    return samples;
}

// What the cases call, of the library linked or of one loaded.
struct Calls {
    decltype(&mlhCreateInstance) create = mlhCreateInstance;
    decltype(&mlhAssignInputData32) assign = mlhAssignInputData32;
    decltype(&mlhSetParams) setParams = mlhSetParams;
    decltype(&mlhProcessOutputData16) process = mlhProcessOutputData16;
    decltype(&mlhDestroyInstance) destroy = mlhDestroyInstance;
};

std::vector<int16_t> RenderWhole(const Calls& calls = {}) {
    const auto frames = static_cast<int32_t>(Song().size());
    std::vector<int16_t> mix(Song().size());
    void* handle = nullptr;
    calls.create(&handle);
    calls.assign(handle, Song().data(), frames, 1, kRate);
    calls.setParams(handle, true, 4, 1, 0.5f, 0, false);
    const int32_t status = calls.process(handle, mix.data(), frames, 1, nullptr);
    calls.destroy(&handle);
    return status == 0 ? mix : std::vector<int16_t>();
}

std::vector<int16_t>* expected = nullptr;

// Ends the process with a code of its own where the mix is not that of before.
void RenderAgain() {
    if (expected == nullptr || expected->empty() || RenderWhole() != *expected) {
        std::_Exit(kMixDiffers);
    }
}

TEST(ProcessEnd, AnExitHandlerOfBeforeTheFirstUseRenders) {
    InFreshProcess([] {
        std::atexit(RenderAgain);
        expected = new std::vector<int16_t>(RenderWhole());
        return !expected->empty();
    });
}

// Made before the library's first use, and so destroyed after all that the library might have to destroy. Its
// thread is still there then, and renders once more.
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
        RenderAgain();
    }};
};

TEST(ProcessEnd, AStaticWorkerRendersAfterMainHasReturned) {
    InFreshProcess([] {
        static StaticWorker worker;
        expected = new std::vector<int16_t>(RenderWhole());
        return !expected->empty();
    });
}

#ifndef _WIN32

// Nothing of it may be left after Close, so that opening it again gives a library like new.
class LoadedLibrary {
  public:
    void Open() {
        library_ = dlopen(Path().c_str(), RTLD_NOW | RTLD_LOCAL);
        Find("mlhCreateInstance", calls.create);
        Find("mlhAssignInputData32", calls.assign);
        Find("mlhSetParams", calls.setParams);
        Find("mlhProcessOutputData16", calls.process);
        Find("mlhDestroyInstance", calls.destroy);
    }
    void Close() {
        dlclose(library_);
        library_ = nullptr;
    }
    static bool IsInMemory() {
        void* const found = dlopen(Path().c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (found != nullptr) {
            dlclose(found);
        }
        return found != nullptr;
    }

    Calls calls;

  private:
    static std::string Path() { return BinaryDir() + "/libmlh.so"; }

    template <class Function>
    void Find(const char* name, Function& function) {
        function = reinterpret_cast<Function>(library_ != nullptr ? dlsym(library_, name) : nullptr);
        if (function == nullptr) {
            std::_Exit(4);
        }
    }

    void* library_ = nullptr;
};

LoadedLibrary loaded;

TEST(ProcessEnd, AnExitHandlerOfBeforeTheLibraryWasLoadedRenders) {
    InFreshProcess([] {
        std::atexit([] {
            if (RenderWhole(loaded.calls) != *expected) {
                std::_Exit(kMixDiffers);
            }
        });
        loaded.Open();
        expected = new std::vector<int16_t>(RenderWhole(loaded.calls));
        return !expected->empty();
    });
}

TEST(ProcessEnd, ALibraryClosedAndOpenedAgainRendersTheSame) {
    InFreshProcess([] {
        loaded.Open();
        const std::vector<int16_t> first = RenderWhole(loaded.calls);
        loaded.Close();
        const bool gone = kMemoryIsMeasurable ? !LoadedLibrary::IsInMemory() : true;
        loaded.Open();
        return !first.empty() && RenderWhole(loaded.calls) == first && gone;
    });
}

// What is kept for all voices lies in the library itself. A piece of the heap that is never freed would stay
// at each closing: half a megabyte for the window rows.
TEST(ProcessEnd, OpeningAgainAndAgainKeepsNoMemory) {
    if (!kMemoryIsMeasurable) {
        GTEST_SKIP() << "sanitizers keep freed memory";
    }
    InFreshProcess([] {
        const auto openAndClose = [] {
            loaded.Open();
            RenderWhole(loaded.calls);
            loaded.Close();
        };
        for (int i = 0; i < 5; ++i) {
            openAndClose();
        }
        const double before = PeakMemory();
        for (int i = 0; i < 30; ++i) {
            openAndClose();
        }
        return PeakMemory() - before < 4.0;
    });
}

TEST(ProcessEnd, TheLibraryLeavesNothingToDestroy) {
    if (!kMemoryIsMeasurable) {
        GTEST_SKIP() << "sanitizers register destructors of their own";
    }
    const auto nm = RunShell("nm -D --undefined-only " + BinaryDir() + "/libmlh.so");
    ASSERT_EQ(nm.status, 0) << nm.output;
    EXPECT_NE(nm.output.find("memcpy"), std::string::npos);  // what is imported is listed
    EXPECT_EQ(nm.output.find("atexit"), std::string::npos) << nm.output;
}

#endif

}  // namespace

}  // namespace mlh
