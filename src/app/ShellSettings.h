// The shell's own values in the registry: which key holds what, how it is read and stored.
// Knows nothing of windows or drivers.
#pragma once

class Registry;
struct ShellValues;

// A window side that X accepts: 1 to 16384 pixels.
int ClampWindowSize(long size);

// Stores the keys that are only ever read elsewhere (capture directory, camera speed) when absent.
void StoreShellDefaults(Registry& registry);
// Overrides the values whose keys are present; some are echoed on standard output.
void ReadShellValues(const Registry& registry, ShellValues& values);
// Overrides the sides whose keys are present, clamped.
void ReadWindowSize(const Registry& registry, int& width, int& height);
void StoreShellValues(Registry& registry, const ShellValues& values);
void StoreWindowSize(Registry& registry, int width, int height);
