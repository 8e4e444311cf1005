#include "choir/voicing/Voicing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "choir/voicing/Ranges.h"

namespace mlh::choir {

namespace {

using Rows = std::vector<std::array<int, kMaxHarmonyVoices>>;

const VoicingChord kC = MakeVoicingChord(0, {0, 4, 7});
const VoicingChord kF = MakeVoicingChord(5, {0, 4, 7});
const VoicingChord kG7 = MakeVoicingChord(7, {0, 4, 7, 10});
const VoicingChord kE = MakeVoicingChord(4, {0, 4, 7});

VoicingSettings Beside(int above, int below) {
    VoicingSettings settings;
    settings.above = above;
    settings.below = below;
    settings.ranges.fill({40, 84});
    return settings;
}

bool Belongs(const VoicingChord& chord, int note) {
    return std::any_of(chord.tones.begin(), chord.tones.end(),
                       [&](const VoicingTone& tone) { return tone.pitchClass == note % 12; });
}

std::set<int> ClassesAt(const std::array<int, kMaxHarmonyVoices>& notes, int voices, int lead) {
    std::set<int> classes = {lead % 12};
    for (int v = 0; v < voices; ++v) {
        classes.insert(notes[static_cast<std::size_t>(v)] % 12);
    }
    return classes;
}

// All lines from the top down, the lead among them.
std::vector<int> LinesAt(const std::array<int, kMaxHarmonyVoices>& notes, const VoicingSettings& settings,
                         int lead) {
    std::vector<int> lines(notes.begin(), notes.begin() + settings.above + settings.below);
    lines.insert(lines.begin() + settings.above, lead);
    return lines;
}

struct Faults {
    int moves = 0, fifths = 0, octaves = 0, leaps = 0, voiceMoves = 0;
};

Faults Count(const std::vector<VoicingStretch>& stretches, const Rows& rows,
             const VoicingSettings& settings) {
    Faults faults;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        if (rows[i][0] == kRest || rows[i - 1][0] == kRest) {
            continue;
        }
        ++faults.moves;
        const auto a = LinesAt(rows[i - 1], settings, stretches[i - 1].lead);
        const auto b = LinesAt(rows[i], settings, stretches[i].lead);
        for (std::size_t j = 0; j < a.size(); ++j) {
            if (static_cast<int>(j) != settings.above) {
                ++faults.voiceMoves;
                faults.leaps += std::abs(b[j] - a[j]) > 12 ? 1 : 0;
            }
            for (std::size_t k = j + 1; k < a.size(); ++k) {
                const bool together = (b[j] - a[j]) * (b[k] - a[k]) > 0;
                const int before = std::abs(a[j] - a[k]) % 12, after = std::abs(b[j] - b[k]) % 12;
                faults.fifths += together && before == 7 && after == 7 ? 1 : 0;
                faults.octaves += together && before == 0 && after == 0 ? 1 : 0;
            }
        }
    }
    return faults;
}

// A random walk over random chords of all kinds.
std::vector<VoicingStretch> RandomMelody(std::mt19937& random, int length,
                                         std::vector<VoicingChord>& chords) {
    const std::vector<std::vector<int>> kinds = {
        {0, 4, 7},    {0, 3, 7},     {0, 4, 7, 10}, {0, 3, 6, 10},
        {0, 3, 6, 9}, {0, 4, 8},     {0, 5, 7},     {0, 4, 7, 10, 14, 21},
        {0, 7},       {0, 4, 7, 11}, {0, 2, 7},     {0, 4, 7, 9, 14}};
    std::vector<VoicingStretch> melody;
    int lead = 62;
    for (int i = 0; i < length; ++i) {
        if (i % 3 == 0) {
            const int root = static_cast<int>(random() % 12);
            const int bass = random() % 4 == 0 ? static_cast<int>(random() % 12) : -1;
            chords.push_back(MakeVoicingChord(root, kinds[random() % kinds.size()], bass));
        }
        lead = std::clamp(lead + static_cast<int>(random() % 9) - 4, 50, 76);
        melody.push_back(
            {lead, static_cast<int>(chords.size()) - 1, 0.1 + 0.1 * (random() % 8), random() % 10 == 0});
    }
    return melody;
}

}  // namespace

TEST(Voicing, SingsTheTonesThatAreWritten) {
    // E major over a B in C major: its G sharp sounds, whatever the key.
    const Rows rows = VoiceChords({{71, 0, 0.5, false}}, {kE}, Beside(1, 2));
    EXPECT_EQ(ClassesAt(rows[0], 3, 71), (std::set<int>{4, 8, 11}));
}

TEST(Voicing, ThreeVoicesAndTheLeadMakeASeventhChordComplete) {
    const Rows rows = VoiceChords({{67, 0, 0.5, false}}, {kG7}, Beside(1, 2));
    EXPECT_EQ(ClassesAt(rows[0], 3, 67), (std::set<int>{7, 11, 2, 5}));
}

TEST(Voicing, WithFewerVoicesThanTonesTheGuideTonesSound) {
    // The lead has the fifth: two voices take third and seventh, or the root in place of one of them; never
    // the fifth.
    const Rows rows = VoiceChords({{74, 0, 0.5, false}}, {kG7}, Beside(1, 1));
    const auto classes = ClassesAt(rows[0], 2, 74);
    EXPECT_TRUE(classes.contains(11));
    EXPECT_TRUE(classes.contains(5) || classes.contains(7));
    // Of a ninth chord on the lead's root the single voice takes the third or the seventh.
    const Rows one =
        VoiceChords({{60, 0, 0.5, false}}, {MakeVoicingChord(0, {0, 4, 7, 10, 14})}, Beside(1, 0));
    EXPECT_TRUE(one[0][0] % 12 == 4 || one[0][0] % 12 == 10) << one[0][0];
}

TEST(Voicing, ASlashBassIsTheLowestVoice) {
    const VoicingChord overFSharp = MakeVoicingChord(2, {0, 4, 7}, 6);
    const VoicingChord overForeign = MakeVoicingChord(0, {0, 4, 7}, 2);
    const Rows rows =
        VoiceChords({{69, 0, 0.5, false}, {67, 1, 0.5, false}}, {overFSharp, overForeign}, Beside(1, 2));
    EXPECT_EQ(rows[0][2] % 12, 6);
    EXPECT_EQ(rows[1][2] % 12, 2);
}

TEST(Voicing, VoicesStayOnTheirSideOfTheLeadAndDoNotCross) {
    std::mt19937 random(5);
    for (int above = 0; above <= 3; ++above) {
        std::vector<VoicingChord> chords;
        const auto melody = RandomMelody(random, 300, chords);
        const VoicingSettings settings = Beside(above, 3 - above);
        const Rows rows = VoiceChords(melody, chords, settings);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            for (int v = 0; v < 3; ++v) {
                const int note = rows[i][static_cast<std::size_t>(v)];
                EXPECT_TRUE(v < above ? note > melody[i].lead : note < melody[i].lead) << i << " " << note;
                EXPECT_TRUE(v == 0 || note <= rows[i][static_cast<std::size_t>(v) - 1]) << i;
            }
        }
    }
}

TEST(Voicing, EveryToneBelongsToTheChordOrIsTheLeads) {
    std::mt19937 random(6);
    for (const auto& [above, below] : {std::pair{1, 2}, {0, 3}, {2, 1}, {1, 1}, {0, 1}, {1, 0}}) {
        std::vector<VoicingChord> chords;
        const auto melody = RandomMelody(random, 400, chords);
        const Rows rows = VoiceChords(melody, chords, Beside(above, below));
        for (std::size_t i = 0; i < rows.size(); ++i) {
            for (int v = 0; v < kMaxHarmonyVoices; ++v) {
                const int note = rows[i][static_cast<std::size_t>(v)];
                if (v >= above + below) {
                    EXPECT_EQ(note, kRest);
                    continue;
                }
                const bool leads = note % 12 == melody[i].lead % 12;
                EXPECT_TRUE(leads || Belongs(chords[static_cast<std::size_t>(melody[i].chord)], note)) << i;
            }
        }
    }
}

TEST(Voicing, NothingRubsAgainstALongForeignNote) {
    // A suspended F over C major, held: only C keeps clear of it.
    const Rows held = VoiceChords({{65, 0, 1.0, false}}, {kC}, Beside(1, 2));
    for (const int note : held[0]) {
        EXPECT_FALSE(Rubs(note, 65)) << note;
    }
    // In passing the chord stays where it is.
    const Rows passing =
        VoiceChords({{64, 0, 0.4, false}, {65, 0, 0.1, false}, {67, 0, 0.4, false}}, {kC}, Beside(0, 3));
    EXPECT_TRUE(std::any_of(passing[1].begin(), passing[1].end(), [](int note) { return note % 12 != 0; }));
}

TEST(Voicing, AChordThatIsHeldIsNotLeftWithoutReason) {
    const Rows rows =
        VoiceChords({{72, 0, 0.5, false}, {72, 0, 0.5, false}, {72, 1, 0.5, false}}, {kC, kF}, Beside(1, 2));
    EXPECT_EQ(rows[0], rows[1]);
    for (int v = 0; v < 3; ++v) {
        EXPECT_LE(std::abs(rows[2][static_cast<std::size_t>(v)] - rows[1][static_cast<std::size_t>(v)]),
                  5);  // the bass goes from root to root
    }
}

TEST(Voicing, TheSeventhFallsAndTheLeadingToneRises) {
    const VoicingSettings settings = Beside(0, 3);
    const Rows rows = VoiceChords({{74, 0, 1.0, false}, {72, 1, 1.0, false}}, {kG7, kC}, settings);
    for (int v = 0; v < 3; ++v) {
        const int from = rows[0][static_cast<std::size_t>(v)], to = rows[1][static_cast<std::size_t>(v)];
        if (from % 12 == 5) {
            EXPECT_TRUE(from - to == 1 || from - to == 0 || from - to == 2) << from << " to " << to;
        }
        if (from % 12 == 11) {
            EXPECT_EQ(to - from, 1);
        }
    }
}

TEST(Voicing, RandomChordsAreVoicedWithoutParallelsAndLeaps) {
    std::mt19937 random(7);
    for (const VoicingManner manner : {VoicingManner::Backing, VoicingManner::FourPart}) {
        std::vector<VoicingChord> chords;
        const auto melody = RandomMelody(random, 3000, chords);
        VoicingSettings settings =
            Beside(manner == VoicingManner::FourPart ? 0 : 1, manner == VoicingManner::FourPart ? 3 : 2);
        settings.manner = manner;
        const Faults faults = Count(melody, VoiceChords(melody, chords, settings), settings);
        EXPECT_LT(100.0 * (faults.fifths + faults.octaves) / faults.moves, 1.0);
        EXPECT_LT(100.0 * faults.leaps / faults.voiceMoves, 0.3);
    }
}

TEST(Voicing, SpreadSetsTheVoicesWider) {
    std::mt19937 random(8);
    std::vector<VoicingChord> chords;
    const auto melody = RandomMelody(random, 300, chords);
    double width[2] = {};
    for (int wide = 0; wide < 2; ++wide) {
        VoicingSettings settings = Beside(1, 2);
        settings.spread = wide;
        for (const auto& notes : VoiceChords(melody, chords, settings)) {
            width[wide] += notes[0] - notes[2];
        }
    }
    EXPECT_GT(width[1], width[0] + 2.0 * 300);
}

TEST(Voicing, VoicesKeepTheirRanges) {
    std::mt19937 random(9);
    std::vector<VoicingChord> chords;
    const auto melody = RandomMelody(random, 500, chords);
    VoicingSettings settings = Beside(0, 3);
    settings.ranges = {PitchRange{53, 74}, PitchRange{48, 69}, PitchRange{40, 62}};
    for (const auto& notes : VoiceChords(melody, chords, settings)) {
        for (std::size_t v = 0; v < 3; ++v) {
            EXPECT_GE(notes[v], settings.ranges[v].low);
            EXPECT_LE(notes[v], settings.ranges[v].high);
        }
    }
}

TEST(Voicing, ARangeThatLiesBesideTheLeadIsKeptAllTheSame) {
    // A bass lead: there is no room below it, so the voice sings what it has.
    VoicingSettings settings = Beside(0, 1);
    settings.ranges.fill({55, 67});
    const Rows rows = VoiceChords({{45, 0, 0.5, false}}, {kC}, settings);
    EXPECT_GE(rows[0][0], 55);
    EXPECT_LE(rows[0][0], 67);
}

TEST(Voicing, NoChordIsARestAndASoundingOneGoesOnAfterIt) {
    const Rows rows =
        VoiceChords({{60, -1, 0.5, false}, {64, 0, 0.5, false}, {62, 1, 0.5, false}, {67, 0, 0.5, false}},
                    {kC, VoicingChord{}}, Beside(1, 2));
    EXPECT_EQ(rows[0], (std::array<int, 3>{kRest, kRest, kRest}));
    EXPECT_NE(rows[1][0], kRest);
    EXPECT_EQ(rows[2], (std::array<int, 3>{kRest, kRest, kRest}));
    EXPECT_NE(rows[3][2], kRest);
    EXPECT_TRUE(VoiceChords({}, {kC}, Beside(1, 2)).empty());
}

TEST(Voicing, EqualInputGivesEqualVoices) {
    std::mt19937 random(10);
    std::vector<VoicingChord> chords;
    const auto melody = RandomMelody(random, 200, chords);
    EXPECT_EQ(VoiceChords(melody, chords, Beside(2, 1)), VoiceChords(melody, chords, Beside(2, 1)));
}

TEST(Voicing, RolesFollowFromTheTones) {
    const auto roleOf = [](const VoicingChord& chord, int pitchClass) {
        for (const VoicingTone& tone : chord.tones) {
            if (tone.pitchClass == pitchClass) {
                return tone.role;
            }
        }
        return ToneRole::Extension;
    };
    EXPECT_EQ(roleOf(MakeVoicingChord(0, {0, 3, 6, 9}), 9), ToneRole::Seventh);
    EXPECT_EQ(roleOf(MakeVoicingChord(0, {0, 4, 7, 9}), 9), ToneRole::Sixth);
    EXPECT_EQ(roleOf(MakeVoicingChord(0, {0, 5, 7}), 5), ToneRole::Third);
    EXPECT_EQ(roleOf(MakeVoicingChord(0, {0, 4, 8}), 8), ToneRole::AlteredFifth);
    EXPECT_EQ(roleOf(MakeVoicingChord(2, {0, 4, 7, 10, 14}), 4), ToneRole::Extension);
}

TEST(Ranges, AreReadByNameAndByNotes) {
    EXPECT_EQ(ReadRange("Alto"), (PitchRange{53, 74}));
    EXPECT_EQ(ReadRange("E2-C5"), (PitchRange{40, 72}));
    EXPECT_EQ(ReadRange("Bb2-F#4"), (PitchRange{46, 66}));
    EXPECT_EQ(ReadRange("40-72"), (PitchRange{40, 72}));
    for (const char* wrong : {"", "-", "C5-E2", "alt", "H2-C4", "C2", "C2-", "-C4", "C2-C99", "E2-E2"}) {
        EXPECT_FALSE(ReadRange(wrong)) << wrong;
    }
}

TEST(Ranges, BesideALeadStayWithinWhatPeopleSing) {
    for (int lead = 30; lead <= 90; ++lead) {
        for (const bool above : {false, true}) {
            const PitchRange range = RangeBeside({lead, lead + 2, lead + 4}, above);
            EXPECT_GE(range.low, 40);
            EXPECT_LE(range.high, 84);
            EXPECT_GE(range.high - range.low, 12);
        }
    }
    EXPECT_EQ(RangeBeside({}, true), (PitchRange{40, 84}));
}

}  // namespace mlh::choir
