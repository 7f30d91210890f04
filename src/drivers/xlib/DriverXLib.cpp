// Frames and passes of the Xlib driver. How lines are projected is in XLines.
#include "drivers/xlib/DriverXLib.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

#include "drivers/DriverFactory.h"
#include "drivers/DriverSettings.h"
#include "geometry/GeoImage.h"
#include "scene/Camera.h"
#include "scene/Light.h"
#include "scene/Shader.h"
#include "spatial/CameraSpace.h"

namespace {

constexpr const char* kGroup = "X";
DriverFactoryImpl<DriverXLib> factory("X", "Simple Xlib driver");

// X sizes and line widths are 16 bits; a pixmap without pixels is an error.
constexpr int kLargestSize = 32767;

// Dark grey of the background, of 65535.
constexpr std::uint16_t kGrey = 4096;

// Colours kept with their pixel values; animated scenes must not fill the memory.
constexpr std::size_t kMostColors = 1024;

// Raster operations by BlendFunc: the nearest that bits can do.
constexpr int kFunctions[BlendCount] = {GXnoop, GXcopy, GXor,          GXxor,
                                        GXand,  GXand,  GXandInverted, GXandInverted};

// What is no number is 0.
std::uint16_t Channel(float diffuse, float emission) {
    const float scaled = (diffuse + emission) * 65536;
    return scaled > 0 ? static_cast<std::uint16_t>(std::min(scaled, 65535.0F)) : 0;
}

// Whether a pixel is made of the channels' high bytes, as on nearly all displays. Coarser ones
// round in ways of their own.
bool HasByteChannels(const Visual& visual) {
    return visual.c_class == TrueColor && visual.bits_per_rgb == 8 &&
           std::popcount(visual.red_mask) == 8 && std::popcount(visual.green_mask) == 8 &&
           std::popcount(visual.blue_mask) == 8;
}

unsigned long HighByte(std::uint16_t channel, unsigned long mask) {
    return static_cast<unsigned long>(channel >> 8) << std::countr_zero(mask);
}

// Longest request that the server takes; both answers are known since the connection was made.
std::size_t RequestWords(Display* display) {
    return static_cast<std::size_t>(
        std::max(XExtendedMaxRequestSize(display), XMaxRequestSize(display)));
}

unsigned PixmapSize(int size) {
    return static_cast<unsigned>(std::clamp(size, 1, kLargestSize));
}

int LineWidth(float thick) {
    const float rounded = thick + 0.5F;
    return rounded > 0 ? static_cast<int>(std::min(rounded, static_cast<float>(kLargestSize))) : 0;
}

}  // namespace

DriverXLib::DriverXLib(Display* display) : Driver(display) {
    m_name = "XLib renderer";
    Declare(kGroup, 0, 0, 0, "The simple XLib rendering driver") = 0;
}

DriverXLib::~DriverXLib() {
    FreePixmap();
    if (m_context != nullptr) XFreeGC(m_display, m_context);
}

void DriverXLib::FreePixmap() {
    if (m_pixmap != None) XFreePixmap(m_display, m_pixmap);
    m_pixmap = None;
}

XVisualInfo* DriverXLib::GetVisual() {
    if (m_display == nullptr) return nullptr;
    XVisualInfo wanted{};
    wanted.visualid = XVisualIDFromVisual(DefaultVisual(m_display, m_screen));
    int found = 0;
    XVisualInfo* visual = XGetVisualInfo(m_display, VisualIDMask, &wanted, &found);
    if (visual != nullptr) m_depth = visual->depth;
    return visual;
}

void DriverXLib::SetWindow(Window window) {
    m_window = window;
    SetCapability(driver_capabilities::kMaxLights, 0);
}

void DriverXLib::SetViewport(int x, int y, int width, int height) {
    m_viewport = {x, y, width, height};
    m_occlusion.Resize(width, height);
    FreePixmap();
    if (m_depth == 0 || m_window == None) return;
    m_pixmapSize = {PixmapSize(width), PixmapSize(height)};
    m_pixmap = XCreatePixmap(m_display, m_window, m_pixmapSize.width, m_pixmapSize.height,
                             static_cast<unsigned>(m_depth));
    if (m_context == nullptr) m_context = XCreateGC(m_display, m_pixmap, 0, nullptr);
}

void DriverXLib::GetViewport(int& x, int& y, int& width, int& height) {
    m_viewport.Get(x, y, width, height);
}

void DriverXLib::Clear(bool depth, bool) {
    if (depth) m_occlusion.Clear();
    if (m_pixmap == None) return;
    PrepareContext(GXcopy, {kGrey, kGrey, kGrey}, 0);
    XFillRectangle(m_display, m_pixmap, m_context, 0, 0, m_pixmapSize.width, m_pixmapSize.height);
}

void DriverXLib::Finish() {
    if (m_pixmap == None) return;
    XCopyArea(m_display, m_pixmap, m_window, DefaultGC(m_display, m_screen), 0, 0,
              m_pixmapSize.width, m_pixmapSize.height, m_viewport.x, m_viewport.y);
    FreePixmap();
}

void DriverXLib::SetupProjection(const Camera& camera) {
    const double f = 1 / HalfViewTangent(camera.fov);
    m_projection.centreX = m_viewport.x + m_viewport.width / 2;
    m_projection.centreY = m_viewport.y + m_viewport.height / 2;
    m_projection.scaleX = static_cast<float>(m_viewport.height * camera.aspect * 0.5 * f);
    m_projection.scaleY = static_cast<float>(m_viewport.height * 0.5 * f);
    m_occlusion.SetProjection(camera);
}

bool DriverXLib::AddLight(const Light* light) {
    if (light == nullptr) return false;
    m_lightPosition = m_modelView.Transform(light->pos);
    return true;
}

bool DriverXLib::RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool) {
    if (pass == nullptr || mesh == nullptr) return false;
    const int blend = pass->blend;
    if (blend <= BlendOpaque || blend >= BlendCount) {
        std::fprintf(stderr, "DriverXLib: Unknown BlendFunc %d\n", blend);
        return false;
    }
    if (m_pixmap == None) return false;
    const Color& diffuse = pass->material.diffuse;
    const Color& emission = pass->material.emission;
    PrepareContext(kFunctions[blend],
                   {Channel(diffuse.r, emission.r), Channel(diffuse.g, emission.g),
                    Channel(diffuse.b, emission.b)},
                   LineWidth(pass->thick));
    return DrawPass(*mesh, *pass, point);
}

bool DriverXLib::DrawPass(GeoImage& mesh, const Shader& pass, const vec3* point) {
    const XLines::Target target{m_display, m_pixmap, m_context, RequestWords(m_display)};
    vec3 light;
    switch (static_cast<int>(pass.rmode)) {
        case RenderSolid:
        case RenderWire:
            m_lines.DrawMesh(target, mesh, m_modelView, m_projection, FacingSign(pass.faces));
            return true;
        case RenderOutline:
            if (point == nullptr) return false;
            mesh.ExtractSilhouette(*point, m_silhouette, false, pass.faces == FacesFront);
            break;
        case RenderShadow:
        case RenderWireShadow:
            light = ToMeshSpace(m_modelView, m_lightPosition);
            mesh.ExtractSilhouette(light, m_silhouette, true, true);
            break;
        default:
            std::fprintf(stderr, "DriverXLib: Unknown RenderFunc %d", static_cast<int>(pass.rmode));
            return false;
    }
    m_lines.DrawEdges(target, m_silhouette, m_modelView, m_projection);
    return true;
}

void DriverXLib::PrepareContext(int function, const Rgb16& color, int lineWidth) {
    XGCValues values{};
    values.function = function;
    values.foreground = Pixel(color);
    values.line_width = lineWidth;
    XChangeGC(m_display, m_context, GCFunction | GCForeground | GCLineWidth, &values);
}

// Asking the server costs a round trip, so answers are kept where it has to be asked.
unsigned long DriverXLib::Pixel(const Rgb16& color) {
    const Visual& visual = *DefaultVisual(m_display, m_screen);
    if (HasByteChannels(visual)) {
        return HighByte(color[0], visual.red_mask) | HighByte(color[1], visual.green_mask) |
               HighByte(color[2], visual.blue_mask);
    }
    const auto known = m_colors.find(color);
    if (known != m_colors.end()) return known->second;
    XColor wanted{};
    wanted.red = color[0];
    wanted.green = color[1];
    wanted.blue = color[2];
    wanted.flags = DoRed | DoGreen | DoBlue;
    const bool allocated =
        XAllocColor(m_display, DefaultColormap(m_display, m_screen), &wanted) != 0;
    if (!allocated) return WhitePixel(m_display, m_screen);
    if (m_colors.size() >= kMostColors) m_colors.clear();
    return m_colors[color] = wanted.pixel;
}
