#include "choir/document/Json.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "choir/Errors.h"
#include "choir/Text.h"

namespace mlh::choir {

namespace {

using Library = nlohmann::json;

constexpr std::size_t kDeepest = 100;  // levels of a document; each is a call when it is written or let go of

// What went wrong, without the library's own numbering.
std::string Reason(const nlohmann::detail::exception& error) {
    std::string text = error.what();
    if (const auto end = text.find("] "); end != std::string::npos) {
        text.erase(0, end + 2);
    }
    constexpr std::size_t kLongest = 200;
    return OneLine(text.size() > kLongest ? text.substr(0, kLongest) + "..." : text);
}

// The library writes numbers and texts. These take no memory when they are let go of.
std::string WrittenByLibrary(const Library& scalar) {
    return scalar.dump(-1, ' ', false, Library::error_handler_t::replace);
}

[[noreturn]] void WrongKind(const char* wanted) { throw UsageError(std::string("not ") + wanted); }

}  // namespace

// What the library's parser finds, in the order of the text.
class JsonReader {
  public:
    Json Take() { return std::move(root_); }

    bool null() { return Add(Json()); }
    bool boolean(bool value) { return Add(value); }
    bool number_integer(int64_t value) { return Add(value); }
    bool number_unsigned(uint64_t value) { return Add(value); }
    bool number_float(double value, const std::string& /*text*/) { return Add(value); }
    bool string(std::string& value) { return Add(std::move(value)); }
    bool binary(Library::binary_t& /*value*/) { return false; }
    bool start_object(std::size_t /*members*/) { return Open(Json::object()); }
    bool end_object() { return Close(); }
    bool start_array(std::size_t /*items*/) { return Open(Json::array()); }
    bool end_array() { return Close(); }
    bool key(std::string& name) {
        std::get<Json::Object>(open_.back()->value_).push_back({std::move(name), Json()});
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string& /*last*/,
                     const nlohmann::detail::exception& error) {
        throw UsageError(Reason(error));
    }

  private:
    // The place of the next value, which the containers around it keep as long as they are open.
    Json* Place() {
        if (open_.empty()) {
            return &root_;
        }
        Json& around = *open_.back();
        if (around.is_object()) {
            return &std::get<Json::Object>(around.value_).back().value;
        }
        around.push_back(Json());
        return &std::get<Json::List>(around.value_).back();
    }
    bool Add(Json value) {
        *Place() = std::move(value);
        return true;
    }
    bool Open(Json container) {
        if (open_.size() >= kDeepest) {
            throw UsageError("it is nested more than " + std::to_string(kDeepest) + " levels deep");
        }
        Json* const place = Place();
        *place = std::move(container);
        open_.push_back(place);
        return true;
    }
    bool Close() {
        open_.pop_back();
        return true;
    }

    Json root_;
    std::vector<Json*> open_;
};

Json::Json(std::initializer_list<Part> parts) {
    const bool pairs = std::all_of(parts.begin(), parts.end(), [](const Part& part) {
        return part.value_.is_array() && part.value_.size() == 2 && part.value_[std::size_t{0}].is_string();
    });
    if (!pairs) {
        *this = array(parts);
        return;
    }
    Object members;
    members.reserve(parts.size());
    for (const Part& part : parts) {
        List& pair = std::get<List>(part.value_.value_);
        members.push_back({std::move(std::get<std::string>(pair[0].value_)), std::move(pair[1])});
    }
    value_ = std::move(members);
}

Json Json::array(std::initializer_list<Part> parts) {
    List list;
    list.reserve(parts.size());
    for (const Part& part : parts) {
        list.push_back(std::move(part.value_));
    }
    Json json;
    json.value_ = std::move(list);
    return json;
}

Json Json::object() {
    Json json;
    json.value_ = Object();
    return json;
}

bool Json::is_number() const {
    return std::holds_alternative<double>(value_) || std::holds_alternative<int64_t>(value_) ||
           std::holds_alternative<uint64_t>(value_);
}

std::size_t Json::size() const {
    if (const List* list = std::get_if<List>(&value_)) {
        return list->size();
    }
    return items().size();
}

const Json* Json::begin() const {
    const List* const list = std::get_if<List>(&value_);
    return list != nullptr ? list->data() : nullptr;
}

const Json* Json::end() const {
    const List* const list = std::get_if<List>(&value_);
    return list != nullptr ? list->data() + list->size() : nullptr;
}

void Json::push_back(Json value) {
    if (is_null()) {
        value_ = List();
    }
    std::get<List>(value_).push_back(std::move(value));
}

std::span<const Json::Member> Json::items() const {
    const Object* const members = std::get_if<Object>(&value_);
    return members != nullptr ? std::span<const Member>(*members) : std::span<const Member>();
}

const Json* Json::find(const std::string& name) const {
    const std::span<const Member> members = items();
    const auto found = std::find_if(members.rbegin(), members.rend(),
                                    [&](const Member& member) { return member.name == name; });
    return found != members.rend() ? &found->value : nullptr;
}

Json Json::value(const std::string& name, Json otherwise) const {
    const Json* const found = find(name);
    return found != nullptr ? *found : otherwise;
}

void Json::update(const Json& other) {
    for (const Member& member : other.items()) {
        Made(member.name) = member.value;
    }
}

Json Json::parse(const std::string& text) {
    JsonReader reader;
    Library::sax_parse(text, &reader);
    return reader.Take();
}

std::string Json::Written() const {
    std::string out;
    Write(0, out);
    return out;
}

bool Json::Boolean() const {
    const bool* const value = std::get_if<bool>(&value_);
    return value != nullptr ? *value : (WrongKind("true or false"), false);
}

double Json::Number() const {
    if (const int64_t* whole = std::get_if<int64_t>(&value_)) {
        return static_cast<double>(*whole);
    }
    if (const uint64_t* whole = std::get_if<uint64_t>(&value_)) {
        return static_cast<double>(*whole);
    }
    const double* const value = std::get_if<double>(&value_);
    return value != nullptr ? *value : (WrongKind("a number"), 0.0);
}

const std::string& Json::Text() const {
    if (!is_string()) {
        WrongKind("a text");
    }
    return std::get<std::string>(value_);
}

const Json& Json::At(const std::string& name) const {
    const Json* const found = find(name);
    if (found == nullptr) {
        throw UsageError("there is no member '" + OneLine(name) + "'");
    }
    return *found;
}

Json& Json::Made(const std::string& name) {
    if (is_null()) {
        value_ = Object();
    }
    if (const Json* found = find(name)) {
        return const_cast<Json&>(*found);
    }
    Object& members = std::get<Object>(value_);
    members.push_back({name, Json()});
    return members.back().value;
}

void Json::Write(std::size_t depth, std::string& out) const {
    const auto line = [&out](std::size_t level) {
        out += '\n';
        out.append(2 * level, ' ');
    };
    if (const List* list = std::get_if<List>(&value_); list != nullptr && !list->empty()) {
        out += '[';
        for (std::size_t i = 0; i < list->size(); ++i) {
            out.append(i > 0 ? 1 : 0, ',');
            line(depth + 1);
            (*list)[i].Write(depth + 1, out);
        }
        line(depth);
        out += ']';
    } else if (!items().empty()) {
        out += '{';
        for (std::size_t i = 0; i < items().size(); ++i) {
            out.append(i > 0 ? 1 : 0, ',');
            line(depth + 1);
            out += WrittenByLibrary(items()[i].name) + ": ";
            items()[i].value.Write(depth + 1, out);
        }
        line(depth);
        out += '}';
    } else if (is_array() || is_object()) {
        out += is_array() ? "[]" : "{}";
    } else if (is_null() || is_boolean()) {
        out += is_null() ? "null" : get<bool>() ? "true" : "false";
    } else if (is_string()) {
        out += WrittenByLibrary(Text());
    } else if (const int64_t* whole = std::get_if<int64_t>(&value_)) {
        out += std::to_string(*whole);
    } else if (const uint64_t* natural = std::get_if<uint64_t>(&value_)) {
        out += std::to_string(*natural);
    } else {
        out += WrittenByLibrary(Number());
    }
}

}  // namespace mlh::choir
