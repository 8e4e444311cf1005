// Output that appears whole or not at all.
#pragma once

#include <string>
#include <vector>

#include "Errors.h"

namespace mlh::cli {

// A file under a temporary name beside its place, which takes its place when it is complete. Left alone, or
// interrupted by Ctrl-C, nothing is left. A link stays one; a device or a pipe is written to as it is.
class OutputFile {
  public:
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Where to write.
    const std::string& temporaryPath() const { return temporaryPath_; }
    // Moves the finished file to its place. Throws Failure.
    void Commit();
    // That writing failed, with the system's reason if it has given one since this file was opened.
    Failure CannotWrite() const;

  private:
    std::string path_;
    bool inPlace_;
    std::string temporaryPath_;
    bool committed_ = false;
};

// A pipe or another device: what was written there cannot be written again.
bool IsWrittenOnce(const std::string& path);

// Called before any work is done: refuses outputs that cannot be written or that would overwrite an input or
// each other. Empty names are passed over. Throws UsageError or Failure.
void CheckOutputs(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs);

// Writes a text in one go.
void WriteTextFile(const std::string& path, const std::string& text);

// Removes what is unfinished when the process is interrupted or terminated; call once, early.
void RemoveUnfinishedFilesOnSignals();

// To be called now and then while an output file is open for long. Throws Failure.
void ThrowIfInterrupted();

}  // namespace mlh::cli
