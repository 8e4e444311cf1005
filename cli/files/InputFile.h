// Files that are read whole.
#pragma once

#include <fstream>
#include <string>

namespace mlh::cli {

// Throws for what is no file to be read: UsageError for "-", Failure for a folder.
void CheckInput(const std::string& path);

// Whether it is a named pipe, or what the shell makes of <(...): it can be read once, from front to end.
bool IsPipe(const std::string& path);

// Opens a file for reading. Throws as CheckInput does, and Failure, with the reason, where it cannot be read.
std::ifstream OpenInput(const std::string& path);

// All bytes of a file. Throws as OpenInput does.
std::string ReadFile(const std::string& path);

}  // namespace mlh::cli
