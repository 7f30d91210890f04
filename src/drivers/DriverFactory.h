// Drivers by name: each driver's translation unit holds one static factory that registers itself
// before main runs.
#pragma once

#include <X11/Xlib.h>

#include <set>
#include <string>
#include <utility>

class Driver;

class DriverFactory {
public:
    // name: the registry key; description: the text in the list of available drivers.
    DriverFactory(std::string name, std::string description);
    virtual ~DriverFactory();
    // A new driver on the display, owned by the caller.
    virtual Driver* Make(Display* display) = 0;

    const std::string& Name() const { return m_name; }
    const std::string& Description() const { return m_description; }

    // Enters the factory under its name; a later one of the same name replaces it.
    static void Register(DriverFactory* factory);
    // A new driver, owned by the caller. An unknown name prints the list of drivers: null.
    static Driver* Create(const std::string& name, Display* display);
    // The name after the current one, the first for an unknown name or past the last. Returns
    // whether it wrapped past the last.
    static bool Next(const std::string& current, std::string& next);
    static std::set<std::string> Names();

private:
    std::string m_name;
    std::string m_description;
};

// Makes drivers of class T.
template <class T>
class DriverFactoryImpl : public DriverFactory {
public:
    DriverFactoryImpl(std::string name, std::string description)
        : DriverFactory(std::move(name), std::move(description)) {
        Register(this);
    }
    Driver* Make(Display* display) override { return new T(display); }
};
