// Tunes in four parts: what the rules promise of every setting, whatever the melody. How good the parts
// are beside a human's, scripts/report-tunes reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "harmony/ChordModel.h"
#include "mlh/arrange.h"
#include "support/Tunes.h"

namespace mlh {

namespace {

using mlh::ArrangedNote;
using Rows = std::array<int32_t, 4>;

constexpr std::size_t kNotes = 48;  // of each tune
constexpr int32_t kOpen = 1;
constexpr int32_t kSoprano = 3;
constexpr int32_t kReach = 24;  // semitones that the voices cover

// Semitones above the root by type code.
const std::map<int32_t, std::set<int32_t>> kTriads = {
    {0, {0, 4, 7}}, {1, {0, 3, 7}}, {2, {0, 3, 6}}, {3, {0, 4, 8}}};
const std::map<int32_t, std::set<int32_t>> kSevenths = {{9, {0, 4, 7, 11}},  {10, {0, 3, 7, 10}},
                                                        {11, {0, 4, 7, 10}}, {12, {0, 3, 6, 10}},
                                                        {13, {0, 3, 6, 9}},  {14, {0, 3, 7, 11}}};

struct Setting {
    std::string name;
    std::vector<mlh::ArrangeNote> melody;
    std::vector<ArrangedNote> notes;
    int32_t leadRow;
    int32_t key = 0;
    int32_t scale = 0;

    bool IsInScale(int32_t pitch) const {
        return ChoiralizerV2::ScaleRow(scale)[(pitch - key + 144) % 12] != 0;
    }
};

Setting SetTune(const Tune& tune, int32_t spacing, int32_t leadRow) {
    Setting setting{tune.name + ", spacing " + std::to_string(spacing) + ", lead " + std::to_string(leadRow),
                    {},
                    {},
                    leadRow};
    mlh::ArrangeSettings settings;
    settings.spacing = spacing;
    settings.leadRow = leadRow;
    settings.key = std::max(tune.keyTonic, 0);
    const auto& names = mlh::ScaleNames();
    const auto scale = std::find(names.begin(), names.end(), tune.keyMode);
    if (tune.keyTonic >= 0 && scale != names.end()) {
        settings.scale = static_cast<int32_t>(scale - names.begin());
    }
    setting.key = settings.key;
    setting.scale = settings.scale;
    for (const TuneNote& note : tune.notes) {
        setting.melody.push_back({note.pitch, note.onset, note.onset + note.duration, {}});
    }
    setting.notes = mlh::Arrange(setting.melody, settings);
    return setting;
}

// Every tune's first notes in every spacing, and every third tune with the lead in each of the other rows.
struct Case {
    Setting setting;
    int32_t spacing;
};
const std::vector<Case>& Cases() {
    static const std::vector<Case> cases = [] {
        std::vector<Case> all;
        std::vector<Tune> tunes = AllTunes();
        for (std::size_t t = 0; t < tunes.size(); ++t) {
            Tune& tune = tunes[t];
            tune.notes.resize(std::min(tune.notes.size(), kNotes));
            for (int32_t spacing = 0; spacing < 3; ++spacing) {
                all.push_back({SetTune(tune, spacing, kSoprano), spacing});
            }
            for (int32_t leadRow = 0; t % 3 == 0 && leadRow < kSoprano; ++leadRow) {
                all.push_back({SetTune(tune, kOpen, leadRow), kOpen});
            }
        }
        return all;
    }();
    return cases;
}

template <class Check>
void ForEverySetting(Check check) {
    for (const Case& c : Cases()) {
        check(c.setting, c.spacing);
    }
}

TEST(FourParts, EveryNoteGetsFourVoicesOrThoseOfTheNoteBefore) {
    ForEverySetting([](const Setting& setting, int32_t) {
        ASSERT_EQ(setting.notes.size(), setting.melody.size()) << setting.name;
        Rows before = {-1, -1, -1, -1};  // until a note finds a chord
        for (std::size_t i = 0; i < setting.notes.size(); ++i) {
            const ArrangedNote& note = setting.notes[i];
            const auto lead = static_cast<std::size_t>(setting.leadRow);
            ASSERT_EQ(note.rows[lead], setting.melody[i].pitch) << setting.name << ", note " << i;
            before[lead] = setting.melody[i].pitch;
            if (note.inherited) {
                ASSERT_EQ(note.rows, before) << setting.name << ", note " << i;
            } else {
                ASSERT_GE(*std::min_element(note.rows.begin(), note.rows.end()), 0) << setting.name;
            }
            before = note.rows;
        }
    });
}

TEST(FourParts, VoicesSingTheTonesOfTheChordAroundTheLead) {
    ForEverySetting([](const Setting& setting, int32_t) {
        const int32_t above = 8 * (kSoprano - setting.leadRow);
        for (std::size_t i = 0; i < setting.notes.size(); ++i) {
            const ArrangedNote& note = setting.notes[i];
            if (note.inherited) {
                continue;
            }
            const bool triad = kTriads.count(note.chord.triadType) == 1;
            ASSERT_TRUE(triad || kSevenths.count(note.chord.seventhType) == 1)
                << setting.name << ", note " << i;
            const auto& tones =
                triad ? kTriads.at(note.chord.triadType) : kSevenths.at(note.chord.seventhType);
            for (const int32_t pitch : note.rows) {
                ASSERT_EQ(tones.count((pitch - note.chord.root + 144) % 12), 1u)
                    << setting.name << ", note " << i;
                ASSERT_LE(pitch, setting.melody[i].pitch + above) << setting.name << ", note " << i;
                ASSERT_GE(pitch, setting.melody[i].pitch + above - kReach) << setting.name << ", note " << i;
            }
        }
    });
}

// A voice may reach at most four semitones above the next one up; in open spacing none meet on one pitch.
TEST(FourParts, VoicesAreNearlyOrderedAndDoNotMeetInOpenSpacing) {
    ForEverySetting([](const Setting& setting, int32_t spacing) {
        for (std::size_t i = 0; i < setting.notes.size(); ++i) {
            if (setting.notes[i].inherited) {
                continue;
            }
            const Rows& v = setting.notes[i].rows;
            for (std::size_t row = 0; row < 3; ++row) {
                ASSERT_LT(v[row] - 5, v[row + 1]) << setting.name << ", note " << i;
            }
            if (spacing != kOpen) {
                continue;
            }
            ASSERT_EQ(std::set<int32_t>(v.begin(), v.end()).size(), 4u) << setting.name << ", note " << i;
        }
    });
}

// From chord to chord a pair of voices, counted from the bottom of what sounds, that moves from an octave to
// an octave on tones of the scale is discarded. Not so with the melody in the bass: there the cadence rules
// may leave no move at all, and after such a place all paths are equally bad.
TEST(FourParts, NoOctavesInParallelFromChordToChord) {
    ForEverySetting([](const Setting& setting, int32_t) {
        if (setting.leadRow == 0) {
            return;
        }
        const ArrangedNote* before = nullptr;
        for (std::size_t i = 0; i < setting.notes.size(); ++i) {
            const ArrangedNote& note = setting.notes[i];
            if (note.inherited) {
                continue;
            }
            if (before != nullptr) {
                Rows v = note.rows, p = before->rows;
                std::sort(v.begin(), v.end());
                std::sort(p.begin(), p.end());
                for (std::size_t a = 0; a < 4; ++a) {
                    for (std::size_t b = a + 1; b < 4; ++b) {
                        const bool held = v[a] == p[a] && v[b] == p[b];
                        const bool octaves = setting.IsInScale(v[a]) && setting.IsInScale(p[a]) &&
                                             v[b] > v[a] && (v[b] - v[a]) % 12 == 0 &&
                                             (p[b] - p[a]) % 12 == 0;
                        ASSERT_TRUE(held || !octaves) << setting.name << ", note " << i;
                    }
                }
            }
            before = &note;
        }
    });
}

}  // namespace

}  // namespace mlh
