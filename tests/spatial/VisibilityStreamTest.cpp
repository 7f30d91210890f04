// What the visibility record holds, and where it is not written.
#include <gtest/gtest.h>

#include <filesystem>

#include "spatial/VisibilityStream.h"
#include "support/TempFile.h"

TEST(VisibilityStream, EveryLineReachesTheFileAtOnce) {
    const TempDir folder;
    VisibilityStream stream(folder.Write("vis", "old text that is longer than the new one\n"));
    stream.Open();
    stream.Tiny({1, -2.5, 1234567}, 0.1F);
    stream.Seen({1.0 / 3, -0.0, 1e-9}, 2);
    const std::string lines = "tiny 1 -2.5 1.23457e+06 0.1\nnode 0.333333 -0 1e-09 2\n";
    EXPECT_EQ(folder.Read("vis"), lines);
    stream.Close();
    stream.Seen({}, 0);
    EXPECT_EQ(folder.Read("vis"), lines);
    stream.Open();
    stream.Seen({}, 0);
    EXPECT_EQ(folder.Read("vis"), "node 0 0 0 0\n");
}

TEST(VisibilityStream, FollowsNoLinkAndFailureIsForGood) {
    const TempDir folder;
    const std::string path = folder.File("vis");
    std::filesystem::create_symlink(folder.Write("victim", "precious"), path);
    VisibilityStream stream(path);
    stream.Open();
    stream.Seen({}, 1);
    std::filesystem::remove(path);
    stream.Open();
    stream.Seen({}, 1);
    EXPECT_EQ(folder.Read("vis"), "");
    EXPECT_EQ(folder.Read("victim"), "precious");

    // A full disk takes part of a line.
    VisibilityStream full(folder.File("full"));
    full.Open();
    WithFileSizeLimit(3, [&] { full.Seen({}, 1); });
    full.Seen({}, 2);
    EXPECT_EQ(folder.Read("full"), "nod");
    full.Open();
    full.Seen({}, 3);
    EXPECT_EQ(folder.Read("full"), "");
}
