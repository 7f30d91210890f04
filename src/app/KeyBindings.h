// The keys of the window in one table: what a key is and what it does.
#pragma once

#include <span>

struct Application;

struct KeyBinding {
    char key;                      // as the keyboard map of the X server gives it
    void (*action)(Application&);  // null: quits
};

// All bindings, in the order of the guide.
std::span<const KeyBinding> KeyBindings();
// The binding of the character; null when it has none.
const KeyBinding* FindKeyBinding(char key);

// Narrowest and widest vertical field of view that keys and wheel reach, and their step; degrees.
inline constexpr float kMinFov = 5;
inline constexpr float kMaxFov = 175;
inline constexpr float kFovStep = 5;
void NarrowView(Application& app);
void WidenView(Application& app);
