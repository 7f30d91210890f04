// The commands "r_set" and "d_set": settings of the renderer and of the drivers.
// Sees both through Settings alone.
#include "scene/Command.h"

#include "scene/CommandValues.h"
#include "scene/SceneDatabase.h"
#include "settings/Settings.h"
#include "drivers/Driver.h"
#include "renderer/Renderer.h"

#include <cstdlib>
#include <iostream>

namespace {

std::string Listing(const Settings& settings) {
    std::string text = "All available settings:\n";
    for (const auto& [name, record] : settings.ListSettings()) {
        text += name + ": " + settings.GetDescription(name);
        if (record.min != record.max) {
            text += " = " + NumberText(record.value) + '(' + NumberText(record.min) + ':' +
                    NumberText(record.max) + ')';
        }
        text += '\n';
    }
    const Settings::CapabilityMap capabilities = settings.ListCapabilities();
    if (!capabilities.empty()) text += "Capabilities:\n";
    for (const auto& [name, value] : capabilities) {
        text += name + " = " + NumberText(value) + '\n';
    }
    return text;
}

}  // namespace

// The listings are flushed at once: whoever typed the command waits for them, and messages on
// standard error keep their place among them.
void CmdSetting(Settings& settings, Params params) {
    std::cout << std::endl;
    switch (params.size()) {
        case 0:
            std::cout << Listing(settings) << std::flush;
            break;
        case 1:
            std::cout << "Value of " + params[0] + ": " + NumberText(settings.Get(params[0]))
                      << std::endl;
            break;
        case 2:
            settings.Set(params[0], static_cast<float>(std::strtod(params[1].c_str(), nullptr)));
            break;
        default:
            std::cerr << "CmdSetting: invalid parameters\n";
    }
}

void Command::CmdRendererSetting(Params params) {
    for (Renderer* renderer : m_database->Renderers()) {
        CmdSetting(*renderer, params);
    }
}

void Command::CmdDriverSetting(Params params) {
    for (Driver* driver : m_database->Drivers()) {
        CmdSetting(*driver, params);
    }
}
