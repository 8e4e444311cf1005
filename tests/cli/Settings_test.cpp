// Every setting of the choir by option, by document and by the C functions: the same samples each way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "files/AudioFile.h"
#include "mlh/choir.h"
#include "support/CommandFolder.h"
#include "support/SyntheticSinger.h"

namespace mlh::cli {

namespace {

using testing::HasSubstr;

// A short song with consonants, 30 cents flat, with a note outside of C major.
class ChoirSettings : public CommandFolder {
  protected:
    ChoirSettings() {
        SingerSettings singer;
        singer.sampleRate = 22050.0;
        singer.vibratoDepth = 0.4;
        const SungRecording song = Sing({{59.7, 0.5, 'a', 's'},
                                         {63.7, 0.4, 'e', 't'},
                                         {65.7, 0.4, 'i'},
                                         {0, 0.2, kRest},
                                         {66.7, 0.6, 'o', 's'},
                                         {61.7, 0.4, 'e', 'm'},
                                         {59.7, 0.7, 'a', 'h'}},
                                        singer);
        AudioWriter writer(Path("lead.wav"), SampleFormat::Float, 1, song.sampleRate);
        writer.Write(song.samples.data(), static_cast<int32_t>(song.samples.size()));
        writer.Finish();
    }

    // The mix that options make.
    std::string Mix(const std::string& options) const {
        const auto result = Run("harmonize lead.wav -q --format float -o mix.wav " + options);
        EXPECT_EQ(result.status, 0) << options << "\n" << result.output;
        return Text("mix.wav");
    }
};

struct Case {
    const char* option;
    const char* document;             // the same, as members of a document
    const char* beside = "";          // options that it needs to mean something
    const char* besideDocument = "";  // and these
    const char* other = "";           // what it is compared with instead of nothing
};

const Case kCases[] = {
    {"--style core", "\"style\": \"core\""},
    {"--voices 3", "\"voices\": 3"},
    {"--above 2", "\"above\": 2"},
    {"--spread 1", "\"spread\": 1"},
    {"--key Eb", "\"key\": \"Eb\""},
    {"--scale minor", "\"scale\": \"minor\"", "--key C", "\"key\": \"C\""},
    {"--chords '0 C, 1 Fm, 1.9 G7'", "\"chords\": \"0 C, 1 Fm, 1.9 G7\""},
    {"--bpm 100", "\"bpm\": 100", "--chords 'C | F | G7'", "\"chords\": \"C | F | G7\"", "--bpm 180"},
    {"--beats 2", "\"beats_per_bar\": 2", "--chords 'C | F | G7' --bpm 100",
     "\"chords\": \"C | F | G7\", \"bpm\": 100"},
    {"--chords-from core", "\"chords_from\": \"core\""},
    {"--tuning 440", "\"tuning\": 440"},
    {"--intonation just", "\"intonation\": \"just\""},
    {"--snap scale", "\"snap\": \"scale\"", "--key C", "\"key\": \"C\""},
    {"--correction 1", "\"correction\": 1"},
    {"--vibrato 1,0.5,0,2", "\"vibrato\": [1, 0.5, 0, 2]"},
    {"--vibrato 0.2", "\"vibrato\": 0.2"},
    {"--glide 2", "\"glide\": 2"},
    {"--formant=-2,1", "\"formant\": [-2, 1]"},
    {"--humanize 0", "\"humanize\": 0"},
    {"--seed 5", "\"seed\": 5"},
    {"--consonants thin", "\"consonants\": \"thin\""},
    {"--range auto,E4-G5,auto,E2-A3", "\"range\": [\"auto\", \"E4-G5\", \"auto\", \"E2-A3\"]"},
    {"--range bass", "\"range\": \"bass\""},
    {"--mix wide", "\"mix\": \"wide\""},
    {"--mix backing", "\"mix\": \"backing\""},
    {"--mix mono", "\"mix\": \"mono\""},
    {"--pan=-0.5,,1", "\"pan\": [-0.5, null, 1]"},
    {"--level-db=-3,,2", "\"level_db\": [-3, null, 2]"},
    {"--gains 0.3,0.2:0.1,-6dB", "\"gains\": \"0.3,0.2:0.1,-6dB\""},
    {"--clip scale", "\"clip\": \"scale\"", "--gains 8", "\"gains\": \"8\""},
    {"--clip limit", "\"clip\": \"limit\"", "--gains 8", "\"gains\": \"8\""},
    {"--quality fast", "\"quality\": \"fast\""},
    {"--quality high", "\"quality\": \"high\"", "", "", "--quality fast"},
};

// What the C functions render of a take.
std::vector<float> MixOfFunctions(const Audio& lead, const std::string& settings, int32_t channels) {
    mlhTake* take = nullptr;
    mlhChoir* choir = nullptr;
    EXPECT_EQ(mlhTakeCreate(&take, lead.samples.data(), lead.Frames(), lead.channels, lead.sampleRate,
                            nullptr, nullptr),
              MLH_CHOIR_OK);
    EXPECT_EQ(mlhChoirCreate(&choir, take, settings.c_str(), nullptr, nullptr), MLH_CHOIR_OK)
        << settings << mlhChoirGetErrorText();
    std::vector<float> mix(static_cast<std::size_t>(lead.Frames()) * static_cast<std::size_t>(channels));
    EXPECT_EQ(mlhChoirRenderMix(choir, 0, lead.Frames(), channels, mix.data(), nullptr, nullptr),
              MLH_CHOIR_OK);
    mlhChoirDestroy(&choir);
    mlhTakeDestroy(&take);
    return mix;
}

TEST_F(ChoirSettings, AreTheSameByOptionByDocumentAndByTheCFunctions) {
    const Audio lead = ReadAudio(Path("lead.wav"));
    std::map<std::string, std::string> plain;  // by options
    for (const Case& c : kCases) {
        const std::string beside = c.beside;
        const std::string compared = beside + " " + c.other;
        if (plain.count(compared) == 0) {
            plain[compared] = Mix(compared);
        }
        const std::string typed = Mix(beside + " " + c.option);
        EXPECT_NE(typed, plain[compared]) << c.option << " changes nothing";
        const Audio mix = ReadAudio(Path("mix.wav"));

        const std::string members = std::string(c.besideDocument) + (*c.besideDocument != '\0' ? ", " : "");
        const std::string document = "{" + members + c.document + "}";
        std::ofstream(Path("settings.json")) << document;
        EXPECT_EQ(Mix("--settings settings.json"), typed) << document;
        EXPECT_EQ(MixOfFunctions(lead, document, mix.channels), mix.samples) << document;
    }
}

TEST_F(ChoirSettings, WrongValuesAreStatusTwoWithOneLineThatSaysWhatToDo) {
    const std::pair<const char*, const char*> options[] = {
        {"--style choirs", "choir"},
        {"--voices 5", "2 to 4"},
        {"--above 4", "0 to 3"},
        {"--spread 2", "0 to 1"},
        {"--key J", "C, F#m or Bb minor"},
        {"--scale blues", "dorian"},
        {"--chords '0 Cx'", "Cx"},
        {"--bpm 0", "1 to 1000"},
        {"--beats 0", "1 to 32"},
        {"--chords-from guess", "tracker, core"},
        {"--tuning loud", "a number from 220 to 880"},
        {"--tuning 100", "a number from 220 to 880"},
        {"--intonation pure", "equal, just"},
        {"--snap key", "none, scale"},
        {"--correction 2", "0 to 1"},
        {"--vibrato 3", "0 to 2"},
        {"--vibrato 1,1,1,1,1", "one per voice"},
        {"--glide fast", "0 to 2"},
        {"--formant 20", "-12 to 12"},
        {"--humanize 1.5", "0 to 1"},
        {"--seed 1.5", "a whole number"},
        {"--seed=-1", "0 to 9"},
        {"--consonants some", "all, thin"},
        {"--range treble", "auto, alto or E2-C5"},
        {"--range C5-E2", "auto, alto or E2-C5"},
        {"--mix loud", "wide, choir, backing, mono"},
        {"--pan 2", "-1 to 1"},
        {"--pan 0,0,0,0,0,0", "the lead's first"},
        {"--level-db 100", "-120 to 24"},
        {"--gains loud", "0.5 or -6dB"},
        {"--clip loud", "scale, limit, none"},
        {"--quality best", "fast, normal, high"},
    };
    for (const auto& [option, advice] : options) {
        const auto result = Run(std::string("harmonize lead.wav -q ") + option);
        const std::string name = std::string(option).substr(0, std::string(option).find_first_of(" ="));
        EXPECT_EQ(result.status, 2) << option << result.output;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        EXPECT_THAT(result.output, HasSubstr(advice)) << option;
        EXPECT_TRUE(result.output.find(name) != std::string::npos || name == "--chords") << result.output;
    }
    for (const auto& [document, advice] : {std::pair{"{\"voises\": 3}", "'voices'"},
                                           {"{\"voices\": 2.5}", "a whole number from 1 to 4"},
                                           {"{\"voices\": 1}", "from 2 to 4"},
                                           {"{\"range\": [\"treble\"]}", "auto, alto or E2-C5"},
                                           {"{\"humanize\": \"much\"}", "a number from 0 to 1"},
                                           {"{\"clip\": true}", "scale, limit, none"},
                                           {"{\"chords\": \"C | F\"}", "tempo"},
                                           {"[]", "an object"},
                                           {"{", "line 1"}}) {
        std::ofstream(Path("settings.json")) << document;
        const auto result = Run("harmonize lead.wav -q --settings settings.json");
        EXPECT_EQ(result.status, 2) << document << result.output;
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        EXPECT_THAT(result.output, HasSubstr(advice)) << document;
    }
}

// Gains of the lines in a side of the mix, found from the stems by least squares (normal equations, solved by
// Gauss): nothing of the command's own is believed.
std::vector<double> GainsFound(const std::vector<std::vector<float>>& stems, const std::vector<float>& side) {
    const std::size_t n = stems.size();
    std::vector<std::vector<double>> a(n, std::vector<double>(n + 1, 0.0));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t k = 0; k < side.size(); ++k) {
            for (std::size_t j = 0; j < n; ++j) {
                a[i][j] += static_cast<double>(stems[i][k]) * static_cast<double>(stems[j][k]);
            }
            a[i][n] += static_cast<double>(stems[i][k]) * static_cast<double>(side[k]);
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t r = 0; r < n; ++r) {
            const double share = r == i ? 0.0 : a[r][i] / a[i][i];
            for (std::size_t j = i; j <= n && r != i; ++j) {
                a[r][j] -= share * a[i][j];
            }
        }
    }
    std::vector<double> gains;
    for (std::size_t i = 0; i < n; ++i) {
        gains.push_back(a[i][n] / a[i][i]);
    }
    return gains;
}

struct LineGain {
    double left;
    double right;
    double Decibels() const { return 10.0 * std::log10(0.5 * (left * left + right * right)); }
};

class ChoirMix : public ChoirSettings {
  protected:
    // The gain of each line, the lead first.
    std::vector<LineGain> Gains(const std::string& options) {
        EXPECT_EQ(Run("harmonize lead.wav -q --format float -o mix.wav --stems stems " + options).status, 0);
        const Audio mix = ReadAudio(Path("mix.wav"));
        stems_.clear();
        for (const std::string name : {"lead", "voice1", "voice2", "voice3", "voice4"}) {
            stems_.push_back(ReadAudio(Path("stems/" + name + ".wav")).samples);
        }
        std::vector<std::vector<double>> sides;
        for (int32_t c = 0; c < mix.channels; ++c) {
            std::vector<float> side;
            for (int32_t i = 0; i < mix.Frames(); ++i) {
                side.push_back(mix.samples[static_cast<std::size_t>(i * mix.channels + c)]);
            }
            sides.push_back(GainsFound(stems_, side));
        }
        std::vector<LineGain> gains;
        for (std::size_t line = 0; line < stems_.size(); ++line) {
            gains.push_back({sides.front()[line], sides.back()[line]});
        }
        return gains;
    }

    std::vector<std::vector<float>> stems_;
};

TEST_F(ChoirMix, PresetsAreWhatTheirNamesSay) {
    for (const std::string preset : {"choir", "wide", "backing", "mono"}) {
        const auto gains = Gains("--mix " + preset);
        double most = -100.0;
        double least = 100.0;
        for (std::size_t v = 1; v < gains.size(); ++v) {
            most = std::max(most, gains[v].Decibels());
            least = std::min(least, gains[v].Decibels());
            EXPECT_TRUE(preset != "mono" || gains[v].left == gains[v].right) << v;
        }
        EXPECT_LT(most - least, 1.5) << preset;
        if (preset == "backing") {
            EXPECT_LT(std::hypot(gains[0].left, gains[0].right), 1e-5);
        } else {
            EXPECT_GT(gains[0].Decibels(), most) << preset;
            EXPECT_NEAR(gains[0].left, gains[0].right, 1e-5) << preset;
        }
        // Voices stand to both sides.
        if (preset == "wide" || preset == "backing") {
            for (std::size_t v = 1; v < gains.size(); ++v) {
                EXPECT_GT(std::fabs(20.0 * std::log10(gains[v].left / gains[v].right)), 6.0) << preset << v;
            }
            EXPECT_NE(gains[2].left > gains[2].right, gains[3].left > gains[3].right);
        }
    }
}

TEST_F(ChoirMix, VoicesAreAsLoudAsEachOther) {
    Gains("--humanize 0");
    std::vector<double> levels;
    for (const auto& stem : stems_) {
        double sum = 0.0;
        for (const float s : stem) {
            sum += static_cast<double>(s) * static_cast<double>(s);
        }
        levels.push_back(10.0 * std::log10(sum));
    }
    for (std::size_t v = 1; v < levels.size(); ++v) {
        EXPECT_NEAR(levels[v], levels[1], 1.5) << v;
    }
}

TEST_F(ChoirMix, PanAndLevelMoveOneLineAndNoOther) {
    const auto before = Gains("");
    const auto panned = Gains("--pan 0,,-1,1");
    EXPECT_NEAR(panned[2].right, 0.0, 1e-5);
    EXPECT_NEAR(panned[3].left, 0.0, 1e-5);
    for (std::size_t line = 0; line < 5; ++line) {
        EXPECT_NEAR(panned[line].Decibels(), before[line].Decibels(), 0.01) << line;
    }
    const auto louder = Gains("--level-db ,,-6,3");
    for (std::size_t line = 0; line < 5; ++line) {
        const double change = line == 2 ? -6.0 : line == 3 ? 3.0 : 0.0;
        EXPECT_NEAR(louder[line].Decibels(), before[line].Decibels() + change, 0.01) << line;
    }
}

TEST_F(ChoirMix, OneChannelHasEveryLineAtItsLevel) {
    const auto two = Gains("--mix wide");
    const auto one = Gains("--mix wide --mono");
    ASSERT_EQ(ReadAudio(Path("mix.wav")).channels, 1);
    for (std::size_t line = 0; line < 5; ++line) {
        EXPECT_NEAR(one[line].Decibels(), two[line].Decibels(), 0.01) << line;
    }
}

// Where a voice lies beside the lead, in samples, by the highest cross-correlation of a stretch.
int LagOf(const std::vector<float>& lead, const std::vector<float>& voice, std::size_t from, std::size_t to) {
    constexpr int kMost = 600;
    int best = 0;
    double highest = -1e9;
    for (int lag = -kMost; lag <= kMost; ++lag) {
        double sum = 0.0;
        for (std::size_t i = from; i < to; ++i) {
            sum += static_cast<double>(lead[i]) *
                   static_cast<double>(voice[static_cast<std::size_t>(static_cast<int>(i) + lag)]);
        }
        if (sum > highest) {
            highest = sum;
            best = lag;
        }
    }
    return best;
}

TEST_F(ChoirMix, WithoutHumanizingTheDoublingIsAlignedToTheSample) {
    // The middles of some notes.
    const std::pair<double, double> stretches[] = {{0.2, 0.4}, {0.6, 0.8}, {1.65, 1.95}, {2.8, 3.0}};
    int off = 0;
    for (const bool people : {false, true}) {
        Gains(people ? "--humanize 1" : "--humanize 0");
        for (const auto& [from, to] : stretches) {
            const int lag = LagOf(stems_[0], stems_[1], static_cast<std::size_t>(from * 22050),
                                  static_cast<std::size_t>(to * 22050));
            if (!people) {
                EXPECT_EQ(lag, 0) << from;
            } else if (lag != 0) {
                ++off;
            }
        }
    }
    EXPECT_GE(off, 3);
}

}  // namespace

}  // namespace mlh::cli
