// How people spell the quality of a chord, and its tones.
#pragma once

#include <vector>

namespace mlh::choir {

struct ChordQuality {
    const char* spelling;        // behind the root; behind "root:" for Harte labels
    std::vector<int> intervals;  // semitones above the root
};

// Lead-sheet symbols: Am7 is root A and "m7".
inline const std::vector<ChordQuality>& LeadSheetQualities() {
    static const std::vector<ChordQuality> qualities = {{"", {0, 4, 7}},
                                                        {"maj", {0, 4, 7}},
                                                        {"M", {0, 4, 7}},
                                                        {"m", {0, 3, 7}},
                                                        {"min", {0, 3, 7}},
                                                        {"mi", {0, 3, 7}},
                                                        {"-", {0, 3, 7}},
                                                        {"dim", {0, 3, 6}},
                                                        {"o", {0, 3, 6}},
                                                        {"°", {0, 3, 6}},
                                                        {"aug", {0, 4, 8}},
                                                        {"+", {0, 4, 8}},
                                                        {"sus4", {0, 5, 7}},
                                                        {"sus", {0, 5, 7}},
                                                        {"sus2", {0, 2, 7}},
                                                        {"5", {0, 7}},
                                                        {"6", {0, 4, 7, 9}},
                                                        {"maj6", {0, 4, 7, 9}},
                                                        {"m6", {0, 3, 7, 9}},
                                                        {"min6", {0, 3, 7, 9}},
                                                        {"7", {0, 4, 7, 10}},
                                                        {"maj7", {0, 4, 7, 11}},
                                                        {"M7", {0, 4, 7, 11}},
                                                        {"ma7", {0, 4, 7, 11}},
                                                        {"Δ", {0, 4, 7, 11}},
                                                        {"Δ7", {0, 4, 7, 11}},
                                                        {"m7", {0, 3, 7, 10}},
                                                        {"min7", {0, 3, 7, 10}},
                                                        {"mi7", {0, 3, 7, 10}},
                                                        {"-7", {0, 3, 7, 10}},
                                                        {"mMaj7", {0, 3, 7, 11}},
                                                        {"mmaj7", {0, 3, 7, 11}},
                                                        {"mM7", {0, 3, 7, 11}},
                                                        {"m7b5", {0, 3, 6, 10}},
                                                        {"-7b5", {0, 3, 6, 10}},
                                                        {"min7b5", {0, 3, 6, 10}},
                                                        {"ø", {0, 3, 6, 10}},
                                                        {"ø7", {0, 3, 6, 10}},
                                                        {"dim7", {0, 3, 6, 9}},
                                                        {"o7", {0, 3, 6, 9}},
                                                        {"°7", {0, 3, 6, 9}},
                                                        {"aug7", {0, 4, 8, 10}},
                                                        {"+7", {0, 4, 8, 10}},
                                                        {"7#5", {0, 4, 8, 10}},
                                                        {"7b5", {0, 4, 6, 10}},
                                                        {"7sus4", {0, 5, 7, 10}},
                                                        {"7sus", {0, 5, 7, 10}},
                                                        {"add9", {0, 2, 4, 7}},
                                                        {"madd9", {0, 2, 3, 7}},
                                                        {"9", {0, 2, 4, 7, 10}},
                                                        {"maj9", {0, 2, 4, 7, 11}},
                                                        {"m9", {0, 2, 3, 7, 10}},
                                                        {"7b9", {0, 1, 4, 7, 10}},
                                                        {"7#9", {0, 3, 4, 7, 10}},
                                                        {"11", {0, 2, 4, 5, 7, 10}},
                                                        {"m11", {0, 2, 3, 5, 7, 10}},
                                                        {"13", {0, 2, 4, 7, 9, 10}},
                                                        {"69", {0, 2, 4, 7, 9}},
                                                        {"6/9", {0, 2, 4, 7, 9}}};
    return qualities;
}

// Harte labels (Harte and others, 2005): A:min7.
inline const std::vector<ChordQuality>& HarteQualities() {
    static const std::vector<ChordQuality> qualities = {{"maj", {0, 4, 7}},
                                                        {"min", {0, 3, 7}},
                                                        {"dim", {0, 3, 6}},
                                                        {"aug", {0, 4, 8}},
                                                        {"maj7", {0, 4, 7, 11}},
                                                        {"min7", {0, 3, 7, 10}},
                                                        {"7", {0, 4, 7, 10}},
                                                        {"dim7", {0, 3, 6, 9}},
                                                        {"hdim7", {0, 3, 6, 10}},
                                                        {"minmaj7", {0, 3, 7, 11}},
                                                        {"maj6", {0, 4, 7, 9}},
                                                        {"min6", {0, 3, 7, 9}},
                                                        {"9", {0, 2, 4, 7, 10}},
                                                        {"maj9", {0, 2, 4, 7, 11}},
                                                        {"min9", {0, 2, 3, 7, 10}},
                                                        {"sus2", {0, 2, 7}},
                                                        {"sus4", {0, 5, 7}},
                                                        {"1", {0}},
                                                        {"5", {0, 7}}};
    return qualities;
}

}  // namespace mlh::choir
