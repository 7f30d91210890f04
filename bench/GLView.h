// A window of the OpenGL driver's own, for benchmarks that draw. Needs a display.
#pragma once

#include <X11/Xlib.h>

#include <memory>

#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"

class GLView {
public:
    static constexpr int kWidth = 640;
    static constexpr int kHeight = 480;

    std::unique_ptr<Driver> driver;

    GLView() : m_display(XOpenDisplay(nullptr)) {
        if (m_display == nullptr) return;
        driver.reset(DriverFactory::Create("GL", m_display));
        XVisualInfo* visual = driver->GetVisual();
        if (visual == nullptr) return;
        const Window root = DefaultRootWindow(m_display);
        XSetWindowAttributes attributes{};
        attributes.colormap = XCreateColormap(m_display, root, visual->visual, AllocNone);
        m_window =
            XCreateWindow(m_display, root, 0, 0, kWidth, kHeight, 0, visual->depth, InputOutput,
                          visual->visual, CWColormap | CWBorderPixel, &attributes);
        XFree(visual);
        XMapWindow(m_display, m_window);
        XSync(m_display, False);
    }
    ~GLView() {
        driver.reset();
        if (m_display != nullptr) XCloseDisplay(m_display);
    }
    GLView(const GLView&) = delete;
    GLView& operator=(const GLView&) = delete;

    bool Ready() const { return m_window != 0; }
    // Everything of a frame but showing it.
    void Draw(Renderer& renderer, Room& room, const Camera& camera) {
        driver->SetWindow(m_window);
        driver->SetViewport(0, 0, kWidth, kHeight);
        driver->ColorMask(true, true, true);
        driver->Clear(true, true);
        renderer.BeginFrame(driver.get());
        renderer.Render(&room, camera);
        renderer.FinishFrame();
    }

private:
    Display* m_display;
    Window m_window = 0;
};
