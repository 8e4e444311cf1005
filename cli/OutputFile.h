// Output that appears whole or not at all.
#pragma once

#include <string>

// A file under a temporary name beside its place, which takes its place when it is complete. Left alone, or
// interrupted by Ctrl-C, nothing stays behind.
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

  private:
    std::string path_;
    std::string temporaryPath_;
    bool committed_ = false;
};

// Writes a text in one go.
void WriteTextFile(const std::string& path, const std::string& text);

// Removes what is unfinished when the process is interrupted or terminated; call once, early.
void RemoveUnfinishedFilesOnSignals();

// To be called now and then while an output file is open for long. Throws Failure.
void ThrowIfInterrupted();
