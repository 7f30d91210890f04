#include "shared/Cli.h"

#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>

#include "files/StandardDescriptors.h"
#include "geometry/Codec.h"

namespace {

std::string g_toolName;

std::string OneLine(std::string text) {
    for (char& letter : text) {
        if (std::iscntrl(static_cast<unsigned char>(letter)) != 0) letter = ' ';
    }
    return text;
}

// Text that stdio still holds may meet a full disk; the help goes through a stream of its own.
int StatusOf(bool good) {
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        good = Report(Failure{"could not write standard output"});
    }
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

void Note(const std::string& line) {
    std::fprintf(stderr, "%s: %s\n", g_toolName.c_str(), OneLine(line).c_str());
}

bool Report(const Outcome& step) {
    const std::string line = step.Why().line;
    if (!line.empty()) Note(line);
    return static_cast<bool>(step);
}

int RunTool(CLI::App& app, int argc, char** argv, const std::function<Outcome()>& work) {
    OccupyStandardDescriptors();
    std::signal(SIGXFSZ, SIG_IGN);  // a file that must not grow is a full disk
    g_toolName = app.get_name();
    try {
        app.parse(argc, argv);
        return StatusOf(Report(work()));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return StatusOf(app.exit(error) == 0);
        const std::vector<std::string> unknown = app.remaining();
        const bool unknownWord = app.get_subcommands().empty() && !unknown.empty();
        const std::string fault = unknownWord ? "unknown word " + unknown.front() : error.what();
        Report(Failure{fault + " (see --help)"});
    } catch (const std::bad_alloc&) {
        Report(Failure{"out of memory"});
    }
    return EXIT_FAILURE;
}

CLI::Validator Between(double low, double high) {
    const std::string range = CLI::detail::to_string(low) + " to " + CLI::detail::to_string(high);
    return {[=](std::string& word) -> std::string {
                char* end = nullptr;
                const double value = std::strtod(word.c_str(), &end);
                if (end != word.c_str() && *end == '\0' && value >= low && value <= high) return "";
                return word + " is not a number from " + range;
            },
            range};
}

void AddCodecOption(CLI::App& command, int& codec) {
    AddWordOption<int>(command, "--codec", codec,
                       {{"flat", CODEC_FLAT}, {"pyramid", CODEC_PYRAMID}},
                       "how the file is packed [pyramid]");
}
