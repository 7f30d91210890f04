// pallix-texture: makes texture files from PNG files or from patterns, and PNG files from textures.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry/Codec.h"
#include "geometry/FileHeader.h"
#include "shared/Cli.h"
#include "shared/PngFile.h"
#include "shared/WrittenFile.h"
#include "texture/Patterns.h"

namespace {

constexpr int kMaxSide = 8192;

struct Options {
    std::string input;
    std::string output;
    int width = 256;
    int height = 256;
    int codec = CODEC_PYRAMID;
    bool nearest = false;
    bool noMipmap = false;

    std::string firstColor = "000000";
    std::string secondColor = "ffffff";
    std::string innerColor = "ffffffff";
    std::string outerColor = "ffffff00";
    std::vector<std::string> stops{"0:000000", "1:ffffff"};
    bool horizontal = false;
    CheckerStyle checker;
    GlowStyle glow;
    NoiseStyle noise;
    std::uint32_t seed = 1;
    int octaves = 6;
    int frequency = 4;
};

struct Commands {
    CLI::App* import;
    CLI::App* save;
    CLI::App* checker;
    CLI::App* gradient;
    CLI::App* glow;
    CLI::App* noise;
};

const CLI::Validator& IsColor() {
    static const CLI::Validator validator(
        [](std::string& word) {
            return ParseColor(word) ? std::string()
                                    : word + " is not a colour such as ff8000 or ff800080";
        },
        "RRGGBB[AA]");
    return validator;
}

void AddColor(CLI::App& command, const std::string& name, std::string& value,
              const std::string& text) {
    command.add_option(name, value, text)->check(IsColor())->capture_default_str();
}

void AddNumber(CLI::App& command, const std::string& name, double& value, const std::string& text,
               double low, double high) {
    command.add_option(name, value, text)->check(Between(low, high))->capture_default_str();
}

void AddOutputOptions(CLI::App& command, Options& options) {
    AddCodecOption(command, options.codec);
    command.add_flag("--no-filter", options.nearest, "show single pixels when seen from near");
    command.add_flag("--no-mipmap", options.noMipmap, "keep no smaller copies for the distance");
}

void AddFileCommands(CLI::App& app, Options& options, Commands& commands) {
    CLI::App& import = *(commands.import = app.add_subcommand("import", "PNG file to texture"));
    import.add_option("png", options.input, "PNG file to read; - for standard input")->required();
    import.add_option("file", options.output, "texture to write; - for standard output")
        ->required();
    AddOutputOptions(import, options);

    CLI::App& save = *(commands.save = app.add_subcommand("export", "texture to PNG file"));
    save.add_option("file", options.input, "texture to read; - for standard input")->required();
    save.add_option("png", options.output, "PNG file to write; - for standard output")->required();
}

CLI::App* AddPattern(CLI::App& app, Options& options, const std::string& name,
                     const std::string& text) {
    CLI::App* command = app.add_subcommand(name, text);
    command->add_option("file", options.output, "texture to write; - for standard output")
        ->required();
    command->add_option("--width", options.width, "pixels")
        ->check(Between(1, kMaxSide))
        ->capture_default_str();
    command->add_option("--height", options.height, "pixels")
        ->check(Between(1, kMaxSide))
        ->capture_default_str();
    AddOutputOptions(*command, options);
    return command;
}

void AddNoiseOptions(CLI::App& command, Options& options) {
    command.add_option("--seed", options.seed, "another number, another picture")
        ->capture_default_str();
    command.add_option("--octaves", options.octaves, "levels of finer and finer detail")
        ->check(Between(1, Noise::kMaxOctaves))
        ->capture_default_str();
    command.add_option("--frequency", options.frequency, "spots across the picture")
        ->check(Between(1, 256))
        ->capture_default_str();
    AddNumber(command, "--contrast", options.noise.contrast, "of the noise", 0, 100);
    command.add_flag("--veins", options.noise.veins, "marble-like lines instead of clouds");
    command.add_flag("--fade", options.noise.fade, "transparent towards the border");
}

void AddPatterns(CLI::App& app, Options& options, Commands& commands) {
    commands.checker = AddPattern(app, options, "checker", "board of two colours");
    AddColor(*commands.checker, "--first", options.firstColor, "colour of the lower left cell");
    AddColor(*commands.checker, "--second", options.secondColor, "colour of its neighbours");
    commands.checker->add_option("--cells", options.checker.cells, "cells along each side")
        ->check(Between(1, 1024))
        ->capture_default_str();
    AddNumber(*commands.checker, "--grain", options.checker.grain, "strength of a stony grain", 0,
              1);
    commands.checker->add_option("--seed", options.checker.seed, "of the grain")
        ->capture_default_str();

    commands.gradient = AddPattern(app, options, "gradient", "smooth change from below to above");
    commands.gradient
        ->add_option("--stop", options.stops, "place from 0 to 1, a colon, a colour; repeatable")
        ->capture_default_str();
    commands.gradient->add_flag("--horizontal", options.horizontal, "from left to right");

    commands.glow = AddPattern(app, options, "glow", "radial change from the middle to the border");
    AddColor(*commands.glow, "--inner", options.innerColor, "colour in the middle");
    AddColor(*commands.glow, "--outer", options.outerColor, "colour at the border");
    AddNumber(*commands.glow, "--from", options.glow.from, "where the change begins", 0, 2);
    AddNumber(*commands.glow, "--to", options.glow.to, "where it ends; 1 is the border", 0, 2);
    AddNumber(*commands.glow, "--power", options.glow.power, "above 1: smaller core", 0.01, 100);

    commands.noise = AddPattern(app, options, "noise", "fractal noise that tiles");
    AddColor(*commands.noise, "--low", options.firstColor, "colour of the valleys");
    AddColor(*commands.noise, "--high", options.secondColor, "colour of the peaks");
    AddNoiseOptions(*commands.noise, options);
}

Result<std::vector<GradientStop>> ParseStops(const std::vector<std::string>& words) {
    std::vector<GradientStop> stops;
    for (const std::string& word : words) {
        const std::size_t colon = word.find(':');
        std::string place = word.substr(0, colon);
        const auto color = ParseColor(colon == std::string::npos ? "" : word.substr(colon + 1));
        if (!color || !Between(0, 1)(place).empty()) {
            return Failure{word + " is not a stop such as 0.5:ff8000"};
        }
        stops.push_back({std::stod(place), *color});
    }
    return stops;
}

Result<Pattern> ChoosePattern(const Options& options, const Commands& commands) {
    const Color first = *ParseColor(options.firstColor);
    const Color second = *ParseColor(options.secondColor);
    if (commands.checker->parsed()) {
        CheckerStyle style = options.checker;
        style.first = first;
        style.second = second;
        return Checker(style);
    }
    if (commands.gradient->parsed()) {
        auto stops = ParseStops(options.stops);
        if (!stops) return stops.Why();
        return Gradient(std::move(*stops), options.horizontal);
    }
    if (commands.glow->parsed()) {
        GlowStyle style = options.glow;
        style.inner = *ParseColor(options.innerColor);
        style.outer = *ParseColor(options.outerColor);
        if (style.to <= style.from) return Failure{"--to must be greater than --from"};
        return Glow(style);
    }
    NoiseStyle style = options.noise;
    style.low = first;
    style.high = second;
    return NoisePattern(style, Noise(options.seed, options.octaves, options.frequency));
}

Result<std::unique_ptr<Texture>> MakeTexture(const Options& options, const Commands& commands) {
    if (commands.import->parsed()) return ReadPng(options.input, false);
    const Result<Pattern> pattern = ChoosePattern(options, commands);
    if (!pattern) return pattern.Why();
    std::optional<Texture> drawn = Draw(options.width, options.height, *pattern);
    if (!drawn) return Failure{"out of memory"};
    return std::make_unique<Texture>(std::move(*drawn));
}

Outcome Work(const Options& options, const Commands& commands) {
    if (commands.save->parsed()) {
        Texture texture;
        return texture.Load(options.input) ? WritePng(options.output, texture) : Failure{};
    }
    const auto made = MakeTexture(options, commands);
    if (!made) return made.Why();
    Texture& texture = **made;
    texture.filter = !options.nearest;
    texture.mipmap = !options.noMipmap;
    return WriteWhole(options.output, TextureHeader::kWrittenLength,
                      [&](const std::string& path) { return texture.Save(path, options.codec); });
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Makes texture files from PNG files and patterns, and PNG files from textures.\n"
        "pallix-texture COMMAND --help shows the options of a command.",
        "pallix-texture");
    app.require_subcommand(1);
    Options options;
    Commands commands{};
    AddFileCommands(app, options, commands);
    AddPatterns(app, options, commands);
    return RunTool(app, argc, argv, [&] { return Work(options, commands); });
}
