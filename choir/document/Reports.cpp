#include "choir/document/Reports.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "choir/score/Music.h"
#include "choir/score/Tables.h"

namespace mlh::choir {

namespace {

using Json = nlohmann::ordered_json;

double Rounded(double value, double step) { return std::round(value / step) * step; }

// JSON shows these as short decimals.
double Milli(double value) { return std::round(value * 1000.0) / 1000.0; }

Json NoteAsJson(const TimedNote& note) {
    return {{"start_s", Milli(note.start)},
            {"end_s", Milli(note.end)},
            {"pitch_midi", Milli(note.pitch)},
            {"note", NoteName(static_cast<int>(std::lround(note.pitch)))},
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

Json RecordingAsJson(const RecordingInfo& info, const AudioView& audio) {
    return {{"file", info.file},
            {"sample_rate_hz", audio.sampleRate},
            {"channels", info.channels},
            {"frames", audio.frames},
            {"duration_s", Milli(audio.Seconds())}};
}

// JSON shows these as short decimals.
double Short(double value) { return std::round(value * 1e6) / 1e6; }

}  // namespace

std::string AnalysisAsJson(const RecordingInfo& recording, const Take& take) {
    const Analysis& analysis = take.analysis();
    const Json json = {{"schema", kJsonSchema},
                       {"recording", RecordingAsJson(recording, take.audio())},
                       {"key", KeyName(analysis.key)},
                       {"key_index", analysis.key},
                       {"tuning_cents", Rounded(100.0 * analysis.tuning, 0.1)},
                       {"reference_pitch_hz", Milli(ReferencePitch(analysis.tuning))},
                       {"notes", NotesAsJson(take.notes())}};
    return Written(json);
}

std::string HarmonyAsJson(const HarmonyReport& report, const RecordingInfo& recording, const Take& take,
                          const Performance& performance) {
    Json chords = Json::array();
    for (const TimedChord& chord : performance.chords) {
        chords.push_back({{"time_s", Milli(chord.time)}, {"name", chord.chord.name}});
    }
    Json voices = Json::array();
    for (const NoteLine& voice : performance.voices) {
        voices.push_back({{"name", voice.name}, {"notes", NotesAsJson(voice.notes)}});
    }
    const Json json = {{"schema", kJsonSchema},
                       {"recording", RecordingAsJson(recording, take.audio())},
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

std::string ArrangementAsJson(const Arrangement& arrangement) {
    using Json = nlohmann::ordered_json;
    const Melody& melody = arrangement.melody;
    Json tempo = Json::array();
    for (const TempoChange& change : melody.tempo) {
        tempo.push_back(
            {{"beat", Short(change.beat)},
             {"bpm", Short(change.bpm)},
             {"metre", std::to_string(change.beatsPerBar) + "/" + std::to_string(change.beatUnit)}});
    }
    Json voices = Json::array();
    for (const ArrangedVoice& voice : arrangement.voices) voices.push_back(voice.name);
    Json notes = Json::array();
    for (std::size_t i = 0; i < arrangement.notes.size(); ++i) {
        const mlh::ArrangedNote& set = arrangement.notes[i];
        Json pitches = Json::object();
        for (const ArrangedVoice& voice : arrangement.voices) {
            pitches[voice.name] = voice.pitches[i] < 0 ? Json(nullptr) : Json(voice.pitches[i]);
        }
        Json note = {{"onset_beats", Short(melody.notes[i].onset)},
                     {"length_beats", Short(melody.notes[i].length)},
                     {"start_s", Short(melody.Start(i))},
                     {"end_s", Short(melody.End(i))},
                     {"melody_midi", melody.notes[i].pitch},
                     {"chord", arrangement.chords[i].name},
                     {"engine_chord", set.chordName},
                     {"voices_midi", pitches}};
        if (arrangement.style == "four-part") {
            note["function"] = FunctionName(set.function);
            note["starts_phrase"] = set.startsPhrase;
            note["inherited"] = set.inherited;
        }
        notes.push_back(std::move(note));
    }
    const Json json = {{"schema", kJsonSchema},
                       {"title", melody.title},
                       {"style", arrangement.style},
                       {"key", ScaleKeyName(arrangement.key)},
                       {"key_estimated", arrangement.key.found},
                       {"tempo", tempo},
                       {"voices", voices},
                       {"notes", notes}};
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace mlh::choir
