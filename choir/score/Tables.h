// Notes and curves as tables.
#pragma once

#include <string>
#include <vector>

#include "choir/Types.h"

namespace mlh::choir {

// Deviation from the tempered grid, as the frequency of A4.
double ReferencePitch(double tuning);
double Frequency(double pitch);

// A table of notes for people: times, note names, cents off the name, frequencies.
std::string NoteTable(const std::vector<TimedNote>& notes, bool flats);

// start_s,end_s,pitch_midi,frequency_hz,note,cents,level
std::string NotesAsCsv(const std::vector<TimedNote>& notes, bool flats);
// Audacity's label track: start, end and name, tab separated.
std::string NotesAsLabels(const std::vector<TimedNote>& notes, bool flats);
// Two columns, seconds and hertz, 0 where unvoiced; one line per period.
std::string CurveAsF0(const std::vector<CurvePoint>& curve);

}  // namespace mlh::choir
