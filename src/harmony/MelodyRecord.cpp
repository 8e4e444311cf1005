#include "harmony/MelodyRecord.h"

#include "harmony/ChordModel.h"

namespace mlh::ChoiralizerV2 {

MelodyRecord MakeMelodyRecord(const NoteItem* items, size_t count) {
    MelodyRecord record;
    for (size_t i = 0; i < count; ++i) {
        const float until = i + 1 < count ? items[i + 1].startTime : items[i].endTime;
        record.notePitch.push_back(items[i].pitch);
        record.noteStart.push_back(items[i].startTime);
        record.noteEnd.push_back(items[i].endTime);
        record.noteDuration.push_back(until - items[i].startTime);
    }
    record.totalDuration = record.noteEnd.back() - record.noteStart.front();
    record.meanDuration = record.totalDuration / static_cast<float>(count);
    return record;
}

const int32_t* Tonality::Scale() const { return ScaleRow(scaleRow); }

}  // namespace mlh::ChoiralizerV2
