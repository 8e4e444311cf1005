#include "analysis/PitchMarks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "base/Codes.h"
#include "base/Truncate.h"
#include "dsp/Dispatch.h"

namespace mlh {

namespace {

// In 64 bits, since the difference of two positions may not fit in 32.
int64_t Distance(const PitchMark& mark, int32_t position) {
    return std::abs(static_cast<int64_t>(mark.position) - position);
}

bool Precedes(const PitchMark& mark, int64_t position) { return mark.position < position; }
bool Follows(int64_t position, const PitchMark& mark) { return position < mark.position; }

bool RiseStrictly(const PitchMark* records, int32_t n) {
    const auto falls = [](const PitchMark& a, const PitchMark& b) { return b.position <= a.position; };
    return std::adjacent_find(records, records + n, falls) == records + n;
}

}  // namespace

int32_t CreatePitchMarks(CPitchMarksIf** out) {
    if (!out) {
        return kBadArgument;
    }
    *out = nullptr;
    InitDispatch(-1);
    *out = new (std::nothrow) CPitchMarks;
    return *out ? 0 : kOutOfMemory;
}

int32_t CPitchMarks::Clear() {
    std::fill_n(records_.begin(), capacity_, PitchMark{});
    count_ = 0;
    risesStrictly_ = true;
    return 0;
}

int32_t CPitchMarks::KeepNewest(int32_t n) {
    n = std::clamp(n, 0, count_);
    std::move(records_.begin() + (count_ - n), records_.begin() + count_, records_.begin());
    count_ = n;
    risesStrictly_ = RiseStrictly(records_.data(), count_);
    return 0;
}

int32_t CPitchMarks::Reserve(int32_t newCapacity) {
    if (reserved_) {
        return kWrongState;
    }
    capacity_ = std::max(newCapacity, count_);
    records_.resize(std::max(records_.size(), static_cast<size_t>(capacity_)));
    reserved_ = true;
    return 0;
}

int32_t CPitchMarks::GetRecords(const PitchMark** out) const {
    *out = records_.data();
    return count_;
}

int32_t CPitchMarks::GetCount() const { return count_; }

int32_t CPitchMarks::SetRecords(const PitchMark* newRecords, int32_t n) {
    if (n < 0 || (n > 0 && !newRecords)) {
        return kBadArgument;
    }
    if (!reserved_ && capacity_ != 0 && capacity_ != n) {
        return kBadArgument;
    }
    records_ = std::vector<PitchMark>(newRecords, newRecords + n);  // a copy first: it may be our own array
    capacity_ = n;
    count_ = n;
    reserved_ = true;
    risesStrictly_ = RiseStrictly(records_.data(), count_);
    return 0;
}

int32_t CPitchMarks::AppendMark(int32_t position, float harmonicity, float energy, float transient,
                                float peakWidth, float period) {
    if (count_ == capacity_) {
        ++capacity_;
        if (records_.size() < static_cast<size_t>(capacity_)) {
            records_.resize(std::max(records_.size() * 2, size_t{16}));
        }
    }
    risesStrictly_ = risesStrictly_ && (count_ == 0 || records_[count_ - 1].position < position);
    records_[count_++] = PitchMark{position, energy, transient, harmonicity, peakWidth, period};
    return 0;
}

int32_t CPitchMarks::AppendMarkNoPeriod(int32_t position, float harmonicity, float energy, float transient,
                                        float peakWidth) {
    return AppendMark(position, harmonicity, energy, transient, peakWidth, 0.0f);
}

int32_t CPitchMarks::RemoveLast() {
    if (count_ > 0) {
        --count_;
    }
    return 0;
}

int32_t CPitchMarks::GetLastPosition() const { return GetPosition(count_ - 1); }

int32_t CPitchMarks::GetPosition(int32_t i) const { return Has(i) ? records_[i].position : -1; }

int32_t CPitchMarks::GetDistanceToNext(int32_t i) const {
    if (i < 0 || i >= count_ - 1) {
        return -1;
    }
    // Only a list with falling positions can leave the range of 32 bits; it wraps.
    return static_cast<int32_t>(static_cast<int64_t>(records_[i + 1].position) - records_[i].position);
}

int32_t CPitchMarks::GetPeriod(int32_t i) const {
    if (!Has(i)) {
        return -1;
    }
    return TruncateToInt32OrZero(records_[i].period);
}

float CPitchMarks::GetTransient(int32_t i) const { return Has(i) ? records_[i].transient : -1.0f; }
float CPitchMarks::GetEnergy(int32_t i) const { return Has(i) ? records_[i].energy : -1.0f; }
float CPitchMarks::GetHarmonicity(int32_t i) const { return Has(i) ? records_[i].harmonicity : -1.0f; }
float CPitchMarks::GetPeakWidth(int32_t i) const { return Has(i) ? records_[i].peakWidth : -1.0f; }

int32_t CPitchMarks::FindNearest(int32_t from, int32_t position) const {
    if (from < 0 || from >= count_ - 1) {
        return -1;
    }
    // Where positions rise strictly, the distance falls up to the last mark before `position`, so the walk
    // can start there and ends after at most two steps, with the walk's own answer. Found in steps that
    // double, then by halves: callers know a mark nearby, and far ones cost no more than by halves alone.
    int32_t start = from;
    if (risesStrictly_) {
        int32_t step = 1;
        while (step < count_ - from && records_[from + step].position < position) {
            step *= 2;
        }
        const auto first = records_.begin() + (from + step / 2);
        const auto last = records_.begin() + std::min(count_, from + step);
        const auto behind = std::lower_bound(first, last, position, Precedes);
        start = std::max(from, static_cast<int32_t>(behind - records_.begin()) - 1);
    }
    int64_t best = Distance(records_[start], position);
    for (int32_t j = start + 1; j < count_; ++j) {
        const int64_t distance = Distance(records_[j], position);
        if (distance >= best) {
            return j - 1;
        }
        best = distance;
    }
    return count_ - 1;
}

int32_t CPitchMarks::FindAfter(int32_t& index, int32_t distance) const {
    if (!Has(index)) {
        return -1;
    }
    const int64_t start = records_[index].position;
    const int64_t target = start + distance;
    const auto first = records_.begin() + index;
    const auto end = records_.begin() + count_;
    const auto found =
        risesStrictly_
            ? std::upper_bound(first, end, target, Follows)
            : std::find_if(first, end, [target](const PitchMark& mark) { return Follows(target, mark); });
    if (found == end) {
        return -1;
    }
    index = static_cast<int32_t>(found - records_.begin());
    return static_cast<int32_t>(found->position - start);
}

}  // namespace mlh
