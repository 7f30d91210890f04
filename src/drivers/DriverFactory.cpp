// The registry of drivers by name. Knows no concrete driver.
#include "drivers/DriverFactory.h"

#include <iostream>
#include <map>
#include <utility>

namespace {

using Registered = std::map<std::string, DriverFactory*>;

// Made on first use: that may be the constructor of a static factory in any translation unit.
Registered& Factories() {
    static Registered factories;
    return factories;
}

}  // namespace

DriverFactory::DriverFactory(std::string name, std::string description)
    : m_name(std::move(name)), m_description(std::move(description)) {}

DriverFactory::~DriverFactory() = default;

void DriverFactory::Register(DriverFactory* factory) {
    Factories()[factory->Name()] = factory;
}

Driver* DriverFactory::Create(const std::string& name, Display* display) {
    const Registered& factories = Factories();
    const auto found = factories.find(name);
    if (found != factories.end()) return found->second->Make(display);
    std::cerr << "Error: Requested driver '" << name << "' does not exist." << std::endl;
    std::cerr << "Available drivers:" << std::endl;
    for (const auto& [key, factory] : factories) {
        std::cerr << "  " << key << " - " << factory->Description() << std::endl;
    }
    return nullptr;
}

bool DriverFactory::Next(const std::string& current, std::string& next) {
    const Registered& factories = Factories();
    const auto found = factories.find(current);
    const bool known = found != factories.end();
    const auto following = known ? std::next(found) : factories.begin();
    const bool wrapped = known && following == factories.end();
    if (!factories.empty()) next = wrapped ? factories.begin()->first : following->first;
    return wrapped;
}

std::set<std::string> DriverFactory::Names() {
    std::set<std::string> names;
    for (const auto& entry : Factories())
        names.insert(entry.first);
    return names;
}
