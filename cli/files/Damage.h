// What is wrong with a recording, in words: what is missing, what is no sound, what was recorded too loud.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "files/AudioFile.h"

namespace mlh::cli {

// How many times the audio that a WAV or AIFF file has it promises, by the audio library's account of its
// header: above 1 where it was cut off; 1 where the header leaves the length open, as streams do.
double PromisedShare(const std::string& headerAccount);

// Samples that are not numbers or infinite become silence; a line that counts them is added.
void SilenceNonNumbers(Audio& audio, std::vector<std::string>& damage);

// Three or more equal samples in a row at full scale are a flat top. Much of that is damage, a little is
// worth a warning.
void FindClipping(const Audio& audio, std::vector<std::string>& damage, std::vector<std::string>& warnings);

// Keeps what a library writes to standard error away from the user while it lives. Not for threads.
class QuietStandardError {
  public:
    QuietStandardError();
    ~QuietStandardError();
    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

  private:
    int saved_ = -1;
};

}  // namespace mlh::cli
