// Which files open, how they are made, and that nothing stays open of those that are refused.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "files/FileAccess.h"
#include "support/TempFile.h"

namespace {

// The lowest free descriptor: the next to be given.
int NextDescriptor() {
    const int fd = open("/", O_RDONLY);
    CloseFile(fd);
    return fd;
}

}  // namespace

TEST(FileAccess, OpensRegularFilesAloneAndFollowsLinksWhereTold) {
    const TempDir dir;
    const int next = NextDescriptor();
    mkfifo(dir.File("pipe").c_str(), 0600);
    std::filesystem::create_symlink("file", dir.File("link"));
    for (const std::string& path :
         {dir.Path(), dir.File("pipe"), dir.File("no/file"), std::string("/dev/full")}) {
        EXPECT_EQ(OpenForReading(path), -1) << path;
        EXPECT_EQ(OpenForWriting(path, Links::Follow), -1) << path;
        EXPECT_EQ(OpenForAppending(path, Links::Follow), -1) << path;
    }
    EXPECT_EQ(OpenForReading(dir.File("link")), -1) << "reading makes nothing";

    umask(027);
    const auto write = [&](int fd) {
        EXPECT_EQ(fd, next);
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_TRUE(WriteBytes(fd, "new", 3));
        CloseFile(fd);
        return dir.Read("file");
    };
    EXPECT_EQ(write(OpenForWriting(dir.File("link"), Links::Follow)), "new");
    struct stat made {};
    EXPECT_EQ(stat(dir.File("file").c_str(), &made), 0);
    EXPECT_EQ(made.st_mode, S_IFREG | 0640U);
    umask(022);
    EXPECT_EQ(write(OpenForAppending(dir.File("link"), Links::Follow)), "newnew");
    EXPECT_EQ(write(OpenForWriting(dir.File("file"), Links::Refuse)), "new");
    EXPECT_EQ(OpenForWriting(dir.File("link"), Links::Refuse), -1);
    EXPECT_EQ(OpenForAppending(dir.File("link"), Links::Refuse), -1);
    const int fd = OpenForReading(dir.File("link"));
    EXPECT_FALSE(WriteBytes(fd, "x", 1));
    CloseFile(fd);
    EXPECT_EQ(NextDescriptor(), next);
}
