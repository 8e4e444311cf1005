// What every exported function answers when a host gets something wrong: no corruption, no hang, no change.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "mlh/mlh.h"
#include "support/SungTunes.h"

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
    for (const PitchItem& item : items) mlhPitchVectorAddItem(vector.get(), item);
    return vector;
}

Chords MakeChords(const std::vector<ChordItem>& items) {
    Chords vector(mlhGetNewChordVector());
    for (const ChordItem& item : items) mlhChordVectorAddItem(vector.get(), item);
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
        for (float*& row : rows) row = out32.data();
        withoutThird[0] = withoutThird[1] = withoutThird[3] = out32.data();
    }
    ~Untouched() {
        for (int16_t sample : out16) EXPECT_EQ(sample, 7);
        for (float sample : out32) EXPECT_EQ(sample, 9.0f);
    }
    std::vector<int16_t> out16;
    std::vector<float> out32;
    float* rows[4];
    float* withoutThird[4] = {};
};

struct Call {
    std::string what;
    int32_t answer;
    std::function<int32_t(void* handle)> make;
};

// A new vector as a status: 0 for one, 3 for null.
int32_t Answer(PitchVector* vector) { return mlhDisposePitchVector(vector) ? 0 : 3; }

// Every function of an instance with good arguments. `answer` is that of an instance without input.
std::vector<Call> GoodCalls(Untouched& u) {
    return {
        {"AssignMidi", 1, [](void* h) { return int32_t{mlhAssignMidi(h, SomePitches().get())}; }},
        {"SetParams", 3, [](void* h) { return mlhSetParams(h, true, 4, 1, 0.5f, 0, false); }},
        {"Process", 3, [&](void* h) { return mlhProcessOutputData(h, u.out16.data(), 8, 1, nullptr); }},
        {"Process16", 3, [&](void* h) { return mlhProcessOutputData16(h, u.out16.data(), 8, 1, nullptr); }},
        {"Process32", 3, [&](void* h) { return mlhProcessOutputData32(h, u.rows, 8, 1); }},
        {"GetPitchVector", 3, [](void* h) { return Answer(mlhGetPitchVector(h, 0, 0, 0)); }},
        {"SetPitchVector", 3, [](void* h) { return mlhSetPitchVector(h, 1, SomePitches().get()); }},
        {"SetChordVector", 3, [](void* h) { return mlhSetChordVector(h, GoodChords().get()); }},
    };
}

TEST(Boundary, NullHandlesAreNoInstance) {
    Untouched u;
    for (const Call& call : GoodCalls(u)) {
        EXPECT_EQ(call.make(nullptr), call.what == "AssignMidi" ? 0 : 3) << call.what;
    }
    EXPECT_EQ(mlhAssignInputData(nullptr, u.out16.data(), 8, 1, kRate), 3);
    EXPECT_EQ(mlhAssignInputData16(nullptr, u.out16.data(), 8, 1, kRate), 3);
    EXPECT_EQ(mlhAssignInputData32(nullptr, u.out32.data(), 8, 1, kRate), 3);
    EXPECT_EQ(mlhDestroyInstance(nullptr), 3);
    void* none = nullptr;
    EXPECT_EQ(mlhDestroyInstance(&none), 3);
    EXPECT_EQ(mlhCreateInstance(nullptr), 2);
    EXPECT_EQ(mlhAssignDebugMessageCallback(nullptr), 0);
}

TEST(Boundary, CallsBeforeTheInputAreNotReady) {
    Untouched u;
    Host host;
    for (const Call& call : GoodCalls(u)) EXPECT_EQ(call.make(host.handle), call.answer) << call.what;
}

TEST(Boundary, ARefusedFormatLeavesTheInstanceNotReadyButUsable) {
    struct Format {
        int32_t frames, channels, rate;
    };
    const Format formats[] = {{8, 0, 44100},    {8, -1, 44100},   {8, kMin, 44100}, {8, 48, 44100},
                              {8, kMax, 44100}, {kMax, 0, 44100}, {8, 1, 11024},    {8, 1, 0},
                              {8, 1, -44100},   {8, 1, kMin},     {8, 1, 256000},   {8, 1, kMax},
                              {kMin, 0, 44100}, {kMax, 48, 0}};
    for (const Format& f : formats) {
        Untouched u;
        Host host;
        EXPECT_EQ(mlhAssignInputData16(host.handle, u.out16.data(), f.frames, f.channels, f.rate), 0);
        for (const Call& call : GoodCalls(u)) EXPECT_EQ(call.make(host.handle), call.answer) << call.what;
        EXPECT_EQ(mlhAssignInputData32(host.handle, u.out32.data(), f.frames, f.channels, f.rate), 0);
        for (const Call& call : GoodCalls(u)) EXPECT_EQ(call.make(host.handle), call.answer) << call.what;
        // A format that suits is taken all the same.
        EXPECT_EQ(mlhAssignInputData32(host.handle, u.out32.data(), 8, 1, 44100), 0);
        EXPECT_EQ(mlhSetParams(host.handle, true, 4, 1, 0.5f, 0, false), 0);
    }
}

// Every bad argument on an instance that is ready, and what its call answers. None of them changes anything.
TEST(Boundary, BadArgumentsAreAnsweredAndChangeNothing) {
    Untouched u;
    const Pitches empty = MakePitches({});
    const Chords noChords = MakeChords({});
    const float nan = std::nanf(""), inf = INFINITY;
    const auto params = [](bool automatic, int32_t voices, int32_t above, float spread) {
        return [=](void* h) { return mlhSetParams(h, automatic, voices, above, spread, 0, false); };
    };
    const auto process16 = [](int16_t* out, int32_t frames, int32_t channels) {
        return [=](void* h) { return mlhProcessOutputData16(h, out, frames, channels, nullptr); };
    };
    const auto process32 = [](float** out, int32_t frames, int32_t channels) {
        return [=](void* h) { return mlhProcessOutputData32(h, out, frames, channels); };
    };
    const auto setPitches = [](int32_t voice, const PitchVector* vector) {
        return [=](void* h) { return mlhSetPitchVector(h, voice, vector); };
    };
    const auto getPitches = [](uint32_t voice) {
        return [=](void* h) { return Answer(mlhGetPitchVector(h, voice, 1, 255)); };
    };
    int16_t* const out16 = u.out16.data();
    const std::vector<Call> calls = {
        {"one automatic voice", 2, params(true, 1, 1, 0.5f)},
        {"no automatic voice", 2, params(true, 0, 1, 0.5f)},
        {"five automatic voices", 2, params(true, 5, 1, 0.5f)},
        {"no manual voice", 2, params(false, 0, 1, 0.5f)},
        {"five manual voices", 2, params(false, 5, 1, 0.5f)},
        {"voices below everything", 2, params(false, kMin, 1, 0.5f)},
        {"voices above everything", 2, params(true, kMax, 1, 0.5f)},
        {"voices above 4", 0, params(true, 4, 4, 0.5f)},
        {"voices above -1", 0, params(true, 4, -1, 0.5f)},
        {"voices above huge", 0, params(true, 4, kMax, 0.5f)},
        {"voices above lowest", 0, params(true, 4, kMin, 0.5f)},
        {"spread NaN", 0, params(true, 4, 1, nan)},
        {"spread infinite", 0, params(true, 4, 1, inf)},
        {"spread minus infinite", 0, params(true, 4, 1, -inf)},
        {"spread below 0", 0, params(true, 4, 1, -1e-6f)},
        {"spread above 1", 0, params(true, 4, 1, 1.000001f)},
        {"16: null out", 2, process16(nullptr, 8, 1)},
        {"16: null out, huge", 2, process16(nullptr, kMax, 2)},
        {"16: null out, no frames", 0, process16(nullptr, 0, 1)},
        {"16: no frames", 0, process16(out16, 0, 1)},
        {"16: negative frames", 0, process16(out16, -1, 1)},
        {"16: lowest frames", 0, process16(out16, kMin, 2)},
        {"16: no channel", 2, process16(out16, 8, 0)},
        {"16: negative channels", 2, process16(out16, 8, -1)},
        {"16: lowest channels", 2, process16(out16, 8, kMin)},
        {"16: three channels", 2, process16(out16, 8, 3)},
        {"16: huge channels", 2, process16(out16, 8, kMax)},
        {"16: no frames of three channels", 2, process16(out16, 0, 3)},
        {"32: null out", 2, process32(nullptr, 8, 1)},
        {"32: null row", 2, process32(u.withoutThird, 8, 1)},
        {"32: null out, no frames", 0, process32(nullptr, 0, 1)},
        {"32: null row, no frames", 0, process32(u.withoutThird, 0, 1)},
        {"32: negative frames", 0, process32(u.rows, -1, 1)},
        {"32: lowest frames", 0, process32(u.rows, kMin, 1)},
        {"32: no channel", 2, process32(u.rows, 8, 0)},
        {"32: negative channels", 2, process32(u.rows, 8, -1)},
        {"32: three channels", 2, process32(u.rows, 8, 3)},
        {"32: huge channels", 2, process32(u.rows, 8, kMax)},
        {"get voice 5", 3, getPitches(5)},
        {"get voice huge", 3, getPitches(0xFFFFFFFFu)},
        {"set voice 0", 2, setPitches(0, SomePitches().get())},
        {"set voice 5", 2, setPitches(5, SomePitches().get())},
        {"set voice lowest", 2, setPitches(kMin, SomePitches().get())},
        {"set voice huge", 2, setPitches(kMax, SomePitches().get())},
        {"set null pitches", 2, setPitches(1, nullptr)},
        {"set no pitches", 2, setPitches(1, empty.get())},
        {"set pitches of another length", 2, setPitches(4, SomePitches().get())},
        {"set null chords", 2, [](void* h) { return mlhSetChordVector(h, nullptr); }},
        {"set no chords", 2, [&](void* h) { return mlhSetChordVector(h, noChords.get()); }},
        {"null notes", 0, [](void* h) { return int32_t{mlhAssignMidi(h, nullptr)}; }},
        {"no notes", 1, [&](void* h) { return int32_t{mlhAssignMidi(h, empty.get())}; }},
    };
    Ready host;
    for (const Call& call : calls) EXPECT_EQ(call.make(host.handle), call.answer) << call.what;

    // The update that follows would bring out whatever the calls had changed.
    Ready untouched;
    const Chords later = MakeChords({{0.0f, {62, 65, 69, -1}}});
    for (Host* h : {static_cast<Host*>(&host), static_cast<Host*>(&untouched)}) {
        EXPECT_EQ(mlhSetChordVector(h->handle, later.get()), 0);
    }
    EXPECT_EQ(Render(host.handle, SongFrames()), Render(untouched.handle, SongFrames()));
}

TEST(Boundary, VectorFunctionsAnswerNeutrally) {
    EXPECT_FALSE(mlhDisposePitchVector(nullptr));
    EXPECT_FALSE(mlhDisposeChordVector(nullptr));
    EXPECT_EQ(mlhPitchVectorGetTotal(nullptr), -1);
    EXPECT_EQ(mlhChordVectorGetTotal(nullptr), -1);
    EXPECT_FALSE(mlhPitchVectorSetItem(nullptr, 0, {}));
    EXPECT_FALSE(mlhPitchVectorAddItem(nullptr, {}));
    EXPECT_FALSE(mlhChordVectorAddItem(nullptr, {}));
    EXPECT_EQ(mlhPitchVectorAdjust(nullptr, 1, 1), nullptr);
    EXPECT_EQ(pitchVectorToChordVector(nullptr), nullptr);
    const Pitches pitches = MakePitches({{1, 60, 1, 1}});
    const Chords chords = MakeChords({{1, {60, 64, 67, -1}}});
    EXPECT_FALSE(mlhPitchVectorSetItem(pitches.get(), 1, {}));
    EXPECT_FALSE(mlhPitchVectorSetItem(pitches.get(), 0xFFFFFFFFu, {}));
    for (uint32_t index : {1u, 0x80000000u, 0xFFFFFFFFu}) {
        const PitchItem note = mlhPitchVectorGetItem(pitches.get(), index);
        EXPECT_EQ(note.start + note.pitch + note.duration + note.level, 0.0f);
        const ChordItem chord = mlhChordVectorGetItem(chords.get(), index);
        EXPECT_EQ(chord.time, 0.0f);
        for (int32_t n : chord.notes) EXPECT_EQ(n, 0);
    }
    EXPECT_EQ(mlhPitchVectorGetItem(nullptr, 0).pitch, 0.0f);
    EXPECT_EQ(mlhChordVectorGetItem(nullptr, 0).notes[0], 0);
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

TEST(Boundary, SamplesThatAreNoNumbersAreSurvived) {
    for (float bad : {std::nanf(""), INFINITY, -INFINITY, 1e38f}) {
        for (bool everywhere : {false, true}) {
            std::vector<float> samples = Song();
            for (std::size_t i = 0; i < samples.size(); ++i) {
                if (everywhere || i % 5000 < 3) samples[i] = bad;
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
            // Behind the end of what is there now nothing is left of the dry lead.
            const double dry[10] = {1.0, 1.0};
            const auto lead = Render(host.handle, 20000, 1, dry);
            for (int32_t i = std::max(f.frames, 0); i < 20000; ++i) ASSERT_EQ(lead[i], 0) << i;
        }
    }
}

TEST(Boundary, MoreChannelsThanTwoAreAnalysedButNotRendered) {
    for (int32_t channels : {3, 8, 47}) {
        std::vector<float> samples;
        for (float sample : Song()) samples.insert(samples.end(), static_cast<std::size_t>(channels), sample);
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
    for (int32_t i = SongFrames() + 4096; i < frames; ++i) ASSERT_EQ(mixed[i], 0) << i;
    // A second call starts the lead again, while the voices stay behind the end.
    std::vector<std::vector<float>> voices(4, std::vector<float>(8000, 9.0f));
    float* rows[4];
    for (int v = 0; v < 4; ++v) rows[v] = voices[v].data();
    ASSERT_EQ(mlhProcessOutputData32(host.handle, rows, 8000, 1), 0);
    for (const auto& voice : voices) EXPECT_EQ(voice, std::vector<float>(8000, 0.0f));
    const auto again = Render(host.handle, SongFrames());
    for (int32_t i = 0; i < SongFrames(); ++i) {
        const float dry = static_cast<float>(Song()[i] * 0.5);
        ASSERT_EQ(again[i], static_cast<int16_t>(dry * 32767.0)) << i;
    }
}

}  // namespace
