// An application with its windows, as start-up makes it but without a console: by default with a
// driver that draws nothing, for tests of keys, mouse and the driver switch.
#pragma once

#include <gtest/gtest.h>

#include "app/Application.h"
#include "app/Windows.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"
#include "scene/Command.h"
#include "scene/SceneDatabase.h"
#include "settings/Registry.h"
#include "support/TempFile.h"

// Only to be there; declares what the keys change. visual: whether a window can be made for it.
class IdleDriver : public Driver {
public:
    IdleDriver(Display* display, bool visual) : Driver(display), m_hasVisual(visual) {
        Declare("GL_mblur", 0, 1, 1, "") = 0;
        Declare("GL_mblur%", 0, 1, 0.01F, "") = 0.5F;
        ++alive;
    }
    ~IdleDriver() override { --alive; }
    XVisualInfo* GetVisual() override {
        XVisualInfo wanted{};
        wanted.visualid = XVisualIDFromVisual(DefaultVisual(m_display, m_screen));
        int count = 0;
        return m_hasVisual ? XGetVisualInfo(m_display, VisualIDMask, &wanted, &count) : nullptr;
    }

    static inline int alive = 0;

private:
    bool m_hasVisual;
};

// Deletes what an application owns, as far as it has been made.
inline void Release(Application& app) {
    delete app.command;
    delete app.database;
    delete app.renderer;
    delete app.driver;
    delete app.registry;
    if (app.display != nullptr) XCloseDisplay(app.display);
}

class ShellFixture : public testing::Test {
protected:
    TempDir dir;
    Application app;

    void SetUp() override {
        app.display = XOpenDisplay(nullptr);
        ASSERT_NE(nullptr, app.display);
        app.registry = new Registry(dir.File("registry"));
        app.renderer = new Renderer;
        app.driver = MakeDriver();
        app.database = new SceneDatabase;
        app.database->AddRenderer(app.renderer);
        app.database->AddDriver(app.driver);
        app.command = new Command(app.database);
        CreateTopWindow(app);
        ASSERT_TRUE(CreateRenderWindow(app));
    }
    void TearDown() override { Release(app); }
    virtual Driver* MakeDriver() { return new IdleDriver(app.display, true); }
};
