// Writing of Standard MIDI files.
#include "files/MidiFile.h"

#include <glib.h>
#include <smf.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>

#include "Errors.h"
#include "choir/score/Music.h"
#include "files/OutputFile.h"

namespace mlh::cli {

namespace {

struct DeleteSong {
    void operator()(smf_t* song) const { smf_delete(song); }
};
using SmfSong = std::unique_ptr<smf_t, DeleteSong>;

constexpr int kTicksPerQuarter = 480;
constexpr int kMicrosecondsPerMinute = 60000000;
constexpr double kLongestQuarter = 0xFFFFFF;  // [microseconds]

// Meta events.
constexpr int kText = 0x01;
constexpr int kTrackName = 0x03;
constexpr int kKeySignature = 0x59;

void Ignore(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

// The library writes what goes wrong to standard error; the command has its own words.
void SilenceLibrary() { g_log_set_default_handler(Ignore, nullptr); }

void AddEvent(smf_track_t* track, std::vector<uint8_t> bytes, double beat) {
    smf_event_t* event = smf_event_new_from_pointer(bytes.data(), static_cast<int>(bytes.size()));
    if (event == nullptr) {
        throw Failure("cannot make a MIDI event");
    }
    const double pulses = std::max(beat, 0.0) * kTicksPerQuarter;
    smf_track_add_event_pulses(track, event, static_cast<int>(std::lround(pulses)));
}

std::vector<uint8_t> Meta(int type, const std::string& text) {
    const std::string cut = text.substr(0, 127);
    std::vector<uint8_t> bytes(3 + cut.size());
    bytes[0] = 0xFF;
    bytes[1] = static_cast<uint8_t>(type);
    bytes[2] = static_cast<uint8_t>(cut.size());
    std::copy(cut.begin(), cut.end(), bytes.begin() + 3);
    return bytes;
}

// The count of sharps, below 0 of flats, and whether minor: a major key and its relative minor share them.
std::vector<uint8_t> KeySignature(int key) {
    const bool minor = key >= 12;
    const int sharps = KeySharps(key);
    return {0xFF, kKeySignature, 2, static_cast<uint8_t>(sharps), static_cast<uint8_t>(minor ? 1 : 0)};
}

void AddTempoTrack(smf_t* song, const Song& from) {
    smf_track_t* track = smf_track_new();
    smf_add_track(song, track);
    for (const TempoChange& change : from.tempo) {
        const auto tempo = static_cast<uint32_t>(
            std::lround(std::clamp(kMicrosecondsPerMinute / change.bpm, 1.0, kLongestQuarter)));
        AddEvent(track,
                 {0xFF, 0x51, 3, static_cast<uint8_t>(tempo >> 16), static_cast<uint8_t>(tempo >> 8),
                  static_cast<uint8_t>(tempo)},
                 change.beat);
        const auto unit = static_cast<uint8_t>(std::lround(std::log2(change.beatUnit)));
        AddEvent(track, {0xFF, 0x58, 4, static_cast<uint8_t>(change.beatsPerBar), unit, 24, 8}, change.beat);
    }
    if (from.key) {
        AddEvent(track, KeySignature(*from.key), 0.0);
    }
    for (const TimedLabel& text : from.texts) {
        AddEvent(track, Meta(kText, text.text), BeatAt(from.tempo, text.time));
    }
}

struct KeyEvent {
    double time;
    std::vector<uint8_t> bytes;
};

void AddNoteTrack(smf_t* song, const NoteLine& from, int channel, const TempoMap& tempo) {
    smf_track_t* track = smf_track_new();
    smf_add_track(song, track);
    if (!from.name.empty()) {
        AddEvent(track, Meta(kTrackName, from.name), 0.0);
    }
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
    for (KeyEvent& event : events) {
        AddEvent(track, std::move(event.bytes), BeatAt(tempo, event.time));
    }
}

}  // namespace

void WriteMidiFile(const std::string& path, const Song& song) {
    SilenceLibrary();
    const SmfSong out(smf_new());
    if (!out || smf_set_ppqn(out.get(), kTicksPerQuarter) != 0) {
        throw Failure("cannot make a MIDI file");
    }
    AddTempoTrack(out.get(), song);
    for (std::size_t t = 0; t < song.tracks.size(); ++t) {
        AddNoteTrack(out.get(), song.tracks[t], static_cast<int>(t % 16), song.tempo);
    }
    OutputFile file(path);
    if (smf_save(out.get(), file.temporaryPath().c_str()) != 0) {
        throw file.CannotWrite();
    }
    file.Commit();
}

}  // namespace mlh::cli
