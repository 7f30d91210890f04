// The one door to drawing: what a rendering back end offers the renderer and the frame loop.
// Knows nothing of the renderer. Main thread only.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "geometry/Texture.h"
#include "settings/Settings.h"
#include "settings/Statistics.h"
#include "spatial/Matrix.h"
#include "spatial/Vec3.h"

class GeoImage;
class Occlusion;
struct Camera;
struct Light;
struct Shader;

// Order of calls. Once: constructor, Settings::LoadFrom, GetVisual (the window is made with that
// visual). Every frame: SetWindow, SetViewport, ColorMask, Clear; per image SetupProjection, then
// LoadMatrix, lights, RunShader and shadows in any number; Finish. Statistics are read after
// Finish. An operation that an implementation leaves to this base says so on standard error (two
// lines) and returns a safe result.
class Driver : public Settings {
public:
    // Declares the settings common to all drivers. The display is not owned.
    explicit Driver(Display* display);
    virtual ~Driver();
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    const char* Name() const { return m_name; }
    const Statistics& Stats() const { return m_stats; }

    // The visual that the window must be made with; the caller frees it with XFree. Null: this
    // driver cannot draw here.
    virtual XVisualInfo* GetVisual();
    // Binds the driver to the window, re-reads its settings, publishes capabilities.
    virtual void SetWindow(Window window);
    // Drawing rectangle in window coordinates, origin top left.
    virtual void SetViewport(int x, int y, int width, int height);
    virtual void GetViewport(int& x, int& y, int& width, int& height);
    virtual void ColorMask(bool red, bool green, bool blue);
    // Starts a frame: clears the stencil always, depth and colour when asked.
    virtual void Clear(bool depth, bool color);
    // Ends a frame and shows it.
    virtual void Finish();
    // The image of the viewport, rows bottom to top; empty when it cannot be read.
    virtual Texture GetFramebuffer();
    virtual void SetupProjection(const Camera& camera);
    // Model-view matrix of the drawing that follows.
    virtual void LoadMatrix(const Matrix& modelView);
    // Copies a rectangle of the window (top-left origin) into the texture.
    virtual void CopyTexture(Texture* texture, int x, int y, int width, int height);
    // Forgets everything held for that address, which is not dereferenced.
    virtual void Purge(Texture* texture);
    virtual void Purge(GeoImage* mesh);
    // Draws one pass of one mesh. point: eye in mesh coordinates, for outlines. cacheable: what is
    // built may be kept. Returns whether something was drawn.
    virtual bool RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable);
    virtual void SetAmbient(float red, float green, float blue, float alpha);
    virtual void ClearLights();
    // Adds one light at its position under the current matrix; false when none is free.
    virtual bool AddLight(const Light* light);
    virtual void StartShadows();
    // Adds the shadow volume of a mesh; light position in mesh coordinates, length extruded.
    virtual void AddShadow(GeoImage* mesh, const vec3* lightPosition, float extrusion);
    virtual void FinishShadows();
    // On: later drawing touches only pixels outside every shadow volume.
    virtual void SetShadowTest(bool on);
    // The driver's occlusion buffer, owned by the driver; null when it has none.
    virtual Occlusion* GetOcclusion();

protected:
    const char* m_name = "Null renderer";
    Display* m_display;
    int m_screen;
    Window m_window = 0;
    Statistics m_stats;

    void Unimplemented(const char* operation) const;
};
