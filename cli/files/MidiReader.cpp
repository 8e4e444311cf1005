// Reading of Standard MIDI files (MIDI Manufacturers Association, 1996). The library that writes them ends
// the process over damaged files and loses its way in texts of more than 127 bytes, so files from outside
// are read here.
#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <utility>

#include "Errors.h"
#include "files/InputFile.h"
#include "files/MidiFile.h"

namespace mlh::cli {

namespace {

constexpr uint32_t kHeaderChunk = 0x4D546864;  // MThd
constexpr uint32_t kTrackChunk = 0x4D54726B;   // MTrk

// Meta events.
constexpr uint8_t kTrackName = 0x03;
constexpr uint8_t kEndOfTrack = 0x2F;
constexpr uint8_t kTempo = 0x51;
constexpr uint8_t kMetre = 0x58;
constexpr uint8_t kKeySignature = 0x59;

constexpr double kMicrosecondsPerMinute = 6e7;
constexpr int kFinestBeatUnit = 6;  // as a power of two

using Bytes = std::span<const uint8_t>;

// What a file holds instead of what it should.
struct Damage {};

class Reader {
  public:
    explicit Reader(Bytes bytes) : left_(bytes) {}

    std::size_t Left() const { return left_.size(); }

    Bytes Take(std::size_t count) {
        if (count > left_.size()) {
            throw Damage{};
        }
        const Bytes taken = left_.first(count);
        left_ = left_.subspan(count);
        return taken;
    }
    uint8_t Byte() { return Take(1)[0]; }
    uint32_t Number(int bytes) {
        uint32_t number = 0;
        for (const uint8_t byte : Take(static_cast<std::size_t>(bytes))) {
            number = number << 8 | byte;
        }
        return number;
    }
    // Seven bits a byte, at most four of them.
    uint32_t VariableLength() {
        uint32_t number = 0;
        for (int i = 0; i < 4; ++i) {
            const uint8_t byte = Byte();
            number = number << 7 | (byte & 0x7F);
            if (byte < 0x80) {
                return number;
            }
        }
        throw Damage{};
    }

  private:
    Bytes left_;
};

// Times are ticks from the start.
struct KeyEvent {
    int64_t time;
    int key;       // channel * 128 + note number
    int velocity;  // 0 is an end
};

struct TimeEvent {
    int64_t time;
    double bpm;  // 0 where it is a metre
    int beatsPerBar, beatUnit;
};

struct Track {
    std::string name;
    std::vector<KeyEvent> keys;
};

struct File {
    double ticksPerBeat = 480.0;
    bool realTime = false;  // ticks are parts of a second, whatever the tempo
    int64_t end = 0;
    std::vector<Track> tracks;
    std::vector<TimeEvent> times;
    std::optional<int> key;
};

int KeyOfSignature(int sharps, bool minor) {
    const int major = ((7 * sharps) % 12 + 12) % 12;
    return minor ? (major + 9) % 12 + 12 : major;
}

void ReadMeta(uint8_t type, Bytes data, int64_t time, Track& track, File& file) {
    if (type == kTrackName && track.name.empty()) {
        track.name.assign(data.begin(), data.end());
    }
    if (type == kTempo && data.size() >= 3) {
        const int microseconds = data[0] << 16 | data[1] << 8 | data[2];
        if (microseconds > 0) {
            file.times.push_back({time, kMicrosecondsPerMinute / microseconds, 0, 0});
        }
    }
    if (type == kMetre && data.size() >= 2 && data[0] > 0 && data[1] <= kFinestBeatUnit) {
        file.times.push_back({time, 0.0, data[0], 1 << data[1]});
    }
    if (type == kKeySignature && data.size() >= 2 && !file.key) {
        file.key = KeyOfSignature(static_cast<int8_t>(data[0]), data[1] == 1);
    }
}

Track ReadTrack(Reader reader, File& file) {
    Track track;
    int64_t time = 0;
    uint8_t running = 0;
    while (reader.Left() > 0) {
        time += reader.VariableLength();
        file.end = std::max(file.end, time);
        uint8_t status = reader.Byte();
        if (status == 0xFF) {
            const uint8_t type = reader.Byte();
            const Bytes data = reader.Take(reader.VariableLength());
            if (type == kEndOfTrack) {
                break;
            }
            ReadMeta(type, data, time, track, file);
            continue;
        }
        if (status == 0xF0 || status == 0xF7) {
            reader.Take(reader.VariableLength());
            continue;
        }
        if (status >= 0xF0) {
            throw Damage{};
        }
        uint8_t first = status;
        if (status >= 0x80) {
            running = status;
            first = reader.Byte();
        } else {
            status = running;
        }
        const int kind = status >> 4;
        if (kind == 0) {
            throw Damage{};
        }
        const uint8_t second = kind == 0xC || kind == 0xD ? 0 : reader.Byte();
        if (first >= 0x80 || second >= 0x80) {
            throw Damage{};
        }
        if (kind == 0x8 || kind == 0x9) {
            track.keys.push_back({time, (status & 0x0F) * 128 + first, kind == 0x9 ? second : 0});
        }
    }
    return track;
}

File ReadChunks(Reader reader) {
    File file;
    if (reader.Number(4) != kHeaderChunk) {
        throw Damage{};
    }
    Reader header(reader.Take(reader.Number(4)));
    const uint32_t format = header.Number(2);
    header.Number(2);  // of tracks: those that are there count
    const auto division = static_cast<int16_t>(header.Number(2));
    if (format > 1 || division == 0) {
        throw Damage{};
    }
    if (division > 0) {
        file.ticksPerBeat = division;
    } else {
        // Frames a second, of which 29 stands for 29.97, and ticks a frame; beats are then those of 120 a
        // minute.
        const int frames = -(division >> 8);
        file.realTime = true;
        file.ticksPerBeat = 0.5 * (frames == 29 ? 29.97 : frames) * std::max(division & 0xFF, 1);
    }
    while (reader.Left() >= 8) {
        const uint32_t kind = reader.Number(4);
        const Bytes chunk = reader.Take(reader.Number(4));
        if (kind == kTrackChunk) {
            file.tracks.push_back(ReadTrack(Reader(chunk), file));
        }
    }
    if (file.tracks.empty()) {
        throw Damage{};
    }
    return file;
}

TempoMap ToTempoMap(File& file) {
    std::stable_sort(file.times.begin(), file.times.end(),
                     [](const TimeEvent& a, const TimeEvent& b) { return a.time < b.time; });
    TempoMap map = {{}};
    for (const TimeEvent& event : file.times) {
        const double beat = static_cast<double>(event.time) / file.ticksPerBeat;
        if (beat > map.back().beat) {
            map.push_back(map.back());
            map.back().beat = beat;
        }
        if (event.beatUnit > 0) {
            map.back().beatsPerBar = event.beatsPerBar;
            map.back().beatUnit = event.beatUnit;
        } else if (!file.realTime) {
            map.back().bpm = event.bpm;
        }
    }
    return map;
}

// Pairs of on and off for each channel and key; a key struck again ends the note before.
template <class ToSeconds>
std::vector<TimedNote> ToNotes(const Track& track, double songEnd, const ToSeconds& seconds) {
    std::vector<TimedNote> notes;
    std::map<int, std::size_t> sounding;
    for (const KeyEvent& event : track.keys) {
        const double time = seconds(event.time);
        if (const auto before = sounding.find(event.key); before != sounding.end()) {
            notes[before->second].end = time;
            sounding.erase(before);
        }
        if (event.velocity == 0) {
            continue;
        }
        sounding[event.key] = notes.size();
        notes.push_back({time, songEnd, static_cast<double>(event.key % 128), event.velocity / 127.0});
    }
    std::erase_if(notes, [](const TimedNote& note) { return !(note.end > note.start); });
    return notes;
}

}  // namespace

Song ReadMidiFile(const std::string& path) {
    const std::string content = ReadFile(path);
    const auto* bytes = reinterpret_cast<const uint8_t*>(content.data());
    File file;
    try {
        file = ReadChunks(Reader(Bytes(bytes, content.size())));
    } catch (const Damage&) {
        throw Failure("cannot read " + path + " as a MIDI file");
    }
    Song song;
    song.tempo = ToTempoMap(file);
    song.key = file.key;
    const auto seconds = [&](int64_t time) {
        return SecondsAt(song.tempo, static_cast<double>(time) / file.ticksPerBeat);
    };
    for (Track& track : file.tracks) {
        NoteLine read{std::move(track.name), ToNotes(track, seconds(file.end), seconds)};
        if (!read.notes.empty()) {
            song.tracks.push_back(std::move(read));
        }
    }
    return song;
}

}  // namespace mlh::cli
