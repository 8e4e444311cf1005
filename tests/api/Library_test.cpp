// The shared library as a host meets it: its symbols, its header and the example hosts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "mlh/mlh.h"
#include "support/Paths.h"
#include "support/Shell.h"

namespace mlh {

static_assert(sizeof(PitchItem) == 16 && offsetof(PitchItem, pitch) == 4 && offsetof(PitchItem, level) == 12);
static_assert(sizeof(ChordItem) == 20 && offsetof(ChordItem, notes) == 4);

namespace {

namespace fs = std::filesystem;

const fs::path kBinaries = BinaryDir();
const fs::path kSources = SourceDir();

#ifndef _WIN32  // these look at the files of Linux; of mlh.dll, the test api/Dll does

TEST(Library, ExportsTheFunctionsOfTheListAndNothingElse) {
    std::set<std::string> wanted;
    std::ifstream list(kSources / "cmake/exports.txt");
    for (std::string line; std::getline(list, line);) {
        if (!line.empty() && line[0] != '#') {
            wanted.insert(line);
        }
    }
    EXPECT_EQ(wanted.size(), 29u);

    const auto nm = RunShell("nm -D --defined-only " + (kBinaries / "libmlh.so").string());
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
        EXPECT_EQ(name.substr(at), "@@MLH_1") << name;
    }
    EXPECT_EQ(found, wanted);
}

// Not those that a host or another library has under the same names, as one does that links the static
// library.
TEST(Library, CallsItsOwnFunctions) {
    const auto dump = RunShell("objdump -R " + (kBinaries / "libmlh.so").string());
    ASSERT_EQ(dump.status, 0) << dump.output;
    EXPECT_NE(dump.output.find("_JUMP_SLOT"), std::string::npos);
    for (const std::string name : {"mlh", "mlGet", "pitchVectorTo"}) {
        EXPECT_EQ(dump.output.find(" " + name), std::string::npos) << name;
    }
}

TEST(Library, CarriesItsMajorVersionInItsName) {
    const auto dump = RunShell("objdump -p " + (kBinaries / "libmlh.so").string());
    EXPECT_NE(dump.output.find("SONAME               libmlh.so.1\n"), std::string::npos);
}

TEST(Library, NeedsTheStandardLibraryAlone) {
    const auto dump = RunShell("objdump -p " + (kBinaries / "libmlh.so").string() + " | grep NEEDED");
    std::istringstream lines(dump.output);
    for (std::string line; std::getline(lines, line);) {
        const bool standard =
            line.find("libstdc++") != std::string::npos || line.find("libc.so") != std::string::npos ||
            line.find("libm.so") != std::string::npos || line.find("libgcc_s") != std::string::npos ||
            line.find("libasan") != std::string::npos || line.find("libubsan") != std::string::npos ||
            line.find("libtsan") != std::string::npos || line.find("ld-linux") != std::string::npos;
        EXPECT_TRUE(standard) << line;
    }
}

TEST(Header, CompilesAloneAsCAndCxx) {
    const std::string include =
        " -I" + (kSources / "include").string() + " -fsyntax-only -Wall -Wextra -pedantic -Werror ";
    for (const std::string compiler :
         {"cc -std=c11 -x c", "c++ -std=c++17 -x c++", "c++ -std=c++20 -x c++"}) {
        const auto result = RunShell("echo '#include <mlh/mlh.h>' | " + compiler + include + "-");
        EXPECT_EQ(result.status, 0) << compiler << "\n" << result.output;
    }
    for (const std::string header : {"addon.h", "analysis.h", "arrange.h", "voices.h"}) {
        const auto result =
            RunShell("echo '#include <mlh/" + header + ">' | c++ -std=c++20 -x c++" + include + "-");
        EXPECT_EQ(result.status, 0) << result.output;
    }
}

#endif

// One second of a 16-bit tone.
void WriteTone(const fs::path& path) {
    std::ofstream file(path, std::ios::binary);
    const auto put = [&](uint32_t value, int bytes) {
        for (; bytes > 0; --bytes, value >>= 8) {
            file.put(static_cast<char>(value & 255));
        }
    };
    constexpr uint32_t kFrames = 44100;
    file << "RIFF";
    put(36 + 2 * kFrames, 4);
    file << "WAVEfmt ";
    put(16, 4), put(1, 2), put(1, 2), put(44100, 4), put(88200, 4), put(2, 2), put(16, 2);
    file << "data";
    put(2 * kFrames, 4);
    for (uint32_t i = 0; i < kFrames; ++i) {
        put(i % 200 < 100 ? 8000u : static_cast<uint32_t>(-8000), 2);
    }
}

TEST(Examples, TheCHostDoesTheWholeJobThroughTheSharedLibrary) {
    const fs::path folder = fs::temp_directory_path() / ("mlh-host-" + std::to_string(getpid()));
    fs::create_directories(folder);
    WriteTone(folder / "lead.wav");
    const auto result = RunShell((kBinaries / "example_host_c").string() + " " +
                                 (folder / "lead.wav").string() + " " + (folder / "mix.wav").string());
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find(mlhGetVersionString()), std::string::npos);
    EXPECT_EQ(fs::file_size(folder / "mix.wav"), fs::file_size(folder / "lead.wav"));
    EXPECT_EQ(RunShell((kBinaries / "example_host_c").string()).status, 2);
    fs::remove_all(folder);
}

TEST(Examples, TheCxxHostRuns) {
    const auto result = RunShell((kBinaries / "example_host_cpp").string());
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("a fifth above"), std::string::npos);
}

TEST(Examples, TheCHostIsUnderAHundredLines) {
    std::ifstream file(kSources / "examples/host.c");
    int lines = 0;
    for (std::string line; std::getline(file, line);) {
        ++lines;
    }
    EXPECT_LT(lines, 100);
}

}  // namespace

}  // namespace mlh
