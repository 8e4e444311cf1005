// Where tests find what lies outside of them.
#pragma once

#include <string>

namespace mlh {

// Folders of real recordings and tunes, as the environment variables MLH_VOICES_DIR and MLH_MELODIES_DIR name
// them. Empty where they are not set: the tests that need them skip.
std::string VoicesDir();
std::string MelodiesDir();

// The source tree, and the folder of the build's programs as they would call each other.
std::string SourceDir();
std::string BinaryDir();

}  // namespace mlh
