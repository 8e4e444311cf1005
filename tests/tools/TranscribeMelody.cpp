// Puts sung melodies on beats for scripts/report-paper. Reads from the standard input, for each melody:
//
//     melody BPM NOTES     then a line "start end pitch" for each note; BPM 0 is not known
//
// Prints for each melody:
//
//     metre UPPER LOWER BPM UPBEAT / note ONSET LENGTH PITCH START (for each; quarter notes) / end
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "choir/score/Transcribe.h"

int main() {
    using namespace mlh::choir;
    std::string word;
    while (std::cin >> word) {
        TranscribeOptions options;
        size_t count = 0;
        std::cin >> options.bpm >> count;
        std::vector<SungNote> notes(count);
        for (SungNote& note : notes) {
            std::cin >> note.start >> note.end >> note.pitch;
        }
        if (!std::cin || word != "melody") {
            std::cerr << "melodies expected\n";
            return 2;
        }
        const Melody melody = Transcribe(notes, Tuning::OfSinger(notes), options);
        const TempoChange& first = melody.tempo.front();
        std::cout << std::setprecision(12) << "metre " << first.beatsPerBar << " " << first.beatUnit << " "
                  << first.bpm << " " << melody.upbeat << "\n";
        for (const WrittenNote& note : melody.notes) {
            std::cout << "note " << note.onset << " " << note.length << " " << note.pitch << " " << note.start
                      << "\n";
        }
        std::cout << "end\n";
    }
    return 0;
}
