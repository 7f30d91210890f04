// Where a scene is written, and files that cannot be.
#include "SceneFixture.h"

#include <sys/stat.h>

#include <filesystem>

namespace {

using EmitTest = SceneFixture;

TEST_F(EmitTest, FilesThatCannotBeWrittenAreLeftAlone) {
    Run("room r");
    const std::string fifo = dir.File("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {dir.Path(), fifo, dir.File("no/out")}) {
        EXPECT_EQ(Errors("emit " + path), "emit: Could not open file " + path + " for writing");
    }
    EXPECT_EQ(dir.Count(), 1);

    // A limit that the messages fit in but the scene does not.
    Run("object a\nobject b\nobject c");
    const std::string text = Emit();
    const std::string link = dir.File("link");
    std::filesystem::create_symlink("out", link);
    const auto emitWithoutRoom = [&] {
        EXPECT_EQ(CaptureStderr(
                      [&] { WithFileSizeLimit(text.size() - 1, [&] { Run("emit " + link); }); }),
                  "Saving scene to file " + link + "...\nemit: Could not write file " + link +
                      ": File too large\n");
        EXPECT_EQ(dir.Read("out"), text);
    };
    emitWithoutRoom();
    EXPECT_EQ(dir.Count(), 3) << "the old file, the link and the pipe";
    // A file of two names is written in place.
    std::filesystem::create_hard_link(dir.File("out"), dir.File("twin"));
    Run("object d");
    emitWithoutRoom();
}

}  // namespace
