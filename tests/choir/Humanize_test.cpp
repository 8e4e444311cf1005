#include "choir/people/Humanize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "choir/people/RandomSource.h"

namespace mlh::choir {

namespace {

std::vector<VoiceNote> Line(int count, uint64_t seed, double shortest = 0.15) {
    RandomSource random(seed);
    std::vector<VoiceNote> notes;
    double time = 0.0;
    for (int i = 0; i < count; ++i) {
        const double length = shortest + 0.8 * random.Uniform();
        notes.push_back({i, time, time + length, 60 + i % 5, 60.0 + i % 5, 1.0});
        time += length + (random.Uniform() < 0.5 ? 0.0 : 0.4 * random.Uniform());
    }
    return notes;
}

double StandardDeviation(const std::vector<double>& values) {
    double mean = 0.0, sum = 0.0;
    for (const double x : values) {
        mean += x / static_cast<double>(values.size());
    }
    for (const double x : values) {
        sum += (x - mean) * (x - mean);
    }
    return std::sqrt(sum / static_cast<double>(values.size()));
}

double Correlation(const std::vector<double>& a, const std::vector<double>& b) {
    double meanA = 0.0, meanB = 0.0, ab = 0.0, aa = 0.0, bb = 0.0;
    const auto n = static_cast<double>(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        meanA += a[i] / n;
        meanB += b[i] / n;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        ab += (a[i] - meanA) * (b[i] - meanB);
        aa += (a[i] - meanA) * (a[i] - meanA);
        bb += (b[i] - meanB) * (b[i] - meanB);
    }
    return ab / std::sqrt(aa * bb);
}

std::vector<double> Onsets(const std::vector<NoteManner>& manners) {
    std::vector<double> onsets;
    for (const NoteManner& manner : manners) {
        onsets.push_back(manner.onset);
    }
    return onsets;
}

// All points of time of a note, as sung.
std::vector<double> SungTimes(const VoiceNote& note, const NoteManner& manner) {
    std::vector<double> times{note.start + manner.onset};
    const auto count = static_cast<double>(manner.inside.size());
    for (std::size_t k = 0; k < manner.inside.size(); ++k) {
        times.push_back(note.start + (note.end - note.start) * static_cast<double>(k + 1) / (count + 1.0) +
                        manner.inside[k]);
    }
    times.push_back(note.end + manner.release);
    return times;
}

TEST(RandomSource, GivesThePublishedNumbers) {
    RandomSource source(0);
    EXPECT_EQ(source.Bits(), 0xE220A8397B1DCDAFu);
    EXPECT_EQ(source.Bits(), 0x6E789E6AA1B965F4u);
    EXPECT_EQ(RandomSource(1).Of(2).Bits(), RandomSource(1).Of(2).Bits());
    EXPECT_NE(RandomSource(1).Of(2).Bits(), RandomSource(1).Of(3).Bits());
    EXPECT_NE(RandomSource(1).Of(2).Bits(), RandomSource(2).Of(2).Bits());
}

TEST(RandomSource, IsUniformAndNormalEnough) {
    RandomSource source(77);
    std::vector<double> uniform, normal;
    for (int i = 0; i < 100000; ++i) {
        uniform.push_back(source.Uniform());
    }
    for (int i = 0; i < 100000; ++i) {
        normal.push_back(source.Normal());
    }
    EXPECT_NEAR(StandardDeviation(uniform), std::sqrt(1.0 / 12.0), 0.003);
    EXPECT_NEAR(StandardDeviation(normal), 1.0, 0.01);
    EXPECT_LT(*std::max_element(normal.begin(), normal.end()), 3.47);
    EXPECT_LT(*std::max_element(uniform.begin(), uniform.end()), 1.0);
    EXPECT_GE(*std::min_element(uniform.begin(), uniform.end()), 0.0);
}

TEST(Humanize, NothingChangesAtZero) {
    for (const NoteManner& manner : Humanize(Line(50, 3), 1, {0.0, 9})) {
        EXPECT_EQ(manner, NoteManner{});
    }
}

TEST(Humanize, TheSameSeedGivesTheSameBits) {
    const auto notes = Line(60, 4);
    const auto a = Humanize(notes, 2, {0.5, 12});
    const auto b = Humanize(notes, 2, {0.5, 12});
    const auto other = Humanize(notes, 2, {0.5, 13});
    for (std::size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i], b[i]);
        EXPECT_NE(a[i], other[i]);
    }
}

TEST(Humanize, OnsetsAreSpreadAsAmongPeople) {
    std::vector<double> all, ofOne, ofNext;
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        const auto notes = Line(100, seed);
        std::vector<std::vector<double>> voices;
        for (int person = 0; person < 3; ++person) {
            voices.push_back(Onsets(Humanize(notes, person, {0.5, seed})));
            all.insert(all.end(), voices.back().begin() + 1, voices.back().end());
            ofOne.insert(ofOne.end(), voices.back().begin(), voices.back().end() - 1);
            ofNext.insert(ofNext.end(), voices.back().begin() + 1, voices.back().end());
        }
        EXPECT_LT(std::fabs(Correlation(voices[0], voices[1])), 0.45);
    }
    EXPECT_GT(StandardDeviation(all), 0.010);
    EXPECT_LT(StandardDeviation(all), 0.025);
    const double kept = Correlation(ofOne, ofNext);
    EXPECT_GT(kept, 0.3);  // they wander, they do not jump
    EXPECT_LT(kept, 0.8);
}

TEST(Humanize, NotesKeepTheirOrderAndMostOfTheirLength) {
    for (const double amount : {0.2, 0.5, 1.0}) {
        for (uint64_t seed = 1; seed <= 30; ++seed) {
            const auto notes = Line(80, seed, seed % 2 == 0 ? 0.15 : 0.01);
            const auto manners = Humanize(notes, static_cast<int>(seed % 4), {amount, seed});
            double end = 0.0;
            for (std::size_t i = 0; i < notes.size(); ++i) {
                const auto times = SungTimes(notes[i], manners[i]);
                EXPECT_GE(times.front(), end - 1e-12) << i;
                EXPECT_GE(times.front(), 0.0);
                for (std::size_t k = 0; k + 1 < times.size(); ++k) {
                    EXPECT_GE(times[k + 1] - times[k], 0.399 * (notes[i].end - notes[i].start) /
                                                           static_cast<double>(times.size() - 1));
                }
                end = times.back();
            }
        }
    }
}

TEST(Humanize, BordersOfNotesThatTouchMoveTogether) {
    const auto notes = Line(200, 8);
    const auto manners = Humanize(notes, 0, {0.7, 8});
    int touching = 0;
    for (std::size_t i = 0; i + 1 < notes.size(); ++i) {
        if (notes[i + 1].start - notes[i].end > 0.0) {
            continue;
        }
        ++touching;
        EXPECT_EQ(manners[i].release, manners[i + 1].onset);
        EXPECT_EQ(manners[i].levelAtEnd, manners[i + 1].levelAtStart);
    }
    EXPECT_GT(touching, 50);
}

TEST(Humanize, ANoteThatAChordCutsStaysOneNote) {
    auto notes = Line(40, 5);
    for (std::size_t i = 1; i < notes.size(); i += 2) {
        notes[i].start = notes[i - 1].end;
        notes[i].end = std::max(notes[i].end, notes[i].start + 0.1);
        notes[i].lead = notes[i - 1].lead;
        notes[i].note = notes[i - 1].note;
    }
    const auto manners = Humanize(notes, 1, {0.5, 2});
    for (std::size_t i = 1; i < notes.size(); i += 2) {
        EXPECT_EQ(manners[i].detune, manners[i - 1].detune);
        EXPECT_EQ(manners[i].formant, manners[i - 1].formant);
    }
}

TEST(Humanize, PitchStaysWithinSomeCentsAndLevelWithinSomeDecibels) {
    std::vector<double> detunes, levels;
    for (uint64_t seed = 1; seed <= 50; ++seed) {
        for (const NoteManner& manner : Humanize(Line(50, seed), 1, {0.5, seed})) {
            detunes.push_back(std::fabs(100.0 * manner.detune));
            levels.insert(levels.end(), manner.levelsInside.begin(), manner.levelsInside.end());
        }
    }
    std::sort(detunes.begin(), detunes.end());
    EXPECT_LT(detunes[detunes.size() / 2], 4.0);
    EXPECT_GT(detunes[detunes.size() / 2], 1.0);
    EXPECT_LT(detunes.back(), 15.0);
    EXPECT_GT(StandardDeviation(levels), 1.5);
    EXPECT_LT(StandardDeviation(levels), 3.5);
}

TEST(Humanize, VoicesStayAsLoudInTheMeanAndLevelsMoveSlowly) {
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        const auto notes = Line(60, seed, 0.4);
        std::vector<LeadTraits> lead(notes.size());
        RandomSource random(seed);
        for (LeadTraits& traits : lead) {
            traits.level = 0.1 + random.Uniform();
        }
        double power = 0.0, weights = 0.0;
        const auto manners = Humanize(notes, 1, {0.5, seed}, lead);
        for (std::size_t i = 0; i < notes.size(); ++i) {
            const NoteManner& manner = manners[i];
            const double length = notes[i].end - notes[i].start;
            std::vector<double> levels{manner.levelAtStart};
            levels.insert(levels.end(), manner.levelsInside.begin(), manner.levelsInside.end());
            levels.push_back(manner.levelAtEnd);
            EXPECT_GE(length / static_cast<double>(levels.size() - 1), 0.19) << "no tremolo";
            const double energy = lead[i].level * lead[i].level * length;
            for (std::size_t k = 0; k + 1 < levels.size(); ++k) {
                const double middle = 0.5 * (levels[k] + levels[k + 1]);
                power += energy * std::pow(10.0, 0.1 * middle) / static_cast<double>(levels.size() - 1);
            }
            weights += energy;
        }
        EXPECT_NEAR(10.0 * std::log10(power / weights), 0.0, 0.5) << seed;
    }
}

TEST(Humanize, PitchWandersInsideLongNotesAboutTheirOwn) {
    std::vector<double> drifts;
    const auto notes = Line(200, 6, 0.5);
    for (const NoteManner& manner : Humanize(notes, 2, {0.5, 6})) {
        double sum = 0.0;
        for (const double drift : manner.drift) {
            drifts.push_back(100.0 * drift);
            sum += drift;
        }
        EXPECT_NEAR(sum, 0.0, 1e-9);
        EXPECT_TRUE(manner.drift.empty() || manner.drift.size() == manner.inside.size() + 1);
    }
    EXPECT_GT(StandardDeviation(drifts), 2.0);
    EXPECT_LT(StandardDeviation(drifts), 5.0);
}

TEST(Humanize, WhereTheLeadGlidesFastPeopleStayTogether) {
    const auto notes = Line(100, 7);
    const std::vector<LeadTraits> gliding(notes.size(), {15.0, 1.0}), still(notes.size(), {0.5, 1.0});
    const auto together = Humanize(notes, 1, {0.5, 7}, gliding);
    const auto free = Humanize(notes, 1, {0.5, 7}, still);
    EXPECT_GT(StandardDeviation(Onsets(free)), 0.010);
    for (std::size_t i = 0; i < notes.size(); ++i) {
        // Less than half a semitone of the glide.
        EXPECT_LT(15.0 * std::fabs(together[i].onset), 0.5);
        for (const double inside : together[i].inside) {
            EXPECT_LT(15.0 * std::fabs(inside), 0.5);
        }
    }
}

TEST(Humanize, ConsonantsAreSofterEachByItsOwnMeasure) {
    double sum = 0.0;
    std::vector<double> levels;
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        for (const NoteManner& manner : Humanize(Line(30, seed), 1, {0.5, seed})) {
            levels.push_back(manner.consonant);
            sum += manner.consonant;
        }
    }
    EXPECT_NEAR(sum / static_cast<double>(levels.size()), -3.0, 1.0);
    EXPECT_GT(StandardDeviation(levels), 2.0);
}

TEST(Humanize, TheFirstNoteNeverStartsBeforeTheRecording) {
    for (uint64_t seed = 1; seed <= 100; ++seed) {
        const auto manners = Humanize({{0, 0.001, 0.5, 60, 60.0, 1.0}}, 0, {1.0, seed});
        EXPECT_GE(0.001 + manners[0].onset, 0.0);
    }
}

TEST(Humanize, NoNotesNoManners) { EXPECT_TRUE(Humanize({}, 0, {0.5, 1}).empty()); }

}  // namespace

}  // namespace mlh::choir
