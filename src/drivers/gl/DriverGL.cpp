// Set-up of the OpenGL driver: settings, visual and context, window, extensions, capabilities.
#include "drivers/gl/DriverGL.h"

#include <GL/glext.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "drivers/DriverFactory.h"
#include "drivers/gl/GLError.h"
#include "spatial/Occlusion.h"

namespace {

// Eight bits count 255 nested shadow volumes, more than any scene has in one pixel.
constexpr int kMostStencilBits = 8;
// What one step of "GL_dlistSize" stands for, in approximate bytes.
constexpr std::int64_t kListBudgetUnit = 1024;

DriverFactoryImpl<DriverGL> factory("GL", "OpenGL backend");

XVisualInfo* ChooseVisual(Display* display, int screen, int stencilBits) {
    int attributes[] = {GLX_STENCIL_SIZE,    stencilBits, GLX_RED_SIZE,          1,
                        GLX_GREEN_SIZE,      1,           GLX_BLUE_SIZE,         1,
                        GLX_DEPTH_SIZE,      1,           GLX_DOUBLEBUFFER,      GLX_RGBA,
                        GLX_ACCUM_RED_SIZE,  1,           GLX_ACCUM_GREEN_SIZE,  1,
                        GLX_ACCUM_BLUE_SIZE, 1,           static_cast<int>(None)};
    return glXChooseVisual(display, screen, attributes);
}

// The blank-separated words of an OpenGL string; none for null, which is what OpenGL answers
// where no context is current.
std::set<std::string> Words(const GLubyte* text) {
    std::set<std::string> words;
    if (text == nullptr) return words;
    std::istringstream stream(reinterpret_cast<const char*>(text));
    for (std::string word; stream >> word;)
        words.insert(word);
    return words;
}

template <class Function>
void FindFunction(Function*& function, const char* name) {
    function =
        reinterpret_cast<Function*>(glXGetProcAddress(reinterpret_cast<const GLubyte*>(name)));
}

int Query(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

}  // namespace

bool DriverGL::CanRunOn(Display* display) {
    return display == nullptr || glXQueryExtension(display, nullptr, nullptr) == True;
}

DriverGL::DriverGL(Display* display) : Driver(display) {
    m_name = "OpenGL renderer";
    DeclareSettings();
}

DriverGL::~DriverGL() {
    DropContext();
}

void DriverGL::DeclareSettings() {
    Declare("GL", 0, 0, 0, "The OpenGL rendering driver") = 0;
    Declare("GL_tex_quality", 0, 1, 0.1F, "Texture quality") = 0.5F;
    Declare("GL_texfilt", 0, 1, 1, "Texture filtering mode") = 0;
    Declare("GL_mipfilt", 0, 2, 1, "Texture mipmapping mode") = 0;
    Declare("GL_dither", 0, 1, 1, "Dithering enabled") = 1;
    Declare("GL_mblur", 0, 1, 1, "Motion blur enable") = 0;
    Declare("GL_mblur%", 0, 1, 0.1F, "Motion blur factor") = 0.5F;
    Declare("GL_dlistMax", 0, 16384, 128, "Maximum # of displaylists") = 1024;
    Declare("GL_dlistSize", 0, 262144, 1024, "Approximate displaylist cache size metric") = 1024;
    Declare("GL_dlistShadows", 0, 1, 1, "Whether to cache shadow volumes") = 0;
    Declare("GL_lights", 0, 128, 1, "Force number of available lights") = 0;
    Declare("GL_shadows", 0, 1, 1, "Actually render shadow volumes") = 1;
    Declare("GL_shadows_visible", 0, 1, 1, "Make the shadow volumes visible") = 0;
    Declare("GL_draw_method", 0, 2, 1, "Mesh rendering method (0=immediate, 1=CVA, 2=iCVA)") = 1;
    Declare("GL_line_method", 0, 1, 1, "Outline rendering method (0=immediate, 1=CVA)") = 1;
    Declare("GL_shadow_method", 0, 1, 1, "Shadow volume rendering method (0=immediate, 1=CVA)") = 1;
    Declare("GL_anisotropic", 0, 1, 1, "Enable anisotropic filtering") = 0;
    Declare("GL_hw_occlusion", 0, 1, 1, "Hardware-assisted occlusion buffer") = 0;
}

// Names of lists and textures die with their context, so what is known of them goes too.
void DriverGL::DropContext() {
    if (m_context == nullptr) return;
    if (glXGetCurrentContext() == m_context) glXMakeCurrent(m_display, None, nullptr);
    glXDestroyContext(m_display, m_context);
    m_context = nullptr;
    m_lists.Forget();
    m_textures.clear();
    m_currentTexture = nullptr;
    m_scratchList = 0;
    m_activeLights = 0;
}

XVisualInfo* DriverGL::GetVisual() {
    DropContext();
    XVisualInfo* visual = nullptr;
    int stencilBits = kMostStencilBits + 1;
    while (m_display != nullptr && visual == nullptr && stencilBits > 0) {
        visual = ChooseVisual(m_display, m_screen, --stencilBits);
    }
    if (visual == nullptr) {
        std::fprintf(stderr, "DriverGL: Couldn't get an appropriate visual\n");
        return nullptr;
    }
    if (stencilBits >= 1) SetCapability("shadows", 1);
    std::printf("DriverGL: got %d stencil bits\n", stencilBits);
    m_context = glXCreateContext(m_display, visual, nullptr, True);
    if (m_context == nullptr) std::fprintf(stderr, "DriverGL: Could not create context\n");
    return visual;
}

void DriverGL::SetWindow(Window window) {
    m_window = window;
    if (m_context == nullptr) {
        std::fprintf(stderr, "DriverGL: No context\n");
        return;
    }
    glXMakeCurrent(m_display, m_window, m_context);
    m_state.Forget();
    // Rows of pixels are packed without gaps on both sides.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    if (!m_extensionsProbed) ProbeExtensions();
    ReadLightLimit();
    if (m_scratchList == 0) m_scratchList = glGenLists(1);
    if (GetBool("GL_dither")) {
        glEnable(GL_DITHER);
    } else {
        glDisable(GL_DITHER);
    }
    ReadTextureSettings();
    m_drawMethod = GetInt("GL_draw_method");
    m_lineMethod = GetInt("GL_line_method");
    m_shadowMethod = GetInt("GL_shadow_method");
    m_wireframe = GetBool("D_wireframe");
    m_shadowOffset = Get("D_shadowoffset");
    m_cacheShadows = GetBool("GL_dlistShadows");
    m_lists.SetLimit(kListBudgetUnit * GetInt("GL_dlistSize"));
    ReadAnisotropy();
}

void DriverGL::ReadAnisotropy() {
    const float before = std::exchange(m_maxAnisotropy, 1.0F);
    if (!m_hasAnisotropic) return;
    if (GetBool("GL_anisotropic")) {
        glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &m_maxAnisotropy);
    }
    SetCapability("max anisotropy", m_maxAnisotropy);
    ReportGLError("SetWindow", "anisotropic");
    // A texture takes the figure over when it becomes current.
    if (m_maxAnisotropy != before) SetupTexture(nullptr);
}

void DriverGL::ProbeExtensions() {
    const std::set<std::string> extensions = Words(glGetString(GL_EXTENSIONS));
    m_hasAnisotropic = extensions.contains("GL_EXT_texture_filter_anisotropic");
    if (extensions.contains("GL_EXT_compiled_vertex_array")) {
        FindFunction(m_lockArrays, "glLockArraysEXT");
        FindFunction(m_unlockArrays, "glUnlockArraysEXT");
    }
    m_extensionsProbed = true;
}

// All lights of the implementation are switched off: a lowered limit must not leave one burning
// that no later call would count.
void DriverGL::ReadLightLimit() {
    const int available = Query(GL_MAX_LIGHTS);
    const int forced = GetInt("GL_lights");
    m_maxLights = forced > 0 ? std::min(available, forced) : available;
    SetCapability("maxlights", static_cast<float>(m_maxLights));
    m_state.Switch(Feature::Lighting, true);
    m_state.SwitchLightsOff(available);
    m_activeLights = 0;
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, 1);
}

void DriverGL::ReadTextureSettings() {
    const int texFilter = GetInt("GL_texfilt");
    const int mipFilter = GetInt("GL_mipfilt");
    const float texQuality = Get("GL_tex_quality");
    // A quality may be no number, which does not even equal itself.
    const bool sameQuality =
        texQuality == m_texQuality || (std::isnan(texQuality) && std::isnan(m_texQuality));
    const bool same = texFilter == m_texFilter && mipFilter == m_mipFilter && sameQuality;
    m_texFilter = texFilter;
    m_mipFilter = mipFilter;
    m_texQuality = texQuality;
    if (same) return;
    while (!m_textures.empty())
        Purge(m_textures.begin()->first);
}

int DriverGL::WindowHeight() const {
    if (m_context == nullptr) return m_viewport.y + m_viewport.height;
    Window root = 0;
    int x = 0;
    int y = 0;
    unsigned width = 0;
    unsigned height = 0;
    unsigned border = 0;
    unsigned depth = 0;
    XGetGeometry(m_display, m_window, &root, &x, &y, &width, &height, &border, &depth);
    return static_cast<int>(height);
}
