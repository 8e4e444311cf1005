// One voice, or none: singers of every manner against noise, drums, chords and a band, all synthetic.
// tests/validation/VoiceFinder_test.cpp asks the same of recordings.
#include "choir/take/VoiceFinder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "choir/Choir.h"
#include "choir/melody/SungMelody.h"
#include "support/SyntheticSinger.h"

namespace mlh::choir {

namespace {

using Samples = std::vector<float>;

VoiceEvidence EvidenceOf(const Samples& samples, double rate) {
    return Take({samples.data(), static_cast<int32_t>(samples.size()), 1, static_cast<int32_t>(rate)})
        .voice();
}

const std::vector<mlh::SungNote> kTune = {{60, 0.5, 'a'},     {64, 0.4, 'e', 's'}, {67, 0.7, 'i', 't'},
                                          {0, 0.3, kRest},    {65, 0.3, 'o'},      {62, 0.6, 'u', 'm'},
                                          {60, 0.9, 'a', 'h'}};

std::vector<mlh::SungNote> Moved(double semitones) {
    std::vector<mlh::SungNote> tune = kTune;
    for (mlh::SungNote& note : tune) {
        note.pitch += semitones;
    }
    return tune;
}

void Add(Samples& to, double rate, double time, const Samples& what, float gain) {
    const auto first = static_cast<std::size_t>(time * rate);
    for (std::size_t i = 0; i < what.size() && first + i < to.size(); ++i) {
        to[first + i] += gain * what[i];
    }
}

double PowerOf(const Samples& samples) {
    double sum = 0.0;
    for (const float sample : samples) {
        sum += static_cast<double>(sample) * sample;
    }
    return sum / static_cast<double>(samples.size());
}

// Noise whose power falls with the frequency, by as many single poles an octave and a half apart.
Samples PinkNoise(double rate, double seconds, uint64_t seed) {
    const Samples white = Noise(static_cast<std::size_t>(rate * seconds), seed);
    Samples pink(white.size(), 0.0f);
    for (double corner = 40.0; corner < 0.4 * rate; corner *= 4.0) {
        const auto keep = static_cast<float>(std::exp(-2.0 * std::numbers::pi * corner / rate));
        float state = 0.0f;
        for (std::size_t i = 0; i < white.size(); ++i) {
            state = keep * state + (1.0f - keep) * white[i];
            pink[i] += state * static_cast<float>(std::sqrt(1000.0 / corner));
        }
    }
    return pink;
}

// Bass drum, snare and hi-hat on quavers of 0.25 s.
Samples Drums(double rate, double seconds) {
    Samples drums(static_cast<std::size_t>(rate * seconds), 0.0f);
    const auto hit = [&](double length, double decay, double hertz, double noise, uint64_t seed) {
        Samples sound = Noise(static_cast<std::size_t>(length * rate), seed, static_cast<float>(noise));
        for (std::size_t i = 0; i < sound.size(); ++i) {
            const double t = static_cast<double>(i) / rate;
            const double tone =
                hertz > 0.0 ? std::sin(2.0 * std::numbers::pi * hertz * t * (1.0 + 0.3 * std::exp(-30.0 * t)))
                            : 0.0;
            sound[i] = static_cast<float>((sound[i] + tone) * std::exp(-decay * t));
        }
        return sound;
    };
    for (int k = 0; 0.25 * k < seconds; ++k) {
        const auto seed = static_cast<uint64_t>(k + 3);
        Add(drums, rate, 0.25 * k, hit(0.05, 80.0, 0.0, 1.0, seed), 0.15f);
        if (k % 4 == 0) {
            Add(drums, rate, 0.25 * k, hit(0.3, 12.0, 55.0, 0.05, seed), 0.5f);
        } else if (k % 4 == 2) {
            Add(drums, rate, 0.25 * k, hit(0.2, 20.0, 190.0, 1.0, seed), 0.4f);
        }
    }
    return drums;
}

// Chords of four tones, two seconds each.
Samples Chords(double rate, int rounds) {
    const double chords[4][4] = {{48, 60, 64, 67}, {45, 57, 60, 64}, {53, 57, 60, 65}, {43, 55, 59, 62}};
    Samples all(static_cast<std::size_t>(rate * 2.0 * rounds), 0.0f);
    for (int k = 0; k < rounds; ++k) {
        for (const double pitch : chords[k % 4]) {
            Add(all, rate, 2.0 * k, HarmonicTone(440.0 * std::exp2((pitch - 69.0) / 12.0), rate, 1.95), 0.2f);
        }
    }
    return all;
}

TEST(VoiceFinder, SingersOfEveryMannerHaveAVoice) {
    for (const double rate : {16000.0, 22050.0, 44100.0, 96000.0}) {
        for (const double move : {-20.0, -12.0, 0.0, 12.0, 18.0}) {
            SingerSettings settings;
            settings.sampleRate = rate;
            settings.formantScale = move >= 0.0 ? 1.17 : 1.0;
            const VoiceEvidence plain = EvidenceOf(Sing(Moved(move), settings).samples, rate);
            EXPECT_TRUE(plain.Found()) << rate << ", moved by " << move;
            EXPECT_GT(plain.sung, 0.6 * plain.sounding) << rate << ", moved by " << move;
            settings.vibratoDepth = 0.8;
            settings.vibratoDelay = 0.1;
            settings.glideTime = 0.25;
            EXPECT_TRUE(EvidenceOf(Sing(Moved(move), settings).samples, rate).Found())
                << "vibrato and glides";
            settings.breath = 0.1;
            settings.roomNoise = 0.01;
            EXPECT_TRUE(EvidenceOf(Sing(Moved(move), settings).samples, rate).Found())
                << "breathy, noisy room";
        }
    }
}

TEST(VoiceFinder, ASoftVoiceOrAShortNoteInALongSilenceIsFound) {
    SungRecording song = Sing(kTune, {});
    for (float& sample : song.samples) {
        sample *= 0.002f;
    }
    EXPECT_TRUE(EvidenceOf(song.samples, 44100.0).Found());
    Samples silence(44100 * 20, 0.0f);
    Add(silence, 44100.0, 11.0, Sing({{62, 0.3, 'a'}}, {}).samples, 1.0f);
    EXPECT_TRUE(EvidenceOf(silence, 44100.0).Found());
    EXPECT_LT(EvidenceOf(silence, 44100.0).sounding, 0.5);
}

TEST(VoiceFinder, AWhistleIsAVoice) {
    Samples whistle(44100 * 2);
    for (std::size_t i = 0; i < whistle.size(); ++i) {
        whistle[i] = static_cast<float>(
            0.3 * std::sin(2.0 * std::numbers::pi * 880.0 * static_cast<double>(i) / 44100.0));
    }
    EXPECT_TRUE(EvidenceOf(whistle, 44100.0).Found());
}

TEST(VoiceFinder, SilenceAndNoiseHaveNone) {
    for (const double rate : {16000.0, 44100.0}) {
        const auto frames = static_cast<std::size_t>(4.0 * rate);
        EXPECT_FALSE(EvidenceOf(Samples(frames, 0.0f), rate).Found());
        EXPECT_FALSE(EvidenceOf(Samples(frames, 0.5f), rate).Found()) << "direct current";
        for (const uint64_t seed : {1u, 2u, 3u}) {
            EXPECT_LT(EvidenceOf(Noise(frames, seed, 0.3f), rate).sung, 0.1);
            EXPECT_LT(EvidenceOf(Noise(frames, seed, 1e-4f), rate).sung, 0.1);
            const VoiceEvidence pink = EvidenceOf(PinkNoise(rate, 4.0, seed), rate);
            EXPECT_LT(pink.sung, 0.1 * pink.sounding) << rate;
        }
    }
}

// The hum of the mains goes on for ever, with harmonics; no bass is as low.
TEST(VoiceFinder, HumIsNoVoice) {
    for (const double hertz : {50.0, 60.0}) {
        EXPECT_FALSE(EvidenceOf(HarmonicTone(hertz, 44100.0, 3.0, 2.0, 0.01), 44100.0).Found()) << hertz;
    }
}

TEST(VoiceFinder, AWhisperIsNoVoice) {
    // Vowels of nothing but breath.
    SingerSettings settings;
    settings.breath = 60.0;
    const VoiceEvidence evidence = EvidenceOf(Sing(kTune, settings).samples, 44100.0);
    EXPECT_LT(evidence.sung, 0.2 * evidence.sounding);
}

TEST(VoiceFinder, DrumsAndChordsHaveNone) {
    for (const double rate : {16000.0, 44100.0}) {
        EXPECT_FALSE(EvidenceOf(Drums(rate, 6.0), rate).Found());
        EXPECT_FALSE(EvidenceOf(Chords(rate, 4), rate).Found());
    }
}

TEST(VoiceFinder, ASingerWithABandHasNoneAndWithoutItOne) {
    const double rate = 44100.0;
    for (const double move : {-12.0, -5.0, 0.0, 7.0}) {
        Samples song = Sing(Moved(move), {}).samples;
        EXPECT_TRUE(EvidenceOf(song, rate).Found());
        Samples band = Chords(rate, 2);
        Add(band, rate, 0.0, Drums(rate, 4.0), 1.0f);
        Add(song, rate, 0.0, band, static_cast<float>(std::sqrt(PowerOf(song) / PowerOf(band))));
        EXPECT_FALSE(EvidenceOf(song, rate).Found()) << move;
    }
}

TEST(VoiceFinder, FourSingersAtOnceAreNotOneVoice) {
    Samples all(44100 * 4, 0.0f);
    int singer = 0;
    for (const double move : {-12.0, -5.0, 3.0, 10.0}) {
        SingerSettings settings;
        settings.seed = static_cast<uint64_t>(++singer);
        settings.vibratoDepth = 0.15;
        Add(all, 44100.0, 0.07 * singer, Sing(Moved(move), settings).samples, 0.3f);
    }
    EXPECT_FALSE(EvidenceOf(all, 44100.0).Found());
}

TEST(VoiceFinder, SamplesThatAreNoNumbersAreNotSung) {
    SungRecording song = Sing(kTune, {});
    const double sung = EvidenceOf(song.samples, 44100.0).sung;
    const AudioView view{song.samples.data(), static_cast<int32_t>(song.samples.size()), 1, 44100};
    const Take take(view);
    const auto periods = MeasurePeriods(view, take.curve());
    song.samples[20000] = std::numeric_limits<float>::quiet_NaN();
    song.samples[60000] = std::numeric_limits<float>::infinity();
    const VoiceEvidence evidence = FindVoice(view, periods);
    EXPECT_TRUE(evidence.Found());
    EXPECT_LT(evidence.sung, sung);
    EXPECT_FALSE(FindVoice({song.samples.data(), 0, 1, 44100}, {}).Found());
    EXPECT_FALSE(FindVoice(view, {}).Found());
}

TEST(TakeWithoutAVoice, HasNoNotesNoKeyAndSingsNothing) {
    const Samples noise = Noise(44100 * 3, 9, 0.3f);
    Take take({noise.data(), static_cast<int32_t>(noise.size()), 1, 44100});
    EXPECT_FALSE(take.hasVoice());
    EXPECT_TRUE(take.notes().empty());
    EXPECT_TRUE(take.measuredNotes().empty());
    EXPECT_EQ(take.coreNotes().size(), take.analysis().notes.size());
    EXPECT_EQ(KeyOf(take).confidence, 0.0);
    EXPECT_EQ(KeyDoubt(KeyOf(take)), "");
    for (const Style style : {Style::Choir, Style::FourPart, Style::Block, Style::Core}) {
        Settings settings;
        settings.style = style;
        Choir choir(take, settings);
        ASSERT_EQ(choir.warnings().size(), 1u);
        EXPECT_EQ(choir.warnings()[0], kNoVoice);
        ASSERT_EQ(choir.voices().size(), 4u);
        if (style == Style::Core) {
            EXPECT_EQ(choir.lead().size(), take.coreNotes().size()) << "as the core has it";
            continue;
        }
        EXPECT_EQ(choir.keyName(), "");
        EXPECT_TRUE(choir.lead().empty());
        EXPECT_TRUE(choir.chords().empty());
        Samples voice(20000, 1.0f), lead(20000, 1.0f);
        float* rows[] = {lead.data(), nullptr, voice.data(), nullptr, nullptr};
        choir.Render(30000, 20000, rows, nullptr, 0);
        EXPECT_EQ(voice, Samples(20000, 0.0f));
        EXPECT_EQ(lead, Samples(noise.begin() + 30000, noise.begin() + 50000)) << "the lead goes through";
    }
}

}  // namespace

}  // namespace mlh::choir
