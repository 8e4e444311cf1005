// A fingerprint of a constant table, for tests that guard it against slips of the hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// 64-bit FNV-1a over the bytes of an array of plain numbers.
template <class Table>
uint64_t Checksum(const Table& table) {
    static_assert(std::is_arithmetic_v<std::remove_all_extents_t<Table>>, "padding would be hashed as well");
    unsigned char bytes[sizeof table];
    std::memcpy(bytes, &table, sizeof table);
    uint64_t hash = 0xcbf29ce484222325u;
    for (const unsigned char byte : bytes) {
        hash = (hash ^ byte) * 0x100000001b3u;
    }
    return hash;
}
