// A progress bar for long work.
#pragma once

#include <chrono>
#include <string>

namespace mlh::cli {

// Draws on standard error, only if that is a terminal, and only once the work has taken a second. The line is
// wiped when the work is done.
class Progress {
  public:
    explicit Progress(std::string label, bool quiet = false);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Update(double share);  // 0 to 1
    void Finish();              // wipes the line

  private:
    std::string label_;
    bool enabled_;
    bool drawn_ = false;
    int percent_ = -1;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace mlh::cli
