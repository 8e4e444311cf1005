// What every exported function answers when a host gets something wrong: no corruption, no hang, no change.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mlh/mlh.h"
#include "support/Paths.h"
#include "support/SungTunes.h"

namespace mlh {

namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kRate = 16000;

struct Dispose {
    void operator()(PitchVector* v) const { mlhDisposePitchVector(v); }
    void operator()(ChordVector* v) const { mlhDisposeChordVector(v); }
};
using Pitches = std::unique_ptr<PitchVector, Dispose>;
using Chords = std::unique_ptr<ChordVector, Dispose>;

Pitches MakePitches(const std::vector<PitchItem>& items) {
    Pitches vector(mlhGetNewPitchVector());
    for (const PitchItem& item : items) {
        mlhPitchVectorAddItem(vector.get(), item);
    }
    return vector;
}

Chords MakeChords(const std::vector<ChordItem>& items) {
    Chords vector(mlhGetNewChordVector());
    for (const ChordItem& item : items) {
        mlhChordVectorAddItem(vector.get(), item);
    }
    return vector;
}

const Chords& GoodChords() {
    static const Chords chords = MakeChords({{0.0f, {60, 64, 67, -1}}, {0.8f, {65, 69, 72, -1}}});
    return chords;
}

const Pitches& SomePitches() {
    static const Pitches pitches = MakePitches({{0.0f, 60, 0.5f, 1}, {0.7f, 64, 0.5f, 1}});
    return pitches;
}

// Three notes in 1.5 s.
const std::vector<float>& Song() {
    static const std::vector<float> samples = SingScale({60, 64, 62}, 0.5, 0, kRate).samples;
    return samples;
}
int32_t SongFrames() { return static_cast<int32_t>(Song().size()); }

struct Host {
    Host() { mlhCreateInstance(&handle); }
    ~Host() { mlhDestroyInstance(&handle); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    void* handle = nullptr;
};

struct Ready : Host {
    Ready() {
        EXPECT_EQ(mlhAssignInputData32(handle, Song().data(), SongFrames(), 1, kRate), 0);
        EXPECT_EQ(mlhSetParams(handle, true, 4, 1, 0.5f, 0, false), 0);
        EXPECT_EQ(mlhSetChordVector(handle, GoodChords().get()), 0);
    }
};

std::vector<int16_t> Render(void* handle, int32_t frames, int32_t channels = 1,
                            const double* gains = nullptr) {
    std::vector<int16_t> out(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels), 7);
    EXPECT_EQ(mlhProcessOutputData16(handle, out.data(), frames, channels, gains), 0);
    return out;
}

// Rows that nothing may be written to.
struct Untouched {
    Untouched() : out16(8, 7), out32(8, 9.0f) {
        for (float*& row : rows) {
            row = out32.data();
        }
        withoutThird[0] = withoutThird[1] = withoutThird[3] = out32.data();
    }
    ~Untouched() {
        for (int16_t sample : out16) {
            EXPECT_EQ(sample, 7);
        }
        for (float sample : out32) {
            EXPECT_EQ(sample, 9.0f);
        }
    }
    std::vector<int16_t> out16;
    std::vector<float> out32;
    float* rows[4];
    float* withoutThird[4] = {};
};

// What a call is made on: no instance, a new one of its own, or one that is ready to render: one that all
// rows share, or one of its own where the call changes what is heard.
enum class On { Nothing, New, Ready, OwnReady };

// A row of the table: what is passed to a function, and what comes back. Rows that have all but the value in
// common are printed as one.
struct Row {
    std::string function;
    On on;
    std::string passed;
    std::string value;
    std::string answer;
    std::function<std::string(void* handle)> call;
};

std::string Text(int32_t status) { return std::to_string(status); }
std::string Text(bool done) { return done ? "true" : "false"; }
std::string Text(PitchVector* vector) { return mlhDisposePitchVector(vector) ? "a vector" : "null"; }
std::string Text(ChordVector* vector) { return mlhDisposeChordVector(vector) ? "a vector" : "null"; }
std::string Text(const PitchItem& item) {
    const bool zero = item.start == 0.0f && item.pitch == 0.0f && item.duration == 0.0f && item.level == 0.0f;
    return zero ? "zeros" : "an item";
}
std::string Text(const ChordItem& item) {
    const bool zero =
        item.time == 0.0f && std::all_of(item.notes, item.notes + 4, [](int32_t n) { return n == 0; });
    return zero ? "zeros" : "an item";
}

struct BadNumber {
    std::string name;
    float value;
};
const std::vector<BadNumber>& BadNumbers() {
    static const std::vector<BadNumber> numbers = {{"NaN", std::nanf("")},
                                                   {"infinite", INFINITY},
                                                   {"-infinite", -INFINITY},
                                                   {"1e30", 1e30f},
                                                   {"-1e30", -1e30f}};
    return numbers;
}
template <class Item>
struct BadItem {
    std::string field, value;
    Item item;
};

// A note with one field that is bad, of each field in turn.
std::vector<BadItem<PitchItem>> BadNotes() {
    std::vector<BadItem<PitchItem>> notes;
    for (const auto& [name, value] : BadNumbers()) {
        notes.push_back({"`start`", name, {value, 60, 0.5f, 1}});
        notes.push_back({"`pitch`", name, {0.1f, value, 0.5f, 1}});
        notes.push_back({"`duration`", name, {0.1f, 60, value, 1}});
        notes.push_back({"`level`", name, {0.1f, 60, 0.5f, value}});
    }
    return notes;
}

std::vector<BadItem<ChordItem>> BadChords() {
    std::vector<BadItem<ChordItem>> chords;
    for (const auto& [name, value] : BadNumbers()) {
        chords.push_back({"`time`", name, {value, {60, 64, 67, -1}}});
    }
    chords.push_back({"`notes`", "-2^31", {0.3f, {kMin, kMin, kMin, kMin}}});
    chords.push_back({"`notes`", "2^31 - 1", {0.3f, {kMax, kMax, kMax, kMax}}});
    chords.push_back({"`notes`", "-1", {0.3f, {-1, -1, -1, -1}}});
    return chords;
}

// All rows, for all functions with arguments. `u` and the vectors are what good arguments point to.
class Table {
  public:
    explicit Table(Untouched& u) : u_(u) {
        InstanceRows();
        ParameterRows();
        AssignmentRows();
        ProcessRows();
        PitchVectorRows();
        ChordVectorRows();
        MidiRows();
        ItemRows();
        BadItemRows();
    }
    const std::vector<Row>& rows() const { return rows_; }

  private:
    template <class Call>
    void Add(const std::string& function, On on, const std::string& passed, const std::string& answer,
             Call call) {
        AddValue(function, on, passed, "", answer, call);
    }
    template <class Call>
    void AddValue(const std::string& function, On on, const std::string& passed, const std::string& value,
                  const std::string& answer, Call call) {
        rows_.push_back(
            {function, on, passed, value, answer, [call](void* handle) { return Text(call(handle)); }});
    }
    // The same good call without an instance, without input, and ready.
    template <class Call>
    void AddStates(const std::string& function, const std::string& nothing, const std::string& fresh,
                   const std::string& ready, Call call) {
        Add(function, On::Nothing, "good arguments", nothing, call);
        Add(function, On::New, "good arguments", fresh, call);
        Add(function, On::Ready, "good arguments", ready, call);
    }

    void InstanceRows() {
        Add("mlhAssignDebugMessageCallback", On::Nothing, "null", "0",
            [](void*) { return mlhAssignDebugMessageCallback(nullptr); });
        Add("mlhCreateInstance", On::Nothing, "null", "2", [](void*) { return mlhCreateInstance(nullptr); });
        Add("mlhDestroyInstance", On::Nothing, "null", "3",
            [](void*) { return mlhDestroyInstance(nullptr); });
        Add("mlhDestroyInstance", On::Nothing, "a pointer to null", "3",
            [](void* h) { return mlhDestroyInstance(&h); });
        Add("mlhDestroyInstance", On::Nothing, "a handle for the second time", "3", [](void* h) {
            mlhCreateInstance(&h);
            mlhDestroyInstance(&h);
            return mlhDestroyInstance(&h);
        });
    }

    void ParameterRows() {
        const std::string name = "mlhSetParams";
        const auto call = [](bool automatic, int32_t voices, int32_t above, float spread, int32_t key) {
            return [=](void* h) { return mlhSetParams(h, automatic, voices, above, spread, key, false); };
        };
        AddStates(name, "3", "3", "0", call(true, 4, 1, 0.5f, 0));
        for (const int32_t voices : {kMin, -1, 0, 1, 5, kMax}) {
            Add(name, On::Ready, "`voices` " + Number(voices) + ", automatic", "2",
                call(true, voices, 1, 0.5f, 0));
        }
        for (const int32_t voices : {kMin, -1, 0, 5, kMax}) {
            Add(name, On::Ready, "`voices` " + Number(voices) + ", manual", "2",
                call(false, voices, 1, 0.5f, 0));
        }
        for (const int32_t above : {kMin, -1, 4, kMax}) {
            Add(name, On::Ready, "`voicesAbove` " + Number(above), "0, the value is ignored",
                call(true, 4, above, 0.5f, 0));
        }
        for (const float spread : {std::nanf(""), INFINITY, -INFINITY, -1e-6f, 1.000001f}) {
            Add(name, On::Ready, "`spread` " + Number(spread), "0, the value is ignored",
                call(true, 4, 1, spread, 0));
        }
        Add(name, On::New, "`voices` 5", "3", call(true, 5, 1, 0.5f, 0));
        for (const int32_t key : {kMin, -24, 12, 2147483640}) {  // C, each of them but the first
            Add(name, On::New, "`keyRoot` " + Number(key), "0", [call, key](void* h) {
                mlhAssignInputData32(h, nullptr, 100, 1, kRate);
                return call(true, 4, 1, 0.5f, key)(h);
            });
        }
    }

    // An assignment, and what the instance answers then.
    template <class Sample>
    void AssignmentRows(const std::string& name, Sample* samples,
                        int32_t (*assign)(void*, const Sample*, int32_t, int32_t, int32_t)) {
        Add(name, On::Nothing, "good arguments", "3",
            [=](void* h) { return assign(h, samples, 8, 1, kRate); });
        Add(name, On::Nothing, "all of it bad", "3", [=](void* h) { return assign(h, nullptr, -1, 0, -1); });
        struct Format {
            std::string passed;
            const Sample* samples;
            int32_t frames, channels, rate;
            std::string answer, later;
        };
        const auto named = [](const std::string& what, int32_t value) {
            return "`" + what + "` " + Number(value);
        };
        std::vector<Format> formats = {
            {"good arguments", samples, 8, 1, kRate, "0", "0"},
            {"null `samples`", nullptr, 5000, 2, kRate, "0, an input of silence", "0"},
            {"null `samples`, 0 frames", nullptr, 0, 2, kRate, "0", "0"}};
        for (const int32_t frames : {kMin, -1, 0, 1, 2}) {
            formats.push_back({named("frames", frames), samples, frames, 1, kRate, "0", "0"});
        }
        for (const int32_t channels : {kMin, -1, 0, 48, kMax}) {
            formats.push_back({named("channels", channels), samples, 0, channels, kRate, "0", "3"});
        }
        for (const int32_t channels : {3, 47}) {
            formats.push_back({named("channels", channels), samples, 0, channels, kRate, "0", "0"});
        }
        for (const int32_t rate : {kMin, -44100, 0, 11024, 256000, kMax}) {
            formats.push_back({named("sampleRate", rate), samples, 8, 1, rate, "0", "3"});
        }
        for (const int32_t rate : {11025, 255999}) {
            formats.push_back({named("sampleRate", rate), samples, 8, 1, rate, "0", "0"});
        }
        for (const Format& f : formats) {
            Add(name, On::New, f.passed, f.answer,
                [=](void* h) { return assign(h, f.samples, f.frames, f.channels, f.rate); });
            Add(name, On::New, f.passed + "; then `mlhSetParams`", f.later, [=](void* h) {
                assign(h, f.samples, f.frames, f.channels, f.rate);
                return mlhSetParams(h, true, 4, 1, 0.5f, 0, false);
            });
        }
        Add(name, On::New, "a good format after a refused one; then `mlhSetParams`", "0", [=](void* h) {
            assign(h, samples, 8, 48, kRate);
            assign(h, samples, 8, 1, kRate);
            return mlhSetParams(h, true, 4, 1, 0.5f, 0, false);
        });
        SecondAssignmentRows(name, samples, assign);
    }
    // The instance has floats of one channel already.
    template <class Sample>
    void SecondAssignmentRows(const std::string& name, Sample* samples,
                              int32_t (*assign)(void*, const Sample*, int32_t, int32_t, int32_t)) {
        struct Format {
            std::string passed;
            const Sample* samples;
            int32_t frames, channels, rate;
            std::string later;
        };
        const Format formats[] = {
            {"shorter", samples, 8, 1, kRate, "0"},      {"null `samples`", nullptr, 5000, 1, kRate, "0"},
            {"`frames` -1", samples, -1, 1, kRate, "0"}, {"2 channels", samples, 4, 2, kRate, "0"},
            {"3 channels", samples, 2, 3, kRate, "2"},   {"48 channels", samples, 0, 48, kRate, "2"},
            {"0 channels", samples, 8, 0, kRate, "2"},   {"`sampleRate` 44100", samples, 8, 1, 44100, "0"},
            {"`sampleRate` 0", samples, 8, 1, 0, "0"}};
        for (const Format& f : formats) {
            AddValue(name, On::OwnReady, "a second time:", f.passed, "0",
                     [=](void* h) { return assign(h, f.samples, f.frames, f.channels, f.rate); });
            AddValue(name, On::OwnReady, "a second time, then `mlhProcessOutputData16`:", f.passed, f.later,
                     [=](void* h) {
                         assign(h, f.samples, f.frames, f.channels, f.rate);
                         int16_t out[20];
                         return mlhProcessOutputData16(h, out, 20, 1, nullptr);
                     });
        }
    }
    void AssignmentRows() {
        AssignmentRows("mlhAssignInputData", u_.out16.data(), mlhAssignInputData);
        AssignmentRows("mlhAssignInputData16", u_.out16.data(), mlhAssignInputData16);
        AssignmentRows("mlhAssignInputData32", u_.out32.data(), mlhAssignInputData32);
    }

    // `call` has a buffer or null, a number of frames and of channels.
    template <class Out, class Call>
    void ProcessRows(const std::string& name, Out out, Call call) {
        Add(name, On::Nothing, "good arguments", "3", [=](void* h) { return call(h, out, 8, 1); });
        Add(name, On::New, "good arguments", "3", [=](void* h) { return call(h, out, 8, 1); });
        Add(name, On::New, "null `out`", "3", [=](void* h) { return call(h, nullptr, 8, 1); });
        Add(name, On::New, "`channels` 3", "3", [=](void* h) { return call(h, out, 8, 3); });
        Add(name, On::Ready, "null `out`", "2", [=](void* h) { return call(h, nullptr, 8, 1); });
        Add(name, On::Ready, "null `out`, " + Number(kMax) + " frames", "2",
            [=](void* h) { return call(h, nullptr, kMax, 2); });
        Add(name, On::Ready, "null `out`, 0 frames", "0", [=](void* h) { return call(h, nullptr, 0, 1); });
        for (const int32_t frames : {kMin, -1, 0}) {
            Add(name, On::Ready, "`frames` " + Number(frames), "0, nothing is written",
                [=](void* h) { return call(h, out, frames, 1); });
        }
        for (const int32_t channels : {kMin, -1, 0, 3, kMax}) {
            Add(name, On::Ready, "`channels` " + Number(channels), "2",
                [=](void* h) { return call(h, out, 8, channels); });
        }
        Add(name, On::Ready, "`channels` 3, 0 frames", "2", [=](void* h) { return call(h, out, 0, 3); });
        for (const int32_t asked : {1, 2, 3}) {
            Add(name, On::New, "`channels` " + Number(asked) + ", of an input of 3", "2", [=](void* h) {
                mlhAssignInputData32(h, nullptr, 100, 3, kRate);
                mlhSetParams(h, true, 4, 1, 0.5f, 0, false);
                return call(h, out, 8, asked);
            });
        }
    }
    // Calls that do write, to `out`, which has room for two channels of kLong frames.
    template <class Out, class Call>
    void WritingRows(const std::string& name, Out out, Call call) {
        Add(name, On::OwnReady, "`frames` beyond the input", "0, silence after the end",
            [=](void* h) { return call(h, out, kLong, 1); });
        Add(name, On::OwnReady, "twice", "0", [=](void* h) {
            call(h, out, 5000, 1);
            return call(h, out, 5000, 1);
        });
        Add(name, On::OwnReady, "`channels` 2, of an input of 1", "0",
            [=](void* h) { return call(h, out, 5000, 2); });
        for (const int32_t asked : {1, 2}) {
            Add(name, On::New, "`channels` " + Number(asked) + ", of an input of 2, without `mlhSetParams`",
                "0", [=](void* h) {
                    mlhAssignInputData32(h, nullptr, 100, 2, kRate);
                    return call(h, out, 5000, asked);
                });
        }
    }
    template <class Process>
    void GainRows(const std::string& name, Process process) {
        for (const BadNumber& bad : BadNumbers()) {
            AddValue(name, On::OwnReady, "`gains`", bad.name, "0", [=, this](void* h) {
                const std::vector<double> gains(10, static_cast<double>(bad.value));
                return process(h, written16_.data(), 5000, 1, gains.data());
            });
        }
    }
    void ProcessRows() {
        const auto call16 = [](auto process) {
            return [=](void* h, int16_t* out, int32_t frames, int32_t channels) {
                return process(h, out, frames, channels, nullptr);
            };
        };
        ProcessRows("mlhProcessOutputData", u_.out16.data(), call16(mlhProcessOutputData));
        ProcessRows("mlhProcessOutputData16", u_.out16.data(), call16(mlhProcessOutputData16));
        ProcessRows("mlhProcessOutputData32", &u_.rows[0], mlhProcessOutputData32);
        WritingRows("mlhProcessOutputData", written16_.data(), call16(mlhProcessOutputData));
        WritingRows("mlhProcessOutputData16", written16_.data(), call16(mlhProcessOutputData16));
        WritingRows("mlhProcessOutputData32", &writtenRows_[0], mlhProcessOutputData32);
        GainRows("mlhProcessOutputData", mlhProcessOutputData);
        GainRows("mlhProcessOutputData16", mlhProcessOutputData16);
        float** const rows = u_.withoutThird;
        Add("mlhProcessOutputData32", On::Ready, "a null row of a voice", "2",
            [=](void* h) { return mlhProcessOutputData32(h, rows, 8, 1); });
        Add("mlhProcessOutputData32", On::Ready, "a null row, 0 frames", "0",
            [=](void* h) { return mlhProcessOutputData32(h, rows, 0, 1); });
    }

    void PitchVectorRows() {
        const auto get = [](uint32_t voice) {
            return [=](void* h) { return mlhGetPitchVector(h, voice, 1, 255); };
        };
        AddStates("mlhGetPitchVector", "null", "null", "a vector", get(0));
        for (const uint32_t voice : {5u, 0x80000000u, 0xFFFFFFFFu}) {
            Add("mlhGetPitchVector", On::Ready, "`voice` " + std::to_string(voice), "null", get(voice));
        }
        const auto set = [](int32_t voice, const PitchVector* vector) {
            return [=](void* h) { return mlhSetPitchVector(h, voice, vector); };
        };
        Add("mlhSetPitchVector", On::Nothing, "good arguments", "3", set(1, SomePitches().get()));
        Add("mlhSetPitchVector", On::New, "good arguments", "3", set(1, SomePitches().get()));
        for (const int32_t voice : {kMin, -1, 0, 5, kMax}) {
            Add("mlhSetPitchVector", On::Ready, "`voice` " + Number(voice), "2",
                set(voice, SomePitches().get()));
        }
        Add("mlhSetPitchVector", On::Nothing, "a null vector", "3", set(1, nullptr));
        Add("mlhSetPitchVector", On::New, "a null vector", "2", set(1, nullptr));
        Add("mlhSetPitchVector", On::New, "`voice` 0", "2", set(0, SomePitches().get()));
        Add("mlhSetPitchVector", On::Ready, "a null vector", "2", set(1, nullptr));
        Add("mlhSetPitchVector", On::Ready, "an empty vector", "2", set(1, empty_.get()));
        Add("mlhSetPitchVector", On::Ready, "a vector of another length", "2", set(4, SomePitches().get()));
        // The lead's, with one pitch everywhere.
        const auto setAll = [](bool automatic, float pitch) {
            return [=](void* h) {
                mlhSetParams(h, automatic, 4, 1, 0.5f, 0, false);
                const Pitches vector(mlhGetPitchVector(h, 0, 0, 0));
                for (int32_t i = 0; i < mlhPitchVectorGetTotal(vector.get()); ++i) {
                    mlhPitchVectorSetItem(vector.get(), static_cast<uint32_t>(i), {0, pitch, 0, 0});
                }
                return mlhSetPitchVector(h, 4, vector.get());
            };
        };
        Add("mlhSetPitchVector", On::OwnReady, "good arguments in the automatic mode", "0, not heard",
            setAll(true, 62));
        for (const BadNumber& bad : BadNumbers()) {
            AddValue("mlhSetPitchVector", On::OwnReady, "in the manual mode, `pitch`", bad.name, "0",
                     setAll(false, bad.value));
        }
    }

    void ChordVectorRows() {
        const auto set = [](const ChordVector* vector) {
            return [=](void* h) { return mlhSetChordVector(h, vector); };
        };
        AddStates("mlhSetChordVector", "3", "3", "0", set(GoodChords().get()));
        Add("mlhSetChordVector", On::Nothing, "a null vector", "3", set(nullptr));
        Add("mlhSetChordVector", On::New, "a null vector", "2", set(nullptr));
        Add("mlhSetChordVector", On::Ready, "a null vector", "2", set(nullptr));
        Add("mlhSetChordVector", On::Ready, "an empty vector", "2", set(noChords_.get()));
        Add("mlhSetChordVector", On::New, "in the manual mode", "2", [set](void* h) {
            mlhAssignInputData32(h, nullptr, 100, 1, kRate);
            mlhSetParams(h, false, 4, 1, 0.5f, 0, false);
            return set(GoodChords().get())(h);
        });
        for (const BadItem<ChordItem>& bad : BadChords()) {
            AddValue("mlhSetChordVector", On::OwnReady, bad.field, bad.value, "0",
                     [bad](void* h) { return mlhSetChordVector(h, MakeChords({bad.item}).get()); });
        }
    }

    void MidiRows() {
        const auto midi = [](const PitchVector* notes) {
            return [=](void* h) { return mlhAssignMidi(h, notes); };
        };
        Add("mlhAssignMidi", On::Nothing, "good arguments", "false", midi(SomePitches().get()));
        Add("mlhAssignMidi", On::Nothing, "a null vector", "false", midi(nullptr));
        Add("mlhAssignMidi", On::New, "a null vector", "false", midi(nullptr));
        for (const BadItem<PitchItem>& bad : BadNotes()) {
            AddValue("mlhAssignMidi", On::OwnReady, bad.field, bad.value, "true", [bad](void* h) {
                mlhSetParams(h, false, 4, 1, 0.5f, 0, false);
                return mlhAssignMidi(h, MakePitches({bad.item}).get());
            });
        }
        Add("mlhAssignMidi", On::New, "good arguments", "true", midi(SomePitches().get()));
        Add("mlhAssignMidi", On::Ready, "a null vector", "false", midi(nullptr));
        Add("mlhAssignMidi", On::Ready, "an empty vector", "true", midi(empty_.get()));
    }

    // Vectors belong to no instance.
    void ItemRows() {
        const auto add = [this](const std::string& name, const std::string& passed, const std::string& answer,
                                auto call) {
            Add(name, On::Nothing, passed, answer, [call](void*) { return call(); });
        };
        add("mlhDisposePitchVector", "null", "false", [] { return mlhDisposePitchVector(nullptr); });
        add("mlhPitchVectorGetTotal", "null", "-1", [] { return mlhPitchVectorGetTotal(nullptr); });
        add("mlhPitchVectorGetItem", "a null vector", "zeros",
            [] { return mlhPitchVectorGetItem(nullptr, 0); });
        add("mlhPitchVectorSetItem", "a null vector", "false",
            [] { return mlhPitchVectorSetItem(nullptr, 0, {}); });
        add("mlhPitchVectorAddItem", "a null vector", "false",
            [] { return mlhPitchVectorAddItem(nullptr, {}); });
        add("mlhPitchVectorAdjust", "a null vector", "null",
            [] { return mlhPitchVectorAdjust(nullptr, 1, 1); });
        add("mlhPitchVectorAdjust", "an empty vector", "a vector",
            [this] { return mlhPitchVectorAdjust(empty_.get(), 1, 1); });
        add("pitchVectorToChordVector", "null", "null", [] { return pitchVectorToChordVector(nullptr); });
        add("pitchVectorToChordVector", "an empty vector", "a vector",
            [this] { return pitchVectorToChordVector(empty_.get()); });
        add("mlhDisposeChordVector", "null", "false", [] { return mlhDisposeChordVector(nullptr); });
        add("mlhChordVectorGetTotal", "null", "-1", [] { return mlhChordVectorGetTotal(nullptr); });
        add("mlhChordVectorGetItem", "a null vector", "zeros",
            [] { return mlhChordVectorGetItem(nullptr, 0); });
        add("mlhChordVectorAddItem", "a null vector", "false",
            [] { return mlhChordVectorAddItem(nullptr, {}); });
        for (const uint32_t index : {2u, 0x80000000u, 0xFFFFFFFFu}) {  // both vectors have two items
            const std::string passed = "`index` " + std::to_string(index) + " of 2";
            add("mlhPitchVectorGetItem", passed, "zeros",
                [=] { return mlhPitchVectorGetItem(SomePitches().get(), index); });
            add("mlhPitchVectorSetItem", passed, "false",
                [=] { return mlhPitchVectorSetItem(SomePitches().get(), index, {}); });
            add("mlhChordVectorGetItem", passed, "zeros",
                [=] { return mlhChordVectorGetItem(GoodChords().get(), index); });
        }
        add("mlhPitchVectorGetItem", "`index` 0 of none", "zeros",
            [this] { return mlhPitchVectorGetItem(empty_.get(), 0); });
        add("mlhPitchVectorSetItem", "`index` 0 of none", "false",
            [this] { return mlhPitchVectorSetItem(empty_.get(), 0, {}); });
        add("mlhChordVectorGetItem", "`index` 0 of none", "zeros",
            [this] { return mlhChordVectorGetItem(noChords_.get(), 0); });
        for (const int32_t legato : {0, 255}) {
            add("mlhPitchVectorAdjust", "`legato` " + Number(legato) + ", `velocity` 255",
                legato == 0 ? "a vector, all of it zeros" : "a vector",
                [=] { return mlhPitchVectorAdjust(SomePitches().get(), static_cast<uint8_t>(legato), 255); });
        }
    }

    // Vectors take any number.
    void BadItemRows() {
        for (const BadItem<PitchItem>& bad : BadNotes()) {
            const PitchItem item = bad.item;
            const auto add = [&](const std::string& name, const std::string& answer, auto call) {
                AddValue(name, On::Nothing, bad.field, bad.value, answer, [call](void*) { return call(); });
            };
            add("mlhPitchVectorAddItem", "true", [=] {
                const Pitches vector = MakePitches({{0.0f, 60, 0.5f, 1}});
                return mlhPitchVectorAddItem(vector.get(), item) && mlhPitchVectorGetTotal(vector.get()) == 2;
            });
            add("mlhPitchVectorSetItem", "true", [=] {
                return mlhPitchVectorSetItem(MakePitches({{0.0f, 60, 0.5f, 1}}).get(), 0, item);
            });
            add("mlhPitchVectorAdjust", "a vector", [=] {
                return mlhPitchVectorAdjust(MakePitches({item, {0.2f, 62, 1, 1}}).get(), 1, 0);
            });
            add("pitchVectorToChordVector", "a vector", [=] {
                return pitchVectorToChordVector(MakePitches({item, {0.2f, 62, 1, 1}}).get());
            });
        }
        for (const BadItem<ChordItem>& bad : BadChords()) {
            AddValue("mlhChordVectorAddItem", On::Nothing, bad.field, bad.value, "true",
                     [item = bad.item](void*) {
                         const Chords vector = MakeChords({{0.0f, {60, 64, 67, -1}}});
                         return mlhChordVectorAddItem(vector.get(), item) &&
                                mlhChordVectorGetTotal(vector.get()) == 2;
                     });
        }
    }

    static std::string Number(int32_t value) {
        return value == kMin ? "-2^31" : value == kMax ? "2^31 - 1" : std::to_string(value);
    }
    static std::string Number(float value) {
        return std::isnan(value)   ? "NaN"
               : std::isinf(value) ? (value > 0.0f ? "infinite" : "-infinite")
               : value < 0.0f      ? "just below 0"
                                   : "just above 1";
    }

    static constexpr int32_t kLong = 30000;  // beyond the end of the song

    Untouched& u_;
    std::vector<int16_t> written16_ = std::vector<int16_t>(2 * kLong);
    std::vector<float> written32_ = std::vector<float>(2 * kLong);
    float* writtenRows_[4] = {written32_.data(), written32_.data(), written32_.data(), written32_.data()};
    const Pitches empty_ = MakePitches({});
    const Chords noChords_ = MakeChords({});
    std::vector<Row> rows_;
};

// What is printed of an answer after the code is for people.
std::string Code(const std::string& answer) { return answer.substr(0, answer.find(',')); }

TEST(Boundary, EveryBadArgumentIsAnsweredAndChangesNothing) {
    Untouched u;
    const Table table(u);
    Ready shared;
    for (const Row& row : table.rows()) {
        Host fresh;
        std::unique_ptr<Ready> own;
        if (row.on == On::OwnReady) {
            own = std::make_unique<Ready>();
        }
        void* const handle = row.on == On::Nothing ? nullptr
                             : row.on == On::New   ? fresh.handle
                             : row.on == On::Ready ? shared.handle
                                                   : own->handle;
        EXPECT_EQ(row.call(handle), Code(row.answer))
            << row.function << ": " << row.passed << " " << row.value;
        // Whatever was taken, rendering survives it.
        std::vector<int16_t> out(6000);
        if (own) {
            mlhProcessOutputData16(handle, out.data(), 6000, 1, nullptr);
        }
    }
    // The update that follows would bring out whatever the calls had changed.
    Ready untouched;
    const Chords later = MakeChords({{0.0f, {62, 65, 69, -1}}});
    for (Host* h : {static_cast<Host*>(&shared), static_cast<Host*>(&untouched)}) {
        EXPECT_EQ(mlhSetChordVector(h->handle, later.get()), 0);
    }
    EXPECT_EQ(Render(shared.handle, SongFrames()), Render(untouched.handle, SongFrames()));
}

// The printed lines of one function. Rows that differ in the value alone share a line.
std::string Lines(const std::vector<Row>& rows, const std::string& function) {
    const char* const on[] = {"none", "new", "ready", "ready"};
    struct Line {
        std::string passed, values, answer;
    };
    std::vector<Line> lines;
    for (const Row& row : rows) {
        if (row.function != function) {
            continue;
        }
        const std::string passed = std::string(on[static_cast<int>(row.on)]) + " | " + row.passed;
        const auto same = std::find_if(lines.begin(), lines.end(), [&](const Line& line) {
            return !row.value.empty() && line.passed == passed && line.answer == row.answer;
        });
        if (same != lines.end()) {
            same->values += ", " + row.value;
        } else {
            lines.push_back({passed, row.value.empty() ? "" : " " + row.value, row.answer});
        }
    }
    std::string text;
    for (const Line& line : lines) {
        text += "| " + line.passed + line.values + " | " + line.answer + " |\n";
    }
    return text;
}

std::string Markdown(const std::vector<Row>& rows) {
    std::string text;
    std::set<std::string> done;
    for (const Row& row : rows) {
        if (!done.insert(row.function).second) {
            continue;
        }
        text += "\n### " + row.function + "\n\n| Instance | Passed | Answer |\n|---|---|---|\n";
        text += Lines(rows, row.function);
    }
    return text;
}

// The table in docs/c-interface.md is this one. MLH_WRITE_DOCS in the environment has it written again.
TEST(Boundary, TheDocumentPrintsTheTable) {
    const std::string path = SourceDir() + "/docs/c-interface.md";
    const std::string mark =
        "<!-- The rest is printed by tests/api/Boundary_test.cpp: run it with MLH_WRITE_DOCS=1. -->\n";
    std::ifstream in(path);
    const std::string document((std::istreambuf_iterator<char>(in)), {});
    const auto at = document.find(mark);
    ASSERT_NE(at, std::string::npos);
    Untouched u;
    const std::string expected = Markdown(Table(u).rows());
    if (std::getenv("MLH_WRITE_DOCS") != nullptr) {
        std::ofstream(path) << document.substr(0, at) << mark << expected;
    } else {
        EXPECT_EQ(document.substr(at + mark.size()), expected);
    }
}

// A function that the table forgets would not be tested.
TEST(Boundary, TheTableHasEveryFunctionWithArguments) {
    const std::set<std::string> without = {"mlGetVersionString", "mlhGetVersionString",
                                           "mlhGetNewPitchVector", "mlhGetNewChordVector"};
    std::set<std::string> functions;
    Untouched u;
    const Table table(u);
    for (const Row& row : table.rows()) {
        functions.insert(row.function);
    }
    std::ifstream list(SourceDir() + "/cmake/exports.txt");
    int exports = 0;
    for (std::string line; std::getline(list, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        ++exports;
        EXPECT_EQ(functions.count(line) + without.count(line), 1u) << line;
    }
    EXPECT_EQ(exports, 29);
}

TEST(Boundary, NotesBecomeChordsWithoutAnInstance) {
    const Pitches empty = MakePitches({});
    const Chords none(pitchVectorToChordVector(empty.get()));
    EXPECT_EQ(mlhChordVectorGetTotal(none.get()), 0);
    const Pitches notes = MakePitches({{0, 60.5f, 1, 1}, {1, 62, 1, 1}});
    const Chords chords(pitchVectorToChordVector(notes.get()));
    ASSERT_EQ(mlhChordVectorGetTotal(chords.get()), 3);
    EXPECT_EQ(mlhChordVectorGetItem(chords.get(), 0).notes[0], 61);
    EXPECT_EQ(mlhChordVectorGetItem(chords.get(), 1).notes[0], 62);
    EXPECT_EQ(mlhChordVectorGetItem(chords.get(), 2).notes[0], -1);
    EXPECT_EQ(mlhPitchVectorGetTotal(notes.get()), 2);  // the input stays
}

// Null samples, no samples, too few, and nothing to hear in them.
TEST(Boundary, RecordingsWithoutAVoiceGiveSilence) {
    for (int32_t frames : {kMin, -1, 0, 1, 2, 5000}) {
        for (bool wide : {false, true}) {
            Host host;
            EXPECT_EQ(wide ? mlhAssignInputData32(host.handle, nullptr, frames, 2, 44100)
                           : mlhAssignInputData16(host.handle, nullptr, frames, 2, 44100),
                      0);
            EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 0);
            EXPECT_EQ(mlhSetChordVector(host.handle, GoodChords().get()), 0) << frames;
            const Pitches lead(mlhGetPitchVector(host.handle, 0, 0, 0));
            EXPECT_EQ(mlhPitchVectorGetTotal(lead.get()), 2);
            EXPECT_EQ(mlhPitchVectorGetItem(lead.get(), 1).pitch, 60.0f);
            EXPECT_EQ(Render(host.handle, 9000, 2), std::vector<int16_t>(18000, 0)) << frames;
        }
    }
}

// What has no pitch is no melody, but the voices are still made of it.
TEST(Boundary, RecordingsWithoutAPitchSoundAtTheNoteThatThereAlwaysIs) {
    std::vector<float> click(20000);
    click[10000] = 1.0f;
    Host host;
    EXPECT_EQ(mlhAssignInputData32(host.handle, click.data(), 20000, 1, 44100), 0);
    EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 0);
    const Pitches lead(mlhGetPitchVector(host.handle, 0, 0, 0));
    EXPECT_EQ(mlhPitchVectorGetTotal(lead.get()), 2);
    EXPECT_EQ(mlhPitchVectorGetItem(lead.get(), 1).pitch, 60.0f);
    const double voicesAlone[10] = {0, 0, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5};
    EXPECT_NE(Render(host.handle, 20000, 1, voicesAlone), std::vector<int16_t>(20000, 0));
}

TEST(Boundary, SamplesThatAreNoNumbersAreSurvived) {
    for (float bad : {std::nanf(""), INFINITY, -INFINITY, 1e38f}) {
        for (bool everywhere : {false, true}) {
            std::vector<float> samples = Song();
            for (std::size_t i = 0; i < samples.size(); ++i) {
                if (everywhere || i % 5000 < 3) {
                    samples[i] = bad;
                }
            }
            Host host;
            EXPECT_EQ(mlhAssignInputData32(host.handle, samples.data(), SongFrames(), 1, kRate), 0);
            EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 0);
            EXPECT_EQ(mlhSetChordVector(host.handle, GoodChords().get()), 0);
            const auto out = Render(host.handle, SongFrames());
            if (std::isnan(bad)) {
                EXPECT_EQ(out[0], 0);
            }
        }
    }
}

TEST(Boundary, GainsThatAreNoNumbersGiveZeroOrTheLimits) {
    for (double bad : {std::nan(""), static_cast<double>(INFINITY), -static_cast<double>(INFINITY), 1e300}) {
        Ready host;
        double gains[10];
        std::fill(std::begin(gains), std::end(gains), bad);
        for (int16_t sample : Render(host.handle, SongFrames(), 1, gains)) {
            EXPECT_TRUE(sample == 0 || (!std::isnan(bad) && std::abs(sample) == 32767)) << sample;
        }
    }
}

// Chords and notes at no time, at no pitch, or with fewer notes than a chord has.
TEST(Boundary, AbsurdChordsAndNotesAreSurvived) {
    const float nan = std::nanf("");
    const std::vector<ChordItem> chords = {
        {nan, {60, 64, 67, -1}},     {INFINITY, {60, 64, 67, -1}},     {-INFINITY, {60, 64, 67, -1}},
        {-1e30f, {60, 64, 67, -1}},  {1e30f, {60, 64, 67, -1}},        {0.1f, {-1, -1, -1, -1}},
        {0.2f, {kMax, kMin, -2, 0}}, {0.3f, {kMin, kMin, kMin, kMin}}, {0.4f, {kMax, kMax - 1, kMax - 4, 0}},
        {0.5f, {60, 60, 60, 60}},    {0.6f, {60, -1, -1, 64}},         {0.7f, {1000000, -1000000, 12, 13}}};
    for (const ChordItem& chord : chords) {
        Ready host;
        EXPECT_EQ(mlhSetChordVector(host.handle, MakeChords({chord}).get()), 0) << chord.time;
        Render(host.handle, SongFrames());
    }
    Ready all;
    EXPECT_EQ(mlhSetChordVector(all.handle, MakeChords(chords).get()), 0);
    Render(all.handle, SongFrames());

    std::vector<PitchItem> notes;
    for (float time : {nan, INFINITY, -INFINITY, -1.0f, 0.0f, 0.3f, 1e30f}) {
        for (float pitch : {nan, INFINITY, -INFINITY, 1e30f, -1e30f, -2.0f, 64.0f}) {
            notes.push_back({time, pitch, time, nan});
            notes.push_back({0.3f, pitch, 0.05f, 1});
        }
    }
    Ready midi;
    EXPECT_EQ(mlhSetParams(midi.handle, false, 4, 1, 0.5f, kMin, true), 0);
    EXPECT_TRUE(mlhAssignMidi(midi.handle, MakePitches(notes).get()));
    Render(midi.handle, SongFrames());
    EXPECT_EQ(mlhSetParams(midi.handle, true, 4, 1, 0.5f, kMax, true), 0);
    Render(midi.handle, SongFrames());
}

// A chord at no finite time holds up the queue, but only for that call.
TEST(Boundary, NotesAtNoTimeHoldUpTheQueue) {
    Ready plain, held;
    for (Host* h : {static_cast<Host*>(&plain), static_cast<Host*>(&held)}) {
        EXPECT_EQ(mlhSetParams(h->handle, false, 4, 1, 0.5f, 0, false), 0);
        const Pitches pitches(mlhGetPitchVector(h->handle, 0, 0, 0));
        EXPECT_EQ(mlhSetPitchVector(h->handle, 1, pitches.get()), 0);
    }
    EXPECT_TRUE(mlhAssignMidi(held.handle, MakePitches({{std::nanf(""), 50, 1, 1}}).get()));
    EXPECT_TRUE(mlhAssignMidi(held.handle, MakePitches({{0.1f, 50, 1, 1}}).get()));
    EXPECT_EQ(Render(held.handle, SongFrames()), Render(plain.handle, SongFrames()));
}

TEST(Boundary, AbsurdTargetPitchesAreSurvived) {
    for (float pitch : {std::nanf(""), INFINITY, -INFINITY, 1e30f, -1e30f, 5000.0f, -300.0f, 0.0f, -0.999f}) {
        Ready host;
        EXPECT_EQ(mlhSetParams(host.handle, false, 4, 1, 0.5f, 0, false), 0);
        const Pitches pitches(mlhGetPitchVector(host.handle, 0, 0, 0));
        const auto count = static_cast<uint32_t>(mlhPitchVectorGetTotal(pitches.get()));
        for (uint32_t i = 0; i < count; i += 2) {
            EXPECT_TRUE(mlhPitchVectorSetItem(pitches.get(), i, {0, pitch, 0, 0}));
        }
        for (int32_t voice = 1; voice <= 4; ++voice) {
            EXPECT_EQ(mlhSetPitchVector(host.handle, voice, pitches.get()), 0);
        }
        Render(host.handle, SongFrames());
    }
}

// Other formats than the analysed one, some of which could not have been analysed, and lengths of all kinds.
TEST(Boundary, ASecondAssignmentOfAnotherFormatIsSurvived) {
    struct Format {
        int32_t frames, channels, rate;
    };
    const std::vector<float> other(6000, 0.25f);
    const Format formats[] = {{6000, 1, 44100}, {3000, 2, kRate}, {3000, 2, 8000}, {0, 1, kRate},
                              {-5, 2, kRate},   {100, 1, 0},      {100, 1, -1},    {100, 1, kMax},
                              {2000, 3, kRate}, {120, 48, kRate}, {100, 0, kRate}, {100, -3, kRate},
                              {100, kMin, 0},   {1, 1, kRate},    {5999, 1, kRate}};
    for (const Format& f : formats) {
        SCOPED_TRACE(testing::Message() << f.frames << " " << f.channels << " " << f.rate);
        Ready host;
        Render(host.handle, 1000);
        EXPECT_EQ(mlhAssignInputData32(host.handle, other.data(), f.frames, f.channels, f.rate), 0);
        const bool renders = f.channels == 1 || f.channels == 2;
        std::vector<int16_t> out(2 * 20000, 7);
        for (int32_t channels : {1, 2}) {
            EXPECT_EQ(mlhProcessOutputData16(host.handle, out.data(), 20000, channels, nullptr),
                      renders ? 0 : 2);
        }
        EXPECT_EQ(mlhSetParams(host.handle, true, 3, 2, 0.1f, 5, true), 0);
        EXPECT_EQ(mlhSetChordVector(host.handle, GoodChords().get()), 0);
        EXPECT_TRUE(mlhAssignMidi(host.handle, SomePitches().get()));
        for (int32_t channels : {2, 1}) {
            EXPECT_EQ(mlhProcessOutputData16(host.handle, out.data(), 20000, channels, nullptr),
                      renders ? 0 : 2);
        }
        if (!renders) {
            EXPECT_EQ(out, std::vector<int16_t>(2 * 20000, 7));
        } else if (f.channels == 1) {
            // After the end of what is there now nothing is left of the dry lead.
            const double dry[10] = {1.0, 1.0};
            const auto lead = Render(host.handle, 20000, 1, dry);
            for (int32_t i = std::max(f.frames, 0); i < 20000; ++i) {
                ASSERT_EQ(lead[i], 0) << i;
            }
        }
    }
}

TEST(Boundary, MoreChannelsThanTwoAreAnalysedButNotRendered) {
    for (int32_t channels : {3, 8, 47}) {
        std::vector<float> samples;
        for (float sample : Song()) {
            samples.insert(samples.end(), static_cast<std::size_t>(channels), sample);
        }
        Host host;
        Untouched u;
        EXPECT_EQ(mlhAssignInputData32(host.handle, samples.data(), SongFrames(), channels, kRate), 0);
        EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 0);
        EXPECT_EQ(mlhSetChordVector(host.handle, GoodChords().get()), 0);
        const Pitches lead(mlhGetPitchVector(host.handle, 0, 0, 0));
        EXPECT_GE(mlhPitchVectorGetTotal(lead.get()), 4);
        for (int32_t asked : {1, 2, channels}) {
            EXPECT_EQ(mlhProcessOutputData16(host.handle, u.out16.data(), 1, asked, nullptr), 2);
            EXPECT_EQ(mlhProcessOutputData32(host.handle, u.rows, 1, asked), 2);
        }
    }
}

// Without a number of voices none is mixed, but they are rendered and move on.
TEST(Boundary, VoicesMoveOnBeforeTheParametersAreSet) {
    Host early;
    mlhAssignInputData32(early.handle, Song().data(), SongFrames(), 1, kRate);
    Host normal;
    mlhAssignInputData32(normal.handle, Song().data(), SongFrames(), 1, kRate);
    ASSERT_EQ(mlhSetParams(normal.handle, true, 4, 1, 0.5f, 0, false), 0);
    Render(early.handle, 8000);
    Render(normal.handle, 8000);
    ASSERT_EQ(mlhSetParams(early.handle, true, 4, 1, 0.5f, 0, false), 0);
    EXPECT_EQ(Render(early.handle, 8000), Render(normal.handle, 8000));
}

TEST(Boundary, BehindTheEndThereIsSilenceInBothCalls) {
    Ready host;
    const int32_t frames = SongFrames() + 30000;
    const auto mixed = Render(host.handle, frames);
    for (int32_t i = SongFrames() + 4096; i < frames; ++i) {
        ASSERT_EQ(mixed[i], 0) << i;
    }
    // A second call starts the lead again, while the voices stay after the end.
    std::vector<std::vector<float>> voices(4, std::vector<float>(8000, 9.0f));
    float* rows[4];
    for (int v = 0; v < 4; ++v) {
        rows[v] = voices[v].data();
    }
    ASSERT_EQ(mlhProcessOutputData32(host.handle, rows, 8000, 1), 0);
    for (const auto& voice : voices) {
        EXPECT_EQ(voice, std::vector<float>(8000, 0.0f));
    }
    const auto again = Render(host.handle, SongFrames());
    for (int32_t i = 0; i < SongFrames(); ++i) {
        const float dry = static_cast<float>(Song()[i] * 0.5);
        ASSERT_EQ(again[i], static_cast<int16_t>(dry * 32767.0)) << i;
    }
}

}  // namespace

}  // namespace mlh
