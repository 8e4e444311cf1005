#include "choir/score/Grid.h"

#include <algorithm>
#include <cmath>

namespace mlh::choir {

int NearestDivision(double beat) {
    const auto nearest = [&](int step) {
        return step * static_cast<int>(std::lround(beat * kDivisions / step));
    };
    const int straight = nearest(3);
    const int triplet = nearest(4);
    const double at = beat * kDivisions;
    return std::fabs(at - straight) <= std::fabs(at - triplet) ? straight : triplet;
}

std::vector<GridNote> PutOnGrid(const std::vector<BeatSpan>& spans) {
    std::vector<GridNote> grid;
    for (const BeatSpan& span : spans) {
        const int earliest = grid.empty() ? 0 : grid.back().start + 1;
        const int start = std::max(NearestDivision(span.onset), earliest);
        const int end = std::max(NearestDivision(span.onset + span.length), start + 1);
        if (!grid.empty()) {
            grid.back().end = std::min(grid.back().end, start);
        }
        grid.push_back({start, end});
    }
    return grid;
}

}  // namespace mlh::choir
