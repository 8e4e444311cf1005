// What a recording costs, by its length: processor time of analysis and of rendering (four voices), and the
// most memory held at a time beside the host's samples. Both must grow no faster than the recording. Used by
// scripts/measure-cost.
//
//     tool_Cost [--runs N] [--minutes A,B,...] [--mode M] [recording.wav]
//
// The modes: melody (the default), which is without chords; chords, two each second; pitches, the manual mode
// with a pitch for each note and voice; midi, the manual mode with four chords each second, as they come
// while it renders; unheard, the same chords in an automatic mode. Setting chords and pitches counts as
// rendering.
//
// The recording, or else a phrase of the synthetic singer, is repeated until it has the length. Each length
// is run N times and the least time counts, so that what else the machine does matters little. Memory is
// reported twice: the heap that was asked for, and by how much the resident memory of the process grew. Ends
// with 1 when the longest takes more than 1.05 times its share of the shortest, or when 3 minutes or less
// take more than 16 MiB of heap.
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "addon/HarmonyAddOn.h"
#include "analysis/PitchAnalysis.h"
#include "analysis/PitchMarks.h"
#include "support/ProcessMemory.h"
#include "support/Recordings.h"
#include "support/SungTunes.h"

namespace mlh {

// Every allocation of the process is counted.

extern "C" {
void* __libc_malloc(std::size_t);
void __libc_free(void*);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

std::atomic<int64_t> held{0};
std::atomic<int64_t> most{0};

void* Count(void* memory) {
    if (memory == nullptr) {
        return nullptr;
    }
    const int64_t now = held += static_cast<int64_t>(malloc_usable_size(memory));
    int64_t before = most;
    while (now > before && !most.compare_exchange_weak(before, now)) {
    }
    return memory;
}

void Discount(void* memory) {
    if (memory != nullptr) {
        held -= static_cast<int64_t>(malloc_usable_size(memory));
    }
}

}  // namespace

extern "C" {
void* malloc(std::size_t bytes) { return Count(__libc_malloc(bytes)); }
void* calloc(std::size_t count, std::size_t bytes) { return Count(__libc_calloc(count, bytes)); }
void* realloc(void* memory, std::size_t bytes) {
    Discount(memory);
    return Count(__libc_realloc(memory, bytes));
}
void* memalign(std::size_t alignment, std::size_t bytes) { return Count(__libc_memalign(alignment, bytes)); }
void* aligned_alloc(std::size_t alignment, std::size_t bytes) { return memalign(alignment, bytes); }
void free(void* memory) {
    Discount(memory);
    __libc_free(memory);
}
}

namespace {

constexpr int32_t kBlock = 4096;
constexpr double kAllowance = 1.05;  // over what a linear cost would be
constexpr double kMinutesInBound = 3.0;
constexpr int64_t kMostBytes = 16 << 20;

double UserSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) + 1e-6 * static_cast<double>(usage.ru_utime.tv_usec);
}

// A mono recording over and over, up to a length.
class LoopReader final : public MalleoTuneHarmonyAddOnIf::AudioReader {
  public:
    LoopReader(const std::vector<float>& loop, int32_t rate, int32_t length)
        : loop_(loop), rate_(rate), length_(length) {}
    int32_t SetPosition(int32_t frame) override {
        position_ = std::max(frame, 0);
        return 0;
    }
    int32_t Read(float** out, int32_t frames) override {
        const int32_t present = std::min(frames, length_ - position_);
        for (int32_t i = 0; i < frames;) {
            const auto at = static_cast<std::size_t>(position_ + i) % loop_.size();
            const auto run = std::min<int32_t>(frames - i, static_cast<int32_t>(loop_.size() - at));
            std::copy_n(loop_.data() + at, run, out[0] + i);
            i += run;
        }
        std::fill(out[0] + std::max(present, 0), out[0] + frames, 0.0f);
        position_ += present;
        return present;
    }
    int32_t GetLength() override { return length_; }
    int32_t GetNumChannels() override { return 1; }
    int32_t GetSampleRate() override { return rate_; }

  private:
    const std::vector<float>& loop_;
    int32_t rate_;
    int32_t length_;
    int32_t position_ = 0;
};

struct Cost {
    double analysis = std::numeric_limits<double>::max();   // [s]
    double rendering = std::numeric_limits<double>::max();  // [s]
    int64_t bytes = 0;                                      // of heap
    double resident = 0.0;                                  // [MiB]
    int32_t marks = 0;
    int32_t notes = 0;
};

using AddOnIf = MalleoTuneHarmonyAddOnIf;

bool IsMode(const std::string& name) {
    const char* const names[] = {"melody", "chords", "pitches", "midi", "unheard"};
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

AddOnIf::ChordElement ChordAt(double seconds, int32_t number) {
    const int32_t root = 48 + 5 * number % 12;
    return AddOnIf::ChordElement(static_cast<float>(seconds), root, root + 4, root + 7,
                                 number % 3 - 1 + root);
}

void SetUp(AddOnIf& addOn, const std::string& mode, double seconds) {
    if (mode == "chords") {
        AddOnIf::ChordVector chords;
        for (int32_t i = 0; 0.5 * i < seconds; ++i) {
            chords.push_back(ChordAt(0.5 * i, i));
        }
        addOn.SetChordVector(chords);
    }
    if (mode == "pitches" || mode == "midi") {
        addOn.SetHarmonyMode(3);
    }
    if (mode == "pitches") {
        for (int32_t v = 0; v < 4; ++v) {
            addOn.SetVoicePitchVector(v, addOn.GetLeadPitchVector());
        }
    }
    addOn.Update();
}

void RunOnce(const std::vector<float>& loop, int32_t rate, int32_t length, const std::string& mode,
             Cost& cost) {
    std::vector<float> scratch(4 * kBlock);
    float* rows[] = {scratch.data(), scratch.data() + kBlock, scratch.data() + 2 * kBlock,
                     scratch.data() + 3 * kBlock};
    LoopReader reader(loop, rate, length);
    const int64_t before = held;
    most = before;
    malloc_trim(0);
    ForgetPeakMemory();
    const double residentBefore = PeakMemory();

    const double start = UserSeconds();
    MalleoTuneHarmonyAddOnIf* addOn = nullptr;
    if (MalleoTuneHarmonyAddOnIf::CreateInstance(&addOn, &reader) != 0 || addOn->Prepare() != 0) {
        std::exit(2);
    }
    const double analysed = UserSeconds();
    SetUp(*addOn, mode, static_cast<double>(length) / rate);
    const bool queued = mode == "midi" || mode == "unheard";
    const int32_t block = queued ? std::min(rate / 4, kBlock) : kBlock;
    double due = 0.0;  // of the next chord [s]
    for (int32_t first = 0; first < length; first += block) {
        if (queued && due * rate <= first) {
            addOn->ApplyChord(ChordAt(due, first / block));
            due += 0.25;
        }
        addOn->Process(rows, std::min(block, length - first));
    }
    const double rendered = UserSeconds();

    auto& own = *static_cast<MalleoTuneHarmonyAddOn*>(addOn);
    const AnalysisNote* notes = nullptr;
    cost.analysis = std::min(cost.analysis, analysed - start);
    cost.rendering = std::min(cost.rendering, rendered - analysed);
    cost.bytes = most - before;
    cost.resident = PeakMemory() - residentBefore;
    cost.marks = own.GetPitchMarks().GetCount();
    cost.notes = own.GetAnalysis().GetNotes(&notes);
    MalleoTuneHarmonyAddOnIf::DestroyInstance(&addOn);
}

}  // namespace

}  // namespace mlh

using namespace mlh;

int main(int argc, char** argv) {
    int runs = 3;
    std::vector<double> minutes = {1.0, 8.0};
    std::vector<float> loop;
    int32_t rate = 44100;
    std::string name = "the synthetic singer";
    std::string mode = "melody";
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            runs = std::max(1, std::atoi(argv[++i]));
        } else if (std::strcmp(argv[i], "--minutes") == 0 && i + 1 < argc) {
            std::stringstream list(argv[++i]);
            minutes.clear();
            for (std::string item; std::getline(list, item, ',');) {
                minutes.push_back(std::atof(item.c_str()));
            }
        } else if (std::strcmp(argv[i], "--mode") == 0 && i + 1 < argc) {
            mode = argv[++i];
            if (!IsMode(mode)) {
                std::fprintf(stderr, "no such mode: %s\n", mode.c_str());
                return 2;
            }
        } else {
            Recording recording;
            std::string why;
            if (!LoadRecording("", argv[i], recording, why)) {
                std::fprintf(stderr, "%s\n", why.c_str());
                return 2;
            }
            loop = recording.Mono();
            rate = recording.sampleRate;
            name = recording.name;
        }
    }
    if (loop.empty()) {
        loop = SingPhrase(rate).samples;
    }

    std::vector<Cost> costs(minutes.size());
    for (int run = 0; run < runs; ++run) {  // in turn, so that a busy spell spreads over all lengths
        for (std::size_t i = 0; i < minutes.size(); ++i) {
            RunOnce(loop, rate, static_cast<int32_t>(60.0 * minutes[i] * rate), mode, costs[i]);
        }
    }

    std::printf("%s, %d Hz, %s, least of %d runs\n", name.c_str(), rate, mode.c_str(), runs);
    std::printf(
        "minutes  marks/s  notes/s  analysis s  per s of audio  rendering s  per s of audio  peak heap MiB  "
        "resident MiB\n");
    bool inBounds = true;
    for (std::size_t i = 0; i < minutes.size(); ++i) {
        const double seconds = 60.0 * minutes[i];
        const Cost& cost = costs[i];
        std::printf("%7.1f  %7.1f  %7.2f  %10.3f  %14.5f  %11.3f  %14.5f  %13.2f  %12.2f\n", minutes[i],
                    cost.marks / seconds, cost.notes / seconds, cost.analysis, cost.analysis / seconds,
                    cost.rendering, cost.rendering / seconds, cost.bytes / 1048576.0, cost.resident);
        if (minutes[i] > kMinutesInBound || cost.bytes <= kMostBytes) {
            continue;
        }
        std::printf("more than 16 MiB for %.1f minutes\n", minutes[i]);
        inBounds = false;
    }
    if (minutes.size() < 2) {
        return inBounds ? 0 : 1;
    }

    const Cost& shortest = costs.front();
    const Cost& longest = costs.back();
    const double share = minutes.back() / minutes.front();
    const double more = 60.0 * (minutes.back() - minutes.front());
    const double time = (longest.analysis + longest.rendering) / (shortest.analysis + shortest.rendering);
    std::printf(
        "%.0f times the length: analysis %.2f times, rendering %.2f times, both %.2f times; "
        "%.0f bytes more per second of audio, %.0f per mark\n",
        share, longest.analysis / shortest.analysis, longest.rendering / shortest.rendering, time,
        static_cast<double>(longest.bytes - shortest.bytes) / more,
        static_cast<double>(longest.bytes - shortest.bytes) / (longest.marks - shortest.marks));
    const bool linear = time <= kAllowance * share;
    if (!linear) {
        std::printf("more than %.2f times\n", kAllowance * share);
    }
    return linear && inBounds ? 0 : 1;
}
