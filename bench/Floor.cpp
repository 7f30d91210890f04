// The replay, in plain OpenGL.
#include "Floor.h"

#include <GL/glext.h>
#include <GL/glu.h>

#include <map>

#include "drivers/gl/BlendFactors.h"
#include "geometry/GeoImage.h"
#include "geometry/Texture.h"

namespace {

// By its emission an unlit pass shows its colour alone.
Material ShownMaterial(const Shader& pass) {
    if (pass.lit) return pass.material;
    const Color black{0, 0, 0, 1};
    return {black, pass.material.diffuse, black, 0, pass.material.diffuse};
}

void SetMaterial(const Material& before, const Material& now) {
    const auto set = [&](GLenum name, const Color& old, const Color& color) {
        if (old != color) glMaterialfv(GL_FRONT_AND_BACK, name, &color.r);
    };
    set(GL_AMBIENT, before.ambient, now.ambient);
    set(GL_DIFFUSE, before.diffuse, now.diffuse);
    set(GL_SPECULAR, before.specular, now.specular);
    set(GL_EMISSION, before.emission, now.emission);
    if (before.shininess != now.shininess) {
        glMaterialf(GL_FRONT_AND_BACK, GL_SHININESS, now.shininess);
    }
}

void Switch(GLenum name, bool on) {
    on ? glEnable(name) : glDisable(name);
}

void LoadLight(GLenum number, const RecordedFrame::PlacedLight& placed) {
    const Light& light = placed.light;
    const vec3 aim = light.pointat - light.pos;
    const float position[] = {light.pos.x, light.pos.y, light.pos.z, 1};
    glLoadMatrixd(placed.modelView.Data());
    glLightfv(number, GL_POSITION, position);
    glLightfv(number, GL_SPOT_DIRECTION, &aim.x);
    glLightfv(number, GL_AMBIENT, &light.ambient.r);
    glLightfv(number, GL_DIFFUSE, &light.color.r);
    glLightfv(number, GL_SPECULAR, &light.color.r);
    glLightf(number, GL_CONSTANT_ATTENUATION, light.falloff.x);
    glLightf(number, GL_LINEAR_ATTENUATION, light.falloff.y);
    glLightf(number, GL_QUADRATIC_ATTENUATION, light.falloff.z);
    glLightf(number, GL_SPOT_EXPONENT, light.focus);
    glLightf(number, GL_SPOT_CUTOFF, light.angle);
}

void SendMesh(const GeoImage& mesh) {
    for (int row = 0; row + 1 < mesh.height; ++row) {
        glBegin(GL_TRIANGLE_STRIP);
        for (int column = 0; column < mesh.width; ++column) {
            for (int r = row; r < row + 2; ++r) {
                const GeoImageSample& sample = mesh.At(r, column);
                glNormal3fv(&sample.normal.x);
                glTexCoord2fv(&sample.u);
                glVertex3fv(&sample.position.x);
            }
        }
        glEnd();
    }
}

GLuint RecordMesh(const GeoImage& mesh) {
    const GLuint list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    SendMesh(mesh);
    glEndList();
    return list;
}

GLuint Upload(const Texture& texture) {
    constexpr GLenum kFormats[] = {GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB, GL_RGBA};
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gluBuild2DMipmaps(GL_TEXTURE_2D, texture.channels, texture.width, texture.height,
                      kFormats[texture.channels - 1], GL_UNSIGNED_BYTE, texture.pixels);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    return name;
}

}  // namespace

void TapDriver::LoadMatrix(const Matrix& modelView) {
    if (recording) m_modelView = modelView;
    DriverGL::LoadMatrix(modelView);
}

void TapDriver::SetupProjection(const Camera& camera) {
    if (recording) frame.camera = camera;
    DriverGL::SetupProjection(camera);
}

void TapDriver::SetAmbient(float red, float green, float blue, float alpha) {
    // The first of the frame; the renderer darkens later passes.
    if (recording && frame.draws.empty()) frame.ambient = {red, green, blue, alpha};
    DriverGL::SetAmbient(red, green, blue, alpha);
}

bool TapDriver::AddLight(const Light* light) {
    const bool added = DriverGL::AddLight(light);
    if (recording && added) frame.lights.push_back({*light, m_modelView});
    return added;
}

bool TapDriver::RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) {
    const bool drawn = DriverGL::RunShader(mesh, pass, point, cacheable);
    if (recording && drawn) frame.draws.push_back({mesh, *pass, m_modelView});
    return drawn;
}

Floor::Floor(Display* display, int width, int height)
    : m_display(display), m_width(width), m_height(height) {
    int attributes[] = {GLX_STENCIL_SIZE,    8, GLX_RED_SIZE,          1,
                        GLX_GREEN_SIZE,      1, GLX_BLUE_SIZE,         1,
                        GLX_DEPTH_SIZE,      1, GLX_DOUBLEBUFFER,      GLX_RGBA,
                        GLX_ACCUM_RED_SIZE,  1, GLX_ACCUM_GREEN_SIZE,  1,
                        GLX_ACCUM_BLUE_SIZE, 1, static_cast<int>(None)};
    XVisualInfo* visual = glXChooseVisual(display, DefaultScreen(display), attributes);
    const Window root = DefaultRootWindow(display);
    XSetWindowAttributes settings{};
    settings.colormap = XCreateColormap(display, root, visual->visual, AllocNone);
    m_window = XCreateWindow(display, root, 0, 0, static_cast<unsigned>(width),
                             static_cast<unsigned>(height), 0, visual->depth, InputOutput,
                             visual->visual, CWColormap | CWBorderPixel, &settings);
    XMapWindow(display, m_window);
    XSync(display, False);
    m_context = glXCreateContext(display, visual, nullptr, True);
    XFree(visual);
}

Floor::~Floor() {
    glXMakeCurrent(m_display, None, nullptr);
    glXDestroyContext(m_display, m_context);
    XDestroyWindow(m_display, m_window);
}

void Floor::LoadFixedState(const RecordedFrame& frame) {
    const Camera& camera = frame.camera;
    glViewport(0, 0, m_width, m_height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(camera.fov, double{camera.aspect} * m_width / m_height, camera.hith, camera.yon);
    glMatrixMode(GL_MODELVIEW);
    for (const GLenum name : {GL_DEPTH_TEST, GL_LIGHTING, GL_BLEND})
        glEnable(name);
    glDepthFunc(GL_LEQUAL);
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, 1);
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, &frame.ambient.r);
    for (const RecordedFrame::PlacedLight& light : frame.lights)
        LoadLight(GL_LIGHT0 + static_cast<GLenum>(m_lights++), light);
}

void Floor::Load(const RecordedFrame& frame) {
    LoadFixedState(frame);
    std::map<const GeoImage*, GLuint> lists;
    std::map<const Texture*, GLuint> textures{{nullptr, 0}};
    for (const auto& [mesh, pass, modelView] : frame.draws) {
        if (!lists.contains(mesh)) lists[mesh] = RecordMesh(*mesh);
        if (!textures.contains(pass.texture)) textures[pass.texture] = Upload(*pass.texture);
        const State state{ShownMaterial(pass), pass.lit,   pass.smooth,           pass.depth,
                          pass.faces,          pass.blend, textures[pass.texture]};
        m_steps.push_back({true, state, modelView, lists[mesh]});
    }
    // Once round: from then on every step finds what the one before it left.
    State before;
    const Color none{-1, -1, -1, -1};
    before.material = {none, none, none, -1, none};
    for (Step& step : m_steps) {
        SetState(before, step.state);
        before = step.state;
    }
    for (Step& step : m_steps) {
        step.changed = before.material != step.state.material || before.lit != step.state.lit ||
                       before.smooth != step.state.smooth || before.depth != step.state.depth ||
                       before.faces != step.state.faces || before.blend != step.state.blend ||
                       before.texture != step.state.texture;
        before = step.state;
    }
}

void Floor::SetState(const State& before, const State& now) const {
    if (before.texture != now.texture) {
        Switch(GL_TEXTURE_2D, now.texture != 0);
        if (now.texture != 0) glBindTexture(GL_TEXTURE_2D, now.texture);
    }
    if (before.blend != now.blend) {
        glBlendFunc(kBlendFactors[now.blend].source, kBlendFactors[now.blend].destination);
    }
    if (before.smooth != now.smooth) glShadeModel(now.smooth ? GL_SMOOTH : GL_FLAT);
    if (before.depth != now.depth) glDepthMask(now.depth);
    if (before.faces != now.faces || before.lit != now.lit) SetFaces(now);
    for (int i = 0; before.lit != now.lit && i < m_lights; ++i)
        Switch(GL_LIGHT0 + static_cast<GLenum>(i), now.lit);
    SetMaterial(before.material, now.material);
}

void Floor::SetFaces(const State& now) const {
    Switch(GL_CULL_FACE, now.faces != FacesAll);
    glCullFace(now.faces == FacesBack ? GL_FRONT : GL_BACK);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, now.faces != FacesFront && now.lit);
}

void Floor::DrawFrame() {
    glClear(GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    const Step* before = &m_steps.back();
    for (const Step& step : m_steps) {
        if (step.changed) SetState(before->state, step.state);
        glLoadMatrixd(step.modelView.Data());
        glCallList(step.list);
        before = &step;
    }
    glXSwapBuffers(m_display, m_window);
}
