// What every function of choir.h answers when a host gets something wrong: a code and a line, no corruption,
// no exception, no change.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "mlh/choir.h"
#include "support/SungTunes.h"

namespace {

// Of this thread, so that the test's own framework may go on.
std::atomic<int64_t> allocationsLeft{-1};  // until one fails; below 0 never
std::atomic<bool> memoryStaysOut{false};   // and all after it
std::atomic<bool> memoryRanOut{false};

bool MemoryIsThere() {
    if (allocationsLeft >= 0 && --allocationsLeft < 0) {
        memoryRanOut = true;
        allocationsLeft = memoryStaysOut ? 0 : -1;
        return false;
    }
    return true;
}

}  // namespace

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // inlining shows the malloc inside operator new
#endif
void* operator new(std::size_t bytes) {
    void* const memory = MemoryIsThere() ? std::malloc(bytes != 0 ? bytes : 1) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return MemoryIsThere() ? std::malloc(bytes != 0 ? bytes : 1) : nullptr;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace mlh::choir {

namespace {

using testing::HasSubstr;

constexpr int32_t kRate = 16000;

const std::vector<float>& Song() {
    static const std::vector<float> samples = SingScale({60, 64, 62}, 0.5, 0, kRate).samples;
    return samples;
}
int64_t Frames() { return static_cast<int64_t>(Song().size()); }

class Boundary : public testing::Test {
  protected:
    Boundary() {
        EXPECT_EQ(mlhTakeCreate(&take_, Song().data(), Frames(), 1, kRate, nullptr, nullptr), MLH_CHOIR_OK);
        EXPECT_EQ(mlhChoirCreate(&choir_, take_, "{\"chords\": \"0 C, 0.7 F\"}", nullptr, nullptr),
                  MLH_CHOIR_OK);
        EXPECT_EQ(mlhScoreCreateFromChoir(&score_, choir_, 96.0), MLH_CHOIR_OK);
    }
    ~Boundary() override {
        mlhScoreDestroy(&score_);
        mlhChoirDestroy(&choir_);
        mlhTakeDestroy(&take_);
    }

    std::vector<float> Mix() {
        std::vector<float> mix(2 * Song().size(), NAN);
        EXPECT_EQ(mlhChoirRenderMix(choir_, 0, Frames(), 2, mix.data(), nullptr, nullptr), MLH_CHOIR_OK);
        return mix;
    }

    mlhTake* take_ = nullptr;
    mlhChoir* choir_ = nullptr;
    mlhScore* score_ = nullptr;
};

struct Call {
    const char* name;
    std::function<int32_t()> call;
};

TEST_F(Boundary, WhatIsNullOrOutOfRangeIsABadArgument) {
    mlhTake* take = nullptr;
    mlhChoir* choir = nullptr;
    mlhScore* score = nullptr;
    mlhTakeInfo info;
    mlhChoirVoice voice;
    mlhTakeNote note;
    mlhChoirNote sung;
    mlhChoirChord chord;
    mlhScoreNote written;
    mlhTakePoint point;
    int32_t count = 0;
    int64_t size = 0;
    char text[8];
    float samples[8] = {};
    const float* in = Song().data();
    const int64_t far = int64_t{1} << 40;
    const Call calls[] = {
        {"no place for a take", [&] { return mlhTakeCreate(nullptr, in, 8, 1, kRate, nullptr, nullptr); }},
        {"no samples", [&] { return mlhTakeCreate(&take, nullptr, 8, 1, kRate, nullptr, nullptr); }},
        {"frames below 0", [&] { return mlhTakeCreate(&take, in, -1, 1, kRate, nullptr, nullptr); }},
        {"too many frames", [&] { return mlhTakeCreate(&take, in, far, 1, kRate, nullptr, nullptr); }},
        {"no channel", [&] { return mlhTakeCreate(&take, in, 8, 0, kRate, nullptr, nullptr); }},
        {"three channels", [&] { return mlhTakeCreate(&take, in, 8, 3, kRate, nullptr, nullptr); }},
        {"rate too low", [&] { return mlhTakeCreate(&take, in, 8, 1, 11024, nullptr, nullptr); }},
        {"rate too high", [&] { return mlhTakeCreate(&take, in, 8, 1, 256000, nullptr, nullptr); }},
        {"destroy null", [&] { return mlhTakeDestroy(nullptr); }},
        {"destroy none", [&] { return mlhTakeDestroy(&take); }},
        {"info of null", [&] { return mlhTakeGetInfo(nullptr, &info); }},
        {"info to null", [&] { return mlhTakeGetInfo(take_, nullptr); }},
        {"notes of null", [&] { return mlhTakeGetNotes(nullptr, &note, 1, &count); }},
        {"notes without a count", [&] { return mlhTakeGetNotes(take_, &note, 1, nullptr); }},
        {"notes to null", [&] { return mlhTakeGetNotes(take_, nullptr, 1, &count); }},
        {"room below 0", [&] { return mlhTakeGetNotes(take_, &note, -1, &count); }},
        {"curve of null", [&] { return mlhTakeGetCurve(nullptr, &point, 1, &count); }},
        {"document of null", [&] { return mlhTakeGetDocument(nullptr, 0, text, 8, &size); }},
        {"document to null", [&] { return mlhTakeGetDocument(take_, 0, nullptr, 8, &size); }},
        {"document without a size", [&] { return mlhTakeGetDocument(take_, 0, text, 8, nullptr); }},
        {"no place for a choir", [&] { return mlhChoirCreate(nullptr, take_, nullptr, nullptr, nullptr); }},
        {"choir of no take", [&] { return mlhChoirCreate(&choir, nullptr, nullptr, nullptr, nullptr); }},
        {"destroy no choir", [&] { return mlhChoirDestroy(&choir); }},
        {"settings for null", [&] { return mlhChoirSetSettings(nullptr, nullptr, nullptr, nullptr); }},
        {"settings of null", [&] { return mlhChoirGetSettings(nullptr, text, 8, &size); }},
        {"settings without a size", [&] { return mlhChoirGetSettings(choir_, text, 8, nullptr); }},
        {"count of null", [&] { return mlhChoirGetVoiceCount(nullptr, &count); }},
        {"count to null", [&] { return mlhChoirGetVoiceCount(choir_, nullptr); }},
        {"voice of null", [&] { return mlhChoirGetVoice(nullptr, 0, &voice); }},
        {"voice -1", [&] { return mlhChoirGetVoice(choir_, -1, &voice); }},
        {"voice 4", [&] { return mlhChoirGetVoice(choir_, 4, &voice); }},
        {"voice to null", [&] { return mlhChoirGetVoice(choir_, 0, nullptr); }},
        {"notes of voice 4", [&] { return mlhChoirGetVoiceNotes(choir_, 4, &sung, 1, &count); }},
        {"chords of null", [&] { return mlhChoirGetChords(nullptr, &chord, 1, &count); }},
        {"choir's document of null", [&] { return mlhChoirGetDocument(nullptr, 0, text, 8, &size); }},
        {"mix of null", [&] { return mlhChoirRenderMix(nullptr, 0, 1, 2, samples, nullptr, nullptr); }},
        {"mix to null", [&] { return mlhChoirRenderMix(choir_, 0, 1, 2, nullptr, nullptr, nullptr); }},
        {"mix of 3 channels", [&] { return mlhChoirRenderMix(choir_, 0, 1, 3, samples, nullptr, nullptr); }},
        {"mix from before 0", [&] { return mlhChoirRenderMix(choir_, -1, 1, 2, samples, nullptr, nullptr); }},
        {"mix of -1 frames", [&] { return mlhChoirRenderMix(choir_, 0, -1, 2, samples, nullptr, nullptr); }},
        {"mix from far", [&] { return mlhChoirRenderMix(choir_, far, 1, 2, samples, nullptr, nullptr); }},
        {"voice -2", [&] { return mlhChoirRenderVoice(choir_, -2, 0, 1, samples, nullptr, nullptr); }},
        {"rendering voice 4",
         [&] { return mlhChoirRenderVoice(choir_, 4, 0, 1, samples, nullptr, nullptr); }},
        {"rendering to null",
         [&] { return mlhChoirRenderVoice(choir_, 0, 0, 1, nullptr, nullptr, nullptr); }},
        {"all of null",
         [&] { return mlhChoirRenderAll(nullptr, 0, 1, nullptr, 2, samples, nullptr, nullptr); }},
        {"all to 0 channels",
         [&] { return mlhChoirRenderAll(choir_, 0, 1, nullptr, 0, samples, nullptr, nullptr); }},
        {"no place for a score", [&] { return mlhScoreCreateFromChoir(nullptr, choir_, 100.0); }},
        {"score of null", [&] { return mlhScoreCreateFromChoir(&score, nullptr, 100.0); }},
        {"tempo 0.5", [&] { return mlhScoreCreateFromChoir(&score, choir_, 0.5); }},
        {"tempo -1", [&] { return mlhScoreCreateFromChoir(&score, choir_, -1.0); }},
        {"tempo NaN", [&] { return mlhScoreCreateFromChoir(&score, choir_, NAN); }},
        {"no melody", [&] { return mlhScoreCreateFromMelody(&score, nullptr, nullptr); }},
        {"destroy no score", [&] { return mlhScoreDestroy(&score); }},
        {"voices of no score", [&] { return mlhScoreGetVoiceCount(nullptr, &count); }},
        {"notes of score voice 4", [&] { return mlhScoreGetNotes(score_, 4, &written, 1, &count); }},
        {"notes of score voice -2", [&] { return mlhScoreGetNotes(score_, -2, &written, 1, &count); }},
        {"document of no score", [&] { return mlhScoreGetDocument(nullptr, text, 8, &size); }},
    };
    const std::vector<float> before = Mix();
    for (const Call& call : calls) {
        EXPECT_EQ(call.call(), MLH_CHOIR_ARGUMENT) << call.name;
        EXPECT_STRNE(mlhChoirGetErrorText(), "") << call.name;
        EXPECT_EQ(take, nullptr) << call.name;
        EXPECT_EQ(choir, nullptr) << call.name;
        EXPECT_EQ(score, nullptr) << call.name;
    }
    EXPECT_EQ(Mix(), before);
}

TEST_F(Boundary, BrokenSettingsAreRefusedWithTheirPlace) {
    const std::pair<const char*, const char*> documents[] = {
        {"", "line 1, column 1"},
        {"{", "line 1, column 2"},
        {"{\n \"voices\": }", "line 2"},
        {"[]", "an object"},
        {"3", "an object"},
        {"{\"voics\": 3}", "did you mean 'voices'"},
        {"{\"schema\": 1}", "schema 2"},
        {"{\"kind\": \"take\"}", "kind"},
        {"{\"voices\": 5}", "voices: a whole number from 1 to 4"},
        {"{\"voices\": 2.5}", "voices"},
        {"{\"voices\": \"3\"}", "voices"},
        {"{\"spread\": 1e999}", "settings"},
        {"{\"spread\": -0.1}", "spread: a number from 0 to 1"},
        {"{\"style\": \"fourpart\"}", "did you mean 'four-part'"},
        {"{\"key\": \"H flat\"}", "key"},
        {"{\"chords\": \"0 C, 1 Xyz\"}", "column"},
        {"{\"chords\": [{\"time_s\": -1, \"name\": \"C\"}]}", "chords"},
        {"{\"chords\": [{\"name\": 7}]}", "chords"},
        {"{\"chords\": [3]}", "chords"},
        {"{\"tracks\": [{\"notes\": [{\"start_s\": 2, \"end_s\": 1, \"pitch_midi\": 60}]}]}", "tracks"},
        {"{\"tracks\": [{\"notes\": [{\"start_s\": 0, \"end_s\": 1, \"pitch_midi\": 128}]}]}", "tracks"},
        {"{\"variant\": \"open\"}", "variant"},
        {"{\"style\": \"block\", \"variant\": \"opn\"}", "did you mean 'open'"},
        {"{\"intervals\": [1, 2]}", "intervals"},
        {"{\"tuning\": 100}", "tuning"},
        {"{\"humanize\": 2}", "humanize"},
        {"{\"vibrato\": [1, 1, 1, 1, 1]}", "vibrato"},
        {"{\"seed\": -1}", "seed"},
        {"{\"gains\": \"loud\"}", "gains"},
        {"{\"edits\": [{\"voice\": 1}]}", "edits"},
        {"{\"edits\": [{\"voice\": 9, \"note\": 1}]}", "edits"},
    };
    const std::vector<float> before = Mix();
    for (const auto& [document, text] : documents) {
        mlhChoir* choir = nullptr;
        EXPECT_EQ(mlhChoirCreate(&choir, take_, document, nullptr, nullptr), MLH_CHOIR_SETTINGS) << document;
        EXPECT_EQ(choir, nullptr) << document;
        EXPECT_THAT(mlhChoirGetErrorText(), HasSubstr(text)) << document;
        EXPECT_EQ(std::strchr(mlhChoirGetErrorText(), '\n'), nullptr) << document;
        EXPECT_EQ(mlhChoirSetSettings(choir_, document, nullptr, nullptr), MLH_CHOIR_SETTINGS) << document;
    }
    const std::string deep(100000, '[');
    EXPECT_EQ(mlhChoirSetSettings(choir_, deep.c_str(), nullptr, nullptr), MLH_CHOIR_SETTINGS);
    const std::string longName = "{\"" + std::string(1000000, 'v') + "\": 1}";
    EXPECT_EQ(mlhChoirSetSettings(choir_, longName.c_str(), nullptr, nullptr), MLH_CHOIR_SETTINGS);
    EXPECT_LT(std::strlen(mlhChoirGetErrorText()), 512u);
    EXPECT_EQ(Mix(), before);
}

TEST_F(Boundary, BrokenMelodiesAreRefused) {
    for (const char* melody :
         {"", "{}", "[]", "{\"notes\": 3}", "{\"notes\": []}", "{\"notes\": [3]}",
          "{\"notes\": [{\"onset_beats\": 0, \"length_beats\": 0, \"pitch_midi\": 60}]}",
          "{\"notes\": [{\"onset_beats\": -1, \"length_beats\": 1, \"pitch_midi\": 60}]}",
          "{\"notes\": [{\"onset_beats\": 0, \"length_beats\": 1, \"pitch_midi\": 60.5}]}",
          "{\"notes\": [{\"onset_beats\": 0, \"length_beats\": 1, \"pitch_midi\": 60, \"chord\": \"Q\"}]}",
          "{\"key\": \"Q\", \"notes\": [{\"onset_beats\": 0, \"length_beats\": 1, \"pitch_midi\": 60}]}",
          "{\"tempo\": [{\"beat\": 2}], \"notes\": [{\"onset_beats\": 0, \"length_beats\": 1, "
          "\"pitch_midi\": 60}]}",
          "{\"tempo\": [{\"metre\": \"3/5\"}], \"notes\": [{\"onset_beats\": 0, \"length_beats\": 1, "
          "\"pitch_midi\": "
          "60}]}",
          "{\"notes\": [{\"onset_beats\": 1, \"length_beats\": 1, \"pitch_midi\": 60}, {\"onset_beats\": 0, "
          "\"length_beats\": 1, \"pitch_midi\": 60}]}"}) {
        mlhScore* score = nullptr;
        EXPECT_EQ(mlhScoreCreateFromMelody(&score, melody, nullptr), MLH_CHOIR_SETTINGS) << melody;
        EXPECT_EQ(score, nullptr);
    }
}

// A progress callback that asks for the end at its nth call.
struct Patience {
    int calls = 0;
    int most = 0;
    static int32_t Wait(double share, void* user) {
        EXPECT_GE(share, 0.0);
        EXPECT_LE(share, 1.0);
        auto* own = static_cast<Patience*>(user);
        return ++own->calls > own->most ? 1 : 0;
    }
};

TEST_F(Boundary, ProgressMayCancel) {
    Patience none;
    mlhTake* take = nullptr;
    EXPECT_EQ(mlhTakeCreate(&take, Song().data(), Frames(), 1, kRate, Patience::Wait, &none),
              MLH_CHOIR_CANCELLED);
    EXPECT_EQ(take, nullptr);
    EXPECT_EQ(none.calls, 1);
    std::vector<float> part(2 * Song().size(), NAN);
    Patience some{0, 1};
    EXPECT_EQ(mlhChoirRenderMix(choir_, 0, Frames(), 2, part.data(), Patience::Wait, &some),
              MLH_CHOIR_CANCELLED);
    EXPECT_FALSE(std::isnan(part[0]));
    EXPECT_TRUE(std::isnan(part.back()));
    Patience all{0, 1000000};
    EXPECT_EQ(mlhTakeCreate(&take, Song().data(), Frames(), 1, kRate, Patience::Wait, &all), MLH_CHOIR_OK);
    EXPECT_GT(all.calls, 3);
    mlhTakeDestroy(&take);
}

// Allocations fail in turn; each time the answer is a code, nothing is made, and the handles can be
// used.
TEST_F(Boundary, OutOfMemoryIsACode) {
    const std::vector<float> before = Mix();
    // One allocation fails, or all from it on. How many there are if none does.
    const auto tryEach = [](const std::function<int32_t()>& call, int64_t step) {
        for (int64_t left = 0;; left += step) {
            for (const bool staysOut : {true, false}) {
                memoryStaysOut = staysOut;
                memoryRanOut = false;
                allocationsLeft = left;
                const int32_t code = call();
                allocationsLeft = -1;
                // What only speeds up goes without, and then there is no error.
                const bool fine = code == MLH_CHOIR_OK ||
                                  (memoryRanOut && (code == MLH_CHOIR_MEMORY || code == MLH_CHOIR_FAILED));
                EXPECT_TRUE(fine) << code << ": " << mlhChoirGetErrorText();
                if (!fine || !memoryRanOut) {
                    return left;
                }
            }
        }
    };
    mlhTake* take = nullptr;
    const auto makeTake = [&] {
        mlhTakeDestroy(&take);  // of a call that did without what failed
        return mlhTakeCreate(&take, Song().data(), Frames(), 1, kRate, nullptr, nullptr);
    };
    EXPECT_GT(tryEach(makeTake, 17), 10);
    mlhChoir* choir = nullptr;
    const auto makeChoir = [&] {
        mlhChoirDestroy(&choir);
        return mlhChoirCreate(&choir, take, nullptr, nullptr, nullptr);
    };
    EXPECT_GT(tryEach(makeChoir, 23), 10);
    std::vector<float> mix(2 * Song().size());
    tryEach([&] { return mlhChoirRenderMix(choir, 0, Frames(), 2, mix.data(), nullptr, nullptr); }, 1);

    // Documents, each allocation of their reading and writing.
    const char* const settings =
        R"({"style": "choir", "chords": [{"time_s": 0, "name": "C"}], "vibrato": [1, 0.5],
            "range": ["alto", "auto"], "edits": [{"voice": 1, "note": 0, "delta": 2}], "gains": [1, [0.5, 0]], "pan": [0, null]})";
    EXPECT_GT(tryEach([&] { return mlhChoirSetSettings(choir, settings, nullptr, nullptr); }, 1), 100);
    std::string text(1000000, '\0');
    const auto room = static_cast<int64_t>(text.size());
    int64_t size = 0;
    EXPECT_GT(tryEach([&] { return mlhTakeGetDocument(take, 1, text.data(), room, &size); }, 3), 100);
    EXPECT_GT(tryEach([&] { return mlhChoirGetDocument(choir, 0, text.data(), room, &size); }, 1), 100);
    EXPECT_GT(tryEach([&] { return mlhChoirGetSettings(choir, text.data(), room, &size); }, 1), 100);
    mlhScore* score = nullptr;
    const char* const melody = R"({"notes": [{"onset_beats": 0, "length_beats": 1, "pitch_midi": 60,
        "chord": "C"}], "tempo": [{"beat": 0, "bpm": 96, "metre": "3/4"}], "key": "C major"})";
    const auto makeScore = [&] {
        mlhScoreDestroy(&score);
        return mlhScoreCreateFromMelody(&score, melody, "{\"style\": \"core\"}");
    };
    EXPECT_GT(tryEach(makeScore, 1), 100);
    EXPECT_EQ(tryEach([&] { return mlhScoreGetDocument(score, text.data(), room, &size); }, 1), 0);
    mlhScoreDestroy(&score);
    mlhChoirDestroy(&choir);
    mlhTakeDestroy(&take);
    EXPECT_EQ(Mix(), before);
}

TEST_F(Boundary, ArraysAndTextsFillTheRoomThereIs) {
    int32_t count = 0;
    ASSERT_EQ(mlhTakeGetNotes(take_, nullptr, 0, &count), MLH_CHOIR_OK);
    ASSERT_GE(count, 2);
    std::vector<mlhTakeNote> notes(static_cast<std::size_t>(count) + 1, {-7, -7, -7, -7});
    ASSERT_EQ(mlhTakeGetNotes(take_, notes.data(), 1, &count), MLH_CHOIR_OK);
    EXPECT_GE(notes[0].start, 0.0);
    EXPECT_EQ(notes[1].start, -7);
    ASSERT_EQ(mlhTakeGetNotes(take_, notes.data(), count + 1, &count), MLH_CHOIR_OK);
    EXPECT_EQ(notes.back().start, -7);
    EXPECT_NEAR(notes[0].pitch, 60.0, 0.3);

    int64_t size = 0;
    ASSERT_EQ(mlhTakeGetDocument(take_, 0, nullptr, 0, &size), MLH_CHOIR_OK);
    std::string text(static_cast<std::size_t>(size), '#');
    ASSERT_EQ(mlhTakeGetDocument(take_, 0, text.data(), size, &size), MLH_CHOIR_OK);
    EXPECT_EQ(std::strlen(text.c_str()) + 1, static_cast<std::size_t>(size));
    char little[5] = "####";
    ASSERT_EQ(mlhTakeGetDocument(take_, 0, little, 3, &size), MLH_CHOIR_OK);
    EXPECT_EQ(std::string(little, 5), (std::string(text, 0, 2) + '\0' + '#' + '\0'));
    EXPECT_EQ(size, static_cast<int64_t>(text.size()));
}

TEST_F(Boundary, TakesOfNothingAreTakes) {
    std::vector<std::vector<float>> recordings = {
        {}, std::vector<float>(1, 1.0f), std::vector<float>(30000, 0.0f)};
    for (const float value : {NAN, INFINITY, -INFINITY, 1e30f}) {
        recordings.emplace_back(30000, value);
    }
    for (const std::vector<float>& samples : recordings) {
        mlhTake* take = nullptr;
        ASSERT_EQ(mlhTakeCreate(&take, samples.data(), static_cast<int64_t>(samples.size()), 1, kRate,
                                nullptr, nullptr),
                  MLH_CHOIR_OK);
        mlhTakeInfo info;
        ASSERT_EQ(mlhTakeGetInfo(take, &info), MLH_CHOIR_OK);
        EXPECT_EQ(info.frames, static_cast<int64_t>(samples.size()));
        mlhChoir* choir = nullptr;
        ASSERT_EQ(mlhChoirCreate(&choir, take, nullptr, nullptr, nullptr), MLH_CHOIR_OK)
            << mlhChoirGetErrorText();
        std::vector<float> mix(40000);
        EXPECT_EQ(mlhChoirRenderMix(choir, 0, 40000, 1, mix.data(), nullptr, nullptr), MLH_CHOIR_OK);
        EXPECT_EQ(mix.back(), 0.0f);
        int64_t size = 0;
        EXPECT_EQ(mlhChoirGetDocument(choir, 1, nullptr, 0, &size), MLH_CHOIR_OK);
        mlhChoirDestroy(&choir);
        ASSERT_EQ(mlhChoirCreate(&choir, take, "{\"style\": \"core\"}", nullptr, nullptr), MLH_CHOIR_OK)
            << mlhChoirGetErrorText();
        EXPECT_EQ(mlhChoirRenderMix(choir, 0, 40000, 1, mix.data(), nullptr, nullptr), MLH_CHOIR_OK);
        EXPECT_EQ(mix.back(), 0.0f);
        mlhChoirDestroy(&choir);
        mlhTakeDestroy(&take);
    }
}

TEST_F(Boundary, RowsVoicesAndMixAreOfOnePass) {
    const auto size = Song().size();
    std::vector<std::vector<float>> lines(5, std::vector<float>(size));
    std::vector<float*> rows;
    for (std::vector<float>& line : lines) {
        rows.push_back(line.data());
    }
    ASSERT_EQ(mlhChoirSetSettings(choir_, "{\"gains\": [0.5, [0.5, 0], [0, 0.5], [0.3, 0.2], [0.2, 0.3]]}",
                                  nullptr, nullptr),
              MLH_CHOIR_OK);
    std::vector<float> mix(size);
    ASSERT_EQ(mlhChoirRenderAll(choir_, 0, Frames(), rows.data(), 1, mix.data(), nullptr, nullptr),
              MLH_CHOIR_OK);
    EXPECT_EQ(lines[0], Song());
    for (std::size_t i = 0; i < size; ++i) {
        const double sum = 0.5 * lines[0][i] + 0.5 * lines[1][i] + 0.3 * lines[3][i] + 0.2 * lines[4][i];
        ASSERT_NEAR(mix[i], sum, 1e-5) << i;
    }
    std::vector<float> voice(size);
    ASSERT_EQ(mlhChoirRenderVoice(choir_, -1, 0, Frames(), voice.data(), nullptr, nullptr), MLH_CHOIR_OK);
    EXPECT_EQ(voice, lines[0]);
}

TEST_F(Boundary, AMixIsKeptWithinFullScaleWhereTheSettingsAskForIt) {
    const std::string loud = "{\"gains\": [4, 4, 4, 4, 4]";
    ASSERT_EQ(mlhChoirSetSettings(choir_, (loud + "}").c_str(), nullptr, nullptr), MLH_CHOIR_OK);
    const std::vector<float> as_it_is = Mix();
    float peak = 0.0f;
    for (const float sample : as_it_is) {
        peak = std::max(peak, std::fabs(sample));
    }
    ASSERT_GT(peak, 1.2f);
    for (const std::string clip : {"scale", "limit"}) {
        const std::string settings = loud + ", \"clip\": \"" + clip + "\"}";
        ASSERT_EQ(mlhChoirSetSettings(choir_, settings.c_str(), nullptr, nullptr), MLH_CHOIR_OK);
        // A stretch first: it has the bits of the whole.
        const int64_t first = Frames() / 3;
        std::vector<float> stretch(2 * 5000);
        ASSERT_EQ(mlhChoirRenderMix(choir_, first, 5000, 2, stretch.data(), nullptr, nullptr), MLH_CHOIR_OK);
        const std::vector<float> mix = Mix();
        float highest = 0.0f;
        for (const float sample : mix) {
            highest = std::max(highest, std::fabs(sample));
        }
        EXPECT_LE(highest, 1.0f) << clip;
        EXPECT_GT(highest, 0.95f) << clip;
        EXPECT_EQ(stretch, std::vector<float>(mix.begin() + 2 * first, mix.begin() + 2 * (first + 5000)))
            << clip;
        for (std::size_t i = 0; clip == "scale" && i < mix.size(); ++i) {
            ASSERT_NEAR(mix[i], as_it_is[i] / peak, 1e-6) << i;
        }
    }
    ASSERT_EQ(mlhChoirSetSettings(choir_, (loud + ", \"clip\": \"none\"}").c_str(), nullptr, nullptr),
              MLH_CHOIR_OK);
    EXPECT_EQ(Mix(), as_it_is);
}

TEST_F(Boundary, SettingsComeBackAsTheyAreInUse) {
    int64_t size = 0;
    ASSERT_EQ(mlhChoirGetSettings(choir_, nullptr, 0, &size), MLH_CHOIR_OK);
    std::string text(static_cast<std::size_t>(size), '\0');
    ASSERT_EQ(mlhChoirGetSettings(choir_, text.data(), size, &size), MLH_CHOIR_OK);
    const std::vector<float> before = Mix();
    ASSERT_EQ(mlhChoirSetSettings(choir_, text.c_str(), nullptr, nullptr), MLH_CHOIR_OK)
        << mlhChoirGetErrorText();
    EXPECT_EQ(Mix(), before);
    ASSERT_EQ(mlhChoirSetSettings(choir_, "{\"voices\": 2}", nullptr, nullptr), MLH_CHOIR_OK);
    int32_t voices = 0;
    ASSERT_EQ(mlhChoirGetVoiceCount(choir_, &voices), MLH_CHOIR_OK);
    EXPECT_EQ(voices, 2);
    EXPECT_THAT(mlhChoirGetSettingsHelp(), HasSubstr("humanize"));
}

TEST_F(Boundary, AHostsFloatingPointChangesNothingAndStays) {
    const std::vector<float> before = Mix();
    std::fesetround(FE_UPWARD);
    mlhTake* take = nullptr;
    mlhChoir* choir = nullptr;
    std::vector<float> mix(before.size());
    const int32_t made = mlhTakeCreate(&take, Song().data(), Frames(), 1, kRate, nullptr, nullptr);
    const int32_t set = mlhChoirCreate(&choir, take, "{\"chords\": \"0 C, 0.7 F\"}", nullptr, nullptr);
    const int32_t rendered = mlhChoirRenderMix(choir, 0, Frames(), 2, mix.data(), nullptr, nullptr);
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(made + set + rendered, MLH_CHOIR_OK);
    mlhChoirDestroy(&choir);
    mlhTakeDestroy(&take);
    EXPECT_EQ(mix, before);
}

TEST_F(Boundary, AWrittenMelodyIsSetInVoices) {
    mlhScore* score = nullptr;
    const char* melody =
        "{\"tempo\": [{\"beat\": 0, \"bpm\": 60, \"metre\": \"3/4\"}], \"key\": \"G major\", \"notes\": ["
        "{\"onset_beats\": 0, \"length_beats\": 1, \"pitch_midi\": 67, \"chord\": \"G\"},"
        "{\"onset_beats\": 1, \"length_beats\": 2, \"pitch_midi\": 69, \"chord\": \"D7\"}]}";
    for (const char* style :
         {"core", "choir", "four-part", "intervals", "block", "fourths", "fixed", "double"}) {
        const std::string settings = std::string("{\"style\": \"") + style + "\"}";
        ASSERT_EQ(mlhScoreCreateFromMelody(&score, melody, settings.c_str()), MLH_CHOIR_OK)
            << mlhChoirGetErrorText();
        int32_t voices = 0;
        ASSERT_EQ(mlhScoreGetVoiceCount(score, &voices), MLH_CHOIR_OK);
        EXPECT_GE(voices, 2);
        mlhScoreNote notes[4];
        int32_t count = 0;
        ASSERT_EQ(mlhScoreGetNotes(score, -1, notes, 4, &count), MLH_CHOIR_OK);
        ASSERT_EQ(count, 2);
        EXPECT_EQ(notes[1].note, 69);
        EXPECT_EQ(notes[1].onset, 1.0);
        EXPECT_EQ(notes[1].end, 3.0);
        ASSERT_EQ(mlhScoreGetNotes(score, 0, notes, 4, &count), MLH_CHOIR_OK);
        mlhScoreDestroy(&score);
    }
}

TEST_F(Boundary, EveryCodeHasAText) {
    for (int32_t code = MLH_CHOIR_OK; code <= MLH_CHOIR_MEMORY; ++code) {
        EXPECT_STRNE(mlhChoirGetCodeText(code), "unknown code") << code;
    }
    EXPECT_STREQ(mlhChoirGetCodeText(-1), "unknown code");
    EXPECT_STREQ(mlhChoirGetCodeText(MLH_CHOIR_MEMORY + 1), "unknown code");
}

}  // namespace

}  // namespace mlh::choir
