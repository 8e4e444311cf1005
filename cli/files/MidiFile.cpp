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
constexpr int kMarker = 0x06;
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
    for (const TimedLabel& marker : from.markers) {
        AddEvent(track, Meta(kMarker, marker.text), BeatAt(from.tempo, marker.time));
    }
}

struct KeyEvent {
    double time;
    int order;  // of events at the same time: ends, bends, starts
    std::vector<uint8_t> bytes;
};

constexpr double kUsualWheelRange = 2.0;  // [semitones] up and down, what synthesizers start with
constexpr double kMostWheelRange = 24.0;
constexpr int kWheelMiddle = 8192;

// The range that the pitch wheel needs for these bends.
double WheelRange(const std::vector<double>& bends) {
    double range = kUsualWheelRange;
    for (const double bend : bends) {
        range = std::max(range, std::min(std::ceil(std::fabs(bend)), kMostWheelRange));
    }
    return range;
}

std::vector<uint8_t> Wheel(int channel, double bend, double range) {
    const long place =
        std::clamp<long>(std::lround(kWheelMiddle * (1.0 + bend / range)), 0, 2 * kWheelMiddle - 1);
    return {static_cast<uint8_t>(0xE0 | channel), static_cast<uint8_t>(place & 0x7F),
            static_cast<uint8_t>(place >> 7)};
}

// Registered parameter 0, the wheel's range in semitones, and then no parameter.
void SetWheelRange(smf_track_t* track, int channel, double range) {
    const auto controller = static_cast<uint8_t>(0xB0 | channel);
    const std::vector<uint8_t> steps[] = {{101, 0}, {100, 0},   {6, static_cast<uint8_t>(range)},
                                          {38, 0},  {101, 127}, {100, 127}};
    for (const std::vector<uint8_t>& step : steps) {
        AddEvent(track, {controller, step[0], step[1]}, 0.0);
    }
}

// `bends` by note, empty for none.
void AddNoteTrack(smf_t* song, const NoteLine& from, const std::vector<double>& bends, int channel,
                  const TempoMap& tempo) {
    smf_track_t* track = smf_track_new();
    smf_add_track(song, track);
    if (!from.name.empty()) {
        AddEvent(track, Meta(kTrackName, from.name), 0.0);
    }
    const double range = WheelRange(bends);
    if (!bends.empty()) {
        SetWheelRange(track, channel, range);
    }
    std::vector<KeyEvent> events;
    for (std::size_t n = 0; n < from.notes.size(); ++n) {
        const TimedNote& note = from.notes[n];
        const auto key = static_cast<uint8_t>(std::clamp<long>(std::lround(note.pitch), 0, 127));
        const auto velocity = static_cast<uint8_t>(std::clamp<long>(std::lround(127.0 * note.level), 1, 127));
        if (n < bends.size()) {
            events.push_back({note.start, 1, Wheel(channel, bends[n], range)});
        }
        events.push_back({note.start, 2, {static_cast<uint8_t>(0x90 | channel), key, velocity}});
        events.push_back({note.end, 0, {static_cast<uint8_t>(0x80 | channel), key, 64}});
    }
    std::stable_sort(events.begin(), events.end(), [](const KeyEvent& a, const KeyEvent& b) {
        return a.time != b.time ? a.time < b.time : a.order < b.order;
    });
    for (KeyEvent& event : events) {
        AddEvent(track, std::move(event.bytes), BeatAt(tempo, event.time));
    }
}

}  // namespace

void WriteMidiFile(const std::string& path, const Song& song, MidiBends bends) {
    SilenceLibrary();
    const SmfSong out(smf_new());
    if (!out || smf_set_ppqn(out.get(), kTicksPerQuarter) != 0) {
        throw Failure("cannot make a MIDI file");
    }
    AddTempoTrack(out.get(), song);
    for (std::size_t t = 0; t < song.tracks.size(); ++t) {
        const bool bent = bends == MidiBends::Yes && t < song.bends.size();
        AddNoteTrack(out.get(), song.tracks[t], bent ? song.bends[t] : std::vector<double>(),
                     static_cast<int>(t % 16), song.tempo);
    }
    OutputFile file(path);
    if (smf_save(out.get(), file.temporaryPath().c_str()) != 0) {
        throw file.CannotWrite();
    }
    file.Commit();
}

}  // namespace mlh::cli
