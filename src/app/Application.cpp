// Start-up and shutdown of the shell, step by step. Must not know what a frame or a key does.
#include "app/Application.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "app/ConsoleThread.h"
#include "app/ShellSettings.h"
#include "app/Windows.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"
#include "scene/Command.h"
#include "scene/SceneDatabase.h"
#include "scene/SceneFile.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"

namespace {
constexpr const char* kSettingsDirectory = "/.Pallix";
constexpr const char* kRegistryFile = "/registry";
constexpr const char* kDefaultScene = "scenes/test1";

bool OpenRegistry(Application& app) {
    const char* const home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        std::cerr << "HOME is not set\n";
        return false;
    }
    const std::string directory = std::string(home) + kSettingsDirectory;
    std::cout << "Creating registry in " << directory << std::endl;
    if (mkdir(directory.c_str(), 0777) != 0) std::perror("Creating registry");
    app.registry = new Registry(directory + kRegistryFile);
    return true;
}

// "-key value" pairs override the registry, whatever the value looks like; the rest are scenes.
void TakeArguments(Application& app, int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (!argument.starts_with('-')) {
            app.positional.push_back(argument);
        } else if (i + 1 < argc) {
            app.registry->SetString(argument.substr(1), argv[++i]);
        }
    }
}

void ChooseDriverName(Application& app) {
    if (!app.registry->Has(shell_keys::kDriver)) {
        const std::set<std::string> names = DriverFactory::Names();
        app.registry->SetString(shell_keys::kDriver,
                                names.empty() ? std::string() : *names.begin());
    }
    app.driverName = app.registry->GetString(shell_keys::kDriver);
}

bool OpenDisplay(Application& app) {
    app.display = XOpenDisplay(nullptr);
    if (app.display == nullptr) std::cerr << "Could not open display\n";
    return app.display != nullptr;
}

// Names before the requested one are never tried; an unknown one goes on with the first.
bool CreateDriver(Application& app) {
    for (;;) {
        app.driver = DriverFactory::Create(app.driverName, app.display);
        if (app.driver != nullptr) return true;
        std::cerr << "Driver " << app.driverName << " creation failed\n";
        const std::string failed = app.driverName;
        if (DriverFactory::Next(failed, app.driverName)) {
            std::cerr << "Too many tries; aborting\n";
            return false;
        }
    }
}

void CreateInterpreter(Application& app) {
    app.database = new SceneDatabase;
    app.database->AddRenderer(app.renderer);
    app.database->AddDriver(app.driver);
    app.command = new Command(app.database);
    app.command->FollowRoom(&app.currentRoom);
}

bool LoadScenes(Application& app) {
    if (app.positional.empty()) app.positional.push_back(kDefaultScene);
    bool loaded = false;
    for (const std::string& file : app.positional) {
        if (LoadScene(file, app.Selection())) loaded = true;
    }
    if (!loaded) std::cerr << "Could not load any rooms. Aborting.\n";
    return loaded;
}

void SaveSettings(Application& app) {
    app.renderer->SaveTo(*app.registry);
    if (app.driver != nullptr) app.driver->SaveTo(*app.registry);
    app.registry->SetString(shell_keys::kDriver, app.driverName);
    StoreShellValues(*app.registry, app.shell);
    StoreWindowSize(*app.registry, app.windowWidth, app.windowHeight);
}

void CloseWindows(Application& app) {
    XDestroyWindow(app.display, app.renderWindow);
    XFreeColormap(app.display, app.renderColormap);
    XDestroyWindow(app.display, app.topWindow);
    XCloseDisplay(app.display);
}
}  // namespace

bool StartUp(Application& app, int argc, char** argv) {
    if (!OpenRegistry(app)) return false;
    TakeArguments(app, argc, argv);
    ChooseDriverName(app);
    StoreShellDefaults(*app.registry);
    ReadShellValues(*app.registry, app.shell);
    if (!OpenDisplay(app)) return false;
    app.renderer = new Renderer;
    if (!CreateDriver(app)) return false;
    std::cerr << "Renderer = " << app.renderer << " Driver = " << app.driver << '\n';
    CreateInterpreter(app);
    app.renderer->LoadFrom(*app.registry);
    app.driver->LoadFrom(*app.registry);
    ReadWindowSize(*app.registry, app.windowWidth, app.windowHeight);
    CreateTopWindow(app);
    if (!CreateRenderWindow(app)) return false;
    if (!LoadScenes(app)) return false;
    StartConsole(app);
    XMapWindow(app.display, app.renderWindow);
    std::cout << "starting eventloop" << std::endl;
    return true;
}

bool ShutDown(Application& app, int patience) {
    std::cout << "shutting down" << std::endl;
    const bool idle = StopConsole(app, patience);
    SaveSettings(app);
    if (!idle) {
        std::cerr << "A console command is still running; its scene is not released\n";
        delete app.registry;
        return false;
    }
    delete app.command;
    delete app.database;
    delete app.renderer;
    delete app.driver;
    delete app.registry;
    CloseWindows(app);
    return true;
}
