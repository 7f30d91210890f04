// A minimal OpenGL program: replays what a driver drew in one frame, from display lists of its own,
// with no call more than the picture needs. The least time that any driver can take for it.
#pragma once

#include <GL/glx.h>

#include <cstdint>
#include <vector>

#include "drivers/gl/DriverGL.h"
#include "scene/Camera.h"
#include "scene/Light.h"
#include "scene/Shader.h"

// One frame as a driver was asked to draw it.
struct RecordedFrame {
    struct Draw {
        GeoImage* mesh;
        Shader pass;
        Matrix modelView;
    };
    struct PlacedLight {
        Light light;
        Matrix modelView;
    };

    Camera camera;
    Color ambient;
    std::vector<PlacedLight> lights;
    std::vector<Draw> draws;
};

// The OpenGL driver, writing down what it is asked to draw while told to.
class TapDriver : public DriverGL {
public:
    using DriverGL::DriverGL;

    bool recording = false;
    RecordedFrame frame;

    void LoadMatrix(const Matrix& modelView) override;
    void SetupProjection(const Camera& camera) override;
    void SetAmbient(float red, float green, float blue, float alpha) override;
    bool AddLight(const Light* light) override;
    bool RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) override;

private:
    Matrix m_modelView;
};

// Owns a window and a context. Takes frames of solid passes without alpha tests under one set of
// lights.
class Floor {
public:
    Floor(Display* display, int width, int height);
    ~Floor();
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    void MakeCurrent() { glXMakeCurrent(m_display, m_window, m_context); }
    // Prepares the frame: state that no draw changes, and a list of every mesh. The meshes must
    // live till then. Current context, as for all that follows.
    void Load(const RecordedFrame& frame);
    void DrawFrame();

private:
    // What passes may differ in.
    struct State {
        Material material;
        bool lit = false;
        bool smooth = false;
        bool depth = false;
        int faces = -1;
        int blend = -1;
        GLuint texture = 0;
    };
    struct Step {
        bool changed;  // whether the state differs from that of the step before
        State state;
        Matrix modelView;
        GLuint list;
    };

    Display* m_display;
    int m_width;
    int m_height;
    Window m_window = 0;
    GLXContext m_context = nullptr;
    int m_lights = 0;
    std::vector<Step> m_steps;

    void LoadFixedState(const RecordedFrame& frame);
    void SetState(const State& before, const State& now) const;
    void SetFaces(const State& now) const;
};
