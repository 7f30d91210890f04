// Value syntax of the scene language: numbers, booleans, vectors, colours and keywords.
// Reads and writes texts; knows no command and no scene.
#include "scene/CommandValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <span>

namespace {

// A value's first word is the one that scene files are written with.
template <class Value>
struct Keyword {
    std::string_view word;
    Value value;
};

constexpr Keyword<BlendFunc> kBlendFuncs[] = {{"opaque", BlendOpaque}, {"replace", BlendReplace},
                                              {"add", BlendAdd},       {"blend", BlendBlend},
                                              {"mul", BlendMul},       {"haze", BlendHaze},
                                              {"filter", BlendFilter}, {"subtract", BlendSubtract}};
constexpr Keyword<RenderFunc> kRenderFuncs[] = {
    {"solid", RenderSolid},           {"wire", RenderWire},
    {"outline", RenderOutline},       {"shadow", RenderShadow},
    {"wireshadow", RenderWireShadow}, {"shell", RenderShell}};
constexpr Keyword<TestFunc> kTestFuncs[] = {
    {"1", TestAlways}, {"always", TestAlways}, {"0", TestNever},   {"never", TestNever},
    {"<", TestLess},   {"lt", TestLess},       {">", TestGreater}, {"gt", TestGreater}};
constexpr Keyword<FaceSet> kFaceSets[] = {
    {"front", FacesFront}, {"back", FacesBack}, {"all", FacesAll}};
constexpr Keyword<ShaderPass> kShaderPasses[] = {
    {"base", PassBase}, {"light", PassLight}, {"shadow", PassShadow}, {"blend", PassBlend}};

template <class Value, std::size_t N>
Value ParseKeyword(const Keyword<Value> (&keywords)[N], std::string_view word, Value unknown,
                   std::string_view message) {
    for (const Keyword<Value>& keyword : keywords) {
        if (keyword.word == word) return keyword.value;
    }
    std::cerr << std::string(message).append(word) + '\n';
    return unknown;
}

template <class Value, std::size_t N>
std::string FindWord(const Keyword<Value> (&keywords)[N], Value value) {
    for (const Keyword<Value>& keyword : keywords) {
        if (keyword.value == value) return std::string(keyword.word);
    }
    return std::string("unknown-").append(std::to_string(static_cast<int>(value)));
}

float FiniteNumber(const char* text) {
    const float value = static_cast<float>(std::strtod(text, nullptr));
    return std::isfinite(value) ? value : 0;
}

}  // namespace

bool ParseNumber(const std::string& text, std::size_t& position, float& out) {
    out = 0;
    position = text.find_first_of("-0123456789", position);
    if (position >= text.size()) {
        position = text.size();
        return false;
    }
    out = FiniteNumber(text.c_str() + position);  // no number runs across a comma
    position = std::min(text.find(',', position), text.size());
    return true;
}

bool ParseBool(std::string_view text) {
    return !text.empty() && std::string_view("tTyY1").find(text.front()) != text.npos;
}

vec3 ParseVector(const std::string& text) {
    vec3 v;
    std::size_t position = 0;
    ParseNumber(text, position, v.x);
    ParseNumber(text, position, v.y);
    ParseNumber(text, position, v.z);
    return v;
}

Color ParseColor(const std::string& text) {
    Color color;
    std::size_t position = 0;
    ParseNumber(text, position, color.r);
    ParseNumber(text, position, color.g);
    ParseNumber(text, position, color.b);
    if (!ParseNumber(text, position, color.a)) color.a = 1;
    return color;
}

float ParseScalar(const std::string& text) {
    return FiniteNumber(text.c_str());
}

std::string NumberText(double value) {
    constexpr int kDigits = 6;
    char buffer[32];  // sign, six digits, point and exponent need 13
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, kDigits);
    return {buffer, end.ptr};
}

BlendFunc ParseBlendFunc(std::string_view word) {
    return ParseKeyword(kBlendFuncs, word, BlendCount, "ParseBlendFunc: Unknown blend function ");
}

RenderFunc ParseRenderFunc(std::string_view word) {
    return ParseKeyword(kRenderFuncs, word, RenderCount,
                        "ParseRenderFunc: Unknown render function ");
}

TestFunc ParseTestFunc(std::string_view word) {
    return ParseKeyword(kTestFuncs, word, TestCount, "ParseTestFunc: Unknown test function ");
}

FaceSet ParseFaces(std::string_view word) {
    return ParseKeyword(kFaceSets, word, FacesCount, "ParseFaces: Unknown face culling ");
}

ShaderPass ParseShaderPass(std::string_view word) {
    return ParseKeyword(kShaderPasses, word, PassCount, "ParseShaderPass: Unknown pass ");
}

std::string WordOf(BlendFunc value) {
    return FindWord(kBlendFuncs, value);
}

std::string WordOf(RenderFunc value) {
    return FindWord(kRenderFuncs, value);
}

std::string WordOf(TestFunc value) {
    return FindWord(kTestFuncs, value);
}

std::string WordOf(ShaderPass value) {
    return FindWord(kShaderPasses, value);
}
