// Reading lines from a descriptor that is slower than its reader.
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
    const std::string text = "first\n" + std::string(10000, 'x') + "\nlast without line end";
    std::thread writer([&] {
        for (std::size_t at = 0; at < text.size(); at += 1000) {
            const std::string part = text.substr(at, 1000);
            EXPECT_LT(0, write(pipe[1], part.data(), part.size()));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        close(pipe[1]);
    });
    DescriptorBuffer buffer(pipe[0]);
    std::istream input(&buffer);
    std::string read;
    for (std::string line; std::getline(input, line);)
        read += line + (input.eof() ? "" : "\n");
    EXPECT_EQ(text, read);
    writer.join();
    close(pipe[0]);
}
}  // namespace
