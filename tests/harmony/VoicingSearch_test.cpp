// The four-voice setting of mode 7: BuildVoicingCandidates, SearchVoicing and SetChordAtNote.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "base/Codes.h"
#include "classic/ScaleTable.h"
#include "harmony/ChoiralizerV2.h"
#include "harmony/FunctionTables.h"
#include "harmony/VoicingRules.h"
#include "support/Paths.h"
#include "support/PlainVoicingSearch.h"

namespace mlh {

namespace ChoiralizerV2 {
namespace {

const std::string kInherited = "overtaken from previous - unknown chord";

struct Task {
    std::vector<int32_t> pitches;
    int32_t key = 0;
    int32_t scaleRow = 0;
    int32_t leadVoice = 3;
    int32_t spacingStyle = 1;
    int32_t rangeBelow = 24;
    int32_t rangeAbove = 0;
    std::vector<float> durations;  // of the notes; if empty all 1, but each eighth 2
};

// An engine in mode 7 with a melody.
class Engine {
  public:
    explicit Engine(const Task& task) : params_{task.leadVoice, 3, task.spacingStyle, 0} {
        engine_.SetKey(task.key);
        engine_.SetInputScale(task.scaleRow);
        engine_.SetOutputScale(task.scaleRow);
        engine_.SetParams(params_);
        engine_.SetRange(task.rangeBelow, task.rangeAbove);
        std::vector<NoteItem> items(task.pitches.size());
        float time = 0.0f;
        for (size_t i = 0; i < items.size(); ++i) {
            items[i].pitch = task.pitches[i];
            items[i].startTime = time;
            time += task.durations.empty() ? (i % 8 == 7 ? 2.0f : 1.0f) : task.durations[i];
            items[i].endTime = time;
        }
        const NoteList melody = {items.data(), static_cast<int32_t>(items.size()), 4, 4};
        EXPECT_EQ(engine_.SetMelody(&melody, 1), 0);
    }
    CChoiralizerV2* operator->() { return &engine_; }

    std::vector<int32_t> Row(int voice) {
        NoteList* rows = nullptr;
        engine_.GetVoices(&rows);
        std::vector<int32_t> pitches;
        for (int32_t i = 0; i < rows[voice].count; ++i) {
            pitches.push_back(rows[voice].items[i].pitch);
        }
        return pitches;
    }
    Voicing At(size_t note) { return {Row(0).at(note), Row(1).at(note), Row(2).at(note), Row(3).at(note)}; }
    ChordInfo Chord(size_t note) {
        ChordInfo* chords = nullptr;
        engine_.GetChords(&chords);
        return chords[note];
    }

  private:
    HarmonyParams params_[4];
    CChoiralizerV2 engine_;
};

// What the plain search makes of the same notes and functions.
PlainVoicing::Problem ProblemOf(const Task& task, Engine& engine) {
    PlainVoicing::Problem problem;
    problem.pitches = task.pitches;
    problem.functions = engine->GetNoteFunctions();
    problem.key = task.key;
    problem.scaleRow = task.scaleRow;
    problem.leadVoice = task.leadVoice;
    problem.spacingStyle = task.spacingStyle;
    problem.rangeBelow = task.rangeBelow;
    problem.rangeAbove = task.rangeAbove;
    return problem;
}

std::string Describe(const Task& task) {
    std::ostringstream text;
    text << "key " << task.key << " scale " << task.scaleRow << " lead " << task.leadVoice << " style "
         << task.spacingStyle << " range " << task.rangeBelow << " " << task.rangeAbove << " pitches";
    for (const int32_t pitch : task.pitches) {
        text << " " << pitch;
    }
    return text.str();
}

void ExpectSameRecord(const VoicingCandidate& a, const VoicingCandidate& b) {
    EXPECT_EQ(a.tones, b.tones);
    EXPECT_EQ(a.bassIndex, b.bassIndex);
    EXPECT_EQ(std::bit_cast<uint32_t>(a.score), std::bit_cast<uint32_t>(b.score));
    EXPECT_EQ(a.function, b.function);
    EXPECT_EQ(a.gap, b.gap);
    EXPECT_EQ(a.back, b.back);
    EXPECT_EQ(a.chordType, b.chordType);
    EXPECT_STREQ(a.name, b.name);
    EXPECT_TRUE(std::equal(a.voicing, a.voicing + 4, b.voicing));
}

// Runs both searches and compares every candidate of every list, the rows and the records. Returns how many
// pairs of settings the plain one looks at.
double ExpectSameAsPlain(const Task& task) {
    SCOPED_TRACE(Describe(task));
    Engine engine(task);
    EXPECT_EQ(engine->Calculate(), 0);
    const PlainVoicing::Solution plain = PlainVoicing::Solve(ProblemOf(task, engine));
    const std::vector<CandidateList>& lists = engine->GetCandidateLists();
    double pairs = 0;
    for (size_t i = 0; i < task.pitches.size() && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("note " + std::to_string(i));
        const auto& fast = lists[i].candidates;
        const auto& slow = plain.lists[i].candidates;
        EXPECT_EQ(fast.size(), slow.size());
        EXPECT_EQ(fast[0].listSize, static_cast<int32_t>(slow.size()));
        for (size_t k = 0; k < slow.size() && !testing::Test::HasFailure(); ++k) {
            ExpectSameRecord(fast[k], slow[k]);
        }
        ExpectSameRecord(engine->GetChosen()[i], plain.chosen[i]);
        if (i > 0) {
            pairs += static_cast<double>(slow.size()) * static_cast<double>(lists[i - 1].candidates.size());
        }
    }
    for (int row = 0; row < 4; ++row) {
        EXPECT_EQ(engine.Row(row), plain.rows[static_cast<size_t>(row)]);
    }
    return pairs;
}

// A tune that walks over the scale, with some leaps and repeated notes; `foreign` in a hundred notes are
// anything.
std::vector<int32_t> RandomTune(std::mt19937& random, size_t notes, int32_t key, int32_t scaleRow,
                                int32_t octave, int foreign) {
    const auto number = [&](int32_t low, int32_t high) {
        return std::uniform_int_distribution<int32_t>(low, high)(random);
    };
    std::vector<int32_t> tones;
    for (int32_t p = 0; p < 20; ++p) {
        if (ChoiralizerClassic::ScaleTable[scaleRow][p % 12] != 0) {
            tones.push_back(p + key + 12 * octave);
        }
    }
    std::vector<int32_t> pitches;
    int32_t at = 0;
    for (size_t i = 0; i < notes; ++i) {
        at += number(0, 5) == 0 ? number(-5, 5) : number(-2, 2);
        at = std::clamp(at, 0, static_cast<int32_t>(tones.size()) - 1);
        pitches.push_back(number(0, 99) < foreign ? tones[0] + number(0, 19)
                                                  : tones[static_cast<size_t>(at)]);
    }
    return pitches;
}

// The plain search takes half a microsecond per pair of settings, so tunes are short where lists are long.
#if defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
constexpr double kPairs = 6e6;
#else
constexpr double kPairs = 0.5e6;
#endif

TEST(VoicingSearch, GivesTheBitsOfThePlainSearch) {
    struct Range {
        int32_t below, above;
    };
    constexpr Range ranges[] = {{24, 0}, {12, 0}, {11, 0}, {17, 0}, {9, 9}, {5, 16}, {7, 0}, {19, 2}};
    std::mt19937 random(1);
    double pairs = 0;
    int tasks = 0;
    // Every scale, row and spacing, over and over with other tunes and ranges.
    for (int round = 0; pairs < kPairs && !HasFailure(); ++round) {
        Task task;
        task.scaleRow = round % 14;
        task.spacingStyle = round % 3;
        task.leadVoice = 3 - (round / 14) % 4;
        const Range range = ranges[static_cast<size_t>(round * 5 / 3) % std::size(ranges)];
        task.rangeBelow = range.below;
        task.rangeAbove = range.above;
        task.key = static_cast<int32_t>(random() % 12);
        const int32_t octave = round % 7 == 6 ? 1 : 4;  // low tunes reach below the key
        task.pitches = RandomTune(random, 5 + random() % 6, task.key, task.scaleRow, octave, round % 4 * 5);
        pairs += ExpectSameAsPlain(task);
        ++tasks;
    }
    RecordProperty("tasks", tasks);
}

TEST(VoicingSearch, GivesTheBitsOfThePlainSearchInTheUsualSettings) {
    std::mt19937 random(2);
    for (const int32_t style : {0, 1, 2}) {
        for (const int32_t scaleRow : {0, 5, 7}) {
            Task task;
            task.spacingStyle = style;
            task.scaleRow = scaleRow;
            task.key = 2;
            const size_t notes = kPairs < 2e6 ? 3 : style == 1 ? 12 : 5;
            task.pitches = RandomTune(random, notes, task.key, scaleRow, 5, 0);
            ExpectSameAsPlain(task);
        }
    }
}

// Up to the third note a move is judged without the notes before it, so the best path is the best of all
// triples of settings.
TEST(VoicingSearch, NoPathThroughThreeNotesIsBetter) {
    for (const int32_t style : {0, 1, 2}) {
        for (const int32_t scaleRow : {0, 5, 7}) {
            Task task;
            task.spacingStyle = style;
            task.scaleRow = scaleRow;
            task.rangeBelow = 13;
            task.pitches = {72, 74, scaleRow == 0 ? 76 : 75};
            SCOPED_TRACE(Describe(task));
            Engine engine(task);
            ASSERT_EQ(engine->Calculate(), 0);
            PlainVoicing::Solution own;  // settings with their own scores
            PlainVoicing::BuildLists(ProblemOf(task, engine), own);
            CVoicingRules rules;
            rules.SelectRuleSet(1);
            rules.SetScale(ScaleRow(scaleRow));
            rules.SetLeadVoice(task.leadVoice);
            rules.SetSpacingStyle(style);
            const auto entry = [&](size_t note, size_t k) -> WindowEntry {
                return {&own.lists[note].candidates[k], &engine->GetCandidateLists()[note].shapes[k]};
            };
            const auto step = [&](float path, const WindowEntry& from, const WindowEntry& to) {
                const float prior = to.setting->score * path;
                const float move = rules.ComputeScore({to, from}, prior);
                return move == 0.0f || IsBelowScoreFloor(move, prior) ? 0.0f : prior * move;
            };
            float best = -1.0f;
            float chosen = -1.0f;
            const auto isChosen = [&, found = std::array{engine.At(0), engine.At(1), engine.At(2)},
                                   chords = std::array{engine.Chord(0), engine.Chord(1), engine.Chord(2)}](
                                      const WindowEntry& e, size_t note) {
                return std::equal(found[note].begin(), found[note].end(), e.setting->voicing) &&
                       chords[note].name == e.setting->name;
            };
            for (size_t a = 0; a < own.lists[0].candidates.size(); ++a) {
                const WindowEntry first = entry(0, a);
                for (size_t b = 0; b < own.lists[1].candidates.size(); ++b) {
                    const WindowEntry second = entry(1, b);
                    const float there = step(first.setting->score, first, second);
                    if (there == 0.0f) {
                        continue;
                    }
                    for (size_t c = 0; c < own.lists[2].candidates.size(); ++c) {
                        const WindowEntry third = entry(2, c);
                        const float path = step(there, second, third);
                        best = std::max(best, path);
                        if (isChosen(first, 0) && isChosen(second, 1) && isChosen(third, 2)) {
                            chosen = path;
                        }
                    }
                }
            }
            ASSERT_GT(best, 0.0f);
            EXPECT_NEAR(chosen, best, 1e-6f * best);  // rescaled scores round on the way
        }
    }
}

TEST(VoicingSearch, KeepsTheScoresOfALongMelodyInRange) {
    std::mt19937 random(3);
    Task task;
    task.rangeBelow = 12;
    task.pitches = RandomTune(random, 600, 0, 0, 5, 3);
    ExpectSameAsPlain(task);
    Engine engine(task);
    engine->Calculate();
    for (const CandidateList& list : engine->GetCandidateLists()) {
        float best = 0.0f;
        for (const VoicingCandidate& c : list.candidates) {
            ASSERT_TRUE(std::isfinite(c.score));
            best = std::max(best, c.score);
        }
        EXPECT_GT(best, 1e-12f);
        EXPECT_LT(best, 1e17f);
    }
}

TEST(VoicingSearch, RescalesByTheScoreOverTheFirstPredecessor) {
    // Some note has a setting whose first predecessor is worth nothing, so its list goes up by 10000, and the
    // best score with it: own score and move are at most 3 together.
    Task task;
    task.pitches = {72, 74, 76, 74, 72};
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    const auto best = [&](size_t note) {
        float score = 0.0f;
        for (const auto& c : engine->GetCandidateLists()[note].candidates) {
            score = std::max(score, c.score);
        }
        return score;
    };
    EXPECT_GT(best(1), best(0) * 1000.0f);
    EXPECT_LT(best(1), best(0) * 30000.0f);
}

TEST(VoicingSearch, TakesTheBestOwnSettingOfASingleNote) {
    Task task;
    task.pitches = {72};
    ExpectSameAsPlain(task);
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    const auto& list = engine->GetCandidateLists()[0].candidates;
    const auto best = std::max_element(list.begin(), list.end(),
                                       [](const auto& a, const auto& b) { return a.score < b.score; });
    EXPECT_EQ(best->back, -1);
    const Voicing voicing = engine.At(0);
    EXPECT_TRUE(std::equal(best->voicing, best->voicing + 4, voicing.begin()));
    EXPECT_EQ(voicing[3], 72);
    EXPECT_EQ(engine.Chord(0).name, best->name);
}

TEST(VoicingSearch, TakesTheFirstOfEqualSettings) {
    // Over A in the bass, in close spacing, two seventh chords keep all rules alike: F or F sharp on top.
    Task task;
    task.pitches = {69};
    task.spacingStyle = 0;
    task.leadVoice = 0;
    task.rangeBelow = 0;
    task.rangeAbove = 12;
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    const auto& list = engine->GetCandidateLists()[0].candidates;
    float best = 0.0f;
    for (const auto& c : list) {
        best = std::max(best, c.score);
    }
    ASSERT_GT(std::count_if(list.begin(), list.end(), [&](const auto& c) { return c.score == best; }), 1);
    const Voicing first = {69, 72, 74, 77};
    EXPECT_EQ(engine.At(0), first);
    EXPECT_EQ(engine.Chord(0).name, "Major: Second Degree Seventh");
}

TEST(VoicingSearch, RunTwiceGivesTheSame) {
    std::mt19937 random(4);
    Task task;
    task.pitches = RandomTune(random, 30, 0, 0, 5, 10);
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    std::vector<std::vector<int32_t>> rows;
    for (int row = 0; row < 4; ++row) {
        rows.push_back(engine.Row(row));
    }
    ASSERT_EQ(engine->Calculate(), 0);
    for (int row = 0; row < 4; ++row) {
        EXPECT_EQ(engine.Row(row), rows[static_cast<size_t>(row)]);
    }
}

TEST(VoicingSearch, MovesWithKeyAndMelody) {
    std::mt19937 random(5);
    Task task;
    task.pitches = RandomTune(random, 30, 0, 0, 5, 5);
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    Task moved = task;
    moved.key = 7;
    for (int32_t& pitch : moved.pitches) {
        pitch += 7;
    }
    Engine other(moved);
    ASSERT_EQ(other->Calculate(), 0);
    for (int row = 0; row < 4; ++row) {
        std::vector<int32_t> expected = engine.Row(row);
        for (int32_t& pitch : expected) {
            pitch += 7;
        }
        EXPECT_EQ(other.Row(row), expected);
    }
}

TEST(VoicingSearch, KeepsTheLeadInItsRowAndTheChordInTheOthers) {
    std::mt19937 random(6);
    for (int32_t lead = 0; lead < 4; ++lead) {
        Task task;
        task.leadVoice = lead;
        task.rangeBelow = 14;
        task.rangeAbove = 10;
        task.pitches = RandomTune(random, 16, 0, 0, 5, 10);
        Engine engine(task);
        ASSERT_EQ(engine->Calculate(), 0);
        EXPECT_EQ(engine.Row(lead), task.pitches);
        for (size_t note = 0; note < task.pitches.size(); ++note) {
            if (engine.Chord(note).name == kInherited) {
                continue;
            }
            const VoicingCandidate& chosen = engine->GetChosen()[note];
            for (const int32_t pitch : engine.At(note)) {
                EXPECT_TRUE(HasTone(chosen.tones, PitchClassFromKey(0, pitch)));
                EXPECT_GE(pitch, task.pitches[note] - 14);
                EXPECT_LE(pitch, task.pitches[note] + 10);
            }
        }
    }
}

TEST(VoicingSearch, ANoteWithoutAChordInheritsAndSingsItsOwnLead) {
    // F sharp in the middle is out of the scale.
    Task task;
    task.pitches = {72, 74, 76, 78, 77, 76, 74, 72};
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    ASSERT_EQ(engine->GetNoteFunctions()[3], 0);
    const Voicing before = engine.At(2);
    const Voicing inherited = engine.At(3);
    EXPECT_EQ(before[3], 76);
    EXPECT_EQ(inherited[3], 78);
    for (size_t row = 0; row < 3; ++row) {
        EXPECT_EQ(inherited[row], before[row]);
    }
    EXPECT_EQ(engine.Chord(3).name, kInherited);
    EXPECT_EQ(engine.Chord(3).inversion, -1);
    EXPECT_EQ(engine.Chord(3).root, engine.Chord(2).root);
    const bool triad = engine.Chord(2).seventhType == ChordNoSeventh;
    EXPECT_EQ(triad ? engine.Chord(3).triadType : engine.Chord(3).seventhType,
              triad ? ChordUnknownTriad : ChordUnknownSeventh);
    // They share one voicing, and the inherited lead is what it holds now.
    EXPECT_EQ(engine->GetChosen()[2].voicing, engine->GetChosen()[3].voicing);
    EXPECT_EQ(engine->GetChosen()[2].voicing[3], 78);
    EXPECT_EQ(engine->GetCandidateLists()[4].candidates[0].gap, 2);
}

TEST(VoicingSearch, LastNotesWithoutAChordInheritToo) {
    Task task;
    task.pitches = {72, 74, 76, 77, 76, 74, 72, 71};
    // Nothing in a range of a semitone below B: no list for the last note but that of no chord.
    task.rangeBelow = 3;
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    const auto& lists = engine->GetCandidateLists();
    size_t last = lists.size() - 1;
    ExpectSameAsPlain(task);
    // Whatever the lists are here, the rows of a note without a chord are those of the one before.
    for (size_t note = 1; note <= last; ++note) {
        if (lists[note].candidates[0].chordType != ChordUnknownTriad) {
            continue;
        }
        if (lists[note].candidates[0].gap > static_cast<int32_t>(note)) {
            continue;  // nothing before it
        }
        for (size_t row = 0; row < 3; ++row) {
            EXPECT_EQ(engine.At(note)[row], engine.At(note - 1)[row]);
        }
    }
}

// In a range of four semitones many notes find no chord: at the start, in runs, and at the end.
TEST(VoicingSearch, GivesThePlainResultAroundNotesWithoutAChord) {
    std::mt19937 random(8);
    int first = 0, last = 0, all = 0;
    for (int round = 0; round < 400 && !HasFailure(); ++round) {
        Task task;
        task.rangeBelow = static_cast<int32_t>(random() % 5);
        task.rangeAbove = static_cast<int32_t>(random() % 3);
        task.leadVoice = static_cast<int32_t>(random() % 4);
        task.pitches = RandomTune(random, 1 + random() % 9, 0, 0, 5, 30);
        ExpectSameAsPlain(task);
        Engine engine(task);
        engine->Calculate();
        const auto noChord = [](const CandidateList& list) {
            return list.candidates[0].chordType == ChordUnknownTriad;
        };
        const auto& lists = engine->GetCandidateLists();
        first += noChord(lists.front());
        last += noChord(lists.back()) && task.rangeBelow + task.rangeAbove > 0;
        all += std::all_of(lists.begin(), lists.end(), noChord);
    }
    EXPECT_GT(first, 10);
    EXPECT_GT(last, 10);
    EXPECT_GT(all, 10);
}

TEST(VoicingSearch, FirstNotesWithoutAChordKeepTheirLeadAlone) {
    // In a range of no more than the lead nothing has a chord.
    Task task;
    task.pitches = {72, 74, 76};
    task.rangeBelow = 0;
    task.leadVoice = 2;
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    for (size_t note = 0; note < 3; ++note) {
        const Voicing expected = {-1, -1, task.pitches[note], -1};
        EXPECT_EQ(engine.At(note), expected);
        EXPECT_EQ(engine.Chord(note).name, "No Chord");
        EXPECT_EQ(engine.Chord(note).root, -1);
        const VoicingCandidate& c = engine->GetCandidateLists()[note].candidates[0];
        EXPECT_EQ(c.back, 0);
        EXPECT_EQ(c.gap, 1);
        EXPECT_EQ(c.score, 1.0f);
        EXPECT_EQ(c.bassIndex, -1);
    }
}

TEST(VoicingSearch, SpacesCloselyInARangeUnderAnOctave) {
    for (const int32_t below : {11, 12}) {
        Task task;
        task.pitches = {72, 74};
        task.rangeBelow = below;
        task.spacingStyle = 2;
        Engine engine(task);
        ASSERT_EQ(engine->Calculate(), 0);
        const int32_t expected = below == 11 ? 0 : 2;
        EXPECT_EQ(engine->GetVerticalRules().GetSpacingStyle(), expected);
        EXPECT_EQ(engine->GetTransitionRules().GetSpacingStyle(), expected);
    }
}

TEST(VoicingSearch, CandidatesAreNearlyOrderedAndInOrderOfChordAndPitch) {
    Task task;
    task.pitches = {72, 71, 74};
    task.spacingStyle = 0;
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    int crossed = 0;
    for (const CandidateList& list : engine->GetCandidateLists()) {
        ASSERT_GT(list.candidates.size(), 100u);
        for (size_t k = 0; k < list.candidates.size(); ++k) {
            const int32_t* v = list.candidates[k].voicing;
            EXPECT_LT(v[0] - 5, v[1]);
            EXPECT_LT(v[0] - 5, v[2]);
            EXPECT_LT(v[1] - 5, v[2]);
            EXPECT_LT(v[2] - 5, v[3]);
            EXPECT_LT(v[1] - 5, v[3]);
            crossed += v[0] > v[1] || v[1] > v[2] || v[2] > v[3];
            if (k > 0 && std::string(list.candidates[k - 1].name) == list.candidates[k].name) {
                EXPECT_TRUE(std::lexicographical_compare(list.voicings[k - 1].begin(),
                                                         list.voicings[k - 1].end(), v, v + 4));
            }
        }
    }
    EXPECT_GT(crossed, 0);
}

TEST(VoicingSearch, TheBassIsNotMeasuredAgainstTheTop) {
    // Row 0 may lie five above row 3: 76 under 71 by way of 72 and 71, which are four and less apart.
    Task task;
    task.pitches = {72};
    task.spacingStyle = 0;
    task.leadVoice = 1;
    task.rangeBelow = 12;
    task.rangeAbove = 12;
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    int32_t widest = 0;
    for (const auto& c : engine->GetCandidateLists()[0].candidates) {
        widest = std::max(widest, c.voicing[0] - c.voicing[3]);
    }
    EXPECT_GT(widest, 4);
}

// Faults of part writing in a setting, as a teacher counts them.
struct Faults {
    int moves = 0;
    int parallels = 0;  // fifths and octaves, compound ones too, both voices moving the same way
    int crossings = 0;
    int gaps = 0;   // over an octave between neighbours of the upper three voices
    int leaps = 0;  // over an octave in any voice

    void Count(const std::vector<Voicing>& settings) {
        for (size_t i = 0; i < settings.size(); ++i) {
            const Voicing& v = settings[i];
            for (size_t row = 0; row < 3; ++row) {
                crossings += v[row] > v[row + 1];
            }
            for (size_t row = 1; row < 3; ++row) {
                gaps += v[row + 1] - v[row] > 12;
            }
            if (i == 0) {
                continue;
            }
            ++moves;
            const Voicing& p = settings[i - 1];
            for (size_t a = 0; a < 4; ++a) {
                leaps += std::abs(v[a] - p[a]) > 12;
                for (size_t b = a + 1; b < 4; ++b) {
                    const bool together = (v[a] - p[a]) * (v[b] - p[b]) > 0;
                    const int32_t now = std::abs(v[b] - v[a]) % 12;
                    parallels += together && now == std::abs(p[b] - p[a]) % 12 && (now == 0 || now == 7);
                }
            }
        }
    }
    double PerHundredMoves(int count) const { return 100.0 * count / moves; }
};

struct Chorale {
    Task task;
    std::vector<Voicing> human;  // the voices that sound under each onset of the soprano, where all four do
};

// Rows of onset, duration, soprano, chord, alto, tenor, bass; "# key: D major" among the lines before.
Chorale ReadChorale(const std::filesystem::path& path) {
    Chorale chorale;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("# key: ", 0) == 0) {
            const char* const names = "C D EF G A B";
            chorale.task.key = static_cast<int32_t>(std::string(names).find(line[7]));
            if (line[8] == '#') {
                chorale.task.key += 1;
            }
            if (line[8] == 'b' || line[8] == '-') {
                chorale.task.key += 11;
            }
            chorale.task.key %= 12;
            chorale.task.scaleRow = line.find("minor") != std::string::npos ? 5 : 0;
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream row(line);
        std::string onset, duration, soprano, chord, alto, tenor, bass;
        row >> onset >> duration >> soprano >> chord >> alto >> tenor >> bass;
        chorale.task.pitches.push_back(std::stoi(soprano));
        chorale.task.durations.push_back(std::stof(duration));
        if (alto == "-" || tenor == "-" || bass == "-") {
            continue;
        }
        chorale.human.push_back({std::stoi(bass), std::stoi(tenor), std::stoi(alto), std::stoi(soprano)});
    }
    return chorale;
}

TEST(VoicingSearch, WritesPartsOfRealTunesWithFewerFaultsThanTheComposer) {
    const std::filesystem::path folder = MelodiesDir();
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(folder)) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const std::filesystem::path& path = entry.path();
            if (path.extension() == ".tsv" && path.filename().string().rfind("chorale_", 0) == 0) {
                files.push_back(path);
            }
        }
    }
    if (folder.empty()) {
        GTEST_SKIP() << "no chorales: set MLH_MELODIES_DIR to a folder of tunes";
    }
    if (files.empty()) {
        GTEST_SKIP() << "no chorales in " << folder;
    }

    Faults human;
    Faults engines;
    for (const auto& path : files) {
        const Chorale chorale = ReadChorale(path);
        human.Count(chorale.human);
        Engine engine(chorale.task);
        ASSERT_EQ(engine->Calculate(), 0) << path;
        std::vector<Voicing> settings;  // passing notes without a chord of their own left out
        for (size_t note = 0; note < chorale.task.pitches.size(); ++note) {
            if (engine.Chord(note).name != kInherited) {
                settings.push_back(engine.At(note));
            }
        }
        engines.Count(settings);
    }
    ASSERT_GT(engines.moves, 300);
    EXPECT_LE(engines.PerHundredMoves(engines.parallels), 0.3);
    EXPECT_LE(engines.PerHundredMoves(engines.crossings), 0.3);
    EXPECT_LE(engines.PerHundredMoves(engines.gaps), 0.3);
    EXPECT_LE(engines.PerHundredMoves(engines.leaps), 0.3);
    EXPECT_LT(engines.PerHundredMoves(engines.parallels), human.PerHundredMoves(human.parallels));
    EXPECT_LT(engines.PerHundredMoves(engines.crossings), human.PerHundredMoves(human.crossings));
}

// SetChordAtNote, step by step and without the engine's code.
class ChordAtNote : public testing::Test {
  protected:
    static Task Tune() {
        Task task;
        task.pitches = {72, 74, 76, 77, 79, 77, 76, 74, 71, 72};
        return task;
    }
    static ChordInfo Triad(int32_t root, int32_t type, int32_t inversion = -1) {
        ChordInfo chord;
        chord.root = root;
        chord.triadType = type;
        chord.inversion = inversion;
        chord.name = "mine";
        return chord;
    }
    static ChordInfo SeventhChord(int32_t root, int32_t type, int32_t inversion = -1) {
        ChordInfo chord = Triad(root, ChordNoTriad, inversion);
        chord.seventhType = type;
        return chord;
    }

    struct Expected {
        bool any = false;
        Voicing voicing{};
        float own = 0.0f;
    };
    static Expected Plain(const Task& task, Engine& engine, const ChordInfo& chord, int32_t note) {
        const bool triad = chord.seventhType == 15 || chord.seventhType == 16;
        const int32_t type = triad ? chord.triadType : chord.seventhType;
        const int32_t* tones = ChordToneTable[type];
        PlainVoicing::Problem rules = ProblemOf(task, engine);
        if (task.rangeBelow + task.rangeAbove + 1 <= 13) {
            rules.spacingStyle = 0;
        }
        const int32_t lead = task.pitches[static_cast<size_t>(note)];
        const std::vector<VoicingCandidate>& chosen = engine->GetChosen();
        const int32_t* scale = ChoiralizerClassic::ScaleTable[task.scaleRow];
        std::vector<int32_t> pitches;
        for (int32_t p = lead - task.rangeBelow; p <= lead + task.rangeAbove; ++p) {
            for (int k = 0; k < 4; ++k) {
                if (tones[k] == std::abs(chord.root - p) % 12) {
                    pitches.push_back(p);
                }
            }
        }
        Expected result;
        float best = 0.0f;
        bool kept = false;
        for (const int32_t a : pitches) {
            for (const int32_t b : pitches) {
                for (const int32_t c : pitches) {
                    Voicing v = {a, b, c, 0};
                    v[3] = lead;
                    for (int32_t row = 3; row > task.leadVoice; --row) {
                        std::swap(v[row], v[row - 1]);
                    }
                    if (v[0] - 5 >= v[1] || v[0] - 5 >= v[2] || v[1] - 5 >= v[2] || v[2] - 5 >= v[3] ||
                        v[1] - 5 >= v[3]) {
                        continue;
                    }
                    const int32_t lowest = std::abs(chord.root - *std::min_element(v.begin(), v.end())) % 12;
                    const int32_t tone = static_cast<int32_t>(std::find(tones, tones + 4, lowest) - tones);
                    if (chord.inversion >= 0 && (tone == 4 || tone != chord.inversion)) {
                        continue;
                    }
                    VoicingCandidate candidate;
                    candidate.tones = tones;
                    candidate.bassIndex = 0;
                    candidate.voicing = v.data();
                    candidate.chordType = type;
                    candidate.function = engine->GetNoteFunctions()[static_cast<size_t>(note)];
                    const float own =
                        PlainVoicing::Score(RuleSetTable[0], {WindowEntry{&candidate, nullptr}}, 1.0f, rules);
                    float score = own;
                    const auto move = [&](std::array<const VoicingCandidate*, 3> settings) {
                        VoicingWindow window;
                        VoicingShape shapes[3];
                        for (size_t k = 0; k < 3; ++k) {
                            if (settings[k] == nullptr) {
                                continue;
                            }
                            shapes[k] = MakeShape(settings[k]->voicing, task.key, scale);
                            window[k] = {settings[k], &shapes[k]};
                        }
                        return PlainVoicing::Score(RuleSetTable[1], window, score, rules);
                    };
                    if (note > 0) {
                        const int32_t p = note - chosen[static_cast<size_t>(note)].gap;
                        const VoicingCandidate* q = &chosen[static_cast<size_t>(p)];
                        const int32_t p2 = p - q->gap;
                        const VoicingCandidate* r =
                            note >= 2 && p2 >= 0 ? &chosen[static_cast<size_t>(p2)] : nullptr;
                        score *= move({&candidate, q, r});
                        if (note + 1 < static_cast<int32_t>(task.pitches.size())) {
                            score *= move({&chosen[static_cast<size_t>(note) + 1], &candidate, q});
                        }
                    }
                    // Without any worth something the last counts; among those the first best.
                    const bool first = own != 0.0f && !kept;
                    if ((own == 0.0f && !kept) || first || (own != 0.0f && score > best)) {
                        result = {true, v, own};
                        best = std::max(score, 0.0f);
                    }
                    kept = kept || own != 0.0f;
                }
            }
        }
        return result;
    }
};

TEST_F(ChordAtNote, FindsThePlainResultForEveryChordAndNote) {
    for (const int32_t lead : {3, 1}) {
        for (const int32_t style : {0, 1, 2}) {
            Task task = Tune();
            task.leadVoice = lead;
            task.spacingStyle = style;
            task.rangeBelow = 14;
            task.rangeAbove = lead == 3 ? 0 : 5;
            const ChordInfo chords[] = {Triad(0, ChordMajor),
                                        Triad(9, ChordMinor, 0),
                                        Triad(11, ChordDiminished),
                                        Triad(5, ChordSus4, 1),
                                        SeventhChord(7, ChordDominant7, 1),
                                        SeventhChord(2, ChordMinor7),
                                        SeventhChord(0, ChordAugmentedMajor7)};
            for (int32_t note = 0; note < 10; note += 1 + (kPairs < 2e6 ? 3 : 0)) {
                for (const ChordInfo& chord : chords) {
                    SCOPED_TRACE(Describe(task) + ", root " + std::to_string(chord.root) + " at " +
                                 std::to_string(note));
                    Engine engine(task);
                    ASSERT_EQ(engine->Calculate(), 0);
                    const Expected expected = Plain(task, engine, chord, note);
                    ASSERT_TRUE(expected.any);
                    ASSERT_EQ(engine->SetChordAtNote(chord, note), 0);
                    EXPECT_EQ(engine.At(static_cast<size_t>(note)), expected.voicing);
                    EXPECT_EQ(engine->GetChosen()[static_cast<size_t>(note)].score, expected.own);
                }
            }
        }
    }
}

TEST_F(ChordAtNote, StoresTheChordAndLeavesTheOtherNotes) {
    Engine engine(Tune());
    ASSERT_EQ(engine->Calculate(), 0);
    std::vector<Voicing> before;
    for (size_t note = 0; note < 10; ++note) {
        before.push_back(engine.At(note));
    }
    const ChordInfo chord = SeventhChord(9, ChordMinor7, 2);
    ASSERT_EQ(engine->SetChordAtNote(chord, 4), 0);
    EXPECT_EQ(engine.Chord(4).root, 9);
    EXPECT_EQ(engine.Chord(4).seventhType, ChordMinor7);
    EXPECT_EQ(engine.Chord(4).inversion, 2);
    EXPECT_EQ(engine.Chord(4).name, "mine");
    const VoicingCandidate& record = engine->GetChosen()[4];
    EXPECT_STREQ(record.name, "mine");
    EXPECT_EQ(record.bassIndex, 0);
    EXPECT_EQ(record.back, -1);
    EXPECT_EQ(record.function, engine->GetNoteFunctions()[4]);
    EXPECT_EQ(engine->GetChosen()[5].gap, 1);
    for (size_t note = 0; note < 10; ++note) {
        if (note != 4) {
            EXPECT_EQ(engine.At(note), before[note]);
        }
    }
    const Voicing now = engine.At(4);
    EXPECT_EQ(now[3], 79);
    EXPECT_EQ(*std::min_element(now.begin(), now.end()) % 12, 4);  // the fifth of A
    for (const int32_t pitch : now) {
        EXPECT_TRUE(HasTone(record.tones, (pitch + 3) % 12));
    }
}

TEST_F(ChordAtNote, MayBeDoneNoteAfterNote) {
    Engine engine(Tune());
    ASSERT_EQ(engine->Calculate(), 0);
    for (int round = 0; round < 2; ++round) {
        for (int32_t note = 0; note < 10; ++note) {
            const int32_t roots[] = {0, 7, 0, 5, 0, 5, 0, 7, 7, 0};
            ASSERT_EQ(engine->SetChordAtNote(Triad(roots[note], ChordMajor), note), 0);
        }
    }
    for (size_t note = 0; note < 10; ++note) {
        EXPECT_STREQ(engine->GetChosen()[note].name, "mine");
        const Voicing voicing = engine.At(note);
        EXPECT_TRUE(std::equal(voicing.begin(), voicing.end(), engine->GetChosen()[note].voicing));
    }
}

TEST_F(ChordAtNote, SeesTheInheritedLeadOfTheNoteBefore) {
    Task task = Tune();
    task.pitches[3] = 78;  // inherits from note 2 and writes its lead there
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    ASSERT_EQ(engine->GetChosen()[2].voicing[3], 78);
    const Expected expected = Plain(task, engine, Triad(0, ChordMajor), 4);
    ASSERT_EQ(engine->SetChordAtNote(Triad(0, ChordMajor), 4), 0);
    EXPECT_EQ(engine.At(4), expected.voicing);
}

TEST_F(ChordAtNote, BreaksTheLinkOfTheNoteBehindAnInheritedOne) {
    Task task = Tune();
    task.pitches[3] = 78;
    Engine engine(task);
    ASSERT_EQ(engine->Calculate(), 0);
    ASSERT_EQ(engine->GetChosen()[4].gap, 2);
    ASSERT_EQ(engine->SetChordAtNote(SeventhChord(2, ChordDominant7), 3), 0);
    EXPECT_EQ(engine->GetChosen()[4].gap, 1);
}

TEST_F(ChordAtNote, ChangesNothingWhereNothingFits) {
    Engine engine(Tune());
    const ChordInfo chord = Triad(0, ChordMajor);
    EXPECT_EQ(engine->SetChordAtNote(chord, 0), kBadArgument);  // before any run
    ASSERT_EQ(engine->Calculate(), 0);
    EXPECT_EQ(engine->SetChordAtNote(chord, 10), kBadArgument);
    EXPECT_EQ(engine->SetChordAtNote(chord, -1), kBadArgument);
    const Voicing before = engine.At(4);
    const std::string name = engine.Chord(4).name;
    engine->SetChordAtNote(Triad(0, ChordMajor, 3), 4);  // a triad has no third inversion
    engine->SetChordAtNote(Triad(0, ChordUnknownTriad), 4);
    engine->SetChordAtNote(Triad(0, ChordNoTriad), 4);
    engine->SetChordAtNote(Triad(0, 18), 4);
    engine->SetChordAtNote(Triad(0, -2), 4);
    EXPECT_EQ(engine.At(4), before);
    EXPECT_EQ(engine.Chord(4).name, name);
}

TEST_F(ChordAtNote, TakesTheLastOneWhenAllAreWorthNothing) {
    // A dominant note under a six-four chord is bound to the row's bass tone: with E as root and in the bass
    // it never is, so every setting is discarded.
    Engine engine(Tune());
    ASSERT_EQ(engine->Calculate(), 0);
    const auto& functions = engine->GetNoteFunctions();
    const auto dominant = std::find(functions.begin(), functions.end(), int32_t{FunctionDominant});
    ASSERT_NE(dominant, functions.end());
    const int32_t note = static_cast<int32_t>(dominant - functions.begin());
    const ChordInfo chord = Triad(4, ChordSixFour, 0);
    const Expected expected = Plain(Tune(), engine, chord, note);
    ASSERT_TRUE(expected.any);
    ASSERT_EQ(expected.own, 0.0f);
    ASSERT_EQ(engine->SetChordAtNote(chord, note), 0);
    EXPECT_EQ(engine.At(static_cast<size_t>(note)), expected.voicing);
    EXPECT_EQ(engine->GetChosen()[static_cast<size_t>(note)].score, 0.0f);
    EXPECT_EQ(engine.Chord(static_cast<size_t>(note)).root, 4);
}

TEST_F(ChordAtNote, SpacesCloselyInARangeOfAnOctaveToo) {
    for (const int32_t below : {12, 13}) {
        Task task = Tune();
        task.spacingStyle = 2;
        task.rangeBelow = below;
        Engine engine(task);
        ASSERT_EQ(engine->Calculate(), 0);
        EXPECT_EQ(engine->GetVerticalRules().GetSpacingStyle(), 2);
        engine->SetChordAtNote(Triad(0, ChordMajor), 2);
        EXPECT_EQ(engine->GetVerticalRules().GetSpacingStyle(), below == 12 ? 0 : 2);
        EXPECT_EQ(engine->GetTransitionRules().GetSpacingStyle(), below == 12 ? 0 : 2);
    }
}

TEST_F(ChordAtNote, RefusesARowOfTheLeadThatDoesNotExist) {
    Engine engine(Tune());
    ASSERT_EQ(engine->Calculate(), 0);
    const HarmonyParams outside[4] = {7, 3, 1, 0};
    engine->SetParams(outside);
    EXPECT_EQ(engine->SetChordAtNote(Triad(0, ChordMajor), 2), kBadArgument);
}

}  // namespace
}  // namespace ChoiralizerV2

}  // namespace mlh
