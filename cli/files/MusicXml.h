// Scores as sheet music.
#pragma once

#include <string>

#include "Errors.h"
#include "choir/score/Score.h"

namespace mlh::cli {

// Writes a MusicXML 4.0 score: a part for each voice, chord symbols above the first, key, metre and tempo of
// the melody, ties over bar lines, rests. What was sung is cut into notes that can be read at sight. The file
// appears whole or not at all.
void WriteMusicXml(const std::string& path, const Score& score);

}  // namespace mlh::cli
