// What every driver has in common, and the answers of operations that a driver does not offer.
// Draws nothing itself.
#include "drivers/Driver.h"

#include <iostream>

#include "drivers/DriverSettings.h"

Driver::Driver(Display* display)
    : m_display(display), m_screen(display != nullptr ? DefaultScreen(display) : 0) {
    Declare(driver_settings::kGroup, 0, 0, 0, "Settings common to all drivers") = 0;
    Declare(driver_settings::kWireframe, 0, 1, 1, "Force wireframe") = 0;
    Declare(driver_settings::kShadowOffset, 0, 2, 0.01F, "Tweak for self-shadow offset") = 1;
}

Driver::~Driver() = default;

void Driver::Unimplemented(const char* operation) const {
    std::cerr << "*** Unimplemented driver function: " << operation << std::endl;
    std::cerr << "*** in driver: " << m_name << std::endl;
}

XVisualInfo* Driver::GetVisual() {
    Unimplemented("GetVisual");
    return nullptr;
}

void Driver::SetWindow(Window) {
    Unimplemented("SetWindow");
}

void Driver::SetViewport(int, int, int, int) {
    Unimplemented("SetViewport");
}

void Driver::GetViewport(int& x, int& y, int& width, int& height) {
    Unimplemented("GetViewport");
    x = y = width = height = 0;
}

void Driver::ColorMask(bool, bool, bool) {
    Unimplemented("ColorMask");
}

void Driver::Clear(bool, bool) {
    Unimplemented("Clear");
}

void Driver::Finish() {
    Unimplemented("Finish");
}

Texture Driver::GetFramebuffer() {
    Unimplemented("GetFramebuffer");
    return {};
}

void Driver::SetupProjection(const Camera&) {
    Unimplemented("SetupProjection");
}

void Driver::LoadMatrix(const Matrix&) {
    Unimplemented("LoadMatrix");
}

void Driver::CopyTexture(Texture*, int, int, int, int) {
    Unimplemented("CopyTexture");
}

void Driver::Purge(Texture*) {
    Unimplemented("Purge");
}

void Driver::Purge(GeoImage*) {
    Unimplemented("Purge");
}

bool Driver::RunShader(GeoImage*, const Shader*, const vec3*, bool) {
    Unimplemented("RunShader");
    return false;
}

void Driver::SetAmbient(float, float, float, float) {
    Unimplemented("SetAmbient");
}

void Driver::ClearLights() {
    Unimplemented("ClearLights");
}

bool Driver::AddLight(const Light*) {
    Unimplemented("AddLight");
    return false;
}

void Driver::StartShadows() {
    Unimplemented("StartShadows");
}

void Driver::AddShadow(GeoImage*, const vec3*, float) {
    Unimplemented("AddShadow");
}

void Driver::FinishShadows() {
    Unimplemented("FinishShadows");
}

void Driver::SetShadowTest(bool) {
    Unimplemented("SetShadowTest");
}

Occlusion* Driver::GetOcclusion() {
    return nullptr;
}
