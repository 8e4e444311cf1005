// Melody tables of any content, and melodies of any notes, set in every style.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Errors.h"
#include "choir/document/Document.h"
#include "choir/score/Arrangement.h"
#include "files/MelodyFile.h"
#include "files/MidiFile.h"
#include "files/MusicXml.h"
#include "fuzz/Bytes.h"
#include "mlh/arrange.h"

namespace mlh::cli {

namespace {

// A file of this process's own, gone afterwards.
struct TemporaryFile {
    explicit TemporaryFile(const std::string& name)
        : path((std::filesystem::temp_directory_path() / ("mlh-fuzz-" + std::to_string(getpid()) + name))
                   .string()) {}
    ~TemporaryFile() { std::remove(path.c_str()); }
    std::string path;
};

mlh::ArrangeSettings Settings(Bytes& bytes) {
    mlh::ArrangeSettings settings;
    settings.style = static_cast<mlh::ArrangeStyle>(bytes.Below(7));
    settings.key = bytes.Below(12);
    settings.scale = bytes.Below(14);
    settings.leadRow = bytes.Below(4);
    settings.spacing = bytes.Below(3);
    settings.voices = 2 + bytes.Below(3);
    settings.above = bytes.Below(4);
    settings.spread = static_cast<float>(bytes.Byte()) / 255.0f;
    settings.variant = bytes.Below(10);
    for (int32_t& interval : settings.intervals) {
        interval = bytes.Integer();
    }
    settings.interval = bytes.Integer();
    return settings;
}

void SetTable(Bytes& bytes) {
    static constexpr const char* kStyles[] = {"four-part", "chords", "intervals", "block",
                                              "fourths",   "fixed",  "double"};
    const mlh::ArrangeSettings settings = Settings(bytes);
    try {
        const Melody melody = ParseMelodyTable(bytes.Text(), "table");
        Require(!melody.notes.empty());
        const MelodyKey key = melody.key ? *melody.key : EstimateKey(melody.notes);
        if (melody.notes.size() > 60) {
            return;  // takes its time, and shows nothing new
        }
        const Arrangement arrangement =
            ArrangeMelody(melody, key, settings, kStyles[static_cast<int>(settings.style)]);
        for (const ArrangedVoice& voice : arrangement.voices) {
            Require(voice.pitches.size() == melody.notes.size());
        }
        Require(!ArrangementTable(arrangement).empty());
        Require(!ScoreDocument(arrangement).empty());
        ToPerformance(arrangement);
        const TemporaryFile midi(".mid"), score(".musicxml");
        WriteMidiFile(midi.path, ToSong(ToScore(arrangement)));
        WriteMusicXml(score.path, ToScore(arrangement));
        Require(ReadMidiFile(midi.path).tracks.size() <= 4);
        choir::Settings wanted;
        wanted.style = settings.leadRow % 2 == 0 ? Style::Choir : Style::FourPart;
        wanted.chordsFrom = choir::ChordSource::Tracker;
        wanted.leadRow = settings.leadRow;
        wanted.voices = settings.voices;
        wanted.above = settings.above;
        const choir::Score planned = PlanScore(melody, wanted);
        Require(planned.voices.size() <= 4 && !ScoreTable(planned).empty() && !ScoreAsCsv(planned).empty());
        WriteMidiFile(midi.path, ToSong(planned));
        WriteMusicXml(score.path, planned);
    } catch (const Failure&) {
    } catch (const UsageError&) {
    }
}

void SetNotes(Bytes& bytes) {
    mlh::ArrangeSettings settings = Settings(bytes);
    if (bytes.Bit()) {
        settings.style = static_cast<mlh::ArrangeStyle>(bytes.Integer());
        settings.key = bytes.Integer();
        settings.scale = bytes.Integer();
        settings.leadRow = bytes.Integer();
        settings.spacing = bytes.Integer();
        settings.voices = bytes.Integer();
        settings.above = bytes.Integer();
        settings.spread = bytes.Real(1.0f);
        settings.variant = bytes.Integer();
    }
    std::vector<mlh::ArrangeNote> melody;
    while (!bytes.Empty() && melody.size() < 60) {
        mlh::ArrangeNote note;
        note.pitch = bytes.Below(8) == 7 ? bytes.Integer() : 48 + bytes.Below(36);
        note.start = melody.empty() ? 0.0f : melody.back().end;
        if (bytes.Below(8) == 7) {
            note.start = bytes.Real(60.0f);
        }
        note.end = bytes.Below(8) == 7 ? bytes.Real(60.0f)
                                       : note.start + 0.25f * static_cast<float>(1 + bytes.Below(8));
        if (bytes.Bit()) {
            note.chord = {bytes.Below(12), bytes.Below(6), 9 + bytes.Below(8)};
        }
        if (bytes.Below(16) == 15) {
            note.chord = {bytes.Integer(), bytes.Integer(), bytes.Integer()};
        }
        melody.push_back(note);
    }
    const auto arranged = mlh::Arrange(melody, settings);
    Require(arranged.empty() || arranged.size() == melody.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    if (bytes.Bit()) {
        SetTable(bytes);
    } else {
        SetNotes(bytes);
    }
    return 0;
}

}  // namespace mlh::cli
