// The registry's file: reading, hostile contents, and replacing it whole.
#include "settings/Registry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <utility>

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
    for (const auto& [text, number] : {std::pair{" 0.6x", 0.6F}, {"word", 0.0F}, {"0x10", 16.0F}}) {
        registry.SetString("s", text);
        EXPECT_EQ(registry.GetFloat("s"), number);
        EXPECT_EQ(registry.GetBool("s"), number > 0.5F);
    }
    EXPECT_FALSE(registry.Has("absent"));
    EXPECT_EQ(registry.GetFloat("absent"), 0);
}

TEST(Registry, ReadsHostileFilesAndDropsWhatItsOwnCannotHold) {
    const TempDir dir;
    using std::string_literals::operator""s;
    EXPECT_EQ(Rewritten(dir, "\0\na 1\0junk\nb\0 2\n\0\0"s), "a 1\nb \n");
    EXPECT_EQ(Rewritten(dir, std::string(1 << 20, '\0') + "\nz 1\n"), "z 1\n");
    { Registry registry(dir.Path()); }
    mkfifo(dir.File("pipe").c_str(), 0666);
    { Registry registry(dir.File("pipe")); }
    EXPECT_EQ(dir.Count(), 2) << "neither folder nor pipe is replaced";
    { Registry registry("/dev/zero"); }
    { Registry(dir.File("no/such/folder")).SetString("k", "v"); }
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
    EXPECT_EQ(dir.Read("r"), "old 1\nv one\nw one\rtwo 1\n");
    EXPECT_EQ(Registry(dir.File("r")).GetString("w"), "one\rtwo 1");
}

}  // namespace
