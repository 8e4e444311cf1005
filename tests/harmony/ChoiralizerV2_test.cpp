#include "harmony/ChoiralizerV2.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/Codes.h"
#include "classic/Choiralizer.h"
#include "harmony/ChordsInFunctions.h"
#include "harmony/VoicingRules.h"
#include "support/Tunes.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

using ChoiralizerClassic::CChoiralizer;
using ChoiralizerClassic::ClassicChord;
using Chords = std::vector<ChordInfo>;
using Row = std::vector<int32_t>;

// A melody of one beat per note.
struct Tune {
    std::vector<NoteItem> items;
    NoteList list;

    explicit Tune(const Row& pitches) {
        for (size_t i = 0; i < pitches.size(); ++i) {
            NoteItem item;
            item.pitch = pitches[i];
            item.startTime = static_cast<float>(i);
            item.endTime = static_cast<float>(i + 1);
            items.push_back(item);
        }
        list.items = items.data();
        list.count = static_cast<int32_t>(items.size());
    }
};

const Row kScale = {60, 62, 64, 65, 67, 69, 71, 72};

void SetMelody(CChoiralizerV2& engine, const Row& pitches, int32_t force = 1) {
    Tune tune(pitches);
    ASSERT_EQ(engine.SetMelody(&tune.list, force), 0);
}

Row RowOf(CChoiralizerV2& engine, int32_t row) {
    NoteList* voices = nullptr;
    engine.GetVoices(&voices);
    Row pitches;
    for (int32_t i = 0; i < voices[row].count; ++i) {
        pitches.push_back(voices[row].items[i].pitch);
    }
    return pitches;
}

std::array<Row, 4> AllRows(CChoiralizerV2& engine) {
    return {RowOf(engine, 0), RowOf(engine, 1), RowOf(engine, 2), RowOf(engine, 3)};
}

Chords AllChords(CChoiralizerV2& engine) {
    ChordInfo* chords = nullptr;
    engine.GetChords(&chords);
    return {chords, chords + engine.GetChordCount()};
}

bool SameChord(const ChordInfo& a, const ChordInfo& b) {
    return a.root == b.root && a.triadType == b.triadType && a.seventhType == b.seventhType &&
           a.inversion == b.inversion && a.name == b.name;
}

void ExpectSameChords(const Chords& a, const Chords& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_TRUE(SameChord(a[i], b[i])) << i;
    }
}

ChordInfo Triad(int32_t root, int32_t type) { return {root, type, ChordNoSeventh, 0, "given"}; }

std::unique_ptr<CChoiralizer> PlainClassic() {
    CChoiralizer* classic = nullptr;
    EXPECT_EQ(CChoiralizer::Create(&classic), 0);
    classic->SetVoicesAbove(0);  // as the engine's default block leaves it
    return std::unique_ptr<CChoiralizer>(classic);
}

const std::array<HarmonyParams, 2> kOneAbove = {1, std::bit_cast<int32_t>(0.5f)};

TEST(CreateChoiralizerV2, GivesAnEngineAndDestroysIt) {
    CChoiralizerV2If* engine = nullptr;
    ASSERT_EQ(CreateChoiralizerV2(&engine), 0);
    ASSERT_NE(engine, nullptr);
    EXPECT_EQ(engine->GetMode(), 7);
    DestroyChoiralizerV2(&engine);
    EXPECT_EQ(engine, nullptr);
    DestroyChoiralizerV2(&engine);
    DestroyChoiralizerV2(nullptr);
    EXPECT_EQ(CreateChoiralizerV2(nullptr), kBadArgument);
}

TEST(ChoiralizerV2, StartsInModeSevenOnCMajorWithTheLeadOnTop) {
    CChoiralizerV2 engine;
    EXPECT_EQ(engine.GetMode(), 7);
    EXPECT_EQ(engine.GetKey(), 0);
    EXPECT_EQ(engine.GetInputScale(), 0);
    EXPECT_EQ(engine.GetOutputScale(), 0);
    EXPECT_EQ(engine.GetQuantize(), 1);
    EXPECT_EQ(engine.GetScaleMap(), 1);
    EXPECT_EQ(engine.GetChordCount(), 0);
    EXPECT_EQ(engine.GetLeadVoice(), 3);
    EXPECT_EQ(engine.GetTopVoice(), 3);
    EXPECT_EQ(engine.GetClassic().GetVoicesAbove(), 0);
    for (CVoicingRules* rules : {&engine.GetVerticalRules(), &engine.GetTransitionRules()}) {
        EXPECT_EQ(rules->GetKey(), 0);
        EXPECT_EQ(rules->GetScale(), ScaleRow(0));
        EXPECT_EQ(rules->GetLeadVoice(), 3);
        EXPECT_EQ(rules->GetSpacingStyle(), 1);
    }
    EXPECT_EQ(engine.GetVerticalRules().GetRuleCount(), 7);
    EXPECT_EQ(engine.GetTransitionRules().GetRuleCount(), 8);
    const HarmonyParams* params = nullptr;
    ASSERT_EQ(engine.GetParams(&params), 0);
    EXPECT_EQ((Row{params[0], params[1], params[2], params[3]}), (Row{3, 3, 1, 0}));
    EXPECT_EQ(engine.GetScaleOffsets(), (std::array<int32_t, 12>{}));
    EXPECT_TRUE(engine.StateChanged());
    EXPECT_FALSE(engine.ParamsChanged());
    EXPECT_EQ(engine.GetReserved(), 0);
}

TEST(ChoiralizerV2, SettersReachTheClassicEngineAndTheRules) {
    CChoiralizerV2 engine;
    engine.SetKey(5);
    engine.SetInputScale(1);
    engine.SetOutputScale(7);
    engine.SetQuantize(0);
    engine.SetScaleMap(0);
    for (int32_t mode : {7, 0}) {
        engine.SetMode(mode);
        EXPECT_EQ(engine.GetKey(), 5);
        EXPECT_EQ(engine.GetInputScale(), 1);
        EXPECT_EQ(engine.GetOutputScale(), 7);
        EXPECT_EQ(engine.GetQuantize(), 0);
        EXPECT_EQ(engine.GetScaleMap(), 0);
    }
    for (CVoicingRules* rules : {&engine.GetVerticalRules(), &engine.GetTransitionRules()}) {
        EXPECT_EQ(rules->GetKey(), 5);
        EXPECT_EQ(rules->GetScale(), ScaleRow(7));
    }
    // The function lists follow the output scale.
    EXPECT_STREQ(engine.BuildChordCandidates(68, 1, 25)[0].name, "Minor: First Degree Triad");
}

TEST(ChoiralizerV2, SettersTakeAnyValue) {
    CChoiralizerV2 engine;
    for (int32_t value :
         {-1, 14, 1000, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        engine.SetKey(value);
        engine.SetInputScale(value);
        engine.SetOutputScale(value);
        EXPECT_EQ(engine.GetKey(), value);
        EXPECT_EQ(engine.GetOutputScale(), value);
        for (int32_t mode : {0, 1, 2, 7}) {
            engine.SetMode(mode);
            SetMelody(engine, kScale);
            engine.Calculate();
        }
    }
}

TEST(ChoiralizerV2, ParametersReachTheRulesOnlyInModeSeven) {
    const HarmonyParams own[3] = {1, 0, 2};
    CChoiralizerV2 engine;
    engine.SetMode(0);
    EXPECT_EQ(engine.SetParams(own), 0);
    EXPECT_TRUE(engine.ParamsChanged());
    EXPECT_EQ(engine.GetLeadVoice(), 3);
    engine.SetMode(7);
    EXPECT_EQ(engine.GetVerticalRules().GetSpacingStyle(), 1);  // the mode alone changes nothing
    EXPECT_EQ(engine.SetParams(own), 0);
    EXPECT_EQ(engine.GetLeadVoice(), 1);
    EXPECT_EQ(engine.GetClassic().GetVoicesAbove(), 2);
    for (CVoicingRules* rules : {&engine.GetVerticalRules(), &engine.GetTransitionRules()}) {
        EXPECT_EQ(rules->GetLeadVoice(), 1);
        EXPECT_EQ(rules->GetSpacingStyle(), 2);
    }
}

TEST(ChoiralizerV2, KeepsThePointerToTheParameters) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    std::array<HarmonyParams, 2> params = {0, std::bit_cast<int32_t>(0.5f)};
    engine.SetParams(params.data());
    const HarmonyParams* kept = nullptr;
    engine.GetParams(&kept);
    EXPECT_EQ(kept, params.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    EXPECT_EQ(engine.GetClassic().GetVoicesAbove(), 0);
    params[0] = 2;
    params[1] = std::bit_cast<int32_t>(0.25f);
    engine.Calculate();
    EXPECT_EQ(engine.GetClassic().GetVoicesAbove(), 2);
    EXPECT_EQ(engine.GetClassic().GetSpread(), 0.25f);
}

TEST(ChoiralizerV2, NullArgumentsAreRefused) {
    CChoiralizerV2 engine;
    EXPECT_EQ(engine.SetParams(nullptr), kBadArgument);
    EXPECT_EQ(engine.GetParams(nullptr), kBadArgument);
    EXPECT_EQ(engine.GetVoices(nullptr), kBadArgument);
    EXPECT_EQ(engine.GetChords(nullptr), kBadArgument);
    EXPECT_EQ(engine.SetMelody(nullptr, 1), kBadArgument);
    NoteList list;
    list.count = 3;
    EXPECT_EQ(engine.SetMelody(&list, 1), kBadArgument);
}

TEST(SetChordCount, ReplacesTheChordsByEmptyOnes) {
    CChoiralizerV2 engine;
    EXPECT_EQ(engine.SetChordCount(2), 0);
    EXPECT_EQ(engine.SetChordAt(1, {7, ChordNoTriad, ChordDominant7, 2, "mine"}), 0);
    EXPECT_TRUE(SameChord(AllChords(engine)[1], {7, ChordNoTriad, ChordDominant7, 2, "mine"}));
    EXPECT_TRUE(SameChord(AllChords(engine)[0], {-1, 5, 16, -1, ""}));
    engine.SetChordCount(2);
    EXPECT_TRUE(SameChord(AllChords(engine)[1], {-1, 5, 16, -1, ""}));
    EXPECT_EQ(engine.SetChordCount(-1), kBadArgument);
    EXPECT_EQ(engine.GetChordCount(), 2);
    EXPECT_EQ(engine.SetChordCount(0), 0);
    EXPECT_EQ(engine.GetChordCount(), 0);
}

TEST(SetChordAt, RefusesAnIndexWithoutAChord) {
    CChoiralizerV2 engine;
    engine.SetChordCount(2);
    EXPECT_EQ(engine.SetChordAt(2, Triad(0, 0)), kBadArgument);
    EXPECT_EQ(engine.SetChordAt(-1, Triad(0, 0)), kBadArgument);
}

TEST(SetMelody, CopiesItemsAndSilencesTheRows) {
    CChoiralizerV2 engine;
    Tune tune({60, 64});
    tune.items[0] = {60, 1.0f, 1.5f, 11, 12, 13};
    tune.items[1] = {64, 2.5f, 4.0f, 21, 22, 23};
    tune.list.reservedA = 8;
    tune.list.reservedB = 9;
    ASSERT_EQ(engine.SetMelody(&tune.list, 1), 0);
    NoteList* voices = nullptr;
    engine.GetVoices(&voices);
    for (int32_t row = 0; row < 4; ++row) {
        ASSERT_EQ(voices[row].count, 2);
        EXPECT_EQ(voices[row].reservedA, 8);
        EXPECT_EQ(voices[row].reservedB, 9);
        for (int32_t i = 0; i < 2; ++i) {
            EXPECT_EQ(voices[row].items[i].pitch, -1);
            EXPECT_EQ(voices[row].items[i].startTime, tune.items[i].startTime);
            EXPECT_EQ(voices[row].items[i].endTime, tune.items[i].endTime);
            EXPECT_EQ(voices[row].items[i].tagA, tune.items[i].tagA);
            EXPECT_EQ(voices[row].items[i].tagB, tune.items[i].tagB);
            EXPECT_EQ(voices[row].items[i].tagC, tune.items[i].tagC);
        }
    }
    EXPECT_EQ(engine.GetMelody().items[1].pitch, 64);
    // To the next start, and for the last note to its own end.
    EXPECT_EQ(engine.GetNoteDurations(), (std::vector<float>{1.5f, 1.5f}));
    EXPECT_EQ(engine.GetTotalDuration(), 3.0f);
    EXPECT_EQ(engine.GetMeanDuration(), 1.5f);
}

TEST(SetMelody, AnEmptyMelodyLeavesEverythingAsItWas) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    const auto rows = AllRows(engine);
    const Chords chords = AllChords(engine);
    const std::vector<float> durations = engine.GetNoteDurations();
    const int32_t lowest = engine.GetClassic().GetLastVoicing()[0];
    NoteList empty;
    EXPECT_EQ(engine.SetMelody(&empty, 1), 0);
    empty.count = -5;
    EXPECT_EQ(engine.SetMelody(&empty, 1), 0);
    EXPECT_EQ(engine.GetMelody().count, 8);
    EXPECT_EQ(AllRows(engine), rows);
    ExpectSameChords(AllChords(engine), chords);
    EXPECT_EQ(engine.GetNoteDurations(), durations);
    EXPECT_EQ(engine.GetTotalDuration(), 8.0f);
    EXPECT_NE(engine.GetChosen()[0].voicing, nullptr);
    EXPECT_EQ(engine.GetClassic().GetLastVoicing()[0], lowest);
}

TEST(SetMelody, MayBeGivenAnOwnRow) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    NoteList* voices = nullptr;
    engine.GetVoices(&voices);
    const Row lead = RowOf(engine, 3);
    EXPECT_EQ(engine.SetMelody(&voices[3], 0), 0);
    for (int32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(engine.GetMelody().items[i].pitch, lead[static_cast<size_t>(i)]);
    }
    EXPECT_EQ(engine.SetMelody(&engine.GetMelody(), 1), 0);
}

TEST(SetMelody, KeepsChordsOfTheSameNumberUnlessForced) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetChordCount(8);
    for (int32_t i = 0; i < 8; ++i) {
        engine.SetChordAt(i, Triad(5, ChordMajor));
    }
    SetMelody(engine, kScale, 0);
    for (const ChordInfo& chord : AllChords(engine)) {
        EXPECT_TRUE(SameChord(chord, Triad(5, ChordMajor)));
    }
    SetMelody(engine, kScale, 1);
    EXPECT_EQ(AllChords(engine)[0].name, "C");
    EXPECT_EQ(AllChords(engine)[0].inversion, -1);
}

TEST(SetMelody, TracksChordsOutsideModeSeven) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    SetMelody(engine, kScale, 0);
    auto classic = PlainClassic();
    std::vector<ClassicChord> tracked(8);
    classic->TrackChords(kScale.data(), tracked.data(), 8);
    const Chords chords = AllChords(engine);
    ASSERT_EQ(chords.size(), 8u);
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(chords[i].root, tracked[i].root);
        EXPECT_EQ(chords[i].triadType, tracked[i].triadType);
        EXPECT_EQ(chords[i].seventhType, ChordNoSeventh);
        EXPECT_EQ(chords[i].name, ChordName(tracked[i].root, tracked[i].triadType, 0));
    }
}

TEST(SetMelody, EmptiesTheChordsInModeSeven) {
    CChoiralizerV2 engine;
    engine.SetChordCount(8);
    engine.SetChordAt(0, Triad(5, ChordMajor));
    SetMelody(engine, kScale, 0);
    EXPECT_EQ(AllChords(engine)[0].root, 5);
    SetMelody(engine, kScale, 1);
    for (const ChordInfo& chord : AllChords(engine)) {
        EXPECT_TRUE(SameChord(chord, {-1, 5, 16, -1, ""}));
    }
    SetMelody(engine, {60, 62}, 0);
    EXPECT_EQ(engine.GetChordCount(), 2);
}

TEST(Calculate, NeedsAMelody) {
    CChoiralizerV2 engine;
    EXPECT_EQ(engine.Calculate(), kBadArgument);
    engine.SetMode(0);
    EXPECT_EQ(engine.Calculate(), kBadArgument);
}

TEST(Calculate, WithFewerChordsThanNotesChangesNothing) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    const auto rows = AllRows(engine);
    engine.SetChordCount(7);
    EXPECT_EQ(engine.Calculate(), kBadArgument);
    EXPECT_EQ(AllRows(engine), rows);
    EXPECT_EQ(AllChords(engine)[0].root, -1);
}

TEST(Calculate, TakesMoreChordsThanNotes) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.SetChordCount(12);
    for (int32_t i = 0; i < 12; ++i) {
        engine.SetChordAt(i, Triad(0, ChordMajor));
    }
    EXPECT_EQ(engine.Calculate(), 0);
    EXPECT_EQ(AllChords(engine)[8].name, "given");
    EXPECT_EQ(AllChords(engine)[7].name, "C");
}

// What the engine should do in modes 0 to 2, with the classic engine driven by hand.
std::array<Row, 4> ClassicRows(int32_t mode, int32_t voicesAbove, float spread, const Row& pitches,
                               const std::vector<ClassicChord>& chords, CChoiralizer& classic) {
    std::array<Row, 4> rows;
    classic.ResetHistory();
    classic.SetVoiceMode(mode);
    classic.SetSpread(spread);
    classic.SetVoicesAbove(voicesAbove);
    int32_t result[4] = {-1, -1, -1, -1};
    for (size_t i = 0; i < pitches.size(); ++i) {
        classic.VoiceChord(pitches[i], result, chords[i]);
        std::swap(result[0], result[3]);
        for (size_t row = 0; row < 4; ++row) {
            rows[row].push_back(result[row]);
        }
    }
    return rows;
}

TEST(ClassicModes, WithoutChordsTheTrackerSuppliesThem) {
    for (int32_t mode : {0, 1, 2}) {
        CChoiralizerV2 engine;
        engine.SetMode(mode);
        engine.SetParams(kOneAbove.data());
        SetMelody(engine, kScale);
        engine.SetChordCount(8);
        ASSERT_EQ(AllChords(engine)[0].root, -1);
        ASSERT_EQ(engine.Calculate(), 0);
        auto classic = PlainClassic();
        std::vector<ClassicChord> tracked(8);
        classic->TrackChords(kScale.data(), tracked.data(), 8);
        EXPECT_EQ(AllRows(engine), ClassicRows(mode, 1, 0.5f, kScale, tracked, *classic));
        EXPECT_EQ(AllChords(engine)[0].root, tracked[0].root);
    }
}

TEST(ClassicModes, ChordsThatWereSetAreSung) {
    std::mt19937 random(21);
    for (int32_t mode : {0, 1, 2}) {
        CChoiralizerV2 engine;
        engine.SetMode(mode);
        engine.SetParams(kOneAbove.data());
        SetMelody(engine, kScale);
        std::vector<ClassicChord> chords;
        for (int32_t i = 0; i < 8; ++i) {
            const int32_t root = static_cast<int32_t>(random() % 12);
            const bool seventh = i % 2 == 1;
            engine.SetChordAt(
                i, seventh ? ChordInfo{root, ChordNoTriad, ChordDominant7, 0, ""} : Triad(root, ChordMinor));
            chords.push_back(seventh ? ClassicChord{root, 4, 5, 8} : ClassicChord{root, 3, 1, 13});
        }
        ASSERT_EQ(engine.Calculate(), 0);
        auto classic = PlainClassic();
        EXPECT_EQ(AllRows(engine), ClassicRows(mode, 1, 0.5f, kScale, chords, *classic));
    }
}

TEST(ClassicModes, TheLeadIsTheTopRowAndAbsentVoicesAreSilent) {
    for (int32_t mode : {0, 1, 2}) {
        CChoiralizerV2 engine;
        engine.SetMode(mode);
        engine.SetParams(kOneAbove.data());
        SetMelody(engine, kScale);
        engine.Calculate();
        EXPECT_EQ(RowOf(engine, 3), kScale);
        EXPECT_EQ(RowOf(engine, 0)[0] == -1, mode >= 1);  // the third voice goes to row 0
        EXPECT_EQ(RowOf(engine, 2)[0] == -1, mode >= 2);
        EXPECT_NE(RowOf(engine, 1)[0], -1);
    }
}

TEST(ClassicModes, ASecondRunGivesTheSame) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    const auto rows = AllRows(engine);
    const Chords chords = AllChords(engine);
    engine.Calculate();
    EXPECT_EQ(AllRows(engine), rows);
    ExpectSameChords(AllChords(engine), chords);
}

TEST(ClassicModes, ChordsOnceTrackedStayWhenTheKeyChanges) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.SetChordCount(8);
    engine.Calculate();
    const Chords chords = AllChords(engine);
    engine.SetKey(6);
    engine.Calculate();
    ExpectSameChords(AllChords(engine), chords);
}

// The chord as it stands after a run that was given it.
ChordInfo AfterRun(const ChordInfo& given) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, {60});
    engine.SetChordAt(0, given);
    EXPECT_EQ(engine.Calculate(), 0);
    return AllChords(engine)[0];
}

TEST(ClassicModes, TriadsComeBackWithANewNameAndUnknownInversion) {
    EXPECT_TRUE(SameChord(AfterRun({9, ChordMinor, ChordNoSeventh, 2, "mine"}), {9, 1, 16, -1, "a"}));
    EXPECT_TRUE(SameChord(AfterRun({0, ChordSus4, ChordNoSeventh, 0, "mine"}), {0, 6, 16, -1, ""}));
    EXPECT_TRUE(
        SameChord(AfterRun({0, ChordSixth, ChordNoSeventh, 0, ""}), {0, ChordUnknownTriad, 16, -1, "--"}));
    EXPECT_TRUE(SameChord(AfterRun({0, ChordNoTriad, ChordNoSeventh, 0, ""}), {0, 5, 16, -1, "--"}));
}

TEST(ClassicModes, SeventhChordsAreNamedByTheLowerCode) {
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordMajor7, 0, ""}), {7, 5, 9, -1, ""}));
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordMinor7, 0, ""}), {7, 5, 10, -1, ""}));
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordDominant7, 0, ""}), {7, 5, 11, -1, ""}));
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordHalfDiminished7, 0, ""}), {7, 5, 12, -1, "G M7"}));
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordDiminished7, 0, ""}), {7, 5, 13, -1, "g m7"}));
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordMinorMajor7, 0, ""}), {7, 5, 14, -1, "G 7"}));
    EXPECT_TRUE(SameChord(AfterRun({7, ChordNoTriad, ChordUnknownSeventh, 0, ""}), {7, 5, 15, -1, "g m7b5"}));
}

TEST(ClassicModes, TheAugmentedMajorSeventhComesBackAsUnknown) {
    EXPECT_TRUE(
        SameChord(AfterRun({7, ChordNoTriad, ChordAugmentedMajor7, 0, ""}), {7, 5, 15, -1, "g m7b5"}));
}

TEST(ClassicModes, TakeChordCodesAndRootsOfAnyValue) {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max(),
                      kLeast = std::numeric_limits<int32_t>::min();
    for (int32_t value : {kMost, kLeast, -2, 18, 1000}) {
        AfterRun({value, value, value, value, ""});
        AfterRun({0, 0, value, 0, ""});
        AfterRun({0, value, 16, 0, ""});
    }
}

TEST(ClassicModes, AnEmptyChordRepeatsTheVoicesBefore) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, {60, 62, 64});
    engine.SetChordAt(0, Triad(0, ChordMajor));
    engine.SetChordAt(1, {});
    engine.SetChordAt(2, Triad(0, ChordMajor));
    engine.Calculate();
    for (int32_t row = 0; row < 3; ++row) {
        EXPECT_EQ(RowOf(engine, row)[1], RowOf(engine, row)[0]);
    }
    EXPECT_EQ(RowOf(engine, 3)[1], 62);
}

TEST(ClassicModes, ModeThreeReadsSignAndSizeThroughThePointer) {
    CChoiralizerV2 engine;
    engine.SetMode(3);
    const int32_t pairs[8] = {1, 0, 1, 2, -1, 3, 1, 7};
    HarmonyParams params[2];
    const int32_t* pointer = pairs;
    static_assert(sizeof pointer <= sizeof params);
    std::memcpy(params, &pointer, sizeof pointer);
    engine.SetParams(params);
    SetMelody(engine, kScale);
    ASSERT_EQ(engine.Calculate(), 0);
    auto classic = PlainClassic();
    const int32_t intervals[4] = {0, 2, -3, 7};
    for (size_t i = 0; i < kScale.size(); ++i) {
        int32_t result[4];
        classic->VoiceIntervals(kScale[i], result, intervals);
        EXPECT_EQ(RowOf(engine, 3)[i], result[0]);
        EXPECT_EQ(RowOf(engine, 1)[i], result[1]);
        EXPECT_EQ(RowOf(engine, 2)[i], result[2]);
        EXPECT_EQ(RowOf(engine, 0)[i], result[3]);
    }
    EXPECT_EQ(engine.GetClassic().GetVoiceMode(), 3);
}

TEST(ClassicModes, ModeThreeWithoutAPointerIsRefused) {
    CChoiralizerV2 engine;
    engine.SetMode(3);
    SetMelody(engine, kScale);
    EXPECT_EQ(engine.Calculate(), kBadArgument);  // the default block has none
    const HarmonyParams none[2] = {0, 0};
    engine.SetParams(none);
    EXPECT_EQ(engine.Calculate(), kBadArgument);
    EXPECT_EQ(RowOf(engine, 3), Row(8, -1));
}

// A run of a direct style against the same calls on a classic engine.
template <class Voice>
void ExpectDirectStyle(int32_t mode, std::array<HarmonyParams, 2> params, Voice voice) {
    CChoiralizerV2 engine;
    engine.SetMode(mode);
    engine.SetParams(params.data());
    SetMelody(engine, kScale);
    ASSERT_EQ(engine.Calculate(), 0);
    auto classic = PlainClassic();
    int32_t result[4] = {-1, -1, -1, -1};
    for (size_t i = 0; i < kScale.size(); ++i) {
        voice(*classic, i, result);
        std::swap(result[0], result[3]);
        for (int32_t row = 0; row < 4; ++row) {
            ASSERT_EQ(RowOf(engine, row)[i], result[row])
                << "mode " << mode << " word " << params[0] << " note " << i;
        }
    }
}

TEST(ClassicModes, ModeFourVoicesBlocksTowardsTheNextNote) {
    for (int32_t style = 0; style <= 9;
         ++style) {  // 9 is refused: every note gets the one before turned over
        ExpectDirectStyle(4, {style, 0}, [&](CChoiralizer& classic, size_t i, int32_t* result) {
            classic.VoiceBlock(kScale[i], i + 1 < kScale.size() ? kScale[i + 1] : kScale[i], result, style);
        });
    }
}

TEST(ClassicModes, ModesFiveAndSixTakeTheVariant) {
    for (int32_t variant = -1; variant <= 8; ++variant) {
        ExpectDirectStyle(5, {variant, 0}, [&](CChoiralizer& classic, size_t i, int32_t* result) {
            classic.VoiceOpenFourths(kScale[i], result, variant);
        });
        ExpectDirectStyle(6, {variant, 0}, [&](CChoiralizer& classic, size_t i, int32_t* result) {
            classic.VoiceFixedInterval(kScale[i], result, variant);
        });
    }
}

TEST(ClassicModes, ModeEightTakesIntervalAndDirection) {
    for (const auto& [word, direction] : {std::pair<int32_t, int32_t>{1, 2}, {-1, 1}, {0, 0}, {5, 0}}) {
        for (int32_t interval : {0, 7, 12}) {
            ExpectDirectStyle(8, {interval, word}, [&](CChoiralizer& classic, size_t i, int32_t* result) {
                classic.VoiceDouble(kScale[i], result, interval, direction);
            });
        }
    }
}

TEST(ClassicModes, ARefusedStyleTurnsTheNoteBeforeOver) {
    CChoiralizerV2 engine;
    engine.SetMode(8);
    const HarmonyParams up[2] = {12, 1}, nowhere[2] = {12, 0};
    engine.SetParams(up);
    SetMelody(engine, {60, 62});
    engine.Calculate();
    EXPECT_EQ(RowOf(engine, 0), (Row{72, 74}));
    engine.SetParams(nowhere);  // refused for every note; the run starts from silence
    engine.Calculate();
    EXPECT_EQ(AllRows(engine), (std::array<Row, 4>{Row{-1, -1}, Row{-1, -1}, Row{-1, -1}, Row{-1, -1}}));
}

TEST(ClassicModes, UnknownModesDoNothing) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    const auto rows = AllRows(engine);
    const Chords chords = AllChords(engine);
    for (int32_t mode : {-1, 9, 1000}) {
        engine.SetMode(mode);
        EXPECT_EQ(engine.Calculate(), 0);
        EXPECT_EQ(AllRows(engine), rows);
        ExpectSameChords(AllChords(engine), chords);
    }
}

TEST(ResetVoices, SilencesTheRowsAndForgetsTheHistory) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    ASSERT_NE(engine.GetClassic().GetLastVoicing()[0], -1);
    EXPECT_EQ(engine.ResetVoices(), 0);
    EXPECT_EQ(RowOf(engine, 3), Row(8, -1));
    EXPECT_EQ(engine.GetClassic().GetLastVoicing()[0], -1);
}

TEST(ResetVoices, InModeSevenTheClassicHistoryStays) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    const int32_t lowest = engine.GetClassic().GetLastVoicing()[0];
    engine.SetMode(7);
    engine.ResetVoices();
    EXPECT_EQ(engine.GetClassic().GetLastVoicing()[0], lowest);
}

TEST(ResetVoices, ChosenIsRebuiltOnlyWhenTheNumberOfNotesChanges) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    SetMelody(engine, kScale);
    engine.Calculate();
    ASSERT_NE(engine.GetChosen()[0].voicing, nullptr);
    SetMelody(engine, kScale);
    EXPECT_NE(engine.GetChosen()[0].voicing, nullptr);
    SetMelody(engine, {60, 62});
    ASSERT_EQ(engine.GetChosen().size(), 2u);
    EXPECT_EQ(engine.GetChosen()[0].voicing, nullptr);
}

TEST(SetVoiceItem, WritesTheRowAndForTheLeadTheMelody) {
    CChoiralizerV2 engine;
    SetMelody(engine, kScale);
    NoteList* voices = nullptr;
    engine.GetVoices(&voices);
    const NoteItem item{50, 1.0f, 2.0f, 3, 4, 5};
    EXPECT_EQ(engine.SetVoiceItem(item, 1, 2), 0);
    EXPECT_EQ(voices[1].items[2].pitch, 50);
    EXPECT_EQ(voices[1].items[2].tagC, 5u);
    EXPECT_EQ(engine.GetMelody().items[2].pitch, 64);
    EXPECT_EQ(engine.SetVoiceItem(item, 3, 2), 0);
    EXPECT_EQ(voices[3].items[2].pitch, 50);
    EXPECT_EQ(engine.GetMelody().items[2].pitch, 50);
    for (int32_t voice : {4, -1, 1000}) {
        EXPECT_EQ(engine.SetVoiceItem(item, voice, 0), kBadArgument);
    }
    for (int32_t note : {8, -1}) {
        EXPECT_EQ(engine.SetVoiceItem(item, 0, note), kBadArgument);
    }
}

TEST(SetVoiceItemTag, WritesTheLastTag) {
    CChoiralizerV2 engine;
    SetMelody(engine, kScale);
    NoteList* voices = nullptr;
    engine.GetVoices(&voices);
    EXPECT_EQ(engine.SetVoiceItemTag(77, 0, 1), 0);
    EXPECT_EQ(voices[0].items[1].tagC, 77u);
    EXPECT_EQ(engine.GetMelody().items[1].tagC, 0u);
    EXPECT_EQ(engine.SetVoiceItemTag(78, 3, 1), 0);
    EXPECT_EQ(voices[3].items[1].tagC, 78u);
    EXPECT_EQ(engine.GetMelody().items[1].tagC, 78u);
    EXPECT_EQ(engine.SetVoiceItemTag(1, 4, 1), kBadArgument);
    EXPECT_EQ(engine.SetVoiceItemTag(1, 0, 8), kBadArgument);
}

TEST(ConfigureRules, AcceptsAnyText) {
    CChoiralizerV2 engine;
    EXPECT_EQ(engine.ConfigureRules("whatever"), 0);
}

TEST(RecordResult, WithoutAClassicChordItIsIdentifiedFromThePitches) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    SetMelody(engine, kScale);
    int32_t voicing[4] = {72, 64, 67, 60};
    VoicingCandidate candidate;
    candidate.voicing = voicing;
    candidate.gap = 5;
    engine.RecordResult(&candidate, 2, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[2], {0, 0, 16, -1, "C"}));
    EXPECT_EQ(candidate.gap, 1);
    EXPECT_EQ((Row{voicing[0], voicing[1], voicing[2], voicing[3]}), (Row{60, 64, 67, 72}));
    for (int32_t row = 0; row < 4; ++row) {
        EXPECT_EQ(RowOf(engine, row)[2], voicing[row]);
    }
    EXPECT_EQ(engine.GetChosen()[2].voicing, voicing);  // shared, not copied
}

TEST(RecordResult, WithoutACandidateOnlyTheChordIsWritten) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    SetMelody(engine, kScale);
    std::vector<ClassicChord> chords(8, ClassicChord{2, 4, 5, 8});
    engine.RecordResult(nullptr, 3, chords.data());
    EXPECT_TRUE(SameChord(AllChords(engine)[3], {2, 5, 11, -1, ""}));
    EXPECT_EQ(RowOf(engine, 3)[3], -1);
    engine.RecordResult(nullptr, 3, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[3], {2, 5, 11, -1, ""}));
}

TEST(RecordResult, NotesThatDoNotExistAreLetBe) {
    CChoiralizerV2 engine;
    engine.SetMode(0);
    SetMelody(engine, {60});
    std::vector<ClassicChord> chords(2, ClassicChord{2, 3, 0, 13});
    engine.RecordResult(nullptr, 1, chords.data());
    engine.RecordResult(nullptr, -1, chords.data());
    EXPECT_EQ(engine.GetChordCount(), 1);
}

// A mode 7 candidate of a chord row.
VoicingCandidate OwnCandidate(const ChordFunctionEntry& entry, int32_t* voicing) {
    VoicingCandidate candidate;
    candidate.tones = entry.tones;
    candidate.bassIndex = entry.bassIndex;
    candidate.chordType = entry.chordType;
    candidate.name = entry.name;
    candidate.voicing = voicing;
    candidate.gap = 3;
    return candidate;
}

TEST(RecordResult, InModeSevenTheRootIsToneAndKeyUnreduced) {
    CChoiralizerV2 engine;
    engine.SetKey(11);
    SetMelody(engine, kScale);
    int32_t voicing[4] = {54, 61, 70, 78};
    const ChordFunctionEntry& fifth = FunctionChordTable[0][FunctionDominant].entries[0];  // tones 2 7 11
    VoicingCandidate candidate = OwnCandidate(fifth, voicing);
    engine.RecordResult(&candidate, 0, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[0], {18, 0, 16, 0, "Major: Fifth Degree Triad"}));
    EXPECT_EQ(voicing[0], 54);  // rows as they are
    EXPECT_EQ(RowOf(engine, 0)[0], 54);
    EXPECT_EQ(RowOf(engine, 3)[0], 78);
    EXPECT_EQ(engine.GetChosen()[0].gap, 3);
}

TEST(RecordResult, InModeSevenTheInversionIsCountedFromTheBassTone) {
    CChoiralizerV2 engine;
    SetMelody(engine, kScale);
    const ChordFunctionEntry& fourth =
        FunctionChordTable[0][FunctionSubdominant].entries[0];  // tones 0 5 9, bass 5
    for (const auto& [lowest, inversion] : {std::pair<int32_t, int32_t>{53, 0}, {57, 1}, {48, 2}, {50, 4}}) {
        int32_t voicing[4] = {60, lowest, 65, 69};  // the lowest need not be in row 0
        VoicingCandidate candidate = OwnCandidate(fourth, voicing);
        engine.RecordResult(&candidate, 0, nullptr);
        EXPECT_EQ(AllChords(engine)[0].inversion, inversion) << lowest;
    }
}

TEST(RecordResult, InModeSevenSeventhChordsAndUnknownOnes) {
    CChoiralizerV2 engine;
    SetMelody(engine, kScale);
    int32_t voicing[4] = {55, 59, 62, 65};
    VoicingCandidate candidate = OwnCandidate(FunctionChordTable[0][FunctionDominant].entries[1], voicing);
    engine.RecordResult(&candidate, 0, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[0], {7, 5, 11, 0, "Major: Dominant Seventh"}));
    candidate.chordType = ChordUnknownSeventh;
    engine.RecordResult(&candidate, 0, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[0], {7, 5, 15, -1, "Major: Dominant Seventh"}));
    candidate.chordType = ChordUnknownTriad;
    engine.RecordResult(&candidate, 0, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[0], {7, 4, 16, -1, "Major: Dominant Seventh"}));
}

TEST(RecordResult, InModeSevenDiminishedRowsCountFromTheValueInFront) {
    CChoiralizerV2 engine;
    engine.SetKey(2);
    SetMelody(engine, kScale);
    const int32_t fronts[3] = {2, 11, 10};
    for (int32_t i = 0; i < 3; ++i) {
        const ChordFunctionEntry& entry = FunctionChordTable[0][FunctionDominant].entries[5 + i];
        int32_t voicing[4] = {62 + entry.tones[1], 75, 78, 81};
        VoicingCandidate candidate = OwnCandidate(entry, voicing);
        engine.RecordResult(&candidate, 0, nullptr);
        EXPECT_EQ(AllChords(engine)[0].root, 2 + fronts[i]) << entry.name;
        EXPECT_EQ(AllChords(engine)[0].inversion, 2) << entry.name;
    }
}

TEST(RecordResult, InModeSevenNoChordHasNoRoot) {
    CChoiralizerV2 engine;
    engine.SetKey(5);
    SetMelody(engine, kScale);
    int32_t voicing[4] = {-1, -1, -1, 60};
    VoicingCandidate candidate = OwnCandidate(FunctionChordTable[0][FunctionNone].entries[0], voicing);
    engine.RecordResult(&candidate, 0, nullptr);
    EXPECT_TRUE(SameChord(AllChords(engine)[0], {-1, 4, 16, -1, "No Chord"}));
}

TEST(ModeSeven, RefusesALeadRowThatDoesNotExist) {
    CChoiralizerV2 engine;
    for (int32_t row : {-1, 4, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        const HarmonyParams params[3] = {row, 0, 0};
        engine.SetParams(params);
        SetMelody(engine, kScale);
        EXPECT_EQ(engine.Calculate(), kBadArgument);
        EXPECT_EQ(RowOf(engine, 3), Row(8, -1));
    }
}

TEST(ModeSeven, RefusesANoteWithoutAPitch) {
    CChoiralizerV2 engine;
    SetMelody(engine, {60, -1, 64});
    EXPECT_EQ(engine.Calculate(), kBadArgument);
    EXPECT_EQ(RowOf(engine, 3), Row(3, -1));
}

TEST(ModeSeven, OneNoteGetsAChordAndFourVoices) {
    CChoiralizerV2 engine;
    SetMelody(engine, {72});
    ASSERT_EQ(engine.Calculate(), 0);
    for (int32_t row = 0; row < 4; ++row) {
        EXPECT_NE(RowOf(engine, row)[0], -1);
    }
    EXPECT_EQ(RowOf(engine, 3)[0], 72);
    EXPECT_EQ(AllChords(engine)[0].root, 0);
    EXPECT_EQ(AllChords(engine)[0].name.rfind("Major: ", 0), 0u);
}

TEST(ModeSeven, ChordsThatWereSetHaveNoInfluence) {
    CChoiralizerV2 with, without;
    for (CChoiralizerV2* engine : {&with, &without}) {
        SetMelody(*engine, kScale);
    }
    for (int32_t i = 0; i < 8; ++i) {
        with.SetChordAt(i, Triad(1, ChordDiminished));
    }
    with.Calculate();
    without.Calculate();
    EXPECT_EQ(AllRows(with), AllRows(without));
    ExpectSameChords(AllChords(with), AllChords(without));
}

TEST(ModeSeven, EveryNoteGetsAChordHoweverFewWereSet) {
    CChoiralizerV2 engine;
    SetMelody(engine, kScale);
    engine.SetChordCount(2);
    ASSERT_EQ(engine.Calculate(), 0);
    ASSERT_EQ(engine.GetChordCount(), 8);
    for (const ChordInfo& chord : AllChords(engine)) {
        EXPECT_NE(chord.name, "");
    }
}

TEST(ModeSeven, RunsDependOnTheSettingsOfNowAlone) {
    CChoiralizerV2 engine;
    SetMelody(engine, {60, 64, 67, 65, 62, 61, 67, 60, 64, 67, 65, 59, 60});
    engine.Calculate();
    const auto rows = AllRows(engine);
    const Chords chords = AllChords(engine);
    engine.SetKey(3);
    engine.SetOutputScale(5);
    engine.Calculate();
    EXPECT_NE(AllRows(engine), rows);
    engine.SetMode(0);
    engine.SetParams(kOneAbove.data());
    engine.Calculate();
    engine.SetMode(7);
    engine.SetKey(0);
    engine.SetOutputScale(0);
    engine.Calculate();
    EXPECT_EQ(AllRows(engine), rows);
    ExpectSameChords(AllChords(engine), chords);
}

TEST(ModeSeven, RootsLieUpToElevenAboveTheKey) {
    CChoiralizerV2 engine;
    engine.SetKey(11);
    Row melody = kScale;
    for (int32_t& pitch : melody) {
        pitch += 11;
    }
    SetMelody(engine, melody);
    engine.Calculate();
    int32_t highest = -1;
    for (const ChordInfo& chord : AllChords(engine)) {
        EXPECT_GE(chord.root, 11);
        EXPECT_LE(chord.root, 22);
        highest = std::max(highest, chord.root);
    }
    EXPECT_GT(highest, 11);
}

TEST(ModeSeven, ANoteOutOfTheScaleTakesTheVoicesBefore) {
    CChoiralizerV2 engine;
    SetMelody(engine, {60, 61, 62, 64, 60});
    engine.Calculate();
    const auto rows = AllRows(engine);
    for (size_t row = 0; row < 3; ++row) {
        EXPECT_EQ(rows[row][1], rows[row][0]);
    }
    EXPECT_EQ(rows[3][1], 61);
    EXPECT_EQ(AllChords(engine)[1].name, "overtaken from previous - unknown chord");
    EXPECT_EQ(AllChords(engine)[1].inversion, -1);
}

TEST(ModeSeven, TheMelodyStandsInTheRowThatWasAskedFor) {
    for (int32_t row = 0; row < 4; ++row) {
        CChoiralizerV2 engine;
        const HarmonyParams params[3] = {row, 0, 1};
        engine.SetParams(params);
        engine.SetRange(12, 12);
        SetMelody(engine, kScale);
        ASSERT_EQ(engine.Calculate(), 0);
        EXPECT_EQ(RowOf(engine, row), kScale);
    }
}

// Arguments that a host may get wrong as well as right.
struct AnyArguments {
    std::mt19937 random{4711};

    int32_t Below(int32_t n) { return static_cast<int32_t>(random() % static_cast<uint32_t>(n)); }
    int32_t Word() {
        switch (Below(12)) {
            case 0:
                return std::numeric_limits<int32_t>::max();
            case 1:
                return std::numeric_limits<int32_t>::min();
            case 2:
                return static_cast<int32_t>(random());
            case 3:
                return -1;
            default:
                return Below(20);
        }
    }
    int32_t Pitch() { return Below(40) == 0 ? Word() : 48 + Below(30); }
    float Time() {
        const float odd[4] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -1e30f, 0};
        return Below(30) == 0 ? odd[Below(4)] : static_cast<float>(Below(100)) / 8;
    }
    ChordInfo Chord() { return {Word(), Word(), Word(), Word(), "some chord with a name of its own"}; }
};

TEST(ChoiralizerV2, NoSequenceOfCallsDoesHarm) {
    AnyArguments any;
    const int32_t pairs[8] = {1, 3, -1, 2, 1, 7, -1, 7};
    for (int round = 0; round < 100; ++round) {
        CChoiralizerV2 engine;
        int32_t words[6] = {};
        for (int call = 0; call < 60; ++call) {
            int32_t pitches[4] = {any.Pitch(), any.Pitch(), any.Pitch(), any.Word()};
            std::vector<ChordInfo> list(40);
            ChordInfo chord;
            switch (any.Below(22)) {
                case 0:
                    engine.SetKey(any.Word());
                    break;
                case 1:
                    engine.SetInputScale(any.Word());
                    break;
                case 2:
                    engine.SetOutputScale(any.Word());
                    break;
                case 3:
                    engine.SetQuantize(any.Word());
                    break;
                case 4:
                    engine.SetScaleMap(any.Word());
                    break;
                case 5:
                case 6:
                    for (int32_t& word : words) {
                        word = any.Word();
                    }
                    engine.SetMode(any.Below(11) - 1);
                    if (engine.GetMode() == 3) {
                        const int32_t* pointer = pairs;
                        std::memcpy(words, &pointer, sizeof pointer);
                    }
                    engine.SetParams(words);
                    break;
                case 7:
                    engine.SetChordCount(any.Below(20) - 1);
                    break;
                case 8:
                case 9:
                    engine.SetChordAt(any.Word(), any.Chord());
                    break;
                case 10:
                    engine.ResetVoices();
                    break;
                case 11:
                case 12: {
                    Tune tune(Row(static_cast<size_t>(any.Below(12)), 0));
                    for (NoteItem& item : tune.items) {
                        item = {any.Pitch(), any.Time(), any.Time(), 1, 2, 3};
                    }
                    engine.SetMelody(&tune.list, any.Below(2));
                    break;
                }
                case 13:
                case 14:
                case 15:
                    engine.Calculate();
                    break;
                case 16:
                    engine.SetChordAtNote(any.Chord(), any.Word());
                    break;
                case 17:
                    engine.SetVoiceItem({any.Pitch(), 0, 1, 0, 0, 0}, any.Word(), any.Word());
                    break;
                case 18:
                    engine.SetVoiceItemTag(1, any.Word(), any.Word());
                    break;
                case 19:
                    engine.ChordFromPitches(&chord, pitches);
                    break;
                case 20:
                    engine.GetChordPitches(any.Chord(), pitches);
                    break;
                case 21:
                    engine.ListChordsWithTones(any.Word(), list.data());
                    break;
            }
            NoteList* voices = nullptr;
            engine.GetVoices(&voices);
            for (int32_t row = 0; row < 4; ++row) {
                ASSERT_EQ(voices[row].count, engine.GetMelody().count);
            }
        }
    }
}

// All tunes, in their keys.
struct KeyedTune {
    mlh::Tune tune;
    int32_t key, scale;
};

std::vector<KeyedTune> LoadKeyedTunes() {
    std::vector<KeyedTune> tunes;
    for (mlh::Tune& tune : AllTunes()) {
        const int32_t key = tune.keyTonic < 0 ? 0 : tune.keyTonic;
        const int32_t scale = tune.keyMode == "minor" ? 5 : 0;
        tunes.push_back({std::move(tune), key, scale});
    }
    return tunes;
}

void SetTune(CChoiralizerV2& engine, const KeyedTune& keyed) {
    engine.SetKey(keyed.key);
    engine.SetInputScale(keyed.scale);
    engine.SetOutputScale(keyed.scale);
    Tune melody{Row(keyed.tune.notes.size(), 0)};
    for (size_t i = 0; i < melody.items.size(); ++i) {
        const TuneNote& note = keyed.tune.notes[i];
        melody.items[i].pitch = note.pitch;
        melody.items[i].startTime = note.onset;
        melody.items[i].endTime = note.onset + note.duration;
    }
    ASSERT_EQ(engine.SetMelody(&melody.list, 1), 0);
}

ChordInfo ChordOf(const TuneNote& note) {
    if (note.chordRoot < 0) {
        return {};
    }
    const std::string& quality = note.chordQuality;
    if (quality == "7" || quality == "9") {
        return {note.chordRoot, ChordNoTriad, ChordDominant7, 0, ""};
    }
    if (quality == "min7") {
        return {note.chordRoot, ChordNoTriad, ChordMinor7, 0, ""};
    }
    if (quality == "dim") {
        return {note.chordRoot, ChordDiminished, ChordNoSeventh, 0, ""};
    }
    return {note.chordRoot, quality.rfind("min", 0) == 0 ? ChordMinor : ChordMajor, ChordNoSeventh, 0, ""};
}

TEST(Tunes, EveryNoteOfEveryTuneGetsItsFourVoicesInModeSeven) {
    const std::vector<KeyedTune> tunes = LoadKeyedTunes();
    for (const KeyedTune& keyed : tunes) {
        CChoiralizerV2 engine;
        SetTune(engine, keyed);
        ASSERT_EQ(engine.Calculate(), 0) << keyed.tune.name;
        const Chords chords = AllChords(engine);
        for (const Row& row : AllRows(engine)) {
            for (size_t i = 0; i < row.size(); ++i) {
                EXPECT_NE(row[i], -1) << keyed.tune.name << " note " << i;
            }
        }
        for (size_t i = 0; i < chords.size(); ++i) {
            EXPECT_EQ(RowOf(engine, 3)[i], keyed.tune.notes[i].pitch);
            EXPECT_NE(chords[i].root, -1) << keyed.tune.name << " note " << i;
        }
    }
}

TEST(Tunes, EveryNoteOfEveryTuneGetsItsVoices) {
    const std::vector<KeyedTune> tunes = LoadKeyedTunes();
    for (const KeyedTune& keyed : tunes) {
        for (int32_t mode : {0, 1, 2}) {
            for (bool withChords : {false, true}) {
                if (withChords && !keyed.tune.HasChords()) {
                    continue;
                }
                CChoiralizerV2 engine;
                engine.SetMode(mode);
                engine.SetParams(kOneAbove.data());
                SetTune(engine, keyed);
                const std::vector<TuneNote>& notes = keyed.tune.notes;
                for (size_t i = 0; withChords && i < notes.size(); ++i) {
                    if (notes[i].chordRoot < 0) {
                        continue;  // keeps the tracked chord
                    }
                    engine.SetChordAt(static_cast<int32_t>(i), ChordOf(notes[i]));
                }
                ASSERT_EQ(engine.Calculate(), 0);
                const auto rows = AllRows(engine);
                for (size_t i = 0; i < notes.size(); ++i) {
                    EXPECT_NE(rows[3][i], -1);
                    EXPECT_NE(rows[1][i], -1) << keyed.tune.name << " mode " << mode << " note " << i;
                    EXPECT_EQ(rows[2][i] != -1, mode < 2)
                        << keyed.tune.name << " mode " << mode << " note " << i;
                    EXPECT_EQ(rows[0][i] != -1, mode < 1)
                        << keyed.tune.name << " mode " << mode << " note " << i;
                }
            }
        }
    }
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
