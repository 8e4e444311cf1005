// The shared library of the choir, as its hosts meet it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "support/Paths.h"
#include "support/ProcessMemory.h"
#include "support/Shell.h"

#ifndef _WIN32

namespace mlh::choir {

namespace {

namespace fs = std::filesystem;

TEST(ChoirLibrary, ExportsTheFunctionsOfTheListAndNothingElse) {
    std::set<std::string> wanted;
    std::ifstream list(fs::path(SourceDir()) / "cmake/choir-exports.txt");
    for (std::string line; std::getline(list, line);) {
        if (!line.empty() && line[0] != '#') {
            wanted.insert(line);
        }
    }
    EXPECT_EQ(wanted.size(), 28u);
    const auto nm = RunShell("nm -D --defined-only " + (fs::path(BinaryDir()) / "libmlhchoir.so").string());
    ASSERT_EQ(nm.status, 0) << nm.output;
    std::set<std::string> found;
    std::istringstream lines(nm.output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string address, kind, name;
        fields >> address >> kind >> name;
        if (kind == "A") {
            continue;  // the version node
        }
        const auto at = std::min(name.find('@'), name.size());
        found.insert(name.substr(0, at));
        EXPECT_EQ(name.substr(at), "@@MLHCHOIR_1") << name;
    }
    EXPECT_EQ(found, wanted);
}

TEST(ChoirLibrary, DeclaresEachFunctionOfTheList) {
    std::ifstream header(fs::path(SourceDir()) / "include/mlh/choir.h");
    const std::string text((std::istreambuf_iterator<char>(header)), {});
    std::ifstream list(fs::path(SourceDir()) / "cmake/choir-exports.txt");
    for (std::string line; std::getline(list, line);) {
        if (!line.empty() && line[0] != '#') {
            EXPECT_NE(text.find(" " + line + "("), std::string::npos) << line;
        }
    }
}

// Hosts may use it in exit handlers and on threads that outlive main.
TEST(ChoirLibrary, LeavesNothingToDestroy) {
    if (!kMemoryIsMeasurable) {
        GTEST_SKIP() << "sanitizers register destructors of their own";
    }
    const auto nm = RunShell("nm -D --undefined-only " + (fs::path(BinaryDir()) / "libmlhchoir.so").string());
    ASSERT_EQ(nm.status, 0) << nm.output;
    EXPECT_NE(nm.output.find("memcpy"), std::string::npos);  // what is imported is listed
    EXPECT_EQ(nm.output.find("atexit"), std::string::npos) << nm.output;
}

// Beside libmlh in one process each calls its own functions.
TEST(ChoirLibrary, CallsItsOwnFunctions) {
    const auto dump = RunShell("objdump -R " + (fs::path(BinaryDir()) / "libmlhchoir.so").string());
    ASSERT_EQ(dump.status, 0) << dump.output;
    EXPECT_NE(dump.output.find("_JUMP_SLOT"), std::string::npos);
    EXPECT_EQ(dump.output.find(" mlh"), std::string::npos);
}

}  // namespace

}  // namespace mlh::choir

#endif
