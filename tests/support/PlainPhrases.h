// Phrase analysis written down without any thought of speed, for tests to compare with. Durations and mean
// are given as they come out of a melody's times.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh::PlainPhrases {

struct Melody {
    std::vector<int32_t> pitch;
    std::vector<float> duration;
    float meanDuration = 0.0f;
    int32_t key = 0;
    const int32_t* scale = nullptr;  // 12 flags from the tonic up
};

struct Marks {
    std::vector<int32_t> candidates;
    std::vector<int32_t> boundaries;
};

// Where the opening recurs, tried length by length and place by place: cubic at worst.
std::vector<int32_t> RepeatedOpeningByLength(const Melody& melody);

// The same by the longest recurrence of each place, compared note by note: quadratic at worst.
std::vector<int32_t> RepeatedOpeningByPlace(const Melody& melody);

// Candidates and boundaries; `repeated` is one of the two above.
Marks Analyse(const Melody& melody, std::vector<int32_t> (*repeated)(const Melody&));

}  // namespace mlh::PlainPhrases
