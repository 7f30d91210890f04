// Reading lines from descriptors of every kind, also hostile ones.
#include "app/DescriptorBuffer.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <istream>
#include <string>
#include <thread>

namespace {
TEST(DescriptorBuffer, LinesArriveWholeAcrossWritesAndBufferEnds) {
    int pipe[2];
    ASSERT_EQ(0, ::pipe2(pipe, O_NONBLOCK));
    const std::string longLine(10000, 'x');
    std::thread writer([&] {
        const std::string text = "first\n" + longLine + "\nlast without line end";
        for (std::size_t at = 0; at < text.size(); at += 1000) {
            EXPECT_LT(
                0, write(pipe[1], text.data() + at, std::min<std::size_t>(1000, text.size() - at)));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        close(pipe[1]);
    });
    DescriptorBuffer buffer(pipe[0]);
    std::istream input(&buffer);
    std::string line;
    EXPECT_TRUE(std::getline(input, line) && line == "first");
    EXPECT_TRUE(std::getline(input, line) && line == longLine);
    EXPECT_TRUE(std::getline(input, line) && line == "last without line end");
    EXPECT_TRUE(input.eof());
    EXPECT_FALSE(std::getline(input, line));
    writer.join();
    close(pipe[0]);
}

TEST(DescriptorBuffer, WhatCannotBeReadIsAtItsEnd) {
    const int directory = open("/", O_RDONLY | O_DIRECTORY);
    for (const int descriptor : {directory, -1}) {
        DescriptorBuffer buffer(descriptor);
        std::istream input(&buffer);
        std::string line;
        EXPECT_FALSE(std::getline(input, line));
        EXPECT_TRUE(input.eof());
    }
    close(directory);
}
}  // namespace
