#include "api/Vectors.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>

#include "api/FloatingPoint.h"

using namespace mlh;

namespace {

using PitchElement = MalleoTuneHarmonyAddOnIf::PitchElement;
using ChordElement = MalleoTuneHarmonyAddOnIf::ChordElement;

template <class Vector>
bool Dispose(Vector* vector) {
    delete vector;
    return vector != nullptr;
}

template <class Vector>
int32_t GetTotal(const Vector* vector) {
    return vector ? static_cast<int32_t>(vector->items.size()) : -1;
}

float TimeOf(const PitchElement& element) { return element.GetStart(); }
float TimeOf(const ChordElement& element) { return element.GetTime(); }

// Inserts before the first element that is later. In a vector in order the place is looked for from the end,
// where hosts mostly add; one with a NaN among its times, or whose times fall somewhere, is searched from the
// front.
template <class Vector, class Element>
void Insert(Vector& vector, const Element& element) {
    auto& items = vector.items;
    std::size_t ordered = vector.ordered;
    while (ordered < items.size() && (ordered == 0 ? !std::isnan(TimeOf(items[0]))
                                                   : TimeOf(items[ordered]) >= TimeOf(items[ordered - 1]))) {
        ++ordered;
    }
    const float time = TimeOf(element);
    std::size_t index = items.size();
    if (ordered == items.size()) {
        while (index > 0 && TimeOf(items[index - 1]) > time) {
            --index;
        }
    } else {
        const auto isLater = [&](const Element& e) { return TimeOf(e) > time; };
        index = static_cast<std::size_t>(std::find_if(items.begin(), items.end(), isLater) - items.begin());
    }
    items.insert(items.begin() + static_cast<std::ptrdiff_t>(index), element);
    vector.ordered = std::min(ordered, index);
}

}  // namespace

PitchVector* mlhGetNewPitchVector(void) { return new (std::nothrow) PitchVector; }
ChordVector* mlhGetNewChordVector(void) { return new (std::nothrow) ChordVector; }

bool mlhDisposePitchVector(PitchVector* vector) { return Dispose(vector); }
bool mlhDisposeChordVector(ChordVector* vector) { return Dispose(vector); }

int32_t mlhPitchVectorGetTotal(const PitchVector* vector) { return GetTotal(vector); }
int32_t mlhChordVectorGetTotal(const ChordVector* vector) { return GetTotal(vector); }

PitchItem mlhPitchVectorGetItem(const PitchVector* vector, uint32_t index) {
    if (vector == nullptr || index >= vector->items.size()) {
        return PitchItem{};
    }
    const PitchElement& element = vector->items[index];
    return {element.GetStart(), element.GetPitch(), element.GetDuration(), element.GetLevel()};
}

ChordItem mlhChordVectorGetItem(const ChordVector* vector, uint32_t index) {
    ChordItem item{};
    if (vector == nullptr || index >= vector->items.size()) {
        return item;
    }
    const ChordElement& element = vector->items[index];
    item.time = element.GetTime();
    std::copy_n(element.GetNotes(), 4, item.notes);
    return item;
}

bool mlhPitchVectorSetItem(PitchVector* vector, uint32_t index, PitchItem item) {
    if (vector == nullptr || index >= vector->items.size()) {
        return false;
    }
    vector->items[index].SetPitch(item.pitch);
    return true;
}

bool mlhPitchVectorAddItem(PitchVector* vector, PitchItem item) {
    if (vector == nullptr) {
        return false;
    }
    const DefaultFloatingPoint computing;
    Insert(*vector, PitchElement(item.start, item.pitch, item.duration, item.level));
    return true;
}

bool mlhChordVectorAddItem(ChordVector* vector, ChordItem item) {
    if (vector == nullptr) {
        return false;
    }
    const DefaultFloatingPoint computing;
    Insert(*vector, ChordElement(item.time, item.notes[0], item.notes[1], item.notes[2], item.notes[3]));
    return true;
}

PitchVector* mlhPitchVectorAdjust(const PitchVector* vector, uint8_t legato, uint8_t velocity) {
    if (vector == nullptr) {
        return nullptr;
    }
    const DefaultFloatingPoint computing;
    auto adjusted = std::make_unique<PitchVector>();
    const auto& items = vector->items;
    adjusted->items.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (legato == 0) {
            adjusted->items.emplace_back(0.0f, 0.0f, 0.0f, 0.0f);
            continue;
        }
        const PitchElement& element = items[i];
        const bool last = i + 1 == items.size();
        const float duration = last ? element.GetDuration() : items[i + 1].GetStart() - element.GetStart();
        const float level = velocity != 0 ? static_cast<float>(velocity / 127.0) : element.GetLevel();
        adjusted->items.emplace_back(element.GetStart(), element.GetPitch(), duration, level);
    }
    return adjusted.release();
}
