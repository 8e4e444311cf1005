// How alike the processor levels are: marks, notes and voices of recordings at each level against level 0.
// Used by scripts/compare-levels.
//
//     tool_CompareLevels [--seconds N] [--only text] folder
//
// A line for each recording and level:
//   marks    share of the marks that stand at the same sample and are voiced alike
//   notes    share of the notes that have one of the same frames, within 0.05 semitones
//   grains   share of the output of three voices, a third up, a fourth down and an octave down, that is made
//            of the same grains at the same places
//   dB       the largest difference of two samples there, below the loudest sample of the voice
//   first    where the first mark differs [s]
// Rounding differs between levels, so that two candidates that are all but equal can change places. Ends with
// 1 where fewer than 99.9 % of all marks, or not all of the notes, are the same at a level.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "mlh/analysis.h"
#include "synthesis/PitchSynthesizerImpl.h"
#include "validation/AudioFiles.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

constexpr int32_t kLevels[] = {0, 3, 4, 5, 6};
constexpr float kMoves[] = {4.0f, -5.0f, -12.0f};  // [semitones]
constexpr float kSameNote = 0.05f;                 // [semitones]
constexpr double kMarksWanted = 0.999;

// The grain that the newest samples of a voice come from.
struct Grain {
    int32_t source;  // sample of its mark
    int32_t period;  // its right width
    bool operator==(const Grain&) const = default;
};

struct Voice {
    std::vector<float> samples;
    std::vector<Grain> grains;  // for each sample
};

struct Found {
    std::vector<PitchMark> marks;
    std::vector<AnalysisNote> notes;
    std::vector<Voice> voices;
};

// Sample by sample, since a block of one sample begins one grain at most.
Voice Render(Performance& performance, int32_t v) {
    auto& synthesizer = static_cast<CMELODORPitchSynthesizer&>(performance.own().GetSynthesizer(v));
    const auto marks = performance.Marks();
    std::vector<float> row(performance.lead().size());
    std::vector<float*> out;
    for (float& sample : row) {
        out.push_back(&sample);
    }
    Voice voice;
    for (int32_t i = 0; i < performance.frames(); ++i) {
        synthesizer.Process(out.data(), 1);
        const auto mark = static_cast<std::size_t>(synthesizer.GetCurrentMarkIndex());
        voice.samples.push_back(row[0]);
        voice.grains.push_back({marks[mark].position, synthesizer.GetCurrentPeriod()});
    }
    return voice;
}

Found Analyse(const Recording& recording) {
    Performance performance(recording);
    Found found{performance.Marks(), performance.Notes(), {}};
    performance.SingMoved({kMoves[0], kMoves[1], kMoves[2]});
    for (int32_t v = 0; v < static_cast<int32_t>(std::size(kMoves)); ++v) {
        found.voices.push_back(Render(performance, v));
    }
    return found;
}

template <class T>
void Write(std::FILE* file, const std::vector<T>& values) {
    const std::size_t count = values.size();
    std::fwrite(&count, sizeof count, 1, file);
    std::fwrite(values.data(), sizeof(T), count, file);
}

template <class T>
bool Read(std::FILE* file, std::vector<T>& values) {
    std::size_t count = 0;
    if (std::fread(&count, sizeof count, 1, file) != 1) {
        return false;
    }
    values.resize(count);
    return std::fread(values.data(), sizeof(T), count, file) == count;
}

// In a process of its own, since a process can only go down with its level. False where the machine lacks it.
bool AnalyseAt(int32_t level, const Recording& recording, Found& found) {
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) {
        return false;
    }
    const pid_t child = fork();
    if (child == 0) {
        mlh::LimitProcessorLevel(level);
        if (mlh::GetProcessorLevel() != level) {
            _exit(1);
        }
        const Found own = Analyse(recording);
        Write(file, own.marks);
        Write(file, own.notes);
        for (const Voice& voice : own.voices) {
            Write(file, voice.samples);
            Write(file, voice.grains);
        }
        std::fflush(file);
        _exit(0);
    }
    int status = 1;
    waitpid(child, &status, 0);
    std::rewind(file);
    bool complete = status == 0 && Read(file, found.marks) && Read(file, found.notes);
    found.voices.resize(std::size(kMoves));
    for (Voice& voice : found.voices) {
        complete = complete && Read(file, voice.samples) && Read(file, voice.grains);
    }
    std::fclose(file);
    return complete;
}

struct Alike {
    std::size_t marks = 0, sameMarks = 0;
    std::size_t notes = 0, sameNotes = 0;
    std::size_t samples = 0, sameGrains = 0;
    double difference = 0.0;  // of samples, where the loudest is 1
    double first = -1.0;      // [s]
    const PitchMark* one = nullptr;
    const PitchMark* other = nullptr;
};

void CompareMarks(const Found& a, const Found& b, double rate, Alike& alike) {
    const auto before = [](const PitchMark& mark, int32_t position) { return mark.position < position; };
    for (std::size_t i = 0; i < a.marks.size(); ++i) {
        const PitchMark& mark = a.marks[i];
        const auto at = std::lower_bound(b.marks.begin(), b.marks.end(), mark.position, before);
        const bool same = at != b.marks.end() && at->position == mark.position &&
                          (at->harmonicity == 0.0f) == (mark.harmonicity == 0.0f);
        alike.sameMarks += same ? 1 : 0;
        if (!same && alike.first < 0.0) {
            alike.first = mark.position / rate;
            alike.one = &mark;
            alike.other = at != b.marks.end() ? &*at : &b.marks.back();
        }
    }
    alike.marks = std::max(a.marks.size(), b.marks.size());
}

void CompareNotes(const Found& a, const Found& b, Alike& alike) {
    for (const AnalysisNote& note : a.notes) {
        alike.sameNotes += std::any_of(b.notes.begin(), b.notes.end(), [&](const AnalysisNote& other) {
            return other.startPosition == note.startPosition && other.endPosition == note.endPosition &&
                   std::fabs(other.pitch - note.pitch) <= kSameNote;
        });
    }
    alike.notes = std::max(a.notes.size(), b.notes.size());
}

// A sample is made of up to two grains, the newest and the one before; and the samples of a grain stand in
// the same place where it begins at the same sample.
void CompareVoice(const Voice& a, const Voice& b, Alike& alike) {
    float loudest = 1e-9f;
    for (const float sample : a.samples) {
        loudest = std::max(loudest, std::fabs(sample));
    }
    int32_t agreed = 0;  // grains in a row, as of the last beginning
    for (std::size_t i = 0; i < a.samples.size(); ++i) {
        const bool beginsA = i == 0 || !(a.grains[i] == a.grains[i - 1]);
        const bool beginsB = i == 0 || !(b.grains[i] == b.grains[i - 1]);
        if (!(a.grains[i] == b.grains[i]) || beginsA != beginsB) {
            agreed = 0;
        } else if (beginsA) {
            ++agreed;
        }
        ++alike.samples;
        if (agreed < 3) {
            continue;
        }
        ++alike.sameGrains;
        const double difference = std::fabs(static_cast<double>(a.samples[i]) - b.samples[i]);
        alike.difference = std::max(alike.difference, difference / loudest);
    }
}

Alike Compare(const Found& a, const Found& b, double rate) {
    Alike alike;
    CompareMarks(a, b, rate, alike);
    CompareNotes(a, b, alike);
    for (std::size_t v = 0; v < a.voices.size(); ++v) {
        CompareVoice(a.voices[v], b.voices[v], alike);
    }
    return alike;
}

double Share(std::size_t part, std::size_t whole) {
    return whole == 0 ? 1.0 : static_cast<double>(part) / static_cast<double>(whole);
}

void Print(const std::string& name, int32_t level, const Alike& alike) {
    std::printf("%-34s %5d  %6zu %8.4f  %4zu %8.3f  %8.3f %8.1f", name.c_str(), level, alike.marks,
                100.0 * Share(alike.sameMarks, alike.marks), alike.notes,
                100.0 * Share(alike.sameNotes, alike.notes), 100.0 * Share(alike.sameGrains, alike.samples),
                alike.difference > 0.0 ? 20.0 * std::log10(alike.difference) : -999.0);
    if (alike.one != nullptr) {
        std::printf("  %7.3f: at %d, period %g, %.7g dB; %d, %g, %.7g dB", alike.first, alike.one->position,
                    static_cast<double>(alike.one->period), static_cast<double>(alike.one->harmonicity),
                    alike.other->position, static_cast<double>(alike.other->period),
                    static_cast<double>(alike.other->harmonicity));
    }
    std::printf("\n");
    std::fflush(stdout);
}

void Add(Alike& sum, const Alike& one) {
    sum.marks += one.marks;
    sum.sameMarks += one.sameMarks;
    sum.notes += one.notes;
    sum.sameNotes += one.sameNotes;
    sum.samples += one.samples;
    sum.sameGrains += one.sameGrains;
    sum.difference = std::max(sum.difference, one.difference);
}

}  // namespace

}  // namespace mlh

using namespace mlh;

int main(int argc, char** argv) {
    double seconds = 1e9;
    std::string only, folder;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
            seconds = std::atof(argv[++i]);
        } else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
            only = argv[++i];
        } else {
            folder = argv[i];
        }
    }
    std::string why;
    const auto names = ListAudioFiles(folder, why);
    if (names.empty()) {
        std::printf("skipped: %s\n", why.c_str());
        return 0;
    }
    std::printf("%-34s level   marks   same %%  notes  same %%  grains %%       dB  first difference [s]\n",
                "recording");
    constexpr std::size_t kCount = std::size(kLevels);
    Alike sums[kCount];
    for (const std::string& name : names) {
        if (name.find(only) == std::string::npos) {
            continue;
        }
        Recording recording;
        if (!LoadAudioFile(folder, name, seconds, recording, why)) {
            std::printf("%s\n", why.c_str());
            continue;
        }
        Found plain;
        if (!AnalyseAt(kLevels[0], recording, plain)) {
            return 2;
        }
        for (std::size_t l = 1; l < kCount; ++l) {
            Found found;
            if (!AnalyseAt(kLevels[l], recording, found)) {
                continue;
            }
            const Alike alike = Compare(plain, found, recording.sampleRate);
            Print(name, kLevels[l], alike);
            Add(sums[l], alike);
        }
    }
    bool enough = true;
    for (std::size_t l = 1; l < kCount; ++l) {
        if (sums[l].marks == 0) {
            continue;
        }
        Print("all", kLevels[l], sums[l]);
        enough = enough && Share(sums[l].sameMarks, sums[l].marks) >= kMarksWanted &&
                 sums[l].sameNotes == sums[l].notes;
    }
    return enough ? 0 : 1;
}
