// The shell's registry keys: which text becomes which value, what is echoed, what is stored.
#include "app/ShellSettings.h"

#include <gtest/gtest.h>

#include "app/Application.h"
#include "settings/Registry.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {
std::string StoredText(const ShellValues& values, int width, int height) {
    const TempDir dir;
    {
        Registry registry(dir.File("registry"));
        StoreShellDefaults(registry);
        StoreShellValues(registry, values);
        StoreWindowSize(registry, width, height);
    }
    return dir.Read("registry");
}

TEST(ShellSettings, AbsentKeysKeepDefaultsAndEchoNothing) {
    const TempDir dir;
    const Registry registry(dir.File("registry"));
    ShellValues values;
    int width = 640;
    int height = 480;
    EXPECT_EQ("", CaptureStdout([&] { ReadShellValues(registry, values); }));
    ReadWindowSize(registry, width, height);
    EXPECT_EQ(
        "testRender/anaglyph 0\n"
        "testRender/baseLOD 1\n"
        "testRender/caprate 30\n"
        "testRender/capt /tmp\n"
        "testRender/edist 20\n"
        "testRender/ediverg 0\n"
        "testRender/emask 011\n"
        "testRender/ratecap 0\n"
        "testRender/showfps 1\n"
        "testRender/veloscale 0.00999999977648\n"
        "testRender/wH 480\n"
        "testRender/wW 640\n",
        StoredText(values, width, height));
}

TEST(ShellSettings, PresentKeysOverrideInTheirOwnTypesAndEcho) {
    const TempDir dir;
    Registry registry(dir.Write("registry",
                                "testRender/anaglyph 0.6\n"
                                "testRender/baseLOD 0.1\n"
                                "testRender/caprate 25\n"
                                "testRender/capt /var/tmp\n"
                                "testRender/ediverg -0.5\n"
                                "testRender/edist 7\n"
                                "testRender/emask 1x1\n"
                                "testRender/ratecap 2\n"
                                "testRender/showfps 0.9\n"
                                "testRender/veloscale 3\n"));
    ShellValues values;
    EXPECT_EQ("caprate = 25\nbaseLOD = 0.1\nratecap = 1\nemask0 = 1\nemask1 = 0\nemask2 = 1\n",
              CaptureStdout([&] { ReadShellValues(registry, values); }));
    EXPECT_TRUE(values.anaglyph);
    EXPECT_FALSE(values.showStats) << "an integer: 0.9 reads as 0";
    EXPECT_FLOAT_EQ(-0.5F, values.ediverg);
    EXPECT_FLOAT_EQ(7, values.edist);
    StoreShellDefaults(registry);
    EXPECT_EQ("/var/tmp", registry.GetString("testRender/capt"));
    EXPECT_EQ("3", registry.GetString("testRender/veloscale"));

    registry.SetString("testRender/showfps", "2");
    registry.SetString("testRender/emask", "1");
    CaptureStdout([&] { ReadShellValues(registry, values); });
    EXPECT_TRUE(values.showStats);
    StoreShellValues(registry, values);
    EXPECT_EQ("100", registry.GetString("testRender/emask")) << "missing flags are off";
}

TEST(ShellSettings, WindowSizesThatXWouldRefuseAreClamped) {
    const TempDir dir;
    Registry registry(dir.File("registry"));
    const std::pair<const char*, int> cases[] = {{"0", 1},
                                                 {"-5", 1},
                                                 {"abc", 1},
                                                 {"", 1},
                                                 {"17", 17},
                                                 {"12.9", 12},
                                                 {"16384", 16384},
                                                 {"16385", 16384},
                                                 {"4294967297", 16384},
                                                 {"99999999999999999999", 16384},
                                                 {"-99999999999999999999", 1}};
    for (const auto& [text, expected] : cases) {
        registry.SetString("testRender/wW", text);
        registry.SetString("testRender/wH", text);
        int width = 640;
        int height = 480;
        ReadWindowSize(registry, width, height);
        EXPECT_EQ(expected, width) << text;
        EXPECT_EQ(expected, height) << text;
    }
}
}  // namespace
