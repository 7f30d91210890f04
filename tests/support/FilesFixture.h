// Files in a directory of their own, for code that leaves no descriptor open.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/TempFile.h"

class FilesFixture : public testing::Test {
protected:
    const TempDir m_dir;
    const std::ptrdiff_t m_descriptors = Descriptors();

    void TearDown() override { EXPECT_EQ(Descriptors(), m_descriptors); }
    static std::ptrdiff_t Descriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    // Runs the body with the descriptor, which is closed, behind a standard one, which is not.
    template <class Body>
    static void Redirected(int standard, int fd, Body body) {
        const int before = dup(standard);
        dup2(fd, standard);
        close(fd);
        body();
        EXPECT_NE(fcntl(standard, F_GETFD), -1);
        dup2(before, standard);
        close(before);
    }
};
