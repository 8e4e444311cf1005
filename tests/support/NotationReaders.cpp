#include "support/NotationReaders.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "support/Shell.h"

namespace mlh {

namespace {

constexpr int kPerQuarter = 24;

bool HaveProgram(const std::string& name) { return RunShell("command -v " + name).status == 0; }

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

// "track, time, type, values ..."
struct MidiLine {
    int track = 0;
    int time = 0;
    std::string type;
    std::vector<int> values;
};

MidiLine ParseLine(const std::string& text) {
    MidiLine line;
    std::istringstream cells(text);
    char comma;
    cells >> line.track >> comma >> line.time >> comma;
    cells >> std::ws;
    std::getline(cells, line.type, ',');
    for (int value; cells >> value; cells >> comma) {
        line.values.push_back(value);
    }
    return line;
}

// One part's events: "onset note pitch notation length ...", "onset tie"; times in whole notes.
Part PartOfEvents(const std::string& path) {
    Part part;
    std::ifstream file(path);
    bool tied = false;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        double onset = 0.0;
        double length = 0.0;
        int pitch = 0;
        std::string kind, notation;
        words >> onset >> kind;
        if (kind == "tie") {
            tied = true;
        }
        if (kind != "note" || !(words >> pitch >> notation >> length)) {
            continue;
        }
        const auto at = [](double wholes) { return static_cast<int>(std::lround(wholes * 4 * kPerQuarter)); };
        const Struck note{at(onset), at(onset + length), pitch};
        if (tied && !part.empty() && part.back().pitch == pitch && part.back().end == note.start) {
            part.back().end = note.end;
        } else {
            part.push_back(note);
        }
        tied = false;
    }
    return part;
}

}  // namespace

bool HaveMidicsv() { return HaveProgram("midicsv"); }
bool HaveLilyPond() { return HaveProgram("lilypond") && HaveProgram("musicxml2ly"); }

std::vector<Part> PartsOfMidi(const std::string& path) {
    const ShellResult read = RunShell("midicsv " + Quoted(path));
    if (read.status != 0) {
        return {};
    }
    std::map<int, Part> parts;
    std::map<int, int> started;
    int ticks = kPerQuarter;
    std::istringstream lines(read.output);
    for (std::string text; std::getline(lines, text);) {
        const MidiLine line = ParseLine(text);
        if (line.type == "Header") {
            ticks = line.values.at(2);
        }
        const bool on = line.type == "Note_on_c" && line.values.at(2) > 0;
        const bool off = !on && (line.type == "Note_on_c" || line.type == "Note_off_c");
        if (!on && !off) {
            continue;
        }
        const int time = static_cast<int>(std::lround(1.0 * line.time * kPerQuarter / ticks));
        const int pitch = line.values.at(1);
        if (on) {
            started[pitch] = time;
        } else {
            parts[line.track].push_back({started.at(pitch), time, pitch});
        }
    }
    std::vector<Part> result;
    for (auto& [track, part] : parts) {
        result.push_back(std::move(part));
    }
    return result;
}

std::vector<std::vector<PlayedNote>> PlayedByMidi(const std::string& path) {
    const ShellResult read = RunShell("midicsv " + Quoted(path));
    std::map<int, std::vector<PlayedNote>> parts;
    std::map<int, double> range;                    // of the wheel, by channel
    std::map<int, double> wheel;                    // -1 to 1, by channel
    std::map<int, std::map<int, int>> controllers;  // by channel
    std::map<int, PlayedNote> sounding;             // by key
    double ticks = kPerQuarter;
    std::istringstream lines(read.output);
    for (std::string text; std::getline(lines, text);) {
        const MidiLine line = ParseLine(text);
        if (line.type == "Header") {
            ticks = line.values.at(2);
        } else if (line.type == "Control_c") {
            auto& set = controllers[line.values.at(0)];
            set[line.values.at(1)] = line.values.at(2);
            if (line.values[1] == 6 && set[101] == 0 && set[100] == 0) {
                range[line.values[0]] = line.values[2];
            }
        } else if (line.type == "Pitch_bend_c") {
            wheel[line.values.at(0)] = (line.values.at(1) - 8192) / 8192.0;
        } else if (line.type == "Note_on_c" && line.values.at(2) > 0) {
            const int channel = line.values[0];
            const double most = range.count(channel) > 0 ? range[channel] : 2.0;
            sounding[line.values[1]] = {line.time / ticks, 0.0, line.values[1] + most * wheel[channel]};
        } else if (line.type == "Note_on_c" || line.type == "Note_off_c") {
            PlayedNote note = sounding.at(line.values.at(1));
            note.end = line.time / ticks;
            parts[line.track].push_back(note);
        }
    }
    std::vector<std::vector<PlayedNote>> result;
    for (auto& [track, part] : parts) {
        result.push_back(std::move(part));
    }
    return result;
}

std::vector<std::string> MarkersOfMidi(const std::string& path) {
    std::vector<std::string> markers;
    std::istringstream lines(RunShell("midicsv " + Quoted(path)).output);
    for (std::string text; std::getline(lines, text);) {
        if (ParseLine(text).type == "Marker_t") {
            const auto quote = text.find('"');
            markers.push_back(text.substr(quote + 1, text.rfind('"') - quote - 1));
        }
    }
    return markers;
}

std::vector<std::vector<Part>> PartsOfScores(const std::vector<Score>& scores) {
    namespace fs = std::filesystem;
    if (scores.empty()) {
        return {};
    }
    const fs::path folder = fs::path(scores[0].path).parent_path();
    std::string command = "( cd " + Quoted(folder.string());
    std::string files;
    for (std::size_t s = 0; s < scores.size(); ++s) {
        const std::string file = "score" + std::to_string(s) + ".ly";
        command += " && musicxml2ly -o " + file + " " + Quoted(scores[s].path);
        files += " " + file;
    }
    // Engraves nothing: the listener writes the events of each staff into <score>-<name>.notes.
    command += " && lilypond -s -dno-print-pages -dinclude-settings=event-listener.ly" + files + " )";
    if (RunShell(command).status != 0) {
        return {};
    }
    std::vector<std::vector<Part>> result;
    for (std::size_t s = 0; s < scores.size(); ++s) {
        std::vector<Part> parts;
        for (const std::string& name : scores[s].names) {
            parts.push_back(
                PartOfEvents((folder / ("score" + std::to_string(s) + "-" + name + ".notes")).string()));
        }
        result.push_back(std::move(parts));
    }
    return result;
}

}  // namespace mlh
