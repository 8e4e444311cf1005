// How much of the beginning of a sequence comes again at each of its places.
//
// The obvious way compares the beginning with every place, which takes the square of the length where the
// sequence repeats one thing. But a stretch already known to equal the beginning shows, by what is known of
// the beginning, what lies within it, so that no entry need be compared twice (the Z algorithm; D. Gusfield,
// Algorithms on Strings, Trees and Sequences, 1997, section 1.3).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace mlh::ChoiralizerV2 {

// For each place i of a sequence of `length` entries: how many entries from i on equal those from 0 on; at
// place 0 the length. `same(i, j)` says whether entries i and j are equal. What is equal to a third must be
// equal; an entry need not equal itself (NaN does not). `same` is asked less than 2 * length times.
template <class Same>
std::vector<size_t> CommonPrefixes(size_t length, Same same) {
    std::vector<size_t> prefix(length, length);
    size_t known = 0;  // the stretch from `known` to `knownEnd` equals the beginning; it ends furthest on
    size_t knownEnd = 0;
    for (size_t i = 1; i < length; ++i) {
        size_t n = i < knownEnd ? std::min(prefix[i - known], knownEnd - i) : 0;
        if (i + n >= knownEnd) {
            while (i + n < length && same(n, i + n)) {
                ++n;
            }
            known = i;
            knownEnd = i + n;
        }
        prefix[i] = n;
    }
    return prefix;
}

}  // namespace mlh::ChoiralizerV2
