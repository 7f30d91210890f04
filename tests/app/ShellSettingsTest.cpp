// Window sizes from the registry, whatever it holds.
#include "app/ShellSettings.h"

#include <gtest/gtest.h>

#include "settings/Registry.h"
#include "support/TempFile.h"

namespace {
TEST(ShellSettings, WindowSizesThatXWouldRefuseAreClamped) {
    const TempDir dir;
    Registry registry(dir.File("registry"));
    // The side that both sides of a window get.
    const auto side = [&](const char* text) {
        int width = 640;
        int height = 480;
        registry.SetString("testRender/wW", text);
        registry.SetString("testRender/wH", text);
        ReadWindowSize(registry, width, height);
        return width == height ? width : -1;
    };
    for (const char* small : {"0", "-5", "abc", "", "-99999999999999999999"})
        EXPECT_EQ(side(small), 1) << small;
    EXPECT_EQ(side("12.9"), 12);
    for (const char* large : {"16384", "16385", "4294967297", "99999999999999999999"})
        EXPECT_EQ(side(large), 16384) << large;
}
}  // namespace
