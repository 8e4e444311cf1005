// Little melodies for the tests of the melody rooms, made up here.
#pragma once

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "choir/melody/MelodyNote.h"

namespace mlh::choir {

// "C4 1 D4 1 r 2": pitches with their lengths in quarters, as they follow each other.
inline std::vector<MelodyNote> Line(const std::vector<std::pair<int, double>>& notes, double quarter = 1.0) {
    std::vector<MelodyNote> line;
    double at = 0.0;
    for (const auto& [pitch, length] : notes) {
        if (pitch > 0) {
            line.push_back({at, at + length * quarter, static_cast<double>(pitch)});
        }
        at += length * quarter;
    }
    return line;
}

// Sixteen bars of four quarters in C major, bar lines at 0, 4, 8 ...; broken chords with passing notes.
inline std::vector<std::pair<int, double>> MajorTune() {
    const std::vector<std::pair<int, double>> a = {
        {60, 1},   {64, 1}, {67, 1}, {64, 1}, {65, 1}, {69, 1}, {72, 1},   {69, 1},   {67, 1.5},
        {65, 0.5}, {64, 1}, {60, 1}, {62, 1}, {67, 1}, {71, 2}, {72, 1.5}, {71, 0.5}, {72, 1},
        {67, 1},   {69, 1}, {65, 1}, {69, 2}, {67, 1}, {62, 1}, {65, 1},   {71, 1},   {72, 4}};
    std::vector<std::pair<int, double>> tune = a;
    tune.insert(tune.end(), a.begin(), a.end());
    return tune;
}

// Eight bars of four quarters in A minor with its major dominant.
inline std::vector<std::pair<int, double>> MinorTune() {
    return {{69, 1}, {72, 1}, {76, 1}, {72, 1}, {74, 1},   {77, 1},   {74, 2}, {76, 1}, {71, 1},
            {68, 1}, {71, 1}, {72, 1}, {69, 1}, {69, 2},   {69, 1},   {72, 1}, {76, 1}, {72, 1},
            {74, 1}, {77, 1}, {74, 2}, {76, 1}, {74, 0.5}, {71, 0.5}, {68, 1}, {64, 1}, {69, 4}};
}

inline std::vector<MelodyNote> Transposed(std::vector<MelodyNote> notes, double semitones) {
    for (MelodyNote& note : notes) {
        note.pitch += semitones;
    }
    return notes;
}

// Sung by somebody: seconds, onsets off by `jitter` [s], a tempo that swings by `drift` around 2 quarters a
// second within `wave` seconds.
inline std::vector<MelodyNote> Sung(const std::vector<MelodyNote>& quarters, double jitter, double drift,
                                    double wave = 25.0, unsigned seed = 1) {
    std::mt19937 random(seed);
    const auto seconds = [&](double q) {
        const double t = q * 0.5;
        return t - drift * wave / 6.283185307179586 * (std::cos(6.283185307179586 * t / wave) - 1.0);
    };
    std::vector<MelodyNote> sung;
    for (const MelodyNote& note : quarters) {
        // the sum of four dice is near enough to a bell, and the same everywhere
        double bell = 0.0;
        for (int k = 0; k < 4; ++k) {
            bell += static_cast<double>(random() % 10001) / 10000.0 - 0.5;
        }
        sung.push_back({seconds(note.start) + jitter * bell * 1.7, seconds(note.end), note.pitch});
    }
    return OneLine(sung);
}

}  // namespace mlh::choir
