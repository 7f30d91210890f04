// Reading from a descriptor. Must not know what the bytes mean.
#include "app/DescriptorBuffer.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace {
// Apart from the read: a thread that is cancelled while it reads leaves its frames without running
// them to their end, and AddressSanitizer takes locals with an address in them for still in use.
[[gnu::noinline]] void WaitForInput(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    poll(&waiting, 1, -1);
}
}  // namespace

DescriptorBuffer::int_type DescriptorBuffer::underflow() {
    for (;;) {
        const ssize_t count = read(m_descriptor, m_bytes.data(), m_bytes.size());
        if (count > 0) {
            setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + count);
            return traits_type::to_int_type(m_bytes[0]);
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) {
            WaitForInput(m_descriptor);
            continue;
        }
        return traits_type::eof();
    }
}
