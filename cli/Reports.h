// What was found and made, as text and data.
#pragma once

#include <string>
#include <vector>

#include "AudioFile.h"
#include "Music.h"
#include "mlh/analysis.h"

// Version of the layout of all JSON that the command writes; it grows when a field changes its meaning.
inline constexpr int kJsonSchema = 1;

// Deviation from the tempered grid, as the frequency of A4.
double ReferencePitch(double tuning);
double Frequency(double pitch);

std::vector<TimedNote> ToTimedNotes(const std::vector<mlh::Note>& notes);
std::vector<CurvePoint> ToCurve(const std::vector<mlh::PitchPoint>& points);

// A table of notes for people: times, note names, cents off the name, frequencies.
std::string NoteTable(const std::vector<TimedNote>& notes, bool flats);

// start_s,end_s,pitch_midi,frequency_hz,note,cents,level
std::string NotesAsCsv(const std::vector<TimedNote>& notes, bool flats);
// Audacity's label track: start, end and name, tab separated.
std::string NotesAsLabels(const std::vector<TimedNote>& notes, bool flats);
// Two columns, seconds and hertz, 0 where unvoiced; one line per period.
std::string CurveAsF0(const std::vector<CurvePoint>& curve);

std::string AnalysisAsJson(const std::string& lead, const Audio& audio, const mlh::Analysis& analysis);

// What harmonize made.
struct HarmonyReport {
    std::string lead;
    std::string mix;
    std::vector<std::string> stems;
    int64_t saturated = 0;  // samples of the mix and the stems that were limited
    double analysisSeconds = 0.0;
    double renderingSeconds = 0.0;
};
std::string HarmonyAsJson(const HarmonyReport& report, const Audio& audio, const Performance& performance);
