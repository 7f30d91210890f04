// Window sizes from the registry, whatever it holds.
#include "app/ShellSettings.h"

#include <gtest/gtest.h>

#include "settings/Registry.h"
#include "settings/ShellKeys.h"
#include "support/TempFile.h"

TEST(ShellSettings, WindowSizesThatXWouldRefuseAreClamped) {
    const TempDir dir;
    Registry registry(dir.File("registry"));
    for (const auto& [text, wanted] : {std::pair{"0", 1},
                                       {"-5", 1},
                                       {"abc", 1},
                                       {"", 1},
                                       {"-99999999999999999999", 1},
                                       {"12.9", 12},
                                       {"16384", 16384},
                                       {"4294967297", 16384},
                                       {"99999999999999999999", 16384}}) {
        registry.SetString(shell_keys::kWidth, text);
        registry.SetString(shell_keys::kHeight, "5");
        int width = 640;
        int height = 480;
        ReadWindowSize(registry, width, height);
        EXPECT_TRUE(width == wanted && height == 5) << text;
    }
}
