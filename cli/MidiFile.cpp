#include "MidiFile.h"

#include <glib.h>
#include <smf.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>

#include "Errors.h"
#include "OutputFile.h"

namespace {

struct DeleteSong {
    void operator()(smf_t* song) const { smf_delete(song); }
};
using Song = std::unique_ptr<smf_t, DeleteSong>;

constexpr int kTicksPerQuarter = 480;
constexpr int kMicrosecondsPerMinute = 60000000;

// Meta events.
constexpr int kText = 0x01;
constexpr int kTrackName = 0x03;
constexpr int kKeySignature = 0x59;

void Ignore(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

// The library writes what it thinks of a file to standard error; the command has its own words.
void SilenceLibrary() { g_log_set_default_handler(Ignore, nullptr); }

std::string TrackName(smf_track_t* track) {
    for (smf_event_t* event = track->number_of_events > 0 ? smf_track_get_event_by_number(track, 1) : nullptr;
         event != nullptr; event = event->event_number < static_cast<int>(track->number_of_events)
                                       ? smf_track_get_event_by_number(track, event->event_number + 1)
                                       : nullptr) {
        if (!smf_event_is_metadata(event) || event->midi_buffer_length < 3) continue;
        if (event->midi_buffer[1] != kTrackName) continue;
        // 0xFF, type, length, text; names longer than 127 bytes are cut.
        const std::size_t length =
            std::min<std::size_t>(event->midi_buffer[2], event->midi_buffer_length - 3);
        return std::string(reinterpret_cast<const char*>(event->midi_buffer) + 3, length);
    }
    return "";
}

// Pairs of on and off for each channel and key; a key struck again ends the note before.
std::vector<TimedNote> TrackNotes(smf_track_t* track, double songEnd) {
    std::vector<TimedNote> notes;
    std::map<int, std::size_t> sounding;
    const auto end = [&](int key, double time) {
        const auto found = sounding.find(key);
        if (found == sounding.end()) return;
        notes[found->second].end = time;
        sounding.erase(found);
    };
    for (int n = 1; n <= static_cast<int>(track->number_of_events); ++n) {
        const smf_event_t* event = smf_track_get_event_by_number(track, n);
        if (event == nullptr || event->midi_buffer_length < 3) continue;
        const uint8_t status = event->midi_buffer[0] & 0xF0;
        if (status != 0x80 && status != 0x90) continue;
        const int key = (event->midi_buffer[0] & 0x0F) * 128 + (event->midi_buffer[1] & 0x7F);
        end(key, event->time_seconds);
        if (status == 0x80 || event->midi_buffer[2] == 0) continue;
        sounding[key] = notes.size();
        notes.push_back(
            {event->time_seconds, songEnd, static_cast<double>(key % 128), event->midi_buffer[2] / 127.0});
    }
    std::erase_if(notes, [](const TimedNote& note) { return !(note.end > note.start); });
    return notes;
}

void AddEvent(smf_track_t* track, std::vector<uint8_t> bytes, double beat) {
    smf_event_t* event = smf_event_new_from_pointer(bytes.data(), static_cast<int>(bytes.size()));
    if (event == nullptr) throw Failure("cannot make a MIDI event");
    const double pulses = std::max(beat, 0.0) * kTicksPerQuarter;
    smf_track_add_event_pulses(track, event, static_cast<int>(std::lround(pulses)));
}

std::vector<uint8_t> Meta(int type, const std::string& text) {
    const std::string cut = text.substr(0, 127);
    std::vector<uint8_t> bytes = {0xFF, static_cast<uint8_t>(type), static_cast<uint8_t>(cut.size())};
    bytes.insert(bytes.end(), cut.begin(), cut.end());
    return bytes;
}

// The count of sharps, below 0 of flats, and whether minor: a major key and its relative minor share them.
std::vector<uint8_t> KeySignature(int key) {
    const bool minor = key >= 12;
    const int sharps = KeySharps(key);
    return {0xFF, kKeySignature, 2, static_cast<uint8_t>(sharps), static_cast<uint8_t>(minor ? 1 : 0)};
}

int KeyOfSignature(int sharps, bool minor) {
    const int major = ((7 * sharps) % 12 + 12) % 12;
    return minor ? (major + 9) % 12 + 12 : major;
}

void AddTempoTrack(smf_t* song, const MidiSong& from, const std::vector<MidiText>& texts) {
    smf_track_t* track = smf_track_new();
    smf_add_track(song, track);
    for (const TempoChange& change : from.tempo) {
        const auto tempo = static_cast<uint32_t>(std::lround(kMicrosecondsPerMinute / change.bpm));
        AddEvent(track,
                 {0xFF, 0x51, 3, static_cast<uint8_t>(tempo >> 16), static_cast<uint8_t>(tempo >> 8),
                  static_cast<uint8_t>(tempo)},
                 change.beat);
        const auto unit = static_cast<uint8_t>(std::lround(std::log2(change.beatUnit)));
        AddEvent(track, {0xFF, 0x58, 4, static_cast<uint8_t>(change.beatsPerBar), unit, 24, 8}, change.beat);
    }
    if (from.key) AddEvent(track, KeySignature(*from.key), 0.0);
    for (const MidiText& text : texts) AddEvent(track, Meta(kText, text.text), BeatAt(from.tempo, text.time));
}

struct KeyEvent {
    double time;
    std::vector<uint8_t> bytes;
};

void AddNoteTrack(smf_t* song, const MidiTrack& from, int channel, const TempoMap& tempo) {
    smf_track_t* track = smf_track_new();
    smf_add_track(song, track);
    if (!from.name.empty()) AddEvent(track, Meta(kTrackName, from.name), 0.0);
    std::vector<KeyEvent> events;
    for (const TimedNote& note : from.notes) {
        const auto key = static_cast<uint8_t>(std::clamp<long>(std::lround(note.pitch), 0, 127));
        const auto velocity = static_cast<uint8_t>(std::clamp<long>(std::lround(127.0 * note.level), 1, 127));
        events.push_back({note.start, {static_cast<uint8_t>(0x90 | channel), key, velocity}});
        events.push_back({note.end, {static_cast<uint8_t>(0x80 | channel), key, 64}});
    }
    // Ends (0x80) before starts (0x90) at the same time.
    std::stable_sort(events.begin(), events.end(), [](const KeyEvent& a, const KeyEvent& b) {
        return a.time != b.time ? a.time < b.time : a.bytes[0] < b.bytes[0];
    });
    for (KeyEvent& event : events) AddEvent(track, std::move(event.bytes), BeatAt(tempo, event.time));
}

TempoMap ReadTempo(smf_t* song) {
    TempoMap map;
    const smf_tempo_t* tempo;
    for (int n = 0; (tempo = smf_get_tempo_by_number(song, n)) != nullptr; ++n) {
        TempoChange change;
        change.beat = static_cast<double>(tempo->time_pulses) / song->ppqn;
        if (tempo->microseconds_per_quarter_note > 0) {
            change.bpm = static_cast<double>(kMicrosecondsPerMinute) / tempo->microseconds_per_quarter_note;
        }
        if (tempo->numerator > 0 && tempo->denominator > 0) {
            change.beatsPerBar = tempo->numerator;
            change.beatUnit = tempo->denominator;
        }
        if (!map.empty() && map.back().beat == change.beat) map.pop_back();
        map.push_back(change);
    }
    if (map.empty()) map.emplace_back();
    map[0].beat = 0.0;
    return map;
}

std::optional<int> ReadKey(smf_track_t* track) {
    for (int n = 1; n <= static_cast<int>(track->number_of_events); ++n) {
        const smf_event_t* event = smf_track_get_event_by_number(track, n);
        if (event == nullptr || !smf_event_is_metadata(event) || event->midi_buffer_length < 5) continue;
        if (event->midi_buffer[1] != kKeySignature) continue;
        return KeyOfSignature(static_cast<int8_t>(event->midi_buffer[3]), event->midi_buffer[4] == 1);
    }
    return std::nullopt;
}

}  // namespace

MidiSong ReadMidiFile(const std::string& path) {
    SilenceLibrary();
    const Song song(smf_load(path.c_str()));
    if (!song) throw Failure("cannot read " + path + " as a MIDI file");
    MidiSong result;
    result.tempo = ReadTempo(song.get());
    const double end = smf_get_length_seconds(song.get());
    for (int t = 1; t <= song->number_of_tracks; ++t) {
        smf_track_t* track = smf_get_track_by_number(song.get(), t);
        if (!result.key) result.key = ReadKey(track);
        MidiTrack read{TrackName(track), TrackNotes(track, end)};
        if (!read.notes.empty()) result.tracks.push_back(std::move(read));
    }
    return result;
}

void WriteMidiFile(const std::string& path, const MidiSong& song, const std::vector<MidiText>& texts) {
    SilenceLibrary();
    const Song out(smf_new());
    if (!out || smf_set_ppqn(out.get(), kTicksPerQuarter) != 0) throw Failure("cannot make a MIDI file");
    AddTempoTrack(out.get(), song, texts);
    for (std::size_t t = 0; t < song.tracks.size(); ++t) {
        AddNoteTrack(out.get(), song.tracks[t], static_cast<int>(t % 16), song.tempo);
    }
    OutputFile file(path);
    if (smf_save(out.get(), file.temporaryPath().c_str()) != 0) throw Failure("cannot write " + path);
    file.Commit();
}
