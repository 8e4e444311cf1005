// Fingerprints of what the choir library makes of songs of the synthetic singer: the report of the analysis,
// what the voices sing, and the mix, with and without chords. Used by scripts/test-wasm.
//
//     tool_ChoirFingerprint [--level N]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "choir/Choir.h"
#include "choir/chords/ChordText.h"
#include "choir/document/Document.h"
#include "choir/mix/Mix.h"
#include "choir/take/Take.h"
#include "mlh/analysis.h"
#include "support/Checksum.h"
#include "support/SyntheticSinger.h"

namespace mlh {

namespace {

std::string HashOfChoir(choir::Take& take, const std::string& chords) {
    choir::Settings settings;
    settings.style = choir::Style::Core;
    if (!chords.empty()) {
        settings.chords = choir::ReadChordSheet(chords, "chords").chords;
    }
    choir::Choir sung(take, settings);
    Hash hash;
    for (const auto& voice : sung.voices()) {
        for (const auto& note : voice.notes) {
            hash.Add(&note.start, sizeof note.start);
            hash.Add(&note.pitch, sizeof note.pitch);
        }
    }
    std::vector<float> mix(2 * static_cast<std::size_t>(take.audio().frames));
    sung.Render(0, take.audio().frames, nullptr, mix.data(), 2);
    hash.AddAll(mix);
    return hash.Text();
}

int Run() {
    std::printf("# level %d; report choir (melody alone, with chords)\n", GetProcessorLevel());
    for (const double rate : {22050.0, 48000.0}) {
        SingerSettings settings;
        settings.sampleRate = rate;
        settings.vibratoDepth = 0.4;
        const SungRecording song = Sing({{50, 0.5, 'a', 's'},
                                         {53, 0.4, 'e'},
                                         {55, 0.6, 'i', 't'},
                                         {0, 0.2, kRest},
                                         {62, 0.5, 'o', 'm'},
                                         {60, 0.7, 'u', 'h'}},
                                        settings);
        const choir::AudioView audio{song.samples.data(), static_cast<int32_t>(song.samples.size()), 1,
                                     song.sampleRate};
        choir::Take take(audio);
        const std::string report = choir::TakeDocument(take, {"song", 1});
        Hash hash;
        hash.Add(report.data(), report.size());
        std::printf("%s %s", hash.Text().c_str(), HashOfChoir(take, "").c_str());
        std::printf(" %s singer at %d Hz\n", HashOfChoir(take, "0 Dm\n1.1 Bb\n2 F\n").c_str(),
                    song.sampleRate);
    }
    return 0;
}

}  // namespace

}  // namespace mlh

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--level") == 0) {
        mlh::LimitProcessorLevel(std::atoi(argv[2]));
    }
    return mlh::Run();
}
