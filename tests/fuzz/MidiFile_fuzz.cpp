// MIDI files of any content: read, dealt out to voices, written and read again.
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <string>
#ifdef _WIN32
#include <filesystem>
#include <fstream>
#else
#include <sys/mman.h>
#endif

#include "Errors.h"
#include "choir/voicing/NoteDealing.h"
#include "files/MelodyFile.h"
#include "files/MidiFile.h"
#include "fuzz/Bytes.h"

namespace mlh::cli {

namespace {

#ifdef _WIN32

class FileOnDisk {
  public:
    FileOnDisk(const uint8_t* data, std::size_t size) {
        std::ofstream file(path_, std::ios::binary);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        Require(file.good());
    }
    ~FileOnDisk() { std::filesystem::remove(path_); }
    FileOnDisk(const FileOnDisk&) = delete;
    FileOnDisk& operator=(const FileOnDisk&) = delete;
    std::string path() const { return path_.string(); }

  private:
    std::filesystem::path path_ =
        std::filesystem::temp_directory_path() / ("mlh-fuzz-" + std::to_string(getpid()) + ".mid");
};

#else

// A file in memory with a name.
class FileOnDisk {
  public:
    FileOnDisk(const uint8_t* data, std::size_t size) : descriptor_(memfd_create("input", 0)) {
        Require(descriptor_ >= 0 && write(descriptor_, data, size) == static_cast<ssize_t>(size));
    }
    ~FileOnDisk() { close(descriptor_); }
    FileOnDisk(const FileOnDisk&) = delete;
    FileOnDisk& operator=(const FileOnDisk&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    int descriptor_;
};

#endif

void Check(const Song& song) {
    Require(!song.tempo.empty() && song.tempo[0].beat == 0.0);
    double beat = 0.0;
    for (const TempoChange& change : song.tempo) {
        Require(change.beat >= beat && change.bpm > 0.0 && change.beatsPerBar > 0 && change.beatUnit > 0);
        beat = change.beat;
    }
    Require(!song.key || (*song.key >= 0 && *song.key < 24));
    for (const NoteLine& track : song.tracks) {
        Require(!track.notes.empty());
        for (const TimedNote& note : track.notes) {
            Require(std::isfinite(note.start) && note.start >= 0.0 && note.end > note.start);
            Require(note.pitch >= 0.0 && note.pitch <= 127.0 && note.level > 0.0 && note.level <= 1.0);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const FileOnDisk file(data, size);
    try {
        const Song song = ReadMidiFile(file.path());
        Check(song);
        const int voices = CountVoices(song.tracks);
        Require(voices >= 1 && voices <= 4);
        for (const PitchChange& change : DealNotes(song.tracks, voices)) {
            Require(change.pitches.size() == static_cast<std::size_t>(voices));
        }
        MelodySource source;
        source.path = file.path();
        source.quiet = true;
        const Melody melody = ReadMelody(source);
        Require(!melody.notes.empty());
    } catch (const Failure&) {
    } catch (const UsageError&) {
    }
    return 0;
}

}  // namespace mlh::cli
