// What operations return besides 0, which is success. Every code of the library is here, with its text. They
// come in families, since the same small numbers mean different things to hosts, voices and components.
#pragma once

#include <cstdint>

namespace mlh {

inline constexpr int32_t kSuccess = 0;

struct Code {
    int32_t value;
    const char* text;
};

// The components of dsp, analysis, classic and harmony.
inline constexpr int32_t kOutOfMemory = 1000001;
inline constexpr int32_t kWrongState = 5000002;
inline constexpr int32_t kBadArgument = 5000003;
inline constexpr int32_t kRateTooLow = 5000004;
inline constexpr Code kComponentCodes[] = {
    {kSuccess, "success"},
    {kOutOfMemory, "out of memory"},
    {kWrongState, "too early, too late, or nothing there to work on"},
    {kBadArgument, "an argument is missing or out of range"},
    {kRateTooLow, "the sample rate is too low"},
};

// The table of operations at the levels above 0, which check what they are given.
inline constexpr int32_t kNullVector = -8;
inline constexpr int32_t kBadCount = -6;
inline constexpr Code kOperationCodes[] = {
    {kSuccess, "success"},
    {kNullVector, "a vector is missing"},
    {kBadCount, "a count is below 1"},
};

// The voices of synthesis.
inline constexpr int32_t kVoiceBadArgument = 1;
inline constexpr int32_t kNoSuchSegment = 2;
inline constexpr Code kVoiceCodes[] = {
    {kSuccess, "success"},
    {kVoiceBadArgument, "an argument is missing or out of range"},
    {kNoSuchSegment, "there is no segment of that index"},
};

// The add-on and, with the same numbers in mlh.h, the C interface.
inline constexpr int32_t kAddOnFailed = 1;
inline constexpr int32_t kAddOnBadArgument = 2;
inline constexpr int32_t kAddOnNotReady = 3;
inline constexpr int32_t kAddOnVoiceRefused = 4;
inline constexpr Code kAddOnCodes[] = {
    {kSuccess, "success"},
    {kAddOnFailed, "something inside could not be built, or an edit does not fit"},
    {kAddOnBadArgument, "a value is out of range, or a vector is missing or of the wrong length"},
    {kAddOnNotReady, "there is no instance, or no input assigned yet"},
    {kAddOnVoiceRefused, "a voice refused a parameter"},
};

// The text of a code of that family, null for another number.
template <int32_t count>
constexpr const char* TextOf(const Code (&family)[count], int32_t value) {
    for (const Code& code : family) {
        if (code.value == value) {
            return code.text;
        }
    }
    return nullptr;
}

}  // namespace mlh
