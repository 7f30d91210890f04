// A window with a driver on it, made as the shell makes them. A display that cannot be opened or
// a driver without a visual fails the test: nothing is skipped.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <memory>
#include <string>

#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "scene/Camera.h"
#include "scene/Shader.h"

class XWindowFixture : public testing::Test {
public:
    // Odd on purpose: rows of pixels do not end on four-byte boundaries.
    static constexpr int kWidth = 81;
    static constexpr int kHeight = 61;

protected:
    explicit XWindowFixture(std::string driverName) : m_driverName(std::move(driverName)) {}

    Display* m_display = nullptr;
    Window m_xWindow = 0;
    std::unique_ptr<Driver> m_driver;
    Camera m_camera;  // at the origin, along -z, 90 degrees high: at z = -d the view is 2 d high

    void SetUp() override {
        m_camera.fov = 90;
        m_display = XOpenDisplay(nullptr);
        ASSERT_NE(m_display, nullptr) << "this test needs an X server";
        m_driver.reset(DriverFactory::Create(m_driverName, m_display));
        ASSERT_NE(m_driver, nullptr);
        XVisualInfo* visual = m_driver->GetVisual();
        ASSERT_NE(visual, nullptr) << "this test needs a visual for the driver";
        const Window root = RootWindow(m_display, visual->screen);
        XSetWindowAttributes attributes{};
        attributes.colormap = XCreateColormap(m_display, root, visual->visual, AllocNone);
        attributes.override_redirect = True;  // no window manager moves it or lets it wait
        // Tests run side by side, and what another window covers cannot be read back.
        m_xWindow =
            XCreateWindow(m_display, root, 672 + 96 * (getpid() % 6), 80 * (getpid() / 6 % 12),
                          kWidth, kHeight, 0, visual->depth, InputOutput, visual->visual,
                          CWBorderPixel | CWColormap | CWOverrideRedirect, &attributes);
        XMapWindow(m_display, m_xWindow);
        XSync(m_display, False);
        XFree(visual);
    }
    void TearDown() override {
        m_driver.reset();
        if (m_display != nullptr) XCloseDisplay(m_display);
    }

    void StartFrame(int width = kWidth, int height = kHeight) {
        m_driver->SetWindow(m_xWindow);
        m_driver->SetViewport(0, 0, width, height);
        m_driver->ColorMask(true, true, true);
        m_driver->Clear(true, true);
        m_driver->SetupProjection(m_camera);
        m_driver->LoadMatrix({});
    }
    // What follows stands there, unturned.
    void MoveTo(const vec3& position) {
        m_driver->LoadMatrix(Matrix::Frame(position, {0, 0, 1}, {0, 1, 0}));
    }
    // eye: in the coordinates of the mesh.
    bool Run(GeoImage& mesh, const Shader& pass, const vec3& eye = {}) {
        return m_driver->RunShader(&mesh, &pass, &eye, true);
    }

private:
    std::string m_driverName;
};
