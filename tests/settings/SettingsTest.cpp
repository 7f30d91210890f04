// Declared settings, and the registry that keeps them: its file, hostile contents, numbers.
#include "settings/Registry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <utility>

#include "settings/Settings.h"
#include "support/TempFile.h"

namespace {

std::string Rewritten(const TempDir& dir, const std::string& contents) {
    dir.Write("r", contents);
    { Registry registry(dir.File("r")); }
    return dir.Read("r");
}

TEST(Registry, CutsLinesIntoEntries) {
    const TempDir dir;
    EXPECT_EQ(Rewritten(dir, "b 2\na 1\na 3\n"), "a 3\nb 2\n");
    EXPECT_EQ(Rewritten(dir, "k\n\n x y\n\tz 1\nt\tv\r\nw  two \t\v\n"), "k \nt v\nw  two\n");
    EXPECT_EQ(Rewritten(dir, "k v  "), "k v  \n") << "only a line's last piece is trimmed";
    EXPECT_EQ(Rewritten(dir, "k"), "k \n");
    const std::string value = std::string(3000, 'v') + " end";
    EXPECT_EQ(Rewritten(dir, "long " + value + "\nm 1\n"), "long " + value + "\nm 1\n");
    const std::string piece = "k " + std::string(1020, 'v');
    EXPECT_EQ(Rewritten(dir, piece + "\rx 1\n"), piece + "\nx 1\n")
        << "a carriage return in a piece's last place ends the line";
    EXPECT_EQ(Rewritten(dir, piece + " \n"), piece + " \n");
    EXPECT_EQ(Rewritten(dir, piece + "v "), piece + "v\n") << "a piece of one byte ends it, too";
}

TEST(Registry, FormatsAndParsesNumbers) {
    const TempDir dir;
    Registry registry(dir.File("r"));
    for (const auto& [value, text] : {std::pair{-3.0F, "-3"},
                                      {-0.0F, "0"},
                                      {0.1F, "0.10000000149"},
                                      {2147483648.0F, "2147483648"},
                                      {-2147483648.0F, "-2147483648"},
                                      {INFINITY, "inf"}}) {
        registry.SetFloat("f", value);
        EXPECT_EQ(registry.GetString("f"), text);
    }
    for (const auto& [text, number] :
         {std::pair{" 0.6x", 0.6F}, {"word", 0.0F}, {"0x10", 16.0F}, {"0.5", 0.5F}}) {
        registry.SetString("s", text);
        EXPECT_EQ(registry.GetFloat("s"), number);
        EXPECT_EQ(registry.GetBool("s"), number > 0.5F);
    }
    EXPECT_TRUE(!registry.Has("absent") && registry.GetFloat("absent") == 0);
}

TEST(Registry, ReadsHostileFilesAndDropsWhatItsOwnCannotHold) {
    const TempDir dir;
    using std::string_literals::operator""s;
    EXPECT_EQ(Rewritten(dir, "\0\na 1\0junk\nb\0 2\n\0\0"s), "a 1\nb \n");
    EXPECT_EQ(Rewritten(dir, std::string(1 << 20, '\0') + "\nz 1\n"), "z 1\n");
    mkfifo(dir.File("pipe").c_str(), 0666);
    for (const char* odd : {".", "pipe", "no/such/folder", "../../../../dev/zero"})
        Registry(dir.File(odd)).SetString("k", "v");
    EXPECT_EQ(dir.Count(), 2) << "neither folder nor pipe is replaced";
    const std::string endless = Rewritten(dir, "k " + std::string(17 << 20, 'x'));
    EXPECT_EQ(endless.size(), (16U << 20) + 1) << "what is beyond the bound is not read";

    dir.Write("r", "old 1\n");
    {
        Registry registry(dir.File("r"));
        for (const char* key : {"", "a b", "a\nb"})
            registry.SetString(key, "x");
        registry.SetString("v", "one\ninjected 1");
        registry.SetString("w", "one\rtwo 1\n");
    }
    EXPECT_EQ(Rewritten(dir, dir.Read("r")), "old 1\nv one\nw one\rtwo 1\n");
}

TEST(Settings, ClampsTogglesAndConverts) {
    Settings settings;
    settings.Declare("D", 0, 0, 0, "group") = 0;
    settings.Declare("D_x", 0, 2, 0.01F, "x") = 1;
    EXPECT_TRUE(settings.Declares("D_x") && !settings.Declares("D_"));
    EXPECT_TRUE(settings.GetRecord("D_").max == 0 && settings.GetRecord("D_x").step == 0.01F);
    EXPECT_TRUE(settings.Set("D_x", 2.01F) == 2 && settings.Set("D_x", -1) == 0);
    EXPECT_TRUE(std::isnan(settings.Set("D_x", NAN)));
    EXPECT_EQ(settings.GetInt("D_x"), 0);
    EXPECT_TRUE(settings.Set("D", 3) == 0 && settings.Set("D", NAN) == 0);
    for (const auto& [value, on] : {std::pair{0.3F, false}, {0.5F, false}, {0.7F, true}}) {
        settings.Set("D_x", value);
        EXPECT_EQ(settings.GetBool("D_x"), on);
        EXPECT_EQ(settings.Toggle("D_x"), !on);
        EXPECT_EQ(settings.Get("D_x"), on ? 0 : 1);
    }
    float& wide = settings.Declare("D_wide", -1e30F, 1e30F, 1, "wide");
    for (const auto& [value, integer] : {std::pair{3.5F, 4},
                                         {-0.7F, 0},
                                         {-1.6F, -1},
                                         {0.49999997F, 0},
                                         {1e30F, 2147483647},
                                         {-1e30F, -2147483647 - 1}}) {
        wide = value;
        EXPECT_EQ(settings.GetInt("D_wide"), integer) << value;
    }
    settings.Declare("D_x", 0, 9, 1, "again");
    EXPECT_TRUE(settings.Set("D_x", 8) == 8 && settings.GetDescription("D_x") == "again");
}

TEST(Settings, PersistThroughTheRegistryInByteOrderAndClampWhatItHolds) {
    const TempDir dir;
    Settings settings;
    for (const char* name : {"GL_shadows", "D_wireframe", "GL_shadow_method", "D_offset", "D"})
        settings.Declare(name, 0, 2, 1, "") = 0.01F;
    Registry registry(dir.File("r"));
    settings.SaveTo(registry);
    EXPECT_EQ(registry.GetString("setting/GL_shadow_method"), "0.00999999977648");
    settings.Set("D_wireframe", 2);
    registry.SetString("setting/GL_shadows", "100");
    registry.SetString("setting/D", "word");
    registry.SetString("setting/other", "1");
    settings.Declare("late", 0, 2, 1, "") = 1;
    settings.LoadFrom(registry);
    EXPECT_TRUE(settings.Get("late") == 1 && settings.Get("D") == 0);
    EXPECT_TRUE(settings.Get("D_wireframe") == 0.01F && settings.Get("GL_shadows") == 2);
    EXPECT_EQ(settings.ListSettings().size(), 6U);
}

}  // namespace
