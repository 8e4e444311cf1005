#include "api/MidiConversion.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace mlh {

namespace {

using PitchElement = MalleoTuneHarmonyAddOnIf::PitchElement;
using Notes = MalleoTuneHarmonyAddOnIf::PitchVector;
using Slots = std::array<int32_t, 4>;

struct Event {
    float time;
    Slots slots;
    bool operator==(const Event& other) const { return time == other.time && slots == other.slots; }
};

PitchElement Note(float start, float pitch, float duration) { return {start, pitch, duration, 1.0f}; }

std::vector<Event> Convert(const Notes& notes) {
    std::vector<Event> events;
    for (const auto& chord : ChordsFromNotes(notes)) {
        const int32_t* n = chord.GetNotes();
        events.push_back({chord.GetTime(), {n[0], n[1], n[2], n[3]}});
    }
    return events;
}

// The conversion spelled out: linear walks, no shortcuts.
std::vector<Event> ConvertPlainly(const Notes& notes) {
    std::vector<float> table;
    const auto findOrAdd = [&](double time) -> int {
        int below = -1;
        for (int i = 0; i < static_cast<int>(table.size()); ++i) {
            if (time > table[i]) {
                below = i;
            }
            if (std::fabs(table[i] - time) <= 0.01) {
                return i;
            }
        }
        if (below != -1 && below + 1 < static_cast<int>(table.size())) {
            table.insert(table.begin() + below + 1, static_cast<float>(time));
            return below + 1;
        }
        table.push_back(static_cast<float>(time));
        return static_cast<int>(table.size()) - 1;
    };
    std::vector<int> starts;
    std::vector<int> ends;
    for (const PitchElement& note : notes) {
        starts.push_back(findOrAdd(note.GetStart()));
        ends.push_back(findOrAdd(note.GetStart() + note.GetDuration()));
    }
    std::vector<Event> events;
    Slots slots = {-1, -1, -1, -1};
    for (int e = 0; e < static_cast<int>(table.size()); ++e) {
        for (std::size_t i = 0; i < notes.size(); ++i) {
            if (ends[i] != e) {
                continue;
            }
            const int note = static_cast<int>(std::round(notes[i].GetPitch()));
            for (int32_t& slot : slots) {
                if (slot == note) {
                    slot = -1;
                    break;
                }
            }
        }
        for (std::size_t i = 0; i < notes.size(); ++i) {
            if (starts[i] != e) {
                continue;
            }
            const int note = static_cast<int>(std::round(notes[i].GetPitch()));
            for (int32_t& slot : slots) {
                if (slot == note) {
                    break;
                }
                if (slot == -1) {
                    slot = note;
                    break;
                }
            }
        }
        events.push_back({table[e], slots});
    }
    return events;
}

TEST(MidiConversion, NothingGivesNothing) { EXPECT_TRUE(Convert({}).empty()); }

TEST(MidiConversion, NotesInSequenceTakeTheLowestSlotOneAfterTheOther) {
    const auto events = Convert({Note(0, 60, 1), Note(1, 62, 1)});
    EXPECT_EQ(events,
              (std::vector<Event>{{0, {60, -1, -1, -1}}, {1, {62, -1, -1, -1}}, {2, {-1, -1, -1, -1}}}));
}

TEST(MidiConversion, TheLimitOfTheToleranceBelongsToTheEvent) {
    EXPECT_EQ(Convert({Note(0.0f, 60, 1), Note(0.01f, 64, 1)}).size(), 2u);
    EXPECT_EQ(Convert({Note(0.0f, 60, 1), Note(0.0101f, 64, 1)}).size(), 4u);
    // 32-bit times compared with a 64-bit tolerance: these two lie a hair too far apart.
    EXPECT_EQ(Convert({Note(0.04f, 60, 1), Note(0.05f, 64, 2)}).size(), 4u);
}

TEST(MidiConversion, AVeryShortNoteIsNeverEnded) {
    const auto events = Convert({Note(0, 60, 0.005f), Note(1, 62, 1)});
    EXPECT_EQ(events[0].slots, (Slots{60, -1, -1, -1}));
    EXPECT_EQ(events[1].slots, (Slots{60, 62, -1, -1}));
    EXPECT_EQ(events[2].slots, (Slots{60, -1, -1, -1}));
}

TEST(MidiConversion, EqualRoundedPitchesShareASlotThatTheFirstEndFrees) {
    // The first three notes put the events in order, so that none is inserted later.
    const auto events = Convert(
        {Note(0, 50, 0.5f), Note(0.5f, 51, 0.5f), Note(1, 52, 0.5f), Note(0, 60, 1), Note(0.5f, 60.4f, 1)});
    EXPECT_EQ(events, (std::vector<Event>{{0, {50, 60, -1, -1}},
                                          {0.5f, {51, 60, -1, -1}},
                                          {1, {52, -1, -1, -1}},
                                          {1.5f, {-1, -1, -1, -1}}}));
}

TEST(MidiConversion, AnEventInsertedLaterTakesOverTheEndsThatPointedThere) {
    // The end of the first note was event 1, which is 0.5 once the second note is in.
    const auto events = Convert({Note(0, 60, 1), Note(0.5f, 62, 1)});
    EXPECT_EQ(events[0].slots, (Slots{60, -1, -1, -1}));
    EXPECT_EQ(events[1].time, 0.5f);
    EXPECT_EQ(events[1].slots, (Slots{62, -1, -1, -1}));
}

TEST(MidiConversion, RoundsHalvesAwayFromZero) {
    EXPECT_EQ(Convert({Note(0, 60.5f, 1)})[0].slots[0], 61);
    EXPECT_EQ(Convert({Note(0, -1.5f, 1)})[0].slots[0], -2);
    EXPECT_EQ(Convert({Note(0, 0.49999997f, 1)})[0].slots[0], 0);
}

TEST(MidiConversion, NoNoteLeavesTheSlotsAlone) {
    const auto events = Convert({Note(0, 60, 1), Note(0, -1, 1)});
    EXPECT_EQ(events, (std::vector<Event>{{0, {60, -1, -1, -1}}, {1, {-1, -1, -1, -1}}}));
}

TEST(MidiConversion, AFreeSlotBeforeTheOneThatHoldsTheNoteTakesItAgain) {
    const auto events = Convert({Note(0, 60, 1), Note(0, 64, 2), Note(1, 64, 1)});
    EXPECT_EQ(events[1].slots, (Slots{64, 64, -1, -1}));
}

TEST(MidiConversion, DropsTheFifthNoteAtOnce) {
    const auto events =
        Convert({Note(0, 60, 1), Note(0, 61, 1), Note(0, 62, 1), Note(0, 63, 1), Note(0, 64, 1)});
    EXPECT_EQ(events[0].slots, (Slots{60, 61, 62, 63}));
}

TEST(MidiConversion, EndsComeBeforeStarts) {
    const auto events = Convert({Note(0, 60, 1), Note(0, 64, 2), Note(1, 67, 1)});
    EXPECT_EQ(events[1].slots, (Slots{67, 64, -1, -1}));
}

TEST(MidiConversion, AnEventBeforeAllOthersStandsAtTheEnd) {
    const auto events = Convert({Note(5, 60, 1), Note(1, 62, 1)});
    EXPECT_EQ(events[0].time, 5.0f);
    EXPECT_EQ(events[2].time, 1.0f);
}

TEST(MidiConversion, AbsurdPitchesAndTimesAreHarmless) {
    const float inf = INFINITY;
    EXPECT_EQ(Convert({Note(0, std::nanf(""), 1)})[0].slots[0], INT32_MIN);
    EXPECT_EQ(Convert({Note(0, 1e30f, 1)})[0].slots[0], INT32_MAX);
    EXPECT_EQ(Convert({Note(std::nanf(""), 60, 1), Note(inf, 61, 1), Note(-inf, 62, inf)}).size(), 6u);
}

TEST(MidiConversion, AgreesWithThePlainWalkOnRandomNotes) {
    std::mt19937 random(11);
    const auto uniform = [&](float low, float high) {
        return low + (high - low) * static_cast<float>(random() % 10000) / 10000.0f;
    };
    for (int round = 0; round < 400; ++round) {
        Notes notes;
        float time = uniform(0.0f, 0.1f);
        const bool overlapping = round % 2 == 1;
        for (int i = 0; i < 30; ++i) {
            const float start = overlapping ? uniform(0.0f, 1.0f) : time;
            const float duration = uniform(0.0f, 0.2f);
            notes.push_back(Note(start, uniform(58.0f, 64.0f), duration));
            time += duration + (i % 3 == 0 ? 0.0f : uniform(0.0f, 0.03f));
        }
        EXPECT_EQ(Convert(notes), ConvertPlainly(notes));
    }
}

}  // namespace

}  // namespace mlh
