#include "choir/document/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "choir/Errors.h"

namespace mlh::choir {

namespace {

using Library = nlohmann::ordered_json;
using testing::HasSubstr;

std::string ByLibrary(const Library& json) {
    return json.dump(2, ' ', false, Library::error_handler_t::replace);
}

std::string ComplaintOf(const std::string& text) {
    try {
        Json::parse(text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

// Any document of up to `depth` levels, built by the JSON library.
Library AnyDocument(std::mt19937& random, int depth) {
    const auto below = [&random](unsigned n) { return static_cast<int>(random() % n); };
    const auto text = [&] {
        std::string bytes;
        for (int i = below(6); i > 0; --i) {
            bytes += static_cast<char>(below(256));
        }
        return bytes;
    };
    switch (below(depth > 0 ? 9 : 7)) {
        case 0:
            return nullptr;
        case 1:
            return below(2) == 0;
        case 2:
            return below(100000) - 50000;
        case 3:
            return std::numeric_limits<uint64_t>::max() - random();
        case 4:
            return std::ldexp(static_cast<double>(random()), below(200) - 100);
        case 5:
            return below(100000) / 1000.0;
        case 6:
            return text();
        case 7: {
            Library list = Library::array();
            for (int i = below(5); i > 0; --i) {
                list.push_back(AnyDocument(random, depth - 1));
            }
            return list;
        }
        default: {
            Library object = Library::object();
            for (int i = below(5); i > 0; --i) {
                object[text()] = AnyDocument(random, depth - 1);
            }
            return object;
        }
    }
}

TEST(Json, ReadsAndWritesWhatTheLibraryReadsAndWrites) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        // Once through text, in which every name and text is UTF-8.
        const Library document = Library::parse(ByLibrary(AnyDocument(random, 5)));
        for (const std::string& text : {document.dump(), ByLibrary(document)}) {
            ASSERT_EQ(Json::parse(text).Written(), ByLibrary(document)) << text;
        }
    }
}

TEST(Json, ListsOfPairsAreObjects) {
    const Json json = {{"list", {1, 2.5, "three", nullptr, true}},
                       {"object", {{"a", 1u}, {"b", -1}}},
                       {"vector", std::vector<std::string>{"x", "y"}},
                       {"array", std::array<int, 2>{3, 4}},
                       {"empty list", Json::array()},
                       {"empty object", Json::object()}};
    const Library same = {{"list", {1, 2.5, "three", nullptr, true}},
                          {"object", {{"a", 1u}, {"b", -1}}},
                          {"vector", std::vector<std::string>{"x", "y"}},
                          {"array", std::array<int, 2>{3, 4}},
                          {"empty list", Library::array()},
                          {"empty object", Library::object()}};
    EXPECT_EQ(json.Written(), ByLibrary(same));
    EXPECT_EQ(json["list"].size(), 5u);
    EXPECT_EQ(json["object"]["b"].get<int>(), -1);
    EXPECT_EQ(json["vector"][1].get<std::string>(), "y");
}

TEST(Json, BytesThatAreNotTextAreReplaced) {
    EXPECT_EQ(Json("a\xFF\x01").Written(), "\"a\xEF\xBF\xBD\\u0001\"");
}

TEST(Json, NumbersThatAreNotFiniteAreNull) {
    EXPECT_EQ(Json({NAN, INFINITY, -INFINITY}).Written(), "[\n  null,\n  null,\n  null\n]");
}

TEST(Json, OfEqualNamesTheLastOneCounts) {
    const Json json = Json::parse("{\"a\": 1, \"b\": 2, \"a\": 3}");
    EXPECT_EQ(json["a"].get<int>(), 3);
    EXPECT_EQ(json.value("c", 5).get<int>(), 5);
    EXPECT_EQ(json.find("c"), nullptr);
}

TEST(Json, MembersAreMadeChangedAndAdded) {
    Json json;
    json["a"] = 1;
    json["b"].push_back(2);
    json["a"] = "one";
    json.update({{"b", 3}, {"c", 4}});
    EXPECT_EQ(json.Written(), "{\n  \"a\": \"one\",\n  \"b\": 3,\n  \"c\": 4\n}");
}

TEST(Json, ValuesOfAnotherKindAreRefused) {
    const Json json = {{"a", 1}, {"b", "text"}};
    EXPECT_THROW(json["b"].get<double>(), UsageError);
    EXPECT_THROW(json["a"].get<std::string>(), UsageError);
    EXPECT_THROW(json["a"].get<bool>(), UsageError);
    EXPECT_THROW(json["c"], UsageError);
    EXPECT_EQ(json["a"].begin(), json["a"].end());
    EXPECT_TRUE(json["a"].empty());
}

TEST(Json, WhatIsNotADocumentIsNamedWithItsPlace) {
    EXPECT_THAT(ComplaintOf("{\"a\": 1"), HasSubstr("line 1, column 8"));
    EXPECT_THAT(ComplaintOf(""), HasSubstr("unexpected end of input"));
    EXPECT_THAT(ComplaintOf("[1e999]"), HasSubstr("number overflow"));
    EXPECT_THAT(ComplaintOf("[1] 2"), HasSubstr("line 1, column 5"));
    EXPECT_THAT(ComplaintOf("\"\xFF\""), HasSubstr("invalid string"));
    EXPECT_EQ(ComplaintOf("[1]"), "");
}

// Reading, writing and letting go of a document take a call for each level.
TEST(Json, DocumentsOfAnyDepthAreReadOrRefused) {
    const auto nested = [](std::size_t levels) {
        return std::string(levels, '[') + std::string(levels, ']');
    };
    EXPECT_EQ(Json::parse(nested(100)).Written(), ByLibrary(Library::parse(nested(100))));
    EXPECT_THAT(ComplaintOf(nested(101)), HasSubstr("100 levels"));
    EXPECT_THAT(ComplaintOf(std::string(1000000, '[')), HasSubstr("100 levels"));
}

}  // namespace

}  // namespace mlh::choir
