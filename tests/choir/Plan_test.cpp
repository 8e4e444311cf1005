#include "choir/plan/Plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "choir/people/RandomSource.h"

namespace mlh::choir {

namespace {

// A scale of half-second notes, `cents` off the grid of A = 440 Hz.
std::vector<SungNote> Melody(double cents, const std::vector<int>& notes = {60, 62, 64, 65, 67, 69, 71, 72}) {
    std::vector<SungNote> sung;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const double start = 0.5 * static_cast<double>(i);
        sung.push_back({start, start + 0.48, notes[i] + cents / 100.0, 0.5});
    }
    return sung;
}

TimedChord ChordAt(double time, int root, std::vector<int> intervals, int bass = -1) {
    Chord chord;
    chord.root = root;
    chord.intervals = std::move(intervals);
    chord.bass = bass;
    return {time, chord};
}

const std::vector<TimedChord> kTwoChords = {ChordAt(0.0, 0, {0, 4, 7}), ChordAt(2.0, 7, {0, 4, 7, 10})};

std::vector<std::string> NamesOf(const ChoirPlan& plan) {
    std::vector<std::string> names;
    for (const Voice& voice : plan.voices) {
        names.push_back(voice.name);
    }
    return names;
}

}  // namespace

TEST(Plan, TheDoublingSingsWhatWasSung) {
    for (double cents = -45.0; cents <= 45.0; cents += 15.0) {
        const auto sung = Melody(cents);
        const ChoirPlan plan = PlanChoir(sung, Tuning::OfSinger(sung), kTwoChords, {});
        ASSERT_EQ(plan.voices[0].notes.size(), sung.size());
        for (std::size_t i = 0; i < sung.size(); ++i) {
            EXPECT_NEAR(plan.voices[0].notes[i].pitch, sung[i].pitch, 1e-9) << cents;
            EXPECT_EQ(plan.voices[0].notes[i].lead, static_cast<int>(i));
        }
    }
}

TEST(Plan, TheHarmonyIsWholeIntervalsFromASingerOutOfTune) {
    const auto sung = Melody(-40.0);
    const ChoirPlan plan = PlanChoir(sung, Tuning::OfSinger(sung), kTwoChords, {});
    for (const Voice& voice : plan.voices) {
        for (const VoiceNote& note : voice.notes) {
            const double interval = note.pitch - sung[static_cast<std::size_t>(note.lead)].pitch;
            EXPECT_NEAR(interval, std::round(interval), 1e-6);
        }
    }
}

TEST(Plan, CorrectionPutsEveryVoiceOnTheSingersGrid) {
    auto sung = Melody(20.0);
    sung[3].pitch += 0.3;  // one note much too high
    PlanSettings settings;
    const Tuning tuning = Tuning::OfSinger(sung);
    settings.correction = 1.0;
    for (const Voice& voice : PlanChoir(sung, tuning, kTwoChords, settings).voices) {
        for (const VoiceNote& note : voice.notes) {
            EXPECT_NEAR(note.pitch, tuning.PitchOf(note.note, 0.5 * (note.start + note.end)), 0.01);
        }
    }
}

// 60 cents down in half a minute, and each note up to 15 cents off by itself.
TEST(Plan, VoicesFollowASingerWhoSags) {
    static constexpr int kScale[] = {57, 59, 60, 62, 64, 65, 67, 69};
    const auto sag = [](double time) { return 0.2 - 0.6 * time / 30.0; };
    double worst = 0.0, worstInterval = 0.0;
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        RandomSource random(seed);
        std::vector<SungNote> sung;
        int step = 4;
        for (double time = 0.2; time < 30.0;) {
            const double length = 0.25 + 0.5 * random.Uniform();
            step = std::clamp(step + static_cast<int>(random.Uniform() * 5.0) - 2, 0, 7);
            const double off = 0.3 * random.Uniform() - 0.15;
            sung.push_back({time, time + length, kScale[step] + sag(time + 0.5 * length) + off, 0.5});
            time += length;
        }
        const Tuning tuning = Tuning::OfSinger(sung);
        for (const double correction : {0.0, 1.0}) {
            PlanSettings settings;
            settings.correction = correction;
            for (const Voice& voice : PlanChoir(sung, tuning, kTwoChords, settings).voices) {
                for (const VoiceNote& note : voice.notes) {
                    if (note.note < 0) {
                        continue;
                    }
                    const SungNote& lead = sung[static_cast<std::size_t>(note.lead)];
                    const double curve = note.pitch - sag(0.5 * (note.start + note.end));
                    const double interval = note.pitch - lead.pitch;
                    worst = std::max(worst,
                                     correction > 0.0 ? 100.0 * std::fabs(curve - std::round(curve)) : 0.0);
                    worstInterval =
                        std::max(worstInterval,
                                 correction > 0.0 ? 0.0 : 100.0 * std::fabs(interval - std::round(interval)));
                }
            }
        }
    }
    std::printf("corrected: %.1f cents from the curve; as sung: %.1f cents from whole intervals\n", worst,
                worstInterval);
    EXPECT_LE(worst, 8.0);
    EXPECT_LE(worstInterval, 8.0);
}

TEST(Plan, VoicesKeepTheirNamesAndNotesOfTheirKindWhenOthersCome) {
    const auto sung = Melody(0.0);
    PlanSettings settings;
    const std::vector<std::string> all = {"Doubling", "Above", "Below", "Low"};
    for (int voices = 1; voices <= 4; ++voices) {
        settings.voices = voices;
        const ChoirPlan plan = PlanChoir(sung, Tuning(), kTwoChords, settings);
        EXPECT_EQ(NamesOf(plan), std::vector<std::string>(all.begin(), all.begin() + voices));
    }
    settings.above = 3;
    EXPECT_EQ(NamesOf(PlanChoir(sung, Tuning(), kTwoChords, settings)),
              (std::vector<std::string>{"Doubling", "Above", "High", "Top"}));
    settings.above = 0;
    EXPECT_EQ(NamesOf(PlanChoir(sung, Tuning(), kTwoChords, settings)),
              (std::vector<std::string>{"Doubling", "Below", "Low", "Bass"}));
}

TEST(Plan, VoicesGoWhereALeadLeavesThemRoom) {
    const auto names = [](double transposed, std::optional<int> above) {
        PlanSettings settings;
        settings.above = above;
        auto sung = Melody(0.0);
        for (SungNote& note : sung) {
            note.pitch += transposed;
        }
        std::vector<int> parts(2);
        const ChoirPlan plan = PlanChoir(sung, Tuning(), kTwoChords, settings);
        for (const Voice& voice : plan.voices) {
            if (voice.part == VoicePart::Doubling) {
                continue;
            }
            ++parts[voice.part == VoicePart::Above ? 0 : 1];
            for (const VoiceNote& note : voice.notes) {
                EXPECT_GE(note.note, 40);
                EXPECT_LE(note.note, 84);
            }
        }
        return parts;
    };
    using Parts = std::vector<int>;
    EXPECT_EQ(names(0.0, std::nullopt), (Parts{1, 2}));
    EXPECT_EQ(names(-16.0, std::nullopt), (Parts{2, 1}));
    EXPECT_EQ(names(-24.0, std::nullopt), (Parts{3, 0}));
    EXPECT_EQ(names(19.0, std::nullopt), (Parts{0, 3}));
    // What is asked for stays.
    EXPECT_EQ(names(-16.0, 1), (Parts{1, 2}));
    EXPECT_EQ(names(19.0, 2), (Parts{2, 1}));
}

TEST(Plan, VoicesLieWhereTheirNamesSay) {
    const auto sung = Melody(10.0);
    for (int above = 0; above <= 3; ++above) {
        PlanSettings settings;
        settings.above = above;
        const ChoirPlan plan = PlanChoir(sung, Tuning::OfSinger(sung), kTwoChords, settings);
        for (std::size_t v = 1; v < plan.voices.size(); ++v) {
            for (std::size_t i = 0; i < plan.voices[v].notes.size(); ++i) {
                const VoiceNote& note = plan.voices[v].notes[i];
                const int lead = plan.leadNotes[static_cast<std::size_t>(note.lead)];
                EXPECT_EQ(note.note > lead, plan.voices[v].part == VoicePart::Above);
                const bool sameSide = v > 1 && plan.voices[v].part == plan.voices[v - 1].part;
                if (sameSide) {
                    EXPECT_GE(std::abs(note.note - lead), std::abs(plan.voices[v - 1].notes[i].note - lead));
                }
            }
        }
    }
}

TEST(Plan, AccidentalsSeventhsAndSlashBassesAreSung) {
    // D7 over F sharp in C major.
    const auto sung = Melody(0.0, {69});
    const ChoirPlan plan = PlanChoir(sung, Tuning(), {ChordAt(0.0, 2, {0, 4, 7, 10}, 6)}, {});
    EXPECT_EQ(plan.voices[3].notes[0].note % 12, 6);
}

TEST(Plan, WithoutChordsOnlyTheDoublingSings) {
    const ChoirPlan plan = PlanChoir(Melody(0.0), Tuning(), {}, {});
    ASSERT_EQ(plan.voices.size(), 4u);
    for (std::size_t v = 1; v < 4; ++v) {
        for (const VoiceNote& note : plan.voices[v].notes) {
            EXPECT_EQ(note.note, -1);
        }
    }
    EXPECT_TRUE(PlanChoir({}, Tuning(), kTwoChords, {}).voices[3].notes.empty());
}

TEST(Plan, SnappingMovesForeignNotesToTheScale) {
    const auto sung = Melody(0.0, {60, 61, 63, 66, 70, 68});
    EXPECT_EQ(GridNotes(sung, Tuning(), std::nullopt), (std::vector<int>{60, 61, 63, 66, 70, 68}));
    EXPECT_EQ(GridNotes(sung, Tuning(), 0), (std::vector<int>{60, 60, 62, 65, 69, 67}));
    // In A minor the leading tone G sharp stays.
    EXPECT_EQ(GridNotes(sung, Tuning(), 21)[5], 68);
}

TEST(Plan, JustIntonationNarrowsTheMajorThird) {
    const auto sung = Melody(0.0, {67});
    PlanSettings settings;
    settings.intonation = Intonation::Just;
    for (const Voice& voice : PlanChoir(sung, Tuning(), {ChordAt(0.0, 0, {0, 4, 7})}, settings).voices) {
        const VoiceNote& note = voice.notes[0];
        if (note.note % 12 == 4) {
            EXPECT_NEAR(note.pitch - note.note, -0.137, 0.001);
        }
    }
}

TEST(Plan, RangesOfVoicesAreKept) {
    const auto sung = Melody(0.0);
    PlanSettings settings;
    settings.ranges = {std::nullopt, PitchRange{53, 60}, PitchRange{45, 52}};
    const ChoirPlan plan = PlanChoir(sung, Tuning(), kTwoChords, settings);
    for (const VoiceNote& note : plan.voices[3].notes) {
        EXPECT_GE(note.note, 45);
        EXPECT_LE(note.note, 52);
    }
}

}  // namespace mlh::choir
