// A read-only stream buffer over a file descriptor, for one thread alone. It owns no descriptor.
#pragma once

#include <array>
#include <streambuf>

// Stands in for std::cin on the console thread: std::cin is flushed and torn down by the process's
// exit while that thread may still be leaving its read. The read is a cancellation point, so no
// function on its way may be noexcept.
class DescriptorBuffer : public std::streambuf {
public:
    explicit DescriptorBuffer(int descriptor) : m_descriptor(descriptor) {}

protected:
    // Any failure counts as the end of input; a non-blocking descriptor is waited for.
    int_type underflow() override;

private:
    int m_descriptor;
    std::array<char, 4096> m_bytes;
};
