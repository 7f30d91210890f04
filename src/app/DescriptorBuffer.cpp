// Reading from a descriptor. Must not know what the bytes mean.
#include "app/DescriptorBuffer.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

DescriptorBuffer::int_type DescriptorBuffer::underflow() {
    for (;;) {
        const ssize_t count = read(m_descriptor, m_bytes.data(), m_bytes.size());
        if (count > 0) {
            setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + count);
            return traits_type::to_int_type(m_bytes[0]);
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) {
            pollfd waiting{m_descriptor, POLLIN, 0};
            poll(&waiting, 1, -1);
            continue;
        }
        return traits_type::eof();
    }
}
