#include "choir/document/SettingsDocument.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "base/Numbering.h"
#include "choir/Errors.h"
#include "choir/Text.h"
#include "choir/chords/ChordText.h"
#include "choir/document/Json.h"
#include "choir/score/Music.h"
#include "choir/voicing/Ranges.h"

namespace mlh::choir {

namespace {

// A value is not what its setting takes; the text says what it takes.
[[noreturn]] void Refuse(const std::string& wanted) { throw UsageError(wanted); }

double Number(const Json& json, double least, double most) {
    const double value = json.is_number() ? json.get<double>() : NAN;
    if (!(value >= least && value <= most)) {
        Refuse("a number from " + Format("%g to %g", least, most));
    }
    return value;
}

int Whole(const Json& json, int least, int most) {
    const double value = json.is_number() ? json.get<double>() : NAN;
    if (!(value >= least && value <= most) || value != std::floor(value)) {
        Refuse("a whole number from " + Format("%d to %d", least, most));
    }
    return static_cast<int>(value);
}

const std::string& Word(const Json& json, const std::string& wanted) {
    if (!json.is_string()) {
        Refuse(wanted);
    }
    return json.get_ref<const std::string&>();
}

int OneOf(const Json& json, const Names& names) {
    const std::string wanted = "one of " + Joined(names);
    const std::string& word = Word(json, wanted);
    const auto found = std::find(names.begin(), names.end(), word);
    if (found == names.end()) {
        Refuse(wanted + "; did you mean '" + Nearest(names, word) + "'?");
    }
    return static_cast<int>(found - names.begin());
}

template <class Read>
void EachOf(const Json& json, std::size_t most, const std::string& wanted, Read read) {
    if (!json.is_array() || json.size() > most) {
        Refuse(wanted);
    }
    for (const Json& item : json) {
        read(item);
    }
}

constexpr std::size_t kMostVoices = kVoiceCount;
constexpr std::size_t kMostItems = 1000000;  // chords, notes, edits: what is longer is a mistake
constexpr double kLongest = 1e6;             // [s]

// One number for all voices, or a list.
std::vector<double> PerVoice(const Json& json, double least, double most) {
    std::vector<double> values;
    if (!json.is_array()) {
        return {Number(json, least, most)};
    }
    EachOf(json, kMostVoices, "a number, or one per voice",
           [&](const Json& item) { values.push_back(Number(item, least, most)); });
    return values;
}

// A list of numbers, the lead's first; null keeps what there is.
std::vector<std::optional<double>> PerLine(const Json& json, double least, double most) {
    std::vector<std::optional<double>> values;
    EachOf(json, 1 + kMostVoices, "a list of numbers or null, the lead's first", [&](const Json& item) {
        values.push_back(item.is_null() ? std::nullopt : std::optional<double>(Number(item, least, most)));
    });
    return values;
}

Json Written(const std::vector<std::optional<double>>& values) {
    Json list = Json::array();
    for (const auto& value : values) {
        list.push_back(value ? Json(*value) : Json(nullptr));
    }
    return list;
}

// Refuses members with other names.
void CheckMembers(const Json& json, const Names& names) {
    if (!json.is_object()) {
        Refuse("an object of " + Joined(names));
    }
    for (const auto& [name, value] : json.items()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            Refuse("an object of " + Joined(names) + ", not '" + OneLine(name.substr(0, 60)) + "'");
        }
    }
}

std::optional<MelodyKey> ToKey(const Json& json) {
    const std::string wanted = "a key like C, F#m, Bb minor or D dorian";
    if (json.is_null()) {
        return std::nullopt;
    }
    const std::string& text = Word(json, wanted);
    auto key = ReadKeyAndScale(text);
    if (!key) {
        Refuse(wanted);
    }
    key->found = false;
    return key;
}

std::vector<TimedChord> ToChords(const Json& json, const Settings& settings) {
    if (json.is_null()) {
        return {};
    }
    if (json.is_string()) {
        const std::string& text = json.get_ref<const std::string&>();
        if (Trim(text).empty()) {
            return {};
        }
        const int key = settings.key ? ModeKey(*settings.key) : -1;
        return ReadChordSheet(text, "chords", {settings.bpm, settings.beatsPerBar, key}).chords;
    }
    std::vector<TimedChord> chords;
    EachOf(json, kMostItems, "a text, or a list of {time_s, name}", [&](const Json& item) {
        CheckMembers(item, {"time_s", "name"});
        TimedChord chord;
        chord.time = item.contains("time_s") ? Number(item["time_s"], 0.0, kLongest) : 0.0;
        chord.chord = ReadChordSymbol(Word(item.value("name", Json()), "each chord with a name"),
                                      settings.key ? ModeKey(*settings.key) : -1)
                          .chord;
        chords.push_back(std::move(chord));
    });
    std::stable_sort(chords.begin(), chords.end(),
                     [](const TimedChord& a, const TimedChord& b) { return a.time < b.time; });
    return chords;
}

Json Written(const std::vector<TimedChord>& chords) {
    if (chords.empty()) {
        return nullptr;
    }
    Json list = Json::array();
    for (const TimedChord& chord : chords) {
        list.push_back({{"time_s", chord.time}, {"name", chord.chord.name}});
    }
    return list;
}

std::vector<NoteLine> ToTracks(const Json& json) {
    std::vector<NoteLine> tracks;
    EachOf(json, kMostItems, "a list of {name, notes}", [&](const Json& item) {
        CheckMembers(item, {"name", "notes"});
        NoteLine line;
        if (item.contains("name")) {
            line.name = Word(item["name"], "the name of a track as a text");
        }
        EachOf(item.value("notes", Json()), kMostItems, "tracks with lists of notes", [&](const Json& note) {
            CheckMembers(note, {"start_s", "end_s", "pitch_midi", "level"});
            TimedNote timed;
            timed.start = Number(note.value("start_s", Json()), 0.0, kLongest);
            timed.end = Number(note.value("end_s", Json()), timed.start, kLongest);
            timed.pitch = Number(note.value("pitch_midi", Json()), 0.0, 127.0);
            timed.level = note.contains("level") ? Number(note["level"], 0.0, 1.0) : 1.0;
            line.notes.push_back(timed);
        });
        tracks.push_back(std::move(line));
    });
    return tracks;
}

Json Written(const std::vector<NoteLine>& tracks) {
    Json list = Json::array();
    for (const NoteLine& track : tracks) {
        Json notes = Json::array();
        for (const TimedNote& note : track.notes) {
            notes.push_back({{"start_s", note.start},
                             {"end_s", note.end},
                             {"pitch_midi", note.pitch},
                             {"level", note.level}});
        }
        list.push_back({{"name", track.name}, {"notes", std::move(notes)}});
    }
    return list;
}

std::vector<Edit> ToEdits(const Json& json) {
    std::vector<Edit> edits;
    EachOf(json, kMostItems, "a list of edits", [&](const Json& item) {
        CheckMembers(item, {"voice", "note", "time_s", "pitch_midi", "delta", "level_db", "mute"});
        Edit edit;
        edit.voice = Whole(item.value("voice", Json()), 1, static_cast<int>(kMostVoices)) - 1;
        if (item.contains("note") == item.contains("time_s")) {
            Refuse("edits with either a note or a time_s");
        }
        if (item.contains("note")) {
            edit.note = Whole(item["note"], 0, 100000000);
        } else {
            edit.time = Number(item["time_s"], 0.0, kLongest);
        }
        if (item.contains("pitch_midi")) {
            edit.pitch = Number(item["pitch_midi"], 0.0, 127.0);
        }
        if (item.contains("delta")) {
            edit.delta = Number(item["delta"], -48.0, 48.0);
        }
        if (item.contains("level_db")) {
            edit.levelDb = Number(item["level_db"], -120.0, 24.0);
        }
        if (item.contains("mute")) {
            if (!item["mute"].is_boolean()) {
                Refuse("edits with mute true or false");
            }
            edit.mute = item["mute"].get<bool>();
        }
        edits.push_back(edit);
    });
    return edits;
}

Json Written(const std::vector<Edit>& edits) {
    Json list = Json::array();
    for (const Edit& edit : edits) {
        Json item = {{"voice", edit.voice + 1}};
        if (edit.note) {
            item["note"] = *edit.note;
        } else if (edit.time) {
            item["time_s"] = *edit.time;
        }
        if (edit.pitch) {
            item["pitch_midi"] = *edit.pitch;
        }
        item["delta"] = edit.delta;
        item["level_db"] = edit.levelDb;
        item["mute"] = edit.mute;
        list.push_back(std::move(item));
    }
    return list;
}

std::vector<SideGains> ToGains(const Json& json) {
    if (json.is_string()) {
        return ParseGains(json.get_ref<const std::string&>());
    }
    std::vector<SideGains> gains = DefaultGains();
    std::size_t line = 0;
    EachOf(json, gains.size(), "a text, or a list of numbers or [left, right], the lead's first",
           [&](const Json& item) {
               constexpr double kMost = 1000.0;
               SideGains& entry = gains[line++];
               if (item.is_array() && item.size() == 2) {
                   entry = {Number(item[0], -kMost, kMost), Number(item[1], -kMost, kMost)};
               } else if (!item.is_null()) {
                   entry.left = entry.right = Number(item, -kMost, kMost);
               }
           });
    return gains;
}

Json Written(const std::vector<SideGains>& gains) {
    Json list = Json::array();
    for (const SideGains& entry : gains) {
        list.push_back({entry.left, entry.right});
    }
    return list;
}

const Names& NoneAndScale() {
    static const Names& names = *new Names{"none", "scale"};
    return names;
}
const Names& EqualAndJust() {
    static const Names& names = *new Names{"equal", "just"};
    return names;
}
const Names& Sources() {
    static const Names& names = *new Names{"auto", "tracker", "core", "given"};
    return names;
}
const Names& Consonants() {
    static const Names& names = *new Names{"all", "thin"};
    return names;
}

Style ToStyle(const Json& json) {
    if (json.is_string() && json.get_ref<const std::string&>() == kOldNameOfCore) {
        return Style::Core;
    }
    return static_cast<Style>(OneOf(json, StyleNames()));
}

// A setting: its name, what it takes and does, how it is read and written. In the order in which they are
// read, since some depend on others.
struct Setting {
    const char* name;
    const char* help;
    void (*read)(const Json&, Settings&);
    Json (*write)(const Settings&);
};

const Setting kSettings[] = {
    {"style",
     "how the voices are found: choir (the default), core, four-part, intervals, block, fourths, fixed, "
     "double",
     [](const Json& j, Settings& s) { s.style = ToStyle(j); },
     [](const Settings& s) { return Json(StyleNames()[static_cast<std::size_t>(s.style)]); }},
    {"voices", "voices beside the lead, the first on the lead's own line: 2 to 4, with tracks 1 to 4",
     [](const Json& j, Settings& s) { s.voices = Whole(j, 1, 4); },
     [](const Settings& s) { return Json(s.voices); }},
    {"above", "harmony voices above the lead: 0 to 3, or null: by the room that the lead has",
     [](const Json& j, Settings& s) {
         s.above = j.is_null() ? std::nullopt : std::optional<int>(Whole(j, 0, 3));
     },
     [](const Settings& s) { return s.above ? Json(*s.above) : Json(nullptr); }},
    {"spread", "how widely the voices are set: 0 to 1",
     [](const Json& j, Settings& s) { s.spread = Number(j, 0.0, 1.0); },
     [](const Settings& s) { return Json(s.spread); }},
    {"key", "C, F#m, Bb minor, D dorian; null: the one that is found",
     [](const Json& j, Settings& s) { s.key = ToKey(j); },
     [](const Settings& s) { return s.key ? Json(ScaleKeyName(*s.key)) : Json(nullptr); }},
    {"scale", "of the key, by name; null: as the key has it",
     [](const Json& j, Settings& s) {
         s.scale = j.is_null() ? std::nullopt : std::optional<int>(OneOf(j, ScaleNames()));
     },
     [](const Settings& s) {
         return s.scale ? Json(ScaleNames()[static_cast<std::size_t>(*s.scale)]) : Json(nullptr);
     }},
    {"bpm", "beats a minute, for chords in bars; 0: not known",
     [](const Json& j, Settings& s) { s.bpm = Number(j, 0.0, 1000.0); },
     [](const Settings& s) { return Json(s.bpm); }},
    {"beats_per_bar", "1 to 32", [](const Json& j, Settings& s) { s.beatsPerBar = Whole(j, 1, 32); },
     [](const Settings& s) { return Json(s.beatsPerBar); }},
    {"chords", "a chord sheet as text, or a list of {time_s, name}; null: from the melody alone",
     [](const Json& j, Settings& s) { s.chords = ToChords(j, s); },
     [](const Settings& s) { return Written(s.chords); }},
    {"chords_from", "where chords come from that nobody typed: auto, tracker, core, given",
     [](const Json& j, Settings& s) { s.chordsFrom = static_cast<ChordSource>(OneOf(j, Sources())); },
     [](const Settings& s) { return Json(Sources()[static_cast<std::size_t>(s.chordsFrom)]); }},
    {"tracks",
     "notes for the voices instead of chords: a list of {name, notes: [{start_s, end_s, pitch_midi, level}]}",
     [](const Json& j, Settings& s) { s.tracks = ToTracks(j); },
     [](const Settings& s) { return Written(s.tracks); }},
    {"lead", "four-part: who sings the melody: bass, tenor, alto, soprano",
     [](const Json& j, Settings& s) { s.leadRow = OneOf(j, LeadRowNames()); },
     [](const Settings& s) { return Json(LeadRowNames()[static_cast<std::size_t>(s.leadRow)]); }},
    {"spacing", "four-part: close, open, wide",
     [](const Json& j, Settings& s) { s.spacing = OneOf(j, SpacingNames()); },
     [](const Settings& s) { return Json(SpacingNames()[static_cast<std::size_t>(s.spacing)]); }},
    {"variant", "block, fourths, fixed: which of the style's kinds; null: the first",
     [](const Json& j, Settings& s) {
         const Names* names = VariantNames(s.style);
         if (names == nullptr && !j.is_null()) {
             Refuse("style block, fourths or fixed");
         }
         s.variant = j.is_null() ? 0 : OneOf(j, *names);
     },
     [](const Settings& s) {
         const Names* names = VariantNames(s.style);
         return names == nullptr ? Json(nullptr) : Json((*names)[static_cast<std::size_t>(s.variant)]);
     }},
    {"intervals", "intervals: scale steps of the four voices from the melody, -21 to 21",
     [](const Json& j, Settings& s) {
         if (!j.is_array() || j.size() != s.intervals.size()) {
             Refuse("a list of four scale steps");
         }
         for (std::size_t i = 0; i < s.intervals.size(); ++i) {
             s.intervals[i] = Whole(j[i], -21, 21);
         }
     },
     [](const Settings& s) { return Json(s.intervals); }},
    {"interval", "double: semitones from the melody to the other voice, -36 to 36",
     [](const Json& j, Settings& s) { s.interval = Whole(j, -36, 36); },
     [](const Settings& s) { return Json(s.interval); }},
    {"tuning", "the grid of the voices: singer, or the pitch of A in hertz, 220 to 880",
     [](const Json& j, Settings& s) {
         if (j.is_string() && j.get_ref<const std::string&>() == "singer") {
             s.tuning = TuningGrid::Singer;
             return;
         }
         if (!j.is_number()) {
             Refuse("'singer', or a number from 220 to 880");
         }
         s.referenceHz = Number(j, 220.0, 880.0);
         s.tuning = TuningGrid::Reference;
     },
     [](const Settings& s) { return s.tuning == TuningGrid::Singer ? Json("singer") : Json(s.referenceHz); }},
    {"intonation", "equal, just: pure intervals on long notes",
     [](const Json& j, Settings& s) { s.just = OneOf(j, EqualAndJust()) == 1; },
     [](const Settings& s) { return Json(EqualAndJust()[s.just ? 1 : 0]); }},
    {"snap", "where the sung notes are taken: none: the nearest on the grid; scale: the nearest in the key",
     [](const Json& j, Settings& s) { s.snap = static_cast<Snap>(OneOf(j, NoneAndScale())); },
     [](const Settings& s) { return Json(NoneAndScale()[static_cast<std::size_t>(s.snap)]); }},
    {"correction",
     "how far voices go from what was sung to the grid: 0 to 1; null: 0, with a tuning in hertz 1",
     [](const Json& j, Settings& s) {
         s.correction = j.is_null() ? std::nullopt : std::optional<double>(Number(j, 0.0, 1.0));
     },
     [](const Settings& s) { return s.correction ? Json(*s.correction) : Json(nullptr); }},
    {"vibrato", "share of the singer's pitch movement that voices keep, 0 to 2: one, or one per voice",
     [](const Json& j, Settings& s) { s.vibrato = PerVoice(j, 0.0, 2.0); },
     [](const Settings& s) { return Json(s.vibrato); }},
    {"glide", "scale of the glides between notes, 0 to 2: one, or one per voice",
     [](const Json& j, Settings& s) { s.glide = PerVoice(j, 0.0, 2.0); },
     [](const Settings& s) { return Json(s.glide); }},
    {"formant", "semitones, -12 to 12: one, or one per voice",
     [](const Json& j, Settings& s) { s.formant = PerVoice(j, -12.0, 12.0); },
     [](const Settings& s) { return Json(s.formant); }},
    {"humanize", "how much the voices sing as people of their own: 0 to 1",
     [](const Json& j, Settings& s) { s.humanize = Number(j, 0.0, 1.0); },
     [](const Settings& s) { return Json(s.humanize); }},
    {"seed", "of what is drawn for them: 0 to 9007199254740991",
     [](const Json& j, Settings& s) {
         constexpr double kMost = 9007199254740991.0;  // what JSON carries without loss
         const double value = Number(j, 0.0, kMost);
         if (value != std::floor(value)) {
             Refuse("a whole number from 0 to 9007199254740991");
         }
         s.seed = static_cast<uint64_t>(value);
     },
     [](const Settings& s) { return Json(s.seed); }},
    {"consonants", "all, thin: fewer voices hiss at once",
     [](const Json& j, Settings& s) { s.thinConsonants = OneOf(j, Consonants()) == 1; },
     [](const Settings& s) { return Json(Consonants()[s.thinConsonants ? 1 : 0]); }},
    {"range", "per voice, or one for all: auto, soprano, alto, tenor, bass, or notes like E2-C5",
     [](const Json& j, Settings& s) {
         const std::string wanted = "a range like auto, alto or E2-C5, or a list of them";
         s.ranges.clear();
         const auto add = [&](const Json& item) {
             const std::string& word = Word(item, wanted);
             if (word != "auto" && !word.empty() && !ReadRange(word)) {
                 Refuse(wanted);
             }
             s.ranges.push_back(word);
         };
         if (!j.is_array()) {
             add(j);
             return;
         }
         EachOf(j, kMostVoices, wanted, add);
     },
     [](const Settings& s) { return Json(s.ranges); }},
    {"mix", "a preset: wide, choir, backing, mono; empty: as the style has it",
     [](const Json& j, Settings& s) {
         static const Names& kPresets = *new Names{"", "wide", "choir", "backing", "mono"};
         s.mix = kPresets[static_cast<std::size_t>(OneOf(j, kPresets))];
     },
     [](const Settings& s) { return Json(s.mix); }},
    {"pan", "per line, the lead first: -1 left to 1 right, null as the preset has it",
     [](const Json& j, Settings& s) { s.pan = PerLine(j, -1.0, 1.0); },
     [](const Settings& s) { return Written(s.pan); }},
    {"level_db", "per line, the lead first: decibels on top of the preset, null as it has it",
     [](const Json& j, Settings& s) { s.levelDb = PerLine(j, -120.0, 24.0); },
     [](const Settings& s) { return Written(s.levelDb); }},
    {"gains", "per line, the lead first: a factor or [left, right], or a text like \"0.5, 0.5:0, -6dB\"",
     [](const Json& j, Settings& s) { s.gains = j.is_null() ? std::nullopt : std::optional(ToGains(j)); },
     [](const Settings& s) { return s.gains ? Written(*s.gains) : Json(nullptr); }},
    {"clip",
     "what is above full scale: scale: the whole file lowered; limit: lowered where it is too loud; none: "
     "cut off; auto: "
     "scale for integer samples, none for floats and the other styles",
     [](const Json& j, Settings& s) { s.clip = static_cast<Clip>(OneOf(j, ClipNames())); },
     [](const Settings& s) { return Json(ClipNames()[static_cast<std::size_t>(s.clip)]); }},
    {"quality", "how finely voices are rendered: fast, normal, high, auto",
     [](const Json& j, Settings& s) { s.quality = static_cast<Quality>(OneOf(j, QualityNames())); },
     [](const Settings& s) { return Json(QualityNames()[static_cast<std::size_t>(s.quality)]); }},
    {"edits",
     "changes by hand: a list of {voice from 1, note from 0 or time_s, pitch_midi, delta, level_db, mute}",
     [](const Json& j, Settings& s) { s.edits = ToEdits(j); },
     [](const Settings& s) { return Written(s.edits); }},
};

const Names& AllNames() {
    static const Names& names = *[] {
        Names all = {"schema", "kind"};
        for (const Setting& setting : kSettings) {
            all.emplace_back(setting.name);
        }
        return new Names(std::move(all));
    }();
    return names;
}

Json Parse(const std::string& text, const std::string& source) {
    try {
        return Json::parse(text);
    } catch (const UsageError& error) {
        throw UsageError(source + ": " + error.what());
    }
}

bool IsNumber(const Json& json, int number) { return json.is_number() && json.get<double>() == number; }

void CheckHead(const Json& json, const std::string& source) {
    if (!json.is_object()) {
        throw UsageError(source + ": a settings document is an object, like {\"voices\": 3}");
    }
    for (const auto& [name, value] : json.items()) {
        if (std::find(AllNames().begin(), AllNames().end(), name) == AllNames().end()) {
            throw UsageError(source + ": there is no setting '" + OneLine(name.substr(0, 60)) +
                             "'; did you mean '" + Nearest(AllNames(), name) + "'?");
        }
    }
    if (json.contains("schema") && !IsNumber(json["schema"], kSchema)) {
        throw UsageError(source + ": this version reads schema " + std::to_string(kSchema));
    }
    if (json.contains("kind") &&
        (!json["kind"].is_string() || json["kind"].get<std::string>() != "settings")) {
        throw UsageError(source + ": its kind is not settings");
    }
}

}  // namespace

Settings ReadSettings(const std::string& json, const std::string& source, const Settings& defaults) {
    const Json document = Parse(json, source);
    CheckHead(document, source);
    Settings settings = defaults;
    for (const Setting& setting : kSettings) {
        const Json* const found = document.find(setting.name);
        if (found == nullptr) {
            continue;
        }
        try {
            setting.read(*found, settings);
        } catch (const UsageError& error) {
            throw UsageError(source + ", " + setting.name + ": " + error.what());
        }
    }
    return settings;
}

std::string WriteSettings(const Settings& settings) {
    Json json = {{"schema", kSchema}, {"kind", "settings"}};
    for (const Setting& setting : kSettings) {
        json[setting.name] = setting.write(settings);
    }
    return json.Written() + "\n";
}

namespace {

// A number, else a word; nothing keeps what there is.
Json Typed(const std::string& text) {
    const std::string word = Trim(text);
    if (word.empty()) {
        return nullptr;
    }
    char* end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    return *end == '\0' && std::isfinite(number) ? Json(number) : Json(word);
}

const Setting& Find(const std::string& name) {
    const auto found = std::find_if(std::begin(kSettings), std::end(kSettings),
                                    [&](const Setting& setting) { return name == setting.name; });
    if (found == std::end(kSettings)) {
        throw UsageError("there is no setting '" + name + "'");
    }
    return *found;
}

}  // namespace

void TypeSetting(Settings& settings, const std::string& name, const std::string& text) {
    Json value = Typed(text);
    if (text.find(',') != std::string::npos) {
        value = Json::array();
        for (std::size_t at = 0; at <= text.size();) {
            const std::size_t comma = std::min(text.find(',', at), text.size());
            value.push_back(Typed(text.substr(at, comma - at)));
            at = comma + 1;
        }
    }
    const bool perLine = name == "pan" || name == "level_db";
    if (perLine && !value.is_array()) {
        value = Json::array({value});
    }
    try {
        Find(name).read(value, settings);
    } catch (const UsageError& error) {
        throw UsageError(name + ": " + error.what());
    }
}

const char* HelpOf(const std::string& name) {
    const auto found = std::find_if(std::begin(kSettings), std::end(kSettings),
                                    [&](const Setting& setting) { return name == setting.name; });
    return found == std::end(kSettings) ? nullptr : found->help;
}

std::string SettingsHelp() {
    std::string text;
    for (const Setting& setting : kSettings) {
        text += std::string(setting.name) + ": " + setting.help + "\n";
    }
    return text;
}

}  // namespace mlh::choir
