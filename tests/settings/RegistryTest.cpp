// The registry's file: reading, hostile contents, and replacing it whole.
#include "settings/Registry.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <limits>

#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

std::string Rewritten(const TempDir& dir, const std::string& contents) {
    dir.Write("r", contents);
    { Registry registry(dir.File("r")); }
    return dir.Read("r");
}

std::size_t FileCount(const std::string& folder) {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder))
        ++count;
    return count;
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
}

TEST(Registry, FormatsAndParsesNumbers) {
    const TempDir dir;
    Registry registry(dir.File("r"));
    const auto stored = [&](float value) {
        registry.SetFloat("f", value);
        return registry.GetString("f");
    };
    EXPECT_EQ(stored(2), "2");
    EXPECT_EQ(stored(-3), "-3");
    EXPECT_EQ(stored(-0.0F), "0");
    EXPECT_EQ(stored(0.5F), "0.5");
    EXPECT_EQ(stored(0.1F), "0.10000000149");
    EXPECT_EQ(stored(3e9F), "3000000000");
    EXPECT_EQ(stored(2147483648.0F), "2147483648");
    EXPECT_EQ(stored(-2147483648.0F), "-2147483648");
    EXPECT_EQ(stored(INFINITY), "inf");
    registry.SetInt("i", -7);
    registry.SetBool("b", true);
    EXPECT_EQ(registry.GetFloat("i"), -7);
    EXPECT_TRUE(registry.GetBool("b"));
    for (const auto& [text, number] : {std::pair{" 0.6x", 0.6F}, {"word", 0.0F}, {"0x10", 16.0F}}) {
        registry.SetString("s", text);
        EXPECT_EQ(registry.GetFloat("s"), number);
        EXPECT_EQ(registry.GetBool("s"), number > 0.5F);
    }
    EXPECT_FALSE(registry.Has("absent"));
    EXPECT_EQ(registry.GetString("absent"), "");
    EXPECT_EQ(registry.GetFloat("absent"), 0);
}

TEST(Registry, DropsKeysAndTextThatTheFileCannotHold) {
    const TempDir dir;
    {
        Registry registry(dir.File("r"));
        registry.SetString("", "x");
        registry.SetString("a b", "x");
        registry.SetString("a\nb", "x");
        registry.SetString("v", "one\ninjected 1");
        registry.SetString("w", "one\rinjected 1");
    }
    EXPECT_EQ(dir.Read("r"), "v one\nw one\n");
}

TEST(Registry, ReadsHostileFiles) {
    const TempDir dir;
    using std::string_literals::operator""s;
    EXPECT_EQ(Rewritten(dir, "\0\na 1\0junk\nb\0 2\n\0\0"s), "a 1\nb \n");
    EXPECT_EQ(Rewritten(dir, std::string(1 << 20, '\0') + "\nz 1\n"), "z 1\n");
    { Registry registry(dir.Path()); }
    mkfifo(dir.File("pipe").c_str(), 0666);
    { Registry registry(dir.File("pipe")); }
    EXPECT_EQ(FileCount(dir.Path()), 2U) << "neither folder nor pipe is replaced";
    { Registry registry("/dev/zero"); }
    const std::string endless = Rewritten(dir, "k " + std::string(17 << 20, 'x'));
    EXPECT_EQ(endless.size(), (16U << 20) + 1) << "what is beyond the bound is not read";
}

TEST(Registry, ReplacesTheFileWholeOrNotAtAll) {
    const TempDir dir;
    const std::string target = dir.Write("target", "old 1\n");
    ASSERT_EQ(symlink(target.c_str(), dir.File("link").c_str()), 0);
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    { Registry(dir.File("link")).SetString("new", "2"); }
    EXPECT_EQ(dir.Read("target"), "new 2\nold 1\n");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.File("link")));
    struct stat status;
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
    EXPECT_EQ(FileCount(dir.Path()), 2U);
    { Registry(dir.File("no/such/folder")).SetString("k", "v"); }

    // A disk that is full after one byte, as the process's file size limit.
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1, 1};
        setrlimit(RLIMIT_FSIZE, &limit);
        { Registry(dir.File("target")).SetString("k", "v"); }
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(dir.Read("target"), "new 2\nold 1\n");
    EXPECT_EQ(FileCount(dir.Path()), 2U);
}

}  // namespace
