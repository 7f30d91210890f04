// The fallback driver: every mesh as lines, through Xlib alone, into a pixmap that is shown at the
// end of the frame. No lights, textures, depth or shadows.
#pragma once

#include "drivers/Driver.h"

#include <array>
#include <cstdint>
#include <map>

#include "drivers/Rectangle.h"
#include "drivers/xlib/XLines.h"
#include "geometry/Silhouette.h"
#include "spatial/Occlusion.h"

// SetViewport makes the pixmap of the coming frame and Finish frees it: drawing needs a
// SetViewport in every frame. Shadow operations are left to the base.
class DriverXLib : public Driver {
public:
    explicit DriverXLib(Display* display);
    ~DriverXLib() override;

    XVisualInfo* GetVisual() override;
    void SetWindow(Window window) override;
    void SetViewport(int x, int y, int width, int height) override;
    void GetViewport(int& x, int& y, int& width, int& height) override;
    void ColorMask(bool, bool, bool) override {}
    // Fills the whole pixmap, whatever is asked for.
    void Clear(bool depth, bool color) override;
    void Finish() override;
    Texture GetFramebuffer() override { return {}; }
    void SetupProjection(const Camera& camera) override;
    void LoadMatrix(const Matrix& modelView) override { m_modelView = modelView; }
    void CopyTexture(Texture*, int, int, int, int) override {}
    void Purge(Texture*) override {}
    void Purge(GeoImage*) override {}
    bool RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) override;
    void SetAmbient(float, float, float, float) override {}
    void ClearLights() override {}
    // There is no limit; only the position of the last one is kept.
    bool AddLight(const Light* light) override;
    Occlusion* GetOcclusion() override { return &m_occlusion; }

private:
    using Rgb16 = std::array<std::uint16_t, 3>;

    struct Size {
        unsigned width = 1;
        unsigned height = 1;
    };

    Rectangle m_viewport;
    int m_depth = 0;  // of the default visual; 0 until GetVisual
    Pixmap m_pixmap = None;
    Size m_pixmapSize;  // the viewport's, as far as X can have it
    GC m_context = nullptr;
    std::map<Rgb16, unsigned long> m_colors;  // pixel values of the default colormap
    Matrix m_modelView;
    LineProjection m_projection;
    Occlusion m_occlusion;
    vec3 m_lightPosition;  // eye space
    SilhouetteResult m_silhouette;
    XLines m_lines;

    void FreePixmap();
    unsigned long Pixel(const Rgb16& color);
    void PrepareContext(int function, const Rgb16& color, int lineWidth);
    bool DrawPass(GeoImage& mesh, const Shader& pass, const vec3* point);
};
