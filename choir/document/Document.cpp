#include "choir/document/Document.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <utility>

#include "choir/Errors.h"
#include "choir/Text.h"
#include "choir/chords/ChordText.h"
#include "choir/document/Json.h"
#include "choir/melody/SungMelody.h"
#include "choir/score/Music.h"
#include "choir/score/Tables.h"

namespace mlh::choir {

namespace {

// JSON shows these as short decimals.
double Milli(double value) { return std::round(value * 1e3) / 1e3; }
double Micro(double value) { return std::round(value * 1e6) / 1e6; }

std::string Written(const Json& json) { return json.Written() + "\n"; }

Json Head(const char* kind) { return {{"schema", kSchema}, {"kind", kind}}; }

Json RecordingAsJson(const RecordingInfo& info, const AudioView& audio) {
    return {{"file", info.file},
            {"sample_rate_hz", audio.sampleRate},
            {"channels", info.channels > 0 ? info.channels : audio.channels},
            {"frames", audio.frames},
            {"duration_s", Milli(audio.Seconds())}};
}

Json KeyAsJson(const std::string& name, int index, bool given) {
    return {{"name", name.empty() ? Json(nullptr) : Json(name)},
            {"index", index},
            {"given", given},
            {"confidence", nullptr},
            {"candidates", Json::array()}};
}

Json CoreKeyAsJson(int index) {
    return {{"name", index < 0 ? Json(nullptr) : Json(KeyName(index))}, {"index", index}};
}

// How sure the key is that was found, and what else it might be.
void AddEstimate(const KeyEstimate& estimate, bool given, Json& key) {
    const auto share = [&](int index) { return Milli(estimate.posterior[static_cast<std::size_t>(index)]); };
    if (!given) {
        key["confidence"] = Milli(estimate.confidence);
    }
    for (const int index : {estimate.best, estimate.second}) {
        key["candidates"].push_back(
            {{"name", KeyName(index)}, {"index", index}, {"confidence", share(index)}});
    }
}

Json TuningAsJson(double semitones) {
    if (!std::isfinite(semitones)) {
        return nullptr;
    }
    return {{"cents", std::round(1000.0 * semitones) / 10.0},
            {"reference_hz", Milli(ReferencePitch(semitones))}};
}

// Null for silence.
Json DecibelsAsJson(double gain) { return gain > 0.0 ? Json(Milli(20.0 * std::log10(gain))) : Json(nullptr); }

Json NoteAsJson(const TimedNote& note) {
    return {{"start_s", Milli(note.start)},
            {"end_s", Milli(note.end)},
            {"pitch_midi", Milli(note.pitch)},
            {"note_midi", std::lround(note.pitch)},
            {"note", NoteName(static_cast<int>(std::lround(note.pitch)))},
            {"level", Milli(note.level)}};
}

Json NotesAsJson(const std::vector<TimedNote>& notes) {
    Json list = Json::array();
    for (const TimedNote& note : notes) {
        list.push_back(NoteAsJson(note));
    }
    return list;
}

Json CurveAsJson(const std::vector<CurvePoint>& curve) {
    Json times = Json::array();
    Json pitches = Json::array();
    for (const CurvePoint& point : curve) {
        times.push_back(Micro(point.time));
        pitches.push_back(point.voiced ? Json(Milli(point.pitch)) : Json(nullptr));
    }
    return {{"time_s", std::move(times)}, {"pitch_midi", std::move(pitches)}};
}

Json ChordsAsJson(const std::vector<TimedChord>& chords) {
    Json list = Json::array();
    for (const TimedChord& chord : chords) {
        Json tones = Json::array();
        const auto classes = PitchClassesOf(chord.chord);
        for (int pitchClass = 0; pitchClass < 12; ++pitchClass) {
            if ((classes >> pitchClass) & 1) {
                tones.push_back(pitchClass);
            }
        }
        list.push_back(
            {{"time_s", Milli(chord.time)}, {"name", chord.chord.name}, {"tones", std::move(tones)}});
    }
    return list;
}

const char* PartName(VoicePart part) {
    switch (part) {
        case VoicePart::Above:
            return "above";
        case VoicePart::Below:
            return "below";
        case VoicePart::Bass:
            return "bass";
        default:
            return "doubling";
    }
}

Json VoicesAsJson(const Choir& choir) {
    const Performance performance = choir.ToPerformance();
    Json voices = Json::array();
    for (std::size_t v = 0; v < choir.voices().size(); ++v) {
        const Voice& voice = choir.voices()[v];
        Json notes = Json::array();
        std::size_t sounding = 0;
        for (const VoiceNote& note : voice.notes) {
            if (note.note < 0) {
                continue;
            }
            Json item = {{"lead", note.lead}};
            item.update(NoteAsJson(performance.voices[v].notes[sounding++]));
            item["note_midi"] = note.note;
            item["note"] = NoteName(note.note, KeyUsesFlats(choir.key()));
            notes.push_back(std::move(item));
        }
        voices.push_back({{"name", voice.name}, {"part", PartName(voice.part)}, {"notes", std::move(notes)}});
    }
    return voices;
}

Json TempoAsJson(const TempoMap& tempo) {
    Json list = Json::array();
    for (const TempoChange& change : tempo) {
        list.push_back(
            {{"beat", Micro(change.beat)},
             {"bpm", Micro(change.bpm)},
             {"metre", std::to_string(change.beatsPerBar) + "/" + std::to_string(change.beatUnit)}});
    }
    return list;
}

Json ScoreNoteAsJson(const ScoreNote& note) {
    return {{"onset_beats", Micro(note.onset)},
            {"length_beats", Micro(note.length)},
            {"start_s", Micro(note.start)},
            {"end_s", Micro(note.end)},
            {"pitch_midi", note.note}};
}

Json ScoreAsJson(const Score& score) {
    Json json = Head("score");
    json["title"] = score.title;
    json["style"] = score.style;
    if (score.key) {
        json["key"] = KeyAsJson(ScaleKeyName(*score.key), SignatureKey(*score.key), !score.key->found);
    } else {
        json["key"] = KeyAsJson("", -1, false);
    }
    json["tempo"] = TempoAsJson(score.tempo);
    json["upbeat_beats"] = Micro(score.upbeat);
    Json notes = Json::array();
    for (const ScoreNote& note : score.melody) {
        notes.push_back(ScoreNoteAsJson(note));
    }
    json["notes"] = std::move(notes);
    json["chords"] = ChordsAsJson(score.chords);
    Json voices = Json::array();
    for (const ScoreVoice& voice : score.voices) {
        Json line = Json::array();
        for (const ScoreNote& note : voice.notes) {
            Json item = {{"lead", note.lead}};
            item.update(ScoreNoteAsJson(note));
            line.push_back(std::move(item));
        }
        voices.push_back({{"name", voice.name}, {"notes", std::move(line)}});
    }
    json["voices"] = std::move(voices);
    if (score.sung && score.melody.empty()) {
        json["warnings"] = {kNoVoice};
    }
    return json;
}

}  // namespace

std::string TakeDocument(const Take& take, const RecordingInfo& recording, bool withCurve) {
    const Analysis& analysis = take.analysis();
    Json json = Head("take");
    json["recording"] = RecordingAsJson(recording, take.audio());
    json["key"] = KeyAsJson("", -1, false);
    json["core_key"] = CoreKeyAsJson(analysis.key);
    json["tuning"] = nullptr;
    json["warnings"] = Json::array();
    if (take.hasVoice()) {
        const KeyEstimate key = KeyOf(take);
        json["key"] = KeyAsJson(KeyName(key.best), key.best, false);
        AddEstimate(key, false, json["key"]);
        json["tuning"] = TuningAsJson(analysis.tuning);
        if (const std::string doubt = KeyDoubt(key); !doubt.empty()) {
            json["warnings"].push_back(doubt);
        }
    } else {
        json["warnings"].push_back(kNoVoice);
    }
    json["notes"] = NotesAsJson(take.notes());
    if (withCurve) {
        json["curve"] = CurveAsJson(take.curve());
    }
    return Written(json);
}

std::string ChoirDocument(const Choir& choir, const RecordingInfo& recording, bool withCurve,
                          const OutputInfo* output) {
    const Take& take = choir.take();
    Json json = Head("choir");
    json["recording"] = RecordingAsJson(recording, take.audio());
    json["style"] = StyleNames()[static_cast<std::size_t>(choir.settings().style)];
    json["key"] = KeyAsJson(choir.keyName(), choir.key(), choir.settings().key.has_value());
    json["core_key"] = CoreKeyAsJson(take.analysis().key);
    if (choir.keyEstimate() && !choir.lead().empty()) {
        AddEstimate(*choir.keyEstimate(), choir.settings().key.has_value(), json["key"]);
    }
    json["tuning"] = TuningAsJson(take.analysis().tuning);
    if (choir.tuning()) {
        json["tuning"] = TuningAsJson(choir.tuning()->offset());
        json["tuning"]["drift_cents"] = std::round(1000.0 * choir.tuning()->drift()) / 10.0;
    }
    if (choir.lead().empty()) {
        json["tuning"] = nullptr;
    }
    json["notes"] = NotesAsJson(choir.lead());
    for (std::size_t i = 0; choir.tuning() && i < choir.lead().size(); ++i) {
        const SungNote& note = choir.lead()[i];
        const int grid = choir.tuning()->NearestNote(note.pitch, 0.5 * (note.start + note.end));
        json["notes"][i]["note_midi"] = grid;
        json["notes"][i]["note"] = NoteName(grid, KeyUsesFlats(choir.key()));
    }
    if (withCurve) {
        json["curve"] = CurveAsJson(take.curve());
    }
    json["chords"] = ChordsAsJson(choir.chords());
    json["voices"] = VoicesAsJson(choir);
    json["settings"] = Json::parse(WriteSettings(choir.settings()));
    if (output != nullptr) {
        Json levels = Json::array();
        for (const OutputLevel& level : output->levels) {
            levels.push_back({{"file", level.file},
                              {"peak_db", DecibelsAsJson(level.peak)},
                              {"samples_above", level.above},
                              {"gain_db", DecibelsAsJson(level.leastGain)}});
        }
        json["output"] = {{"mix", output->mix},
                          {"stems", output->stems},
                          {"clip", ClipNames()[static_cast<std::size_t>(output->clip)]},
                          {"levels", std::move(levels)},
                          {"saturated_samples", output->saturated},
                          {"analysis_seconds", Milli(output->analysisSeconds)},
                          {"rendering_seconds", Milli(output->renderingSeconds)}};
    }
    json["warnings"] = choir.warnings();
    return Written(json);
}

std::string ScoreDocument(const Score& score) { return Written(ScoreAsJson(score)); }

std::string ScoreDocument(const Arrangement& arrangement) {
    Json json = ScoreAsJson(ToScore(arrangement));
    for (std::size_t i = 0; i < arrangement.notes.size(); ++i) {
        const ArrangedNote& set = arrangement.notes[i];
        Json& note = json["notes"][i];
        note["chord"] = arrangement.chords[i].name;
        note["engine_chord"] = set.chordName;
        if (arrangement.style == "four-part") {
            note["function"] = FunctionName(set.function);
            note["starts_phrase"] = set.startsPhrase;
            note["inherited"] = set.inherited;
        }
    }
    return Written(json);
}

namespace {

constexpr double kLongestMelody = 100000.0;  // [beats]

class MelodyReader {
  public:
    MelodyReader(const std::string& text, const std::string& source) : source_(source) {
        try {
            json_ = Json::parse(text);
        } catch (const UsageError& error) {
            Complain(error.what());
        }
        if (!json_.is_object() || !json_.contains("notes") || !json_["notes"].is_array()) {
            Complain("a melody is an object with a list of notes");
        }
    }

    Melody Read() {
        Melody melody;
        melody.title = Text(json_, "title");
        melody.upbeat =
            json_.contains("upbeat_beats") ? Number(json_, "upbeat_beats", 0.0, kLongestMelody) : 0.0;
        ReadKey(melody);
        if (json_.contains("tempo")) {
            ReadTempo(melody);
        }
        for (const Json& item : json_["notes"]) {
            ++place_;
            ReadNote(item, melody);
        }
        return melody;
    }

  private:
    [[noreturn]] void Complain(const std::string& why) const {
        const std::string at = place_ > 0 ? ", note " + std::to_string(place_) : "";
        throw UsageError(source_ + at + ": " + OneLine(why.substr(0, 300)));
    }

    double Number(const Json& from, const char* name, double least, double most) const {
        const Json* const found = from.find(name);
        const double value = found != nullptr && found->is_number() ? found->get<double>() : NAN;
        if (!(value >= least && value <= most)) {
            Complain(std::string(name) + " is a number from " + Format("%g to %g", least, most));
        }
        return value;
    }

    std::string Text(const Json& from, const char* name) const {
        const Json* const found = from.find(name);
        if (found == nullptr || found->is_null()) {
            return "";
        }
        if (!found->is_string()) {
            Complain(std::string(name) + " is a text");
        }
        return found->get<std::string>();
    }

    void ReadKey(Melody& melody) const {
        const Json* const key = json_.find("key");
        if (key == nullptr || key->is_null()) {
            return;
        }
        const std::string name = key->is_object() ? Text(*key, "name") : Text(json_, "key");
        if (name.empty()) {
            return;
        }
        melody.key = ReadKeyAndScale(name);
        if (!melody.key) {
            Complain("key is a name like C, F#m, Bb minor or D dorian");
        }
    }

    void ReadTempo(Melody& melody) const {
        const Json& list = json_["tempo"];
        if (!list.is_array() || list.empty()) {
            Complain("tempo is a list of {beat, bpm, metre}");
        }
        melody.tempo.clear();
        for (const Json& item : list) {
            if (!item.is_object()) {
                Complain("tempo is a list of {beat, bpm, metre}");
            }
            TempoChange change;
            change.beat = item.contains("beat") ? Number(item, "beat", 0.0, kLongestMelody) : 0.0;
            change.bpm = item.contains("bpm") ? Number(item, "bpm", 1.0, 1000.0) : change.bpm;
            ReadMetre(Text(item, "metre"), change);
            const bool rises =
                melody.tempo.empty() ? change.beat == 0.0 : change.beat > melody.tempo.back().beat;
            if (!rises) {
                Complain("tempo changes start at beat 0 and rise");
            }
            melody.tempo.push_back(change);
        }
    }

    void ReadMetre(const std::string& text, TempoChange& change) const {
        if (text.empty()) {
            return;
        }
        int beats = 0;
        int unit = 0;
        char rest = 0;
        const int read = std::sscanf(text.c_str(), "%2d/%2d%c", &beats, &unit, &rest);
        const bool power = unit > 0 && unit <= 32 && (unit & (unit - 1)) == 0;
        if (read != 2 || beats < 1 || beats > 32 || !power) {
            Complain("a metre is a text like 3/4");
        }
        change.beatsPerBar = beats;
        change.beatUnit = unit;
    }

    void ReadNote(const Json& item, Melody& melody) const {
        if (!item.is_object()) {
            Complain("a note is {onset_beats, length_beats, pitch_midi, chord}");
        }
        WrittenNote note;
        note.onset = Number(item, "onset_beats", 0.0, kLongestMelody);
        note.length = Number(item, "length_beats", 1e-6, kLongestMelody);
        const double pitch = Number(item, "pitch_midi", 0.0, 127.0);
        note.pitch = static_cast<int>(pitch);
        if (note.pitch != pitch) {
            Complain("pitch_midi is a whole number");
        }
        const std::string chord = Text(item, "chord");
        if (!chord.empty()) {
            note.chord = ReadChordSymbol(chord, melody.key ? ModeKey(*melody.key) : -1).chord;
        }
        if (!melody.notes.empty()) {
            WrittenNote& before = melody.notes.back();
            if (!(note.onset > before.onset)) {
                Complain("notes are in the order of their onsets, one at a time");
            }
            before.length = std::min(before.length, note.onset - before.onset);
        }
        melody.notes.push_back(std::move(note));
    }

    std::string source_;
    Json json_;
    std::size_t place_ = 0;
};

}  // namespace

Melody ReadMelodyDocument(const std::string& json, const std::string& source) {
    Melody melody = MelodyReader(json, source).Read();
    if (melody.notes.empty()) {
        throw UsageError(source + ": there is no note in it");
    }
    return melody;
}

}  // namespace mlh::choir
