// A JSON value, as documents are read into and written from.
//
// The JSON library reads and writes what is between the brackets; the tree is our own, since the library's
// takes memory when it is let go of, and a process whose memory has run out would end there. Members keep
// their order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace mlh::choir {

class Json {
  public:
    struct Member;
    class Part;

    Json(std::nullptr_t = nullptr) {}
    Json(const char* text) : value_(std::string(text)) {}
    Json(std::string text) : value_(std::move(text)) {}
    template <class Number, class = std::enable_if_t<std::is_arithmetic_v<Number>>>
    Json(Number number) : value_(Stored(number)) {}
    template <class Item>
    Json(const std::vector<Item>& list) : value_(List(list.begin(), list.end())) {}
    template <class Item, std::size_t kSize>
    Json(const std::array<Item, kSize>& list) : value_(List(list.begin(), list.end())) {}
    // Of pairs of a name and a value an object, else a list.
    Json(std::initializer_list<Part> parts);

    static Json array(std::initializer_list<Part> parts = {});
    static Json object();

    bool is_null() const { return std::holds_alternative<std::nullptr_t>(value_); }
    bool is_boolean() const { return std::holds_alternative<bool>(value_); }
    bool is_number() const;
    bool is_string() const { return std::holds_alternative<std::string>(value_); }
    bool is_array() const { return std::holds_alternative<List>(value_); }
    bool is_object() const { return std::holds_alternative<Object>(value_); }

    // Throw UsageError where the value is of another kind.
    template <class Type>
    Type get() const {
        if constexpr (std::is_same_v<Type, bool>) {
            return Boolean();
        } else if constexpr (std::is_arithmetic_v<Type>) {
            return static_cast<Type>(Number());
        } else {
            return Text();
        }
    }
    template <class Reference>
    Reference get_ref() const {
        return Text();
    }

    // Of a list or an object; of all else 0.
    std::size_t size() const;
    bool empty() const { return size() == 0; }

    // The values of a list; of all else none.
    const Json* begin() const;
    const Json* end() const;
    // The list's item at `index`, which must be there.
    const Json& operator[](std::size_t index) const { return std::get<List>(value_)[index]; }
    Json& operator[](std::size_t index) { return std::get<List>(value_)[index]; }
    // At the end of a list; null becomes one.
    void push_back(Json value);

    // The members of an object; of all else none.
    std::span<const Member> items() const;
    // The value of a member, the last one of that name; null without one.
    const Json* find(const std::string& name) const;
    bool contains(const std::string& name) const { return find(name) != nullptr; }
    Json value(const std::string& name, Json otherwise) const;
    // A member that must be there; of a value that may change it is made where it is missing, and null
    // becomes an object.
    template <class Character>
    const Json& operator[](Character* name) const {
        return At(name);
    }
    template <class Character>
    Json& operator[](Character* name) {
        return Made(name);
    }
    // Each member of the other, added or put in the place of ours.
    void update(const Json& other);

    // Throws UsageError with one line: what is wrong, and where.
    static Json parse(const std::string& text);
    // With two blanks for each level. Bytes that are not UTF-8 are replaced, numbers that are not finite are
    // null.
    std::string Written() const;

  private:
    friend class JsonReader;
    using List = std::vector<Json>;
    using Object = std::vector<Member>;
    using Value = std::variant<std::nullptr_t, bool, int64_t, uint64_t, double, std::string, List, Object>;

    template <class Number>
    static Value Stored(Number number) {
        if constexpr (std::is_same_v<Number, bool>) {
            return Value(number);
        } else if constexpr (std::is_floating_point_v<Number>) {
            return Value(static_cast<double>(number));
        } else if constexpr (std::is_signed_v<Number>) {
            return Value(static_cast<int64_t>(number));
        } else {
            return Value(static_cast<uint64_t>(number));
        }
    }

    bool Boolean() const;
    double Number() const;
    const std::string& Text() const;
    const Json& At(const std::string& name) const;
    Json& Made(const std::string& name);
    void Write(std::size_t depth, std::string& out) const;

    Value value_ = nullptr;
};

struct Json::Member {
    std::string name;
    Json value;
};

// What stands in braces: lists of initializers can only be read, and these may be moved from all the same.
class Json::Part {
  public:
    Part(std::initializer_list<Part> parts) : value_(parts) {}
    template <class Type, class = std::enable_if_t<std::is_constructible_v<Json, Type&&> &&
                                                   !std::is_same_v<std::decay_t<Type>, Part>>>
    Part(Type&& value) : value_(std::forward<Type>(value)) {}

  private:
    friend class Json;
    mutable Json value_;
};

}  // namespace mlh::choir
