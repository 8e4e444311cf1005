// The pitch marks of one recording: the points, one per period of the voice, at which the signal is cut
// into grains.
//
// The mark placer appends to the list while the recording is analysed; the driver turns the marks into
// frames; the synthesizers look marks up to find their grains. One list serves a whole instance. It has no
// lock: one writer during the analysis, any number of readers afterwards.
//
// What its users keep, and what makes the look-ups fast: positions rise strictly, the first mark stands at
// 0, the last one at the end of the audio with all its other fields 0.
//
// An index out of range is no error: reads answer -1 or -1.0f.
#pragma once

#include <cstdint>
#include <vector>

namespace mlh {

// One mark. Six words of 32 bits in this order are also its serialised form.
struct PitchMark {
    int32_t position;   // sample of the input recording
    float energy;       // mean square of the samples since the previous mark
    float transient;    // strength of an attack, 0 to 1
    float harmonicity;  // dB; exactly 0 marks an unvoiced stretch
    float peakWidth;    // the tracker's measure of a flat or wide spectral peak
    float period;       // samples; 0 where no period was measured
};
static_assert(sizeof(PitchMark) == 24);

class CPitchMarksIf {
  public:
    virtual ~CPitchMarksIf() = default;

    // Empties the list and clears its records; the capacity stays. Returns 0.
    virtual int32_t Clear() = 0;

    // Keeps the last n marks only, moved to the front; n is limited to 0 .. count. Returns 0.
    virtual int32_t KeepNewest(int32_t n) = 0;

    // Makes room for that many marks, keeping those already there. Honoured once: kWrongState if the list was
    // reserved or set before.
    virtual int32_t Reserve(int32_t capacity) = 0;

    // Hands out the list's own array, null as long as it has none, valid until the list next changes.
    // Returns the count.
    virtual int32_t GetRecords(const PitchMark** records) const = 0;
    virtual int32_t GetCount() const = 0;

    // Replaces everything by a copy of n marks. kBadArgument where an unreserved list already has a capacity
    // other than n, and for a null array or a negative n.
    virtual int32_t SetRecords(const PitchMark* records, int32_t n) = 0;

    // Appends a mark. Note that the order of the arguments is not the order of the fields. Returns 0.
    virtual int32_t AppendMark(int32_t position, float harmonicity, float energy, float transient,
                               float peakWidth, float period) = 0;
    virtual int32_t AppendMarkNoPeriod(int32_t position, float harmonicity, float energy, float transient,
                                       float peakWidth) = 0;

    // Takes the last mark off; an empty list stays empty. Returns 0.
    virtual int32_t RemoveLast() = 0;

    virtual int32_t GetLastPosition() const = 0;
    virtual int32_t GetPosition(int32_t i) const = 0;
    virtual int32_t GetDistanceToNext(int32_t i) const = 0;  // -1 for the last mark too
    virtual int32_t GetPeriod(int32_t i) const = 0;          // truncated to whole samples
    virtual float GetTransient(int32_t i) const = 0;
    virtual float GetEnergy(int32_t i) const = 0;
    virtual float GetHarmonicity(int32_t i) const = 0;
    virtual float GetPeakWidth(int32_t i) const = 0;

    // The mark nearest to `position`, among those from index `from` on; of two equally near the earlier.
    // It walks forward as long as the distance falls, so the answer is never before `from`, and `from`
    // itself where the marks only move away. -1 when `from` is the last mark, out of range, or the list
    // has fewer than two marks.
    virtual int32_t FindNearest(int32_t from, int32_t position) const = 0;

    // The first mark from `index` on that is more than `distance` samples after mark `index`. Stores its
    // index and returns how far after it is; -1, with `index` unchanged, if no mark is.
    virtual int32_t FindAfter(int32_t& index, int32_t distance) const = 0;
};

// Makes an empty list, which the caller deletes. Returns 0, kOutOfMemory without memory, kBadArgument for
// null.
int32_t CreatePitchMarks(CPitchMarksIf** out);

class CPitchMarks final : public CPitchMarksIf {
  public:
    int32_t Clear() override;
    int32_t KeepNewest(int32_t n) override;
    int32_t Reserve(int32_t capacity) override;
    int32_t GetRecords(const PitchMark** records) const override;
    int32_t GetCount() const override;
    int32_t SetRecords(const PitchMark* records, int32_t n) override;
    int32_t AppendMark(int32_t position, float harmonicity, float energy, float transient, float peakWidth,
                       float period) override;
    int32_t AppendMarkNoPeriod(int32_t position, float harmonicity, float energy, float transient,
                               float peakWidth) override;
    int32_t RemoveLast() override;
    int32_t GetLastPosition() const override;
    int32_t GetPosition(int32_t i) const override;
    int32_t GetDistanceToNext(int32_t i) const override;
    int32_t GetPeriod(int32_t i) const override;
    float GetTransient(int32_t i) const override;
    float GetEnergy(int32_t i) const override;
    float GetHarmonicity(int32_t i) const override;
    float GetPeakWidth(int32_t i) const override;
    int32_t FindNearest(int32_t from, int32_t position) const override;
    int32_t FindAfter(int32_t& index, int32_t distance) const override;

    // How many marks the list counts as having room for: what was reserved, then one more per mark.
    int32_t GetCapacity() const { return capacity_; }

  private:
    bool Has(int32_t i) const { return i >= 0 && i < count_; }

    // Its size may run ahead of `capacity`, so that a mark appended costs constant time on average.
    std::vector<PitchMark> records_;
    int32_t capacity_ = 0;
    int32_t count_ = 0;
    bool reserved_ = false;
    bool risesStrictly_ = true;  // lets the look-ups search by halves
};

}  // namespace mlh
