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
    stream.NodeRejected(Matrix(), {{1, 2, 3}, {4, 5, 6}});
    const std::string lines =
        "tiny 1 -2.5 1.23457e+06 0.1\nnode 0.333333 -0 1e-09 2\n"
        "rej 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1  1 2 3 4 5 6\n";
    EXPECT_EQ(folder.Read("vis"), lines);
    stream.Close();
    stream.Seen({}, 0);
    EXPECT_EQ(folder.Read("vis"), lines);
    stream.Open();
    stream.Seen({}, 0);
    EXPECT_EQ(folder.Read("vis"), "node 0 0 0 0\n");
}

// No link is followed, and a full disk takes part of a line. After either nothing is written.
TEST(VisibilityStream, FailureIsForGood) {
    const TempDir folder;
    std::filesystem::create_symlink(folder.Write("victim", "precious"), folder.File("link"));
    for (const char* name : {"link", "full"}) {
        VisibilityStream stream(folder.File(name));
        stream.Open();
        WithFileSizeLimit(3, [&] { stream.Seen({}, 1); });
        stream.Seen({}, 2);
        EXPECT_EQ(folder.Read(name), name[0] == 'l' ? "precious" : "nod");
        std::filesystem::remove(folder.File(name));
        stream.Open();
        stream.Seen({}, 3);
        EXPECT_EQ(folder.Read(name), "");
    }
    EXPECT_EQ(folder.Read("victim"), "precious");
}
