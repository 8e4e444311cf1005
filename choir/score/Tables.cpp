#include "choir/score/Tables.h"

#include <cmath>

#include "base/PitchUnits.h"
#include "choir/Text.h"
#include "choir/score/Music.h"

namespace mlh::choir {

namespace {

int NearestNote(double pitch) { return static_cast<int>(std::lround(pitch)); }
double Cents(double pitch) { return 100.0 * (pitch - NearestNote(pitch)); }

}  // namespace

double ReferencePitch(double tuning) { return kConcertHertz * SemitonesToRatio(tuning); }
double Frequency(double pitch) { return PitchToHertz(pitch); }

std::string NoteTable(const std::vector<TimedNote>& notes, bool flats) {
    std::string table = "   #    start      end   note  cents       Hz\n";
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const TimedNote& note = notes[i];
        table += Format("%4zu %8.3f %8.3f   %-4s  %+5.0f %8.2f\n", i + 1, note.start, note.end,
                        NoteName(NearestNote(note.pitch), flats).c_str(), Cents(note.pitch),
                        Frequency(note.pitch));
    }
    return table;
}

std::string NotesAsCsv(const std::vector<TimedNote>& notes, bool flats) {
    std::string csv = "start_s,end_s,pitch_midi,frequency_hz,note,cents,level\n";
    for (const TimedNote& note : notes) {
        csv += Format("%.6f,%.6f,%.4f,%.3f,%s,%.1f,%.4f\n", note.start, note.end, note.pitch,
                      Frequency(note.pitch), NoteName(NearestNote(note.pitch), flats).c_str(),
                      Cents(note.pitch), note.level);
    }
    return csv;
}

std::string NotesAsLabels(const std::vector<TimedNote>& notes, bool flats) {
    std::string labels;
    for (const TimedNote& note : notes) {
        labels += Format("%.6f\t%.6f\t%s\n", note.start, note.end,
                         NoteName(NearestNote(note.pitch), flats).c_str());
    }
    return labels;
}

std::string CurveAsF0(const std::vector<CurvePoint>& curve) {
    std::string text;
    for (const CurvePoint& point : curve) {
        text += Format("%.6f,%.3f\n", point.time, point.voiced ? Frequency(point.pitch) : 0.0);
    }
    return text;
}

}  // namespace mlh::choir
