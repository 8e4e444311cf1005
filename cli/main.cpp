// mlh: vocal harmony on the command line.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <string>

#include "Errors.h"
#include "Say.h"
#include "commands/Commands.h"
#include "files/OutputFile.h"
#include "files/Paths.h"
#include "mlh/analysis.h"
#include "mlh/mlh.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace mlh::cli {

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

std::string Version() {
    const int level = mlh::GetProcessorLevel();
    return std::string("mlh ") + mlhGetVersionString() + ", core " + mlGetVersionString() +
           ", processor level " + std::to_string(level) + " (" + mlh::GetProcessorLevelName(level) + ")";
}

constexpr int kLevels[] = {0, 3, 4, 5, 6};

std::string InSmallLetters(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

// A level by its number or name.
int ReadLevel(const std::string& text) {
    std::string known;
    for (const int level : kLevels) {
        const std::string name = InSmallLetters(mlh::GetProcessorLevelName(level));
        if (text == std::to_string(level) || InSmallLetters(text) == name) {
            return level;
        }
        known += (known.empty() ? "" : ", ") + std::to_string(level) + " (" + name + ")";
    }
    throw UsageError("--level: there is no level '" + text + "'; there are " + known);
}

// A process runs at one level, chosen before the library's first work.
void UseLevel(const std::string& text) {
    const int level = ReadLevel(text);
    mlh::LimitProcessorLevel(level);
    const int best = mlh::GetProcessorLevel();
    if (best == level) {
        return;
    }
    throw UsageError("--level: this machine has no level " + std::to_string(level) + " (" +
                     mlh::GetProcessorLevelName(level) + "); the next lower one is " + std::to_string(best));
}

bool IsCommand(const CLI::App& app, const std::string& name) {
    const auto commands = app.get_subcommands(nullptr);
    return std::any_of(commands.begin(), commands.end(),
                       [&](const CLI::App* command) { return command->check_name(name); });
}

// The parser itself would only say that a command is missing.
void RefuseUnknownCommand(const CLI::App& app, int argc, char** argv) {
    if (argc == 1) {
        throw UsageError("a command is missing: harmonize, analyze or arrange; see mlh --help");
    }
    if (argv[1][0] == '-' || IsCommand(app, argv[1])) {
        return;
    }
    throw UsageError(std::string("there is no command '") + argv[1] +
                     "'; the commands are harmonize, analyze and arrange");
}

// The command whose help says more.
std::string NameOfCommand(const CLI::App& app) {
    const auto given = app.get_subcommands();
    return given.empty() ? "mlh" : "mlh " + given[0]->get_name();
}

// A file whose name begins with a dash is taken for options.
std::string AdviceForDashes(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        std::error_code ignored;
        if (word.starts_with("-") && std::filesystem::exists(PathOf(word), ignored)) {
            return "; for the file write ./" + word;
        }
    }
    return "";
}

// Names of files and songs are UTF-8.
void PrepareConsole() {
#ifdef _WIN32
    SetConsoleOutputCP(CP_UTF8);
#endif
}

int Complain(const char* message, int status) {
    Say(message);
    return status;
}

// What was printed may still be on its way, to a full disk for one.
int FinishPrinting(int status) {
    const bool printed = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    return printed ? status : Complain("cannot write to standard output", kFailed);
}

}  // namespace

int Main(int argc, char** argv) {
    PrepareConsole();
    RemoveUnfinishedFilesOnSignals();
    CLI::App app("Vocal harmony: one sung line becomes a choir of the same singer.", "mlh");
    app.fallthrough();                       // options of the program may also follow the command
    app.allow_windows_style_options(false);  // what begins with a slash is a file name on every system
    app.add_option_function<std::string>(
           "--level", UseLevel, "Processor level to run at, by number or name (default: the best one here)")
        ->type_name("LEVEL");
    app.set_version_flag("--version", Version,
                         "Show both versions of the library and the processor level in use");
    app.require_subcommand(1);
    app.footer("'mlh COMMAND --help' shows the options of a command, with examples; --level goes with each.");
    AddHarmonizeCommand(app);
    AddAnalyzeCommand(app);
    AddArrangeCommand(app);
    try {
        RefuseUnknownCommand(app, argc, argv);
        app.parse(argc, argv);
        return FinishPrinting(0);
    } catch (const CLI::Success& request) {
        return FinishPrinting(app.exit(request));
    } catch (const CLI::ParseError& error) {
        const std::string help = "; see " + NameOfCommand(app) + " --help";
        return Complain((error.what() + help + AdviceForDashes(argc, argv)).c_str(), kUsage);
    } catch (const UsageError& error) {
        return Complain(error.what(), kUsage);
    } catch (const std::bad_alloc&) {
        return Complain("not enough memory for a recording of this length", kFailed);
    } catch (const std::exception& error) {
        return Complain(error.what(), kFailed);
    }
}

}  // namespace mlh::cli

int main(int argc, char** argv) { return mlh::cli::Main(argc, argv); }
