// Value syntax of the scene language: numbers, booleans, vectors, colours and keywords.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "scene/Material.h"
#include "scene/SceneTypes.h"
#include "spatial/Vec3.h"

// Reads the next number of a comma-separated list from position on and moves the position to the
// following comma or the end. Skips to the first digit or '-'. False, with out = 0, when there is
// no number left. Texts of infinite and NaN numbers read as 0: they would spoil every bound above.
bool ParseNumber(const std::string& text, std::size_t& position, float& out);
// True when the text begins with t, y (either case) or 1.
bool ParseBool(std::string_view text);
// Three numbers, missing ones 0.
vec3 ParseVector(const std::string& text);
// Four numbers, missing red, green and blue 0, missing alpha 1.
Color ParseColor(const std::string& text);
// The whole word through strtod; 0 for no number and for non-finite ones.
float ParseScalar(const std::string& text);

// A number as listings and scene files write it: six significant digits, no trailing zeros.
std::string NumberText(double value);

// Unknown words print one line on standard error and give the count of values.
BlendFunc ParseBlendFunc(std::string_view word);
RenderFunc ParseRenderFunc(std::string_view word);
TestFunc ParseTestFunc(std::string_view word);
FaceSet ParseFaces(std::string_view word);
ShaderPass ParseShaderPass(std::string_view word);

// The word that scene files have for a value; "unknown-" and the number for one without a word.
std::string WordOf(BlendFunc value);
std::string WordOf(RenderFunc value);
std::string WordOf(TestFunc value);
std::string WordOf(ShaderPass value);
