// The picture of a performance.
#pragma once

#include <string>

#include "Errors.h"
#include "choir/score/Performance.h"

namespace mlh::cli {

// Throws UsageError unless `path` is empty or the name of a picture.
void CheckPicture(const std::string& path);

// Draws a piano roll, SVG or PNG by the suffix of `path`: a note axis with the keys of a piano, time below,
// the detected pitch curve over the notes of the lead, the notes of each voice in a colour of its own with a
// legend, chord names along the top, title and key above, and, where the performance has them, dashed lines
// where phrases start and the functions of the harmony along the foot. Throws UsageError for another suffix,
// Failure when it cannot be written. The file appears whole or not at all.
void DrawPicture(const Performance& performance, const std::string& path);

}  // namespace mlh::cli
