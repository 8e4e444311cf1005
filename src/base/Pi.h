// Pi in the two widths that the library computes in.
#pragma once

namespace mlh {

inline constexpr double kPi = 3.14159265358979323846;
// The float nearest to pi. Its double and its half are exact, so angles in 32 bits may use any of the three.
inline constexpr float kPi32 = 3.14159265358979323846f;

}  // namespace mlh
