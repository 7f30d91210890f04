// A driver without a display: writes every call down as one line and keeps what was drawn. Passes
// whose alpha test is never passed draw nothing, as with the real drivers.
#pragma once

// Test sources include their framework before this header: the macros of X clash with it.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "drivers/Driver.h"
#include "scene/Shader.h"

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
    int acceptedLights = -1;         // AddLight answers false beyond it; negative: "maxlights"
    Occlusion* occlusion = nullptr;  // made ready for the frame by SetupProjection
    int viewWidth = 640;
    int viewHeight = 480;
    int finishMilliseconds = 0;  // time that Finish takes
    Statistics reported;         // recorded by Finish
    Texture framebuffer;         // what GetFramebuffer returns

    // maxLights is published as the capability, unless negative; shadows likewise when true.
    explicit RecordingDriver(int maxLights = 8, bool shadows = false);

    // The name under which a mesh or light appears in the log.
    void Call(const void* thing, std::string name) { m_names[thing] = std::move(name); }
    // The recorded lines with one line break each; starts a new log.
    std::string TakeLog();

    void SetWindow(Window) override;
    void SetViewport(int x, int y, int width, int height) override;
    void ColorMask(bool red, bool green, bool blue) override;
    void Clear(bool depth, bool color) override;
    void Finish() override;
    Texture GetFramebuffer() override { return framebuffer; }
    void Purge(Texture* texture) override;
    void Purge(GeoImage* mesh) override;
    void GetViewport(int& x, int& y, int& width, int& height) override;
    void SetupProjection(const Camera& camera) override;
    void LoadMatrix(const Matrix& modelView) override;
    bool RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) override;
    void SetAmbient(float red, float green, float blue, float alpha) override;
    void ClearLights() override;
    bool AddLight(const Light* light) override;
    void StartShadows() override { Note("StartShadows"); }
    void AddShadow(GeoImage* mesh, const vec3* lightPosition, float extrusion) override;
    void FinishShadows() override { Note("FinishShadows"); }
    void SetShadowTest(bool on) override { Note("SetShadowTest", on ? "on" : "off"); }
    Occlusion* GetOcclusion() override { return occlusion; }

private:
    std::map<const void*, std::string> m_names;
    std::vector<const Light*> m_lights;
    Matrix m_modelView;

    template <class... Words>
    void Note(const Words&... words);
    std::string NameOf(const void* thing) const;
};
