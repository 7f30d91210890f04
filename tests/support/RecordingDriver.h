// A driver without a display: writes every call down as one line and keeps what was drawn. Passes
// whose alpha test is never passed draw nothing, as with the real drivers.
#pragma once

// Test sources include their framework before this header: the macros of X clash with it.

#include <cmath>
#include <cstddef>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "drivers/Driver.h"
#include "geometry/GeoImage.h"
#include "scene/Camera.h"
#include "scene/Shader.h"
#include "spatial/Occlusion.h"

class RecordingDriver : public Driver {
public:
    struct Draw {
        GeoImage* mesh;
        Shader shader;
        vec3 eye;
        Matrix modelView;
        std::vector<const Light*> lights;  // held by the driver at that moment
    };

    std::vector<std::string> log;
    std::vector<Draw> draws;
    std::size_t calls = 0;
    bool keep = true;                // false: only calls are counted, as a benchmark wants it
    bool purgedLive = false;         // meshes that are purged are still there
    int acceptedLights = -1;         // AddLight answers false beyond it; negative: "maxlights"
    Occlusion* occlusion = nullptr;  // made ready for the frame by SetupProjection
    int viewWidth = 640;
    int viewHeight = 480;
    Statistics reported;  // recorded by Finish
    Texture framebuffer;  // taken by GetFramebuffer

    // maxLights is published as the capability, unless negative; shadows likewise when true.
    explicit RecordingDriver(int maxLights = 8, bool shadows = false) : Driver(nullptr) {
        if (maxLights >= 0) SetCapability("maxlights", static_cast<float>(maxLights));
        if (shadows) SetCapability("shadows", 1);
    }

    // The name under which a mesh or light appears in the log.
    void Name(const void* thing, std::string name) { m_names[thing] = std::move(name); }
    // The recorded lines with one line break each; starts a new log.
    std::string TakeLog() {
        std::string text;
        for (const std::string& line : log)
            text.append(line).append("\n");
        log.clear();
        draws.clear();
        return text;
    }

    void SetWindow(Window) override { Note("SetWindow"); }
    void SetViewport(int x, int y, int width, int height) override {
        viewWidth = width;
        viewHeight = height;
        Note("SetViewport", x, y, width, height);
    }
    void GetViewport(int& x, int& y, int& width, int& height) override {
        x = y = 0;
        width = viewWidth;
        height = viewHeight;
    }
    void ColorMask(bool red, bool green, bool blue) override {
        Note("ColorMask", Text(red) + Text(green) + Text(blue));
    }
    void Clear(bool depth, bool color) override {
        m_stats.clear();
        Note(std::string("Clear") + (depth ? " depth" : "") + (color ? " color" : ""));
    }
    void Finish() override {
        m_stats = reported;
        Note("Finish");
    }
    Texture GetFramebuffer() override { return std::move(framebuffer); }
    void Purge(Texture* texture) override { Note("Purge", NameOf(texture)); }
    void Purge(GeoImage* mesh) override {
        Note("Purge", purgedLive ? NameOrSize(mesh) : NameOf(mesh));
    }
    void SetupProjection(const Camera& camera) override {
        Note("SetupProjection", camera.fov);
        if (occlusion == nullptr) return;
        occlusion->Resize(viewWidth, viewHeight);
        occlusion->Clear();
        occlusion->SetProjection(camera);
    }
    void LoadMatrix(const Matrix& modelView) override {
        m_modelView = modelView;
        Note("LoadMatrix", modelView.Translation());
    }
    bool RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) override {
        static const char* const kBlendWords[] = {"opaque", "replace", "add",    "blend",
                                                  "mul",    "haze",    "filter", "subtract"};
        const bool drawn = pass->atest != TestNever;
        const std::string how = drawn ? kBlendWords[pass->blend] : "nothing";
        Note("RunShader", NameOrSize(mesh), how + (cacheable ? "" : " uncached"));
        if (keep && drawn) draws.push_back({mesh, *pass, *point, m_modelView, m_lights});
        return drawn;
    }
    void SetAmbient(float red, float green, float blue, float alpha) override {
        Note("SetAmbient", vec3(red, green, blue), alpha);
    }
    void ClearLights() override {
        m_lights.clear();
        Note("ClearLights");
    }
    bool AddLight(const Light* light) override {
        const int room =
            acceptedLights >= 0 ? acceptedLights : static_cast<int>(GetCapability("maxlights"));
        const bool accepted = std::ssize(m_lights) < room;
        if (accepted) m_lights.push_back(light);
        Note("AddLight", NameOf(light), accepted ? "yes" : "no");
        return accepted;
    }
    void StartShadows() override { Note("StartShadows"); }
    void AddShadow(GeoImage* mesh, const vec3* lightPosition, float extrusion) override {
        Note("AddShadow", NameOrSize(mesh), *lightPosition, extrusion);
    }
    void FinishShadows() override { Note("FinishShadows"); }
    void SetShadowTest(bool on) override { Note("SetShadowTest", on ? "on" : "off"); }
    Occlusion* GetOcclusion() override { return occlusion; }

private:
    std::map<const void*, std::string> m_names;
    std::vector<const Light*> m_lights;
    Matrix m_modelView;

    // Numbers are printed short, tiny ones as 0, so that logs compare as text.
    static std::string Text(float value) {
        std::ostringstream text;
        text.precision(4);
        text << (std::abs(value) < 1e-6F ? 0 : value);
        return text.str();
    }
    static std::string Text(const vec3& v) {
        return Text(v.x).append(" ").append(Text(v.y)).append(" ").append(Text(v.z));
    }
    static const std::string& Text(const std::string& text) { return text; }

    template <class... Words>
    void Note(const Words&... words) {
        ++calls;
        if (!keep) return;
        std::string line;
        (line.append(line.empty() ? "" : " ").append(Text(words)), ...);
        log.push_back(std::move(line));
    }
    std::string NameOf(const void* thing) const {
        const auto found = m_names.find(thing);
        return found != m_names.end() ? found->second : "unnamed";
    }
    // A level of a mesh has no name, but a size.
    std::string NameOrSize(const GeoImage* mesh) const {
        if (!keep) return {};
        if (m_names.contains(mesh)) return m_names.at(mesh);
        return std::to_string(mesh->height) + "x" + std::to_string(mesh->width);
    }
};
