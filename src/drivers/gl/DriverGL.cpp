// Set-up of the OpenGL driver: settings, visual and context, window, extensions, capabilities.
#include "drivers/gl/DriverGL.h"

#include <GL/glext.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>

#include "drivers/DriverFactory.h"
#include "drivers/DriverSettings.h"
#include "drivers/gl/GLError.h"
#include "drivers/gl/SettingsGL.h"
#include "spatial/Occlusion.h"

namespace {

// Eight bits count 255 nested shadow volumes, more than any scene has in one pixel.
constexpr int kMostStencilBits = 8;
// What one step of the list budget stands for, in approximate bytes.
constexpr std::int64_t kListBudgetUnit = 1024;

DriverFactoryImpl<DriverGL> factory("GL", "OpenGL backend");

// Asking a server without GLX for a visual would make Xlib complain every time.
bool HasGLX(Display* display) {
    return display != nullptr && glXQueryExtension(display, nullptr, nullptr) == True;
}

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

DriverGL::DriverGL(Display* display) : Driver(display) {
    m_name = "OpenGL renderer";
    DeclareSettings();
}

DriverGL::~DriverGL() {
    DropContext();
}

void DriverGL::DeclareSettings() {
    Declare(gl_settings::kGroup, 0, 0, 0, "The OpenGL rendering driver") = 0;
    Declare(gl_settings::kTextureQuality, 0, 1, 0.1F, "Texture quality") = 0.5F;
    Declare(gl_settings::kTextureFilter, 0, 1, 1, "Texture filtering mode") = 0;
    Declare(gl_settings::kMipmapFilter, 0, 2, 1, "Texture mipmapping mode") = 0;
    Declare(gl_settings::kDither, 0, 1, 1, "Dithering enabled") = 1;
    Declare(gl_settings::kMotionBlur, 0, 1, 1, "Motion blur enable") = 0;
    Declare(gl_settings::kMotionBlurFactor, 0, 1, 0.1F, "Motion blur factor") = 0.5F;
    Declare(gl_settings::kMostLists, 0, 16384, 128, "Maximum # of displaylists") = 1024;
    Declare(gl_settings::kListBudget, 0, 262144, 1024,
            "Approximate displaylist cache size metric") = 1024;
    Declare(gl_settings::kCacheShadows, 0, 1, 1, "Whether to cache shadow volumes") = 0;
    Declare(gl_settings::kLights, 0, 128, 1, "Force number of available lights") = 0;
    Declare(gl_settings::kShadows, 0, 1, 1, "Actually render shadow volumes") = 1;
    Declare(gl_settings::kShadowsVisible, 0, 1, 1, "Make the shadow volumes visible") = 0;
    Declare(gl_settings::kDrawMethod, 0, 2, 1,
            "Mesh rendering method (0=immediate, 1=CVA, 2=iCVA)") = 1;
    Declare(gl_settings::kLineMethod, 0, 1, 1, "Outline rendering method (0=immediate, 1=CVA)") = 1;
    Declare(gl_settings::kShadowMethod, 0, 1, 1,
            "Shadow volume rendering method (0=immediate, 1=CVA)") = 1;
    Declare(gl_settings::kAnisotropic, 0, 1, 1, "Enable anisotropic filtering") = 0;
    Declare(gl_settings::kHardwareOcclusion, 0, 1, 1, "Hardware-assisted occlusion buffer") = 0;
}

// Names of lists and textures die with their context, so what is known of them goes too.
void DriverGL::DropContext() {
    if (m_context == nullptr) return;
    if (glXGetCurrentContext() == m_context) glXMakeCurrent(m_display, None, nullptr);
    glXDestroyContext(m_display, m_context);
    m_context = nullptr;
    m_lists.Forget();
    m_textures.clear();
    m_scratchList = 0;
    m_activeLights = 0;
}

XVisualInfo* DriverGL::GetVisual() {
    DropContext();
    XVisualInfo* visual = nullptr;
    int stencilBits = kMostStencilBits + 1;
    const bool canAsk = HasGLX(m_display);
    while (canAsk && visual == nullptr && stencilBits > 0) {
        visual = ChooseVisual(m_display, m_screen, --stencilBits);
    }
    if (visual == nullptr) {
        std::fprintf(stderr, "DriverGL: Couldn't get an appropriate visual\n");
        return nullptr;
    }
    if (stencilBits >= 1) SetCapability(driver_capabilities::kShadows, 1);
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
    if (GetBool(gl_settings::kDither)) {
        glEnable(GL_DITHER);
    } else {
        glDisable(GL_DITHER);
    }
    ReadTextureSettings();
    m_drawMethod = GetInt(gl_settings::kDrawMethod);
    m_lineMethod = GetInt(gl_settings::kLineMethod);
    m_shadowMethod = GetInt(gl_settings::kShadowMethod);
    m_wireframe = GetBool(driver_settings::kWireframe);
    m_shadowOffset = Get(driver_settings::kShadowOffset);
    m_cacheShadows = GetBool(gl_settings::kCacheShadows);
    m_lists.SetLimit(kListBudgetUnit * GetInt(gl_settings::kListBudget));
    ReadAnisotropy();
}

void DriverGL::ReadAnisotropy() {
    m_maxAnisotropy = 1;
    if (!m_hasAnisotropic) return;
    if (GetBool(gl_settings::kAnisotropic)) {
        glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &m_maxAnisotropy);
    }
    SetCapability(driver_capabilities::kMaxAnisotropy, m_maxAnisotropy);
    ReportGLError("SetWindow", "anisotropic");
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
    const int forced = GetInt(gl_settings::kLights);
    m_maxLights = forced > 0 ? std::min(available, forced) : available;
    SetCapability(driver_capabilities::kMaxLights, static_cast<float>(m_maxLights));
    m_state.Switch(Feature::Lighting, true);
    m_state.SwitchLightsOff(available);
    m_activeLights = 0;
    glLightModeli(GL_LIGHT_MODEL_LOCAL_VIEWER, 1);
}

void DriverGL::ReadTextureSettings() {
    const int texFilter = GetInt(gl_settings::kTextureFilter);
    const int mipFilter = GetInt(gl_settings::kMipmapFilter);
    const float texQuality = Get(gl_settings::kTextureQuality);
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
