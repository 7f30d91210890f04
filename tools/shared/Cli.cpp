#include "shared/Cli.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#include "geometry/Codec.h"

namespace {

std::string g_toolName;

std::string OneLine(std::string text) {
    for (char& letter : text) {
        if (letter == '\n' || letter == '\r') letter = ' ';
    }
    return text;
}

}  // namespace

bool Fail(const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", g_toolName.c_str(), OneLine(message).c_str());
    return false;
}

int RunTool(CLI::App& app, int argc, char** argv, const std::function<bool()>& work) {
    g_toolName = app.get_name();
    try {
        app.parse(argc, argv);
        return work() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        const std::vector<std::string> unknown = app.remaining();
        const bool unknownWord = app.get_subcommands().empty() && !unknown.empty();
        Fail((unknownWord ? "unknown word " + unknown.front() : error.what()) + " (see --help)");
    } catch (const std::bad_alloc&) {
        Fail("out of memory");
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
