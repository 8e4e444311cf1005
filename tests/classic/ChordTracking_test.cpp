#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "classic/Choiralizer.h"
#include "classic/TransitionTables.h"
#include "support/Tunes.h"

namespace mlh {

using namespace ChoiralizerClassic;

namespace {

std::unique_ptr<CChoiralizer> NewEngine(int32_t key = 0, int32_t row = ScaleMajor) {
    CChoiralizer* engine = nullptr;
    EXPECT_EQ(CChoiralizer::Create(&engine), 0);
    engine->SetKey(key);
    engine->SetInputScale(row);
    engine->SetOutputScale(row);
    return std::unique_ptr<CChoiralizer>(engine);
}

std::vector<ClassicChord> Track(const CChoiralizer& engine, const std::vector<int32_t>& notes) {
    std::vector<ClassicChord> chords(notes.size());
    engine.TrackChords(notes.data(), chords.data(), static_cast<int32_t>(notes.size()));
    return chords;
}

int32_t StateOf(const ClassicChord& chord) {
    return chord.triadType == 2 ? 24 : chord.root + 12 * chord.triadType;
}

std::vector<int32_t> States(const CChoiralizer& engine, const std::vector<int32_t>& notes) {
    std::vector<int32_t> states;
    for (const ClassicChord& chord : Track(engine, notes)) {
        states.push_back(StateOf(chord));
    }
    return states;
}

// The same model written out plainly: votes in rows, and the cost of going from state to state.
struct PlainTracker {
    const CChoiralizer& engine;
    int32_t key, row;
    std::vector<std::vector<float>> votes;  // [state][note]

    int32_t Degree(int32_t pitch, int32_t scaleRow) const {
        int32_t tones = 0;
        for (int32_t p = 0; p <= (pitch - key + 156) % 12; ++p) {
            tones += ScaleTable[scaleRow][p];
        }
        return tones - 1;
    }
    bool Diatonic(int32_t s) const { return engine.IsDiatonic({s % 12, 3, s / 12, SeventhNone}); }

    void Vote(const std::vector<int32_t>& notes) {
        votes.assign(36, std::vector<float>(notes.size(), 0.0f));
        for (size_t t = 0; t < notes.size(); ++t) {
            ClassicChord chords[3];
            engine.ChordsOfNote(engine.PrepareNote(notes[t]), chords, 3);
            float w[3] = {1, 1, 1};
            const auto weight = [](const float(&table)[8], int32_t degree) {
                return degree > 7 ? 0.0f : table[degree];
            };
            if (t == 0 || t + 1 == notes.size()) {
                float maximum = 0.0f;
                for (int32_t c = 0; c < 3; ++c) {
                    w[c] =
                        chords[c].triadType == 5 ? 0.0f : weight(kOpeningWeight, Degree(chords[c].root, row));
                    maximum = std::max(maximum, w[c]);
                }
                for (float& x : w) {
                    x /= maximum;
                }
            }
            for (int32_t c = 0; c < 3; ++c) {
                const int32_t root = chords[c].root, type = chords[c].triadType;
                w[c] *= weight(kGeneralWeight, Degree(root, row));
                int32_t third = 0, seen = ScaleTable[row][(root - key + 156) % 12];
                while (seen < 3) {
                    seen += ScaleTable[row][(root - key + 156 + ++third) % 12];
                }
                const int32_t m = type == 1 || type == 2   ? 1
                                  : type == 0 || type == 3 ? 0
                                  : third == 4             ? 0
                                                           : 1;
                votes[root + 12 * m][t] = w[c];
            }
        }
        float maximum = 0.0f;
        for (int32_t s = 0; s < 25; ++s) {
            for (const float v : votes[s]) {
                if (v > maximum) {
                    maximum = v;
                }
            }
        }
        if (maximum > 0.0f) {
            for (int32_t s = 0; s < 25; ++s) {
                for (float& v : votes[s]) {
                    v /= maximum;
                }
            }
        }
    }

    bool Allowed(int32_t p, int32_t s) const { return p != 23 || Diatonic(s); }

    float Step(float cost, int32_t p, int32_t s) const {
        const int32_t parent = row == 11 ? 0 : row == 12 ? 5 : row;
        float likelihood = 0.0f;
        if (p < 24 && Diatonic(p) && Diatonic(s)) {
            likelihood = kTransition[row == 0 ? 0 : 1][Degree(p % 12, parent)][Degree(s % 12, parent)];
        }
        return cost + 1.0f - likelihood;
    }

    float Cost(const std::vector<int32_t>& path) const {
        float cost = 1.0f - votes[path[0]][0];
        for (size_t t = 1; t < path.size(); ++t) {
            cost = 1.0f - votes[path[t]][t] + Step(cost, path[t - 1], path[t]);
        }
        return cost;
    }

    std::vector<int32_t> Search() const {
        const size_t count = votes[0].size();
        std::vector<float> cost(25);
        std::vector<std::vector<int32_t>> from(count, std::vector<int32_t>(25));
        for (int32_t s = 0; s < 25; ++s) {
            cost[s] = 1.0f - votes[s][0];
        }
        for (size_t t = 1; t < count; ++t) {
            std::vector<float> next(25);
            for (int32_t s = 0; s < 25; ++s) {
                float best = 1e37f;
                for (int32_t p = 0; p < 25; ++p) {
                    if (!Allowed(p, s)) {
                        continue;
                    }
                    const float c = Step(cost[p], p, s);
                    if (c < best) {
                        best = c, from[t][s] = p;
                    }
                }
                next[s] = 1.0f - votes[s][t] + best;
            }
            cost = next;
        }
        int32_t state = 0;
        float best = 1e37f;
        for (int32_t s = 0; s < 25; ++s) {
            if (cost[s] < best) {
                best = cost[s], state = s;
            }
        }
        std::vector<int32_t> path(count);
        for (size_t t = count; t-- > 0; state = from[t][state]) {
            path[t] = state;
        }
        return path;
    }
};

TEST(TrackChords, WritesNothingForAnEmptyMelody) {
    const auto engine = NewEngine();
    ClassicChord chord = {-5, -5, -5, -5};
    const int32_t note = 60;
    engine->TrackChords(&note, &chord, 0);
    engine->TrackChords(&note, &chord, -1);
    engine->TrackChords(nullptr, &chord, 1);
    engine->TrackChords(&note, nullptr, 1);
    EXPECT_EQ(chord.root, -5);
}

TEST(TrackChords, WritesPlainTriads) {
    for (const ClassicChord& chord : Track(*NewEngine(), {60, 64, 65, 67, 71, 72})) {
        EXPECT_EQ(chord.noteCount, 3);
        EXPECT_EQ(chord.seventhType, SeventhNone);
        EXPECT_GE(chord.triadType, TriadMajor);
        EXPECT_LE(chord.triadType, TriadDiminished);
    }
}

TEST(TrackChords, GivesAOneNoteMelodyItsStrongestChord) {
    const auto engine = NewEngine();
    EXPECT_EQ(States(*engine, {60}), std::vector<int32_t>{0});
    EXPECT_EQ(States(*engine, {64}), std::vector<int32_t>{0});
    EXPECT_EQ(States(*engine, {67}), std::vector<int32_t>{0});
    EXPECT_EQ(States(*engine, {62}), std::vector<int32_t>{7});
    EXPECT_EQ(States(*engine, {65}), std::vector<int32_t>{5});
}

TEST(TrackChords, TakesTheFirstOfEqualStatesForAOneNoteMelody) {
    // A note out of the scale leaves 24 equal states, and one that is not a number.
    const auto engine = NewEngine();
    engine->SetQuantize(0);
    EXPECT_EQ(States(*engine, {61}), std::vector<int32_t>{0});
    engine->SetKey(11);
    engine->SetScaleMap(0);
    EXPECT_EQ(States(*engine, {60}),
              std::vector<int32_t>{1});  // C is out of B major: its own state 0 is spoilt
}

TEST(TrackChords, PassesByTheStateOfAnOutsideNoteAtTheEnds) {
    const auto engine = NewEngine();
    engine->SetQuantize(0);
    engine->SetScaleMap(0);
    for (const int32_t outside : {61, 63, 66, 68, 70}) {
        const std::vector<int32_t> states = States(*engine, {outside, 60, 67, 60, outside});
        EXPECT_NE(states.front() % 12, outside % 12);
        EXPECT_NE(states.back() % 12, outside % 12);
        EXPECT_EQ(states[1], 0);
    }
}

TEST(TrackChords, HarmonisesACadence) {
    EXPECT_EQ(States(*NewEngine(), {60, 60, 65, 65, 67, 71, 62, 60, 60}).back(), 0);
    EXPECT_EQ(States(*NewEngine(9, ScaleMinor), {69, 72, 76, 69, 69}),
              (std::vector<int32_t>{21, 21, 21, 21, 21}));
}

TEST(TrackChords, ScalesTheVotesToTheStrongestBeforeTheSearch) {
    // The strongest vote is the last note's for G, 0.9. Left at that, the third chord would be G already.
    const auto engine = NewEngine();
    engine->SetQuantize(0);
    engine->SetScaleMap(0);
    EXPECT_EQ(States(*engine, {61, 65, 63, 62}), (std::vector<int32_t>{5, 5, 5, 7}));
}

TEST(TrackChords, MovesAlongWithTheKey) {
    const std::vector<int32_t> melody = {60, 62, 64, 65, 64, 62, 67, 69, 71, 72, 65, 62, 60};
    const auto home = Track(*NewEngine(), melody);
    for (int32_t key = 1; key < 12; ++key) {
        std::vector<int32_t> moved = melody;
        for (int32_t& note : moved) {
            note += key;
        }
        const auto away = Track(*NewEngine(key), moved);
        for (size_t t = 0; t < melody.size(); ++t) {
            EXPECT_EQ(away[t].root, (home[t].root + key) % 12);
            EXPECT_EQ(away[t].triadType, home[t].triadType);
        }
    }
}

TEST(TrackChords, AgreesWithThePlainSearchOnRandomMelodies) {
    std::mt19937 random(11);
    const auto below = [&random](int32_t n) {
        return static_cast<int32_t>(random() % static_cast<uint32_t>(n));
    };
    for (int32_t melody = 0; melody < 600; ++melody) {
        const int32_t rows[] = {below(kScaleRows), 5 * below(2), ScaleMajorPentatonic + below(2)};
        const int32_t key = below(12), row = rows[melody % 3];
        const auto engine = NewEngine(key, row);
        engine->SetQuantize(below(3) != 0);
        engine->SetScaleMap(below(3) != 0);
        std::vector<int32_t> notes(static_cast<size_t>(1 + below(20)));
        for (int32_t& note : notes) {
            note = 50 + below(25);
        }
        PlainTracker plain{*engine, key, row, {}};
        plain.Vote(notes);
        ASSERT_EQ(States(*engine, notes), plain.Search()) << "melody " << melody << " row " << row;
    }
}

TEST(TrackChords, FindsTheCheapestOfAllPaths) {
    std::mt19937 random(12);
    for (int32_t melody = 0; melody < 12; ++melody) {
        const int32_t key = static_cast<int32_t>(random() % 12), row = melody % 2 ? ScaleMinor : ScaleMajor;
        const auto engine = NewEngine(key, row);
        std::vector<int32_t> notes(3);
        for (int32_t& note : notes) {
            note = 55 + static_cast<int32_t>(random() % 20);
        }
        PlainTracker plain{*engine, key, row, {}};
        plain.Vote(notes);
        float cheapest = 1e37f;
        for (int32_t a = 0; a < 25; ++a) {
            for (int32_t b = 0; b < 25; ++b) {
                for (int32_t c = 0; c < 25; ++c) {
                    if (plain.Allowed(a, b) && plain.Allowed(b, c)) {
                        cheapest = std::min(cheapest, plain.Cost({a, b, c}));
                    }
                }
            }
        }
        EXPECT_EQ(plain.Cost(States(*engine, notes)), cheapest);
    }
}

TEST(TrackChords, LeavesTheHistoryAlone) {
    const auto engine = NewEngine();
    int32_t result[4];
    engine->VoiceChord(60, result, {0, 3, TriadMajor, SeventhNone});
    const std::vector<int32_t> history(engine->GetLastVoicing(), engine->GetLastVoicing() + 4);
    Track(*engine, {60, 62, 64});
    EXPECT_THAT(history, testing::ElementsAreArray(engine->GetLastVoicing(), 4));
}

TEST(TrackChords, FindsSensibleChordsForRealTunes) {
    const std::vector<Tune> tunes = AllTunes();
    int32_t judged = 0, agreeing = 0, notesInAll = 0, holding = 0;
    for (const Tune& tune : tunes) {
        if (tune.keyTonic < 0 || (tune.keyMode != "major" && tune.keyMode != "minor")) {
            continue;
        }
        const auto engine = NewEngine(tune.keyTonic, tune.keyMode == "minor" ? ScaleMinor : ScaleMajor);
        std::vector<int32_t> notes;
        for (const TuneNote& note : tune.notes) {
            notes.push_back(note.pitch);
        }
        const std::vector<ClassicChord> chords = Track(*engine, notes);
        for (size_t t = 0; t < notes.size(); ++t) {
            ASSERT_TRUE(engine->IsDiatonic(chords[t])) << tune.name << " note " << t;
            const int32_t lead = PitchClass(engine->PrepareNote(notes[t]));
            ClassicChord holders[3];
            engine->ChordsOfNote(lead, holders, 3);
            ++notesInAll;
            for (const ClassicChord& holder : holders) {
                holding += holder.root == chords[t].root;
            }
            if (tune.notes[t].chordRoot >= 0) {
                ++judged;
                agreeing += chords[t].root == tune.notes[t].chordRoot;
            }
        }
    }
    std::printf(
        "%d notes, %.1f %% of the chords hold their note; %d with a chord given, %.1f %% of the roots "
        "agree\n",
        notesInAll, 100.0 * holding / notesInAll, judged, 100.0 * agreeing / judged);
    EXPECT_GT(judged, 300);
    EXPECT_GT(agreeing, judged / 3);
    EXPECT_GT(holding, notesInAll / 2);
}

}  // namespace

}  // namespace mlh
