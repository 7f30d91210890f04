// Window sizes from the registry, whatever it holds.
#include "app/ShellSettings.h"

#include <gtest/gtest.h>

#include "app/Application.h"
#include "settings/Registry.h"
#include "settings/ShellKeys.h"
#include "support/TempFile.h"

TEST(ShellSettings, WindowSizesThatXWouldRefuseAreClamped) {
    const TempDir dir;
    Registry registry(dir.File("registry"));
    Application app;
    const auto width = [&](const char* text) {
        registry.SetString(shell_keys::kWidth, text);
        ReadWindowSize(registry, app.windowWidth, app.windowHeight);
        EXPECT_EQ(480, app.windowHeight) << "no key, no change";
        return app.windowWidth;
    };
    EXPECT_EQ(640, app.windowWidth);
    for (const char* small : {"0", "-5", "abc", "", "-99999999999999999999"})
        EXPECT_EQ(1, width(small)) << small;
    EXPECT_EQ(12, width("12.9"));
    for (const char* large : {"16384", "16385", "4294967297", "99999999999999999999"})
        EXPECT_EQ(16384, width(large)) << large;
}
