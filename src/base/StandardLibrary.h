// Parts of the C++20 standard library that some compilers' libraries lack: an older libc++, as the browser's
// compiler brings it, has neither std::bit_cast nor std::make_unique_for_overwrite nor std::strong_order of
// floating-point values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

namespace mlh {

// std::bit_cast: a value of another type with the same bits.
template <class To, class From>
To BitCast(const From& from) {
    static_assert(sizeof(To) == sizeof(From));
    static_assert(std::is_trivially_copyable_v<To> && std::is_trivially_copyable_v<From>);
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

// std::make_unique_for_overwrite of an array: its elements are not cleared.
template <class Array>
std::unique_ptr<Array> MakeUniqueForOverwrite(std::size_t count) {
    static_assert(std::is_unbounded_array_v<Array>);
    return std::unique_ptr<Array>(new std::remove_extent_t<Array>[count]);
}

// std::strong_order(a, b) < 0 of floats, the total order of IEEE 754: unlike <, it puts -0 before 0 and every
// NaN at one of the two ends, so that sorting is defined for all values.
inline bool IsBeforeInTotalOrder(float a, float b) {
    const auto rank = [](float x) {
        const int32_t bits = BitCast<int32_t>(x);
        return bits < 0 ? bits ^ INT32_MAX : bits;
    };
    return rank(a) < rank(b);
}

}  // namespace mlh
