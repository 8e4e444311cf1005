// Tracks melodies for scripts/report-melody. Reads from the standard input, for each melody:
//
//     melody KEY BPM UPPER LOWER QUARTER BARLINE NOTES     then a line "start end pitch" for each note
//
// KEY -1, BPM 0, UPPER 0 and BARLINE "-" mean that these are not known. Prints for each melody:
//
//     key BEST SECOND CONFIDENCE / pulse HALF CONFIDENCE / chord TIME ROOT KIND (for each) / end
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "choir/melody/MelodyTracker.h"

int main() {
    using namespace mlh::choir;
    std::string word;
    while (std::cin >> word) {
        int key = 0;
        double bpm = 0.0;
        int upper = 0;
        int lower = 0;
        double quarter = 0.0;
        std::string barLine;
        size_t count = 0;
        std::cin >> key >> bpm >> upper >> lower >> quarter >> barLine >> count;
        std::vector<MelodyNote> notes(count);
        for (MelodyNote& note : notes) {
            std::cin >> note.start >> note.end >> note.pitch;
        }
        if (!std::cin || word != "melody") {
            std::cerr << "melodies expected\n";
            return 2;
        }
        TrackOptions options;
        if (key >= 0) {
            options.key = key;
        }
        if (bpm > 0.0) {
            options.bpm = bpm;
        }
        if (upper > 0) {
            options.metre = MetreOf(upper, lower, quarter);
            if (barLine != "-") {
                options.metre->barLine = std::atof(barLine.c_str());
            }
        }
        const MelodyTrack track = TrackMelody(notes, options);
        std::cout << std::setprecision(12) << "key " << track.key.best << " " << track.key.second << " "
                  << track.key.confidence << "\npulse " << track.pulse.clock.Half() << " "
                  << track.pulse.confidence << "\n";
        for (const HeardChord& chord : track.chords) {
            std::cout << "chord " << chord.time << " " << chord.root << " " << static_cast<int>(chord.kind)
                      << "\n";
        }
        std::cout << "end\n";
    }
    return 0;
}
