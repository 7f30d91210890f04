// One line a call. Numbers are printed short, tiny ones as 0, so that logs compare as text.
#include "support/RecordingDriver.h"

#include <cmath>
#include <chrono>
#include <sstream>
#include <thread>

#include "scene/Camera.h"
#include "spatial/Occlusion.h"

namespace {

const char* const kBlendWords[] = {"opaque", "replace", "add",    "blend",
                                   "mul",    "haze",    "filter", "subtract"};

std::string Text(float value) {
    std::ostringstream text;
    text.precision(4);
    text << (std::abs(value) < 1e-6F ? 0 : value);
    return text.str();
}

std::string Text(const vec3& v) {
    return Text(v.x).append(" ").append(Text(v.y)).append(" ").append(Text(v.z));
}

const std::string& Text(const std::string& text) {
    return text;
}

}  // namespace

RecordingDriver::RecordingDriver(int maxLights, bool shadows) : Driver(nullptr) {
    if (maxLights >= 0) SetCapability("maxlights", static_cast<float>(maxLights));
    if (shadows) SetCapability("shadows", 1);
}

std::string RecordingDriver::TakeLog() {
    std::string text;
    for (const std::string& line : log)
        text.append(line).append("\n");
    log.clear();
    draws.clear();
    return text;
}

template <class... Words>
void RecordingDriver::Note(const Words&... words) {
    ++calls;
    if (!keep) return;
    std::string line;
    (line.append(line.empty() ? "" : " ").append(Text(words)), ...);
    log.push_back(std::move(line));
}

std::string RecordingDriver::NameOf(const void* thing) const {
    const auto found = m_names.find(thing);
    return found != m_names.end() ? found->second : "unnamed";
}

void RecordingDriver::SetWindow(Window) {
    Note("SetWindow");
}

void RecordingDriver::SetViewport(int x, int y, int width, int height) {
    viewWidth = width;
    viewHeight = height;
    Note("SetViewport", std::to_string(x), std::to_string(y), std::to_string(width),
         std::to_string(height));
}

void RecordingDriver::ColorMask(bool red, bool green, bool blue) {
    std::string mask;
    for (const bool on : {red, green, blue})
        mask += on ? '1' : '0';
    Note("ColorMask", mask);
}

void RecordingDriver::Clear(bool depth, bool color) {
    m_stats.clear();
    Note(std::string("Clear") + (depth ? " depth" : "") + (color ? " color" : ""));
}

void RecordingDriver::Finish() {
    std::this_thread::sleep_for(std::chrono::milliseconds(finishMilliseconds));
    m_stats = reported;
    Note("Finish");
}

void RecordingDriver::Purge(Texture* texture) {
    Note("Purge", NameOf(texture));
}

void RecordingDriver::Purge(GeoImage* mesh) {
    Note("Purge", NameOf(mesh));
}

void RecordingDriver::GetViewport(int& x, int& y, int& width, int& height) {
    x = y = 0;
    width = viewWidth;
    height = viewHeight;
}

void RecordingDriver::SetupProjection(const Camera& camera) {
    Note("SetupProjection", camera.fov);
    if (occlusion == nullptr) return;
    occlusion->Resize(viewWidth, viewHeight);
    occlusion->Clear();
    occlusion->SetProjection(camera);
}

void RecordingDriver::LoadMatrix(const Matrix& modelView) {
    m_modelView = modelView;
    Note("LoadMatrix", modelView.Translation());
}

bool RecordingDriver::RunShader(GeoImage* mesh, const Shader* pass, const vec3* point,
                                bool cacheable) {
    const bool drawn = pass->atest != TestNever;
    const std::string how = drawn ? kBlendWords[pass->blend] : "nothing";
    Note("RunShader", NameOf(mesh), how + (cacheable ? "" : " uncached"));
    if (keep && drawn) draws.push_back({mesh, *pass, *point, m_modelView, m_lights});
    return drawn;
}

void RecordingDriver::SetAmbient(float red, float green, float blue, float alpha) {
    Note("SetAmbient", vec3(red, green, blue), alpha);
}

void RecordingDriver::ClearLights() {
    m_lights.clear();
    Note("ClearLights");
}

bool RecordingDriver::AddLight(const Light* light) {
    const int room =
        acceptedLights >= 0 ? acceptedLights : static_cast<int>(GetCapability("maxlights"));
    const bool accepted = std::ssize(m_lights) < room;
    if (accepted) m_lights.push_back(light);
    Note("AddLight", NameOf(light), std::string(accepted ? "yes" : "no"));
    return accepted;
}

void RecordingDriver::AddShadow(GeoImage* mesh, const vec3* lightPosition, float extrusion) {
    Note("AddShadow", NameOf(mesh), *lightPosition, extrusion);
}
