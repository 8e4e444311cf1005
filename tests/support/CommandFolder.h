// A folder of a test's own, in which the built command runs.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/Paths.h"
#include "support/Shell.h"

namespace mlh {

class CommandFolder : public testing::Test {
  protected:
    CommandFolder()
        : folder(std::filesystem::temp_directory_path() / ("mlh-test-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(folder);
    }
    ~CommandFolder() override { std::filesystem::remove_all(folder); }

    std::string Path(const std::string& name) const { return (folder / name).string(); }
    std::string Text(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    // Runs a command line, or mlh with arguments, in the folder.
    ShellResult RunLine(const std::string& line) const {
        return RunShell("cd " + folder.string() + " && " + line);
    }
    ShellResult Run(const std::string& arguments) const { return RunLine(BinaryDir() + "/mlh " + arguments); }

    std::filesystem::path folder;
};

}  // namespace mlh
