// Values given to all indices from one on, again and again, at a cost that does not depend on how many they
// are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlh {

// The last value given from an index or an earlier one on is that index's value. What was given from a later
// index on is forgotten then, so that the starts rise.
template <class Value>
class TailRuns {
  public:
    // Constant time on average. Nothing has changed when it throws.
    void Assign(int32_t first, const Value& value) {
        std::size_t kept = runs_.size();
        while (kept > 0 && runs_[kept - 1].first >= first) {
            --kept;
        }
        if (kept == runs_.size()) {
            runs_.push_back({first, value});
        } else {
            runs_[kept] = {first, value};
            runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(kept) + 1, runs_.end());
        }
    }

    // Null for an index before all that was given.
    const Value* Find(int32_t index) const {
        const auto isBefore = [](int32_t at, const Run& run) { return at < run.first; };
        const auto after = std::upper_bound(runs_.begin(), runs_.end(), index, isBefore);
        return after == runs_.begin() ? nullptr : &(after - 1)->value;
    }

    // Calls `take(index, value)` for each index below `end` that was given a value.
    template <class Take>
    void ForEach(int32_t end, Take take) const {
        for (std::size_t r = 0; r < runs_.size(); ++r) {
            const int32_t last = r + 1 < runs_.size() ? std::min(runs_[r + 1].first, end) : end;
            for (int32_t i = runs_[r].first; i < last; ++i) {
                take(i, runs_[r].value);
            }
        }
    }

    void Clear() { runs_.clear(); }

  private:
    struct Run {
        int32_t first;
        Value value;
    };
    std::vector<Run> runs_;
};

}  // namespace mlh
