#include "Reports.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "Text.h"

namespace {

using Json = nlohmann::ordered_json;

int NearestNote(double pitch) { return static_cast<int>(std::lround(pitch)); }
double Cents(double pitch) { return 100.0 * (pitch - NearestNote(pitch)); }
double Rounded(double value, double step) { return std::round(value / step) * step; }

// JSON shows these as short decimals.
double Milli(double value) { return std::round(value * 1000.0) / 1000.0; }

Json NoteAsJson(const TimedNote& note) {
    return {{"start_s", Milli(note.start)},
            {"end_s", Milli(note.end)},
            {"pitch_midi", Milli(note.pitch)},
            {"note", NoteName(NearestNote(note.pitch))},
            {"level", Milli(note.level)}};
}

Json NotesAsJson(const std::vector<TimedNote>& notes) {
    Json list = Json::array();
    for (const TimedNote& note : notes) list.push_back(NoteAsJson(note));
    return list;
}

// The names of files may be any bytes.
std::string Written(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json RecordingAsJson(const std::string& name, const Audio& audio) {
    return {{"file", name},
            {"sample_rate_hz", audio.sampleRate},
            {"channels", audio.fileChannels},
            {"frames", audio.Frames()},
            {"duration_s", Milli(audio.Seconds())}};
}

}  // namespace

double ReferencePitch(double tuning) { return 440.0 * std::pow(2.0, tuning / 12.0); }
double Frequency(double pitch) { return 440.0 * std::pow(2.0, (pitch - 69.0) / 12.0); }

std::vector<TimedNote> ToTimedNotes(const std::vector<mlh::Note>& notes) {
    std::vector<TimedNote> timed;
    for (const mlh::Note& note : notes) {
        timed.push_back({note.start, note.end, note.pitch, std::sqrt(static_cast<double>(note.energy))});
    }
    return timed;
}

std::vector<CurvePoint> ToCurve(const std::vector<mlh::PitchPoint>& points) {
    std::vector<CurvePoint> curve;
    for (const mlh::PitchPoint& point : points) {
        curve.push_back({point.time, point.pitch, point.voiced && point.pitch > 0.0f});
    }
    return curve;
}

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

std::string AnalysisAsJson(const std::string& lead, const Audio& audio, const mlh::Analysis& analysis) {
    const Json json = {{"schema", kJsonSchema},
                       {"recording", RecordingAsJson(lead, audio)},
                       {"key", KeyName(analysis.key)},
                       {"key_index", analysis.key},
                       {"tuning_cents", Rounded(100.0 * analysis.tuning, 0.1)},
                       {"reference_pitch_hz", Milli(ReferencePitch(analysis.tuning))},
                       {"notes", NotesAsJson(ToTimedNotes(analysis.notes))}};
    return Written(json);
}

std::string HarmonyAsJson(const HarmonyReport& report, const Audio& audio, const Performance& performance) {
    Json chords = Json::array();
    for (const TimedChord& chord : performance.chords) {
        chords.push_back({{"time_s", Milli(chord.time)}, {"name", chord.name}});
    }
    Json voices = Json::array();
    for (const VoiceLine& voice : performance.voices) {
        voices.push_back({{"name", voice.name}, {"notes", NotesAsJson(voice.notes)}});
    }
    const Json json = {{"schema", kJsonSchema},
                       {"recording", RecordingAsJson(report.lead, audio)},
                       {"key", performance.key},
                       {"notes", NotesAsJson(performance.lead)},
                       {"chords", chords},
                       {"voices", voices},
                       {"mix", report.mix},
                       {"stems", report.stems},
                       {"saturated_samples", report.saturated},
                       {"analysis_seconds", Milli(report.analysisSeconds)},
                       {"rendering_seconds", Milli(report.renderingSeconds)}};
    return Written(json);
}
