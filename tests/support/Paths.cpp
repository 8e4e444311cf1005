#include "support/Paths.h"

#include <cstdlib>

namespace mlh {

namespace {

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

std::string VoicesDir() { return Environment("MLH_VOICES_DIR"); }
std::string MelodiesDir() { return Environment("MLH_MELODIES_DIR"); }
std::string SourceDir() { return MLH_SOURCE_DIR; }
std::string BinaryDir() { return MLH_BINARY_DIR; }

}  // namespace mlh
