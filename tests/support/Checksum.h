// Fingerprints: of constant tables, which tests guard against slips of the hand, and of results.
#pragma once

#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

namespace mlh {

// 64-bit FNV-1a (Fowler, Noll and Vo).
class Hash {
  public:
    void Add(const void* data, std::size_t bytes) {
        const auto* byte = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < bytes; ++i) {
            value_ = (value_ ^ byte[i]) * 0x100000001b3u;
        }
    }
    template <class T>
    void AddAll(const std::vector<T>& values) {
        static_assert(std::is_trivially_copyable_v<T>);
        Add(values.data(), values.size() * sizeof(T));
    }
    uint64_t Value() const { return value_; }
    std::string Text() const {  // sixteen hexadecimal digits
        char text[17];
        std::snprintf(text, sizeof text, "%016" PRIx64, value_);
        return text;
    }

  private:
    uint64_t value_ = 0xcbf29ce484222325u;
};

// Of the bytes of an array of plain numbers.
template <class Table>
uint64_t Checksum(const Table& table) {
    static_assert(std::is_arithmetic_v<std::remove_all_extents_t<Table>>, "padding would be hashed as well");
    Hash hash;
    hash.Add(&table, sizeof table);
    return hash.Value();
}

}  // namespace mlh
