// Fingerprints of everything that the library computes: the same input must give the same bits, whatever the
// build and whatever ran before. Used by scripts/compare-builds.
//
//     tool_Fingerprint [--level N] [folder]
//
// Songs of the synthetic singer and, with a folder, the first seconds of its WAV files. A line for each:
// hashes of marks, frames, notes, chords, and of the voices without chords, with chords and in the manual
// mode. All of it is done twice, the second time in another order; ends with 1 where that makes a difference.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "mlh/analysis.h"
#include "support/Checksum.h"
#include "support/Recordings.h"
#include "validation/Performance.h"

namespace mlh {

namespace {

constexpr double kSeconds = 3.0;  // of each recording

struct Lead {
    std::string name;
    Rows rows;
    int32_t rate;
};

std::vector<Lead> Songs() {
    std::vector<Lead> leads;
    for (const double rate : {16000.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        SingerSettings settings;
        settings.sampleRate = rate;
        settings.vibratoDepth = 0.4;
        settings.roomNoise = 0.001;
        const std::vector<SungNote> score = {{50, 0.5, 'a', 's'}, {53, 0.4, 'e'},      {55, 0.6, 'i', 't'},
                                             {0, 0.2, kRest},     {62, 0.5, 'o', 'm'}, {60, 0.7, 'u', 'h'}};
        const SungRecording song = Sing(score, settings);
        leads.push_back(
            {"singer at " + std::to_string(static_cast<int>(rate)) + " Hz", {song.samples}, song.sampleRate});
    }
    leads.push_back({"stereo singer", {leads[2].rows[0], leads[2].rows[0]}, leads[2].rate});
    for (float& sample : leads.back().rows[1]) {
        sample *= 0.5f;
    }
    return leads;
}

void AddRecordings(const std::string& folder, std::vector<Lead>& leads) {
    std::string why;
    for (const std::string& name : ListRecordings(folder, why)) {
        Recording recording;
        if (!LoadRecording(folder, name, recording, why)) {
            continue;
        }
        Rows rows = RowsOf(recording);
        const auto frames = static_cast<std::size_t>(kSeconds * recording.sampleRate);
        for (auto& row : rows) {
            row.resize(std::min(row.size(), frames));
        }
        leads.push_back({name, std::move(rows), recording.sampleRate});
    }
}

std::string HashOfVoices(Performance& performance) {
    Hash hash;
    for (const auto& row : performance.Render()) {
        hash.AddAll(row);
    }
    return hash.Text();
}

std::string Fingerprint(const Lead& lead) {
    Performance found(lead.rows, lead.rate);
    Hash marks, frames, notes, chords;
    marks.AddAll(found.Marks());
    notes.AddAll(found.Notes());
    const AnalysisFrame* records = nullptr;
    const int32_t count = found.own().GetAnalysis().GetFrames(&records);
    frames.Add(records, static_cast<std::size_t>(count) * sizeof(AnalysisFrame));
    const mlh::Analysis analysis = mlh::GetAnalysis(found.addOn());
    chords.Add(&analysis.key, sizeof analysis.key);
    chords.Add(&analysis.tuning, sizeof analysis.tuning);
    for (const auto& chord : analysis.chords) {
        const int32_t codes[] = {chord.root, chord.triadType, chord.seventhType};
        chords.Add(codes, sizeof codes);
    }
    const std::string alone = HashOfVoices(found);

    using AddOnIf = MalleoTuneHarmonyAddOnIf;
    Performance chorded(lead.rows, lead.rate);
    chorded.addOn().SetHarmonyMode(1);
    chorded.addOn().SetChordVector({AddOnIf::ChordElement(0.3f, 60, 64, 67),
                                    AddOnIf::ChordElement(0.9f, 65, 69, 72),
                                    AddOnIf::ChordElement(1.6f, 67, 71, 74, 77)});
    chorded.addOn().Update();
    const std::string withChords = HashOfVoices(chorded);

    Performance manual(lead.rows, lead.rate);
    manual.SingMoved({0.0f, 3.3f, -5.1f, 12.0f});
    manual.addOn().SetVoiceParameter(1, 0, 2.0f);   // formants up
    manual.addOn().SetVoiceParameter(2, 2, 0.25f);  // little of the singer's movement
    return marks.Text() + " " + frames.Text() + " " + notes.Text() + " " + chords.Text() + " " + alone + " " +
           withChords + " " + HashOfVoices(manual);
}

}  // namespace

}  // namespace mlh

using namespace mlh;

int main(int argc, char** argv) {
    std::vector<Lead> leads = Songs();
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--level") == 0 && i + 1 < argc) {
            mlh::LimitProcessorLevel(std::atoi(argv[++i]));
        } else {
            AddRecordings(argv[i], leads);
        }
    }
    std::printf("# level %d; marks frames notes chords voices(alone chords manual) lead\n",
                mlh::GetProcessorLevel());
    std::map<std::string, std::string> prints;
    for (const Lead& lead : leads) {
        prints[lead.name] = Fingerprint(lead);
        std::printf("%s %s\n", prints[lead.name].c_str(), lead.name.c_str());
    }
    int differences = 0;
    for (auto lead = leads.rbegin(); lead != leads.rend(); ++lead) {
        const std::string again = Fingerprint(*lead);
        if (again == prints[lead->name]) {
            continue;
        }
        std::printf("%s %s, the second time\n", again.c_str(), lead->name.c_str());
        ++differences;
    }
    return differences > 0 ? 1 : 0;
}
