#include "choir/score/Grid.h"

#include <algorithm>
#include <cmath>

namespace mlh::choir {

namespace {

int OnGrid(double beat, bool sung) {
    const auto nearest = [&](int step) {
        return step * static_cast<int>(std::lround(beat * kDivisions / step));
    };
    if (sung) {
        return nearest(6);
    }
    const int straight = nearest(3);
    const int triplet = nearest(4);
    const double at = beat * kDivisions;
    return std::fabs(at - straight) <= std::fabs(at - triplet) ? straight : triplet;
}

}  // namespace

std::vector<GridNote> PutOnGrid(const Melody& melody) {
    const int shortest = melody.sung ? 6 : 1;
    std::vector<GridNote> grid;
    for (const WrittenNote& note : melody.notes) {
        const int earliest = grid.empty() ? 0 : grid.back().start + shortest;
        const int start = std::max(OnGrid(note.onset, melody.sung), earliest);
        const int end = std::max(OnGrid(note.onset + note.length, melody.sung), start + shortest);
        if (!grid.empty()) {
            grid.back().end = std::min(grid.back().end, start);
        }
        grid.push_back({start, end});
    }
    return grid;
}

}  // namespace mlh::choir
