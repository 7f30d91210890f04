// Which files open, how they are made, and what a replacement leaves of a file's name, owner, mode
// and links.
#include <sys/stat.h>

#include <cerrno>
#include <thread>

#include "files/FileAccess.h"
#include "files/FileReplacement.h"
#include "support/FilesFixture.h"

namespace {

constexpr uid_t kSomebody = 65534;

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

using FileAccess = FilesFixture;

TEST_F(FileAccess, OpensRegularFilesAloneAndFollowsLinksWhereTold) {
    mkfifo(m_dir.File("pipe").c_str(), 0600);
    std::filesystem::create_symlink("file", m_dir.File("link"));
    for (const std::string& path :
         {m_dir.Path(), m_dir.File("pipe"), m_dir.File("no/file"), std::string("/dev/full")}) {
        EXPECT_EQ(OpenForReading(path), -1) << path;
        EXPECT_EQ(OpenForWriting(path, Links::Follow), -1) << path;
        EXPECT_EQ(OpenForAppending(path, Links::Follow), -1) << path;
    }
    EXPECT_EQ(OpenForReading(m_dir.File("link")), -1) << "reading makes nothing";

    const auto write = [&](int fd) {
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_TRUE(WriteBytes(fd, "new", 3));
        CloseFile(fd);
        return m_dir.Read("file");
    };
    umask(027);
    EXPECT_EQ(write(OpenForWriting(m_dir.File("link"), Links::Follow)), "new");
    umask(022);
    EXPECT_EQ(StatusOf(m_dir.File("file")).st_mode, S_IFREG | 0640U);
    EXPECT_EQ(write(OpenForAppending(m_dir.File("link"), Links::Follow)), "newnew");
    EXPECT_EQ(write(OpenForWriting(m_dir.File("file"), Links::Refuse)), "new");
    EXPECT_EQ(OpenForWriting(m_dir.File("link"), Links::Refuse), -1);
    EXPECT_EQ(OpenForAppending(m_dir.File("link"), Links::Refuse), -1);
    const int fd = OpenForReading(m_dir.File("link"));
    EXPECT_FALSE(WriteBytes(fd, "x", 1));
    CloseFile(fd);
}

// Without standard input: a descriptor 0 is as good as any other.
class FileReplacementTest : public FilesFixture {
protected:
    const int m_input = dup(0);

    void SetUp() override { close(0); }
    void TearDown() override {
        EXPECT_EQ(fcntl(0, F_GETFD), -1) << "left open";
        dup2(m_input, 0);
        close(m_input);
        FilesFixture::TearDown();
    }
    // "" when it cannot be opened, "!" with the reason when it cannot be written, else "done".
    static std::string Replace(const std::string& path, const std::string& contents) {
        FileReplacement file;
        if (!file.Open(path)) return "";
        errno = 0;
        return file.Finish(contents) ? "done" : '!' + std::string(strerrorname_np(errno));
    }
    // Whether the file was written where it is, and not by another that took its name.
    bool Stays(const std::string& name, const std::string& contents) const {
        const ino_t before = StatusOf(m_dir.File(name)).st_ino;
        EXPECT_EQ(Replace(m_dir.File(name), contents), "done") << name;
        EXPECT_EQ(m_dir.Read(name), contents) << name;
        return StatusOf(m_dir.File(name)).st_ino == before;
    }
};

TEST_F(FileReplacementTest, KeepsNamesModesAndOwners) {
    umask(027);
    EXPECT_EQ(Replace(m_dir.File("new"), "1"), "done");
    EXPECT_EQ(StatusOf(m_dir.File("new")).st_mode, S_IFREG | 0640U);
    umask(022);
    m_dir.Write("file.tmp", "another's");
    m_dir.Write("file." + std::to_string(getpid()) + ".tmp", "left by a killed process");
    chmod(m_dir.Write("file", "old and long").c_str(), 0604);
    EXPECT_FALSE(Stays("file", "2"));
    EXPECT_EQ(StatusOf(m_dir.File("file")).st_mode, S_IFREG | 0604U);
    EXPECT_EQ(StatusOf(m_dir.File("file")).st_uid, geteuid());
    std::filesystem::create_symlink("file", m_dir.File("link"));
    EXPECT_TRUE(Stays("link", "3"));
    EXPECT_EQ(m_dir.Read("file"), "3");
    std::filesystem::create_symlink("later", m_dir.File("dangling"));
    EXPECT_TRUE(Stays("dangling", "4"));
    EXPECT_EQ(m_dir.Read("later"), "4");
    std::filesystem::create_hard_link(m_dir.File("file"), m_dir.File("twin"));
    EXPECT_TRUE(Stays("twin", "5") && Stays("file", "")) << "a file of two names keeps both";
    EXPECT_EQ(m_dir.Read("twin"), "");
    const std::string longName(250, 'x');  // leaves no room for a longer one
    EXPECT_EQ(Replace(m_dir.File(longName), "6"), "done");
    EXPECT_TRUE(Stays(longName, "7"));
    EXPECT_EQ(m_dir.Count(), 8);
    {
        FileReplacement dropped;
        EXPECT_TRUE(dropped.Open(m_dir.File("later")));
    }
    EXPECT_TRUE(m_dir.Read("later") == "4" && m_dir.Count() == 8);
    for (const std::string& path : {std::string(), m_dir.Path(), m_dir.File("no/file")})
        EXPECT_EQ(Replace(path, "x"), "") << path;

    if (geteuid() != 0) return;  // only root makes files of others
    ASSERT_EQ(chown(m_dir.Write("theirs", "old").c_str(), kSomebody, kSomebody), 0);
    EXPECT_TRUE(Stays("theirs", "8"));
    ASSERT_EQ(chown(m_dir.Write("group", "old").c_str(), 0, kSomebody), 0);
    EXPECT_FALSE(Stays("group", "9"));
    EXPECT_EQ(StatusOf(m_dir.File("group")).st_gid, kSomebody);
    // In another's folder, where one's own file may be changed but none be made beside it.
    chmod(m_dir.Path().c_str(), 0755);
    ASSERT_EQ(seteuid(kSomebody), 0);
    EXPECT_TRUE(Stays("theirs", "10"));
    WithFileSizeLimit(5, [&] { EXPECT_EQ(Replace(m_dir.File("theirs"), "123456"), "!EFBIG"); });
    EXPECT_EQ(m_dir.Read("theirs"), "10") << "the old contents are whole and alone";
    EXPECT_EQ(Replace(m_dir.File("other"), "x"), "");
    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(FileReplacementTest, PipesAndDevicesTakeTheContentsWhereTheyAre) {
    EXPECT_EQ(Replace("/dev/null", "x"), "done");
    EXPECT_EQ(Replace("/dev/full", "x"), "!ENOSPC");
    EXPECT_TRUE(S_ISCHR(StatusOf("/dev/null").st_mode));
    const std::string pipe = m_dir.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(Replace(pipe, "x"), "") << "without a reader";
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    fcntl(reader, F_SETFL, 0);
    const std::string contents(200'000, 'y');  // more than a pipe holds
    std::string received;
    std::thread slow([&] {
        char block[4096];
        usleep(20'000);
        while (received.size() < contents.size()) {
            const ssize_t got = read(reader, block, sizeof block);
            if (got <= 0) break;
            received.append(block, static_cast<std::size_t>(got));
        }
    });
    EXPECT_EQ(Replace(pipe, contents), "done");
    slow.join();
    EXPECT_TRUE(received == contents);
    {
        FileReplacement file;
        EXPECT_TRUE(file.Open(pipe));
        close(reader);
        EXPECT_FALSE(file.Finish("x"));
        EXPECT_EQ(errno, EPIPE);
    }
    sigset_t pending;
    sigpending(&pending);
    EXPECT_FALSE(sigismember(&pending, SIGPIPE));
    EXPECT_EQ(m_dir.Count(), 1);
}

TEST_F(FileReplacementTest, RedirectedOutputIsWrittenThrough) {
    std::fflush(stdout);
    for (const auto& [stream, path] : {std::pair{stdout, "/dev/stdout"}, {stderr, "/dev/stderr"}}) {
        const int log = open(m_dir.Write("log", "").c_str(), O_WRONLY);
        Redirected(fileno(stream), log, [&, stream = stream, path = path] {
            std::fputs("before\n", stream);
            EXPECT_EQ(Replace(path, "contents\n"), "done");
            EXPECT_EQ(Replace(m_dir.File("log"), "by its own name\n"), "done");
            std::fputs("after\n", stream);
            std::fflush(stream);
        });
        EXPECT_EQ(m_dir.Read("log"), "before\ncontents\nby its own name\nafter\n");
    }
}

}  // namespace
