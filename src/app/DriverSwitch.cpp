// Replacing the driver and the render window. Must not know any driver by name.
#include "app/DriverSwitch.h"

#include <iostream>
#include <string>

#include "app/Application.h"
#include "app/HeapPolicy.h"
#include "app/Windows.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "scene/SceneDatabase.h"
#include "settings/Registry.h"

namespace {
void DropDriver(Application& app) {
    if (app.driver == nullptr) return;
    app.database->RemoveDriver(app.driver);
    app.driver->SaveTo(*app.registry);
    delete app.driver;
    app.driver = nullptr;
}

void TakeDriver(Application& app, Driver* driver) {
    app.driver = driver;
    app.database->AddDriver(driver);
    driver->LoadFrom(*app.registry);
    std::cerr << "New driver = " << driver << '\n';
}

// A window keeps its visual for life, so every driver gets a window of its own.
bool ReplaceRenderWindow(Application& app) {
    const Window oldWindow = app.renderWindow;
    const Colormap oldColormap = app.renderColormap;
    if (!CreateRenderWindow(app)) return false;
    XDestroyWindow(app.display, oldWindow);
    XFreeColormap(app.display, oldColormap);
    XMapWindow(app.display, app.renderWindow);
    return true;
}
}  // namespace

void SwitchDriver(Application& app) {
    const std::string oldName = app.driverName;
    bool drawable = true;
    // Every name has one chance, the current one last: a driver that cannot be made now will not
    // be made a moment later either, and trying for ever would hang the program.
    for (std::size_t tries = DriverFactory::Names().size(); tries > 0; --tries) {
        const std::string current = app.driverName;
        DriverFactory::Next(current, app.driverName);
        std::cerr << "Switching to driver " << app.driverName << '\n';
        Driver* const driver = DriverFactory::Create(app.driverName, app.display);
        if (driver == nullptr) continue;
        DropDriver(app);
        ReturnFreeMemory();  // the lists and textures of the old driver
        TakeDriver(app, driver);
        drawable = ReplaceRenderWindow(app);
        if (drawable) return;
    }
    app.driverName = oldName;
    if (!drawable) DropDriver(app);
}
