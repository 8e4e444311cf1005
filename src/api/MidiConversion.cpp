#include "api/MidiConversion.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "base/PitchUnits.h"

namespace mlh {

namespace {

using ChordElement = MalleoTuneHarmonyAddOnIf::ChordElement;
using PitchElement = MalleoTuneHarmonyAddOnIf::PitchElement;

constexpr double kEventTolerance = 0.01;  // [s]

// Event times in rising order, but for those that lay before all others when they came: they stand at the
// end, where they fell.
class ChordEventTable {
  public:
    // The index of the first event within the tolerance of `time`, or of a new one. Later insertions do
    // not renumber the indices that were handed out.
    std::size_t FindOrAdd(double time) {
        std::size_t i = sorted_ ? FirstNotBefore(time) : 0;
        std::size_t below = i;  // one past the last event before `time`
        for (; i < times_.size(); ++i) {
            if (time > times_[i]) {
                below = i + 1;
            }
            if (std::fabs(times_[i] - time) <= kEventTolerance) {
                return i;
            }
            if (sorted_ && times_[i] > time) {
                break;
            }
        }
        if (below == 0) {
            below = times_.size();
        }
        Insert(below, static_cast<float>(time));
        return below;
    }

    std::size_t size() const { return times_.size(); }
    float operator[](std::size_t index) const { return times_[index]; }

  private:
    // The first event that is not earlier than `time` by more than the tolerance.
    std::size_t FirstNotBefore(double time) const {
        const auto first = std::partition_point(times_.begin(), times_.end(), [&](float event) {
            return time > event && !(std::fabs(event - time) <= kEventTolerance);
        });
        return static_cast<std::size_t>(first - times_.begin());
    }

    void Insert(std::size_t index, float time) {
        times_.insert(times_.begin() + static_cast<std::ptrdiff_t>(index), time);
        const bool inOrder = (index == 0 || times_[index - 1] <= time) &&
                             (index + 1 == times_.size() || time <= times_[index + 1]) && !std::isnan(time);
        sorted_ = sorted_ && inOrder;
    }

    std::vector<float> times_;
    bool sorted_ = true;
};

// Which elements belong to each event, in the order of the elements.
std::vector<std::vector<std::size_t>> GroupByEvent(const std::vector<std::size_t>& events,
                                                   std::size_t count) {
    std::vector<std::vector<std::size_t>> groups(count);
    for (std::size_t i = 0; i < events.size(); ++i) {
        groups[events[i]].push_back(i);
    }
    return groups;
}

void EndNote(int32_t (&slots)[4], int32_t note) {
    for (int32_t& slot : slots) {
        if (slot == note) {
            slot = -1;
            return;
        }
    }
}

void StartNote(int32_t (&slots)[4], int32_t note) {
    for (int32_t& slot : slots) {
        if (slot == note) {
            return;
        }
        if (slot == -1) {
            slot = note;
            return;
        }
    }
}

}  // namespace

MalleoTuneHarmonyAddOnIf::ChordVector ChordsFromNotes(const MalleoTuneHarmonyAddOnIf::PitchVector& notes) {
    ChordEventTable events;
    std::vector<std::size_t> startEvent;
    std::vector<std::size_t> endEvent;
    for (const PitchElement& note : notes) {
        startEvent.push_back(events.FindOrAdd(note.GetStart()));
        endEvent.push_back(events.FindOrAdd(note.GetEnd()));
    }
    const auto ending = GroupByEvent(endEvent, events.size());
    const auto starting = GroupByEvent(startEvent, events.size());

    MalleoTuneHarmonyAddOnIf::ChordVector chords;
    chords.reserve(events.size());
    int32_t slots[4] = {-1, -1, -1, -1};
    for (std::size_t e = 0; e < events.size(); ++e) {
        for (std::size_t i : ending[e]) {
            EndNote(slots, NoteAwayFromZero(notes[i].GetPitch()));
        }
        for (std::size_t i : starting[e]) {
            StartNote(slots, NoteAwayFromZero(notes[i].GetPitch()));
        }
        chords.emplace_back(events[e], slots[0], slots[1], slots[2], slots[3]);
    }
    return chords;
}

}  // namespace mlh
