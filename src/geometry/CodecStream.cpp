// Buffers and conversion of codec values.
// Must not know in which order a codec visits the grid.
#include "geometry/CodecStream.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
// zlib inflates into pieces of 16 KiB of its own. A read across the border of two pieces fails as
// a whole when the second is corrupt, so reads stay inside one and good data before a fault counts.
constexpr std::size_t kPieceBytes = std::size_t{8} << 10;

template <int N>
void FromBytes(const std::uint8_t* bytes, std::int32_t* values, std::size_t count) {
    constexpr int unused = 32 - 8 * N;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t word = 0;
        for (int k = 0; k < N; ++k)
            word = word << 8 | bytes[i * N + static_cast<std::size_t>(k)];
        values[i] = static_cast<std::int32_t>(word << unused) >> unused;
    }
}

template <int N>
void ToBytes(const std::int32_t* values, std::uint8_t* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto word = static_cast<std::uint32_t>(values[i]);
        for (int k = 0; k < N; ++k) {
            bytes[i * N + static_cast<std::size_t>(k)] =
                static_cast<std::uint8_t>(word >> (8 * (N - 1 - k)));
        }
    }
}

void ToBytes(std::size_t width, const std::int32_t* values, std::uint8_t* bytes,
             std::size_t count) {
    switch (width) {
        case 1:
            return ToBytes<1>(values, bytes, count);
        case 2:
            return ToBytes<2>(values, bytes, count);
        case 3:
            return ToBytes<3>(values, bytes, count);
        default:
            return ToBytes<4>(values, bytes, count);
    }
}

}  // namespace

void UnpackValues(std::size_t bytesPerValue, const std::uint8_t* bytes, std::int32_t* values,
                  std::size_t count) {
    switch (bytesPerValue) {
        case 1:
            return FromBytes<1>(bytes, values, count);
        case 2:
            return FromBytes<2>(bytes, values, count);
        case 3:
            return FromBytes<3>(bytes, values, count);
        default:
            return FromBytes<4>(bytes, values, count);
    }
}

void ReportEndOfData(bool failed) {
    if (failed) {
        std::perror("Codec::ReadInt");
    } else {
        std::fputs("Codec::ReadInt: premature EOF\n", stderr);
    }
}

CodecReader::CodecReader(gzFile stream, int bytesPerValue, bool& ok)
    : m_stream(stream),
      m_bytes(static_cast<std::size_t>(bytesPerValue)),
      m_ok(ok),
      m_buffer(kBufferBytes) {}

std::size_t CodecReader::Read(std::int32_t* values, std::size_t count) {
    std::size_t total = 0;
    while (total < count && m_ok) {
        if (m_end - m_begin < std::max<std::size_t>(m_bytes, 1)) Refill();
        const std::size_t whole = m_bytes == 0 ? 0 : (m_end - m_begin) / m_bytes;
        std::size_t done = std::min(whole, count - total);
        if (done > 0) {
            UnpackValues(m_bytes, m_buffer.data() + m_begin, values + total, done);
            m_begin += done * m_bytes;
        } else {
            done = ReadLast(values + total);
        }
        total += done;
    }
    return total;
}

// Moves the rest of a cut value to the front and fills the buffer behind it.
void CodecReader::Refill() {
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    while (!m_failed && m_bytes > 0 && m_end < m_buffer.size()) {
        const auto position = static_cast<std::size_t>(gztell(m_stream));
        const std::size_t wanted =
            std::min(kPieceBytes - position % kPieceBytes, m_buffer.size() - m_end);
        const int got = gzread(m_stream, m_buffer.data() + m_end, static_cast<unsigned>(wanted));
        m_failed = got < 0;
        if (got > 0) m_end += static_cast<std::size_t>(got);
        if (got < static_cast<int>(wanted)) break;
    }
}

// The value at the end of the data: its missing low bytes are 0; 1. With no byte left the data
// ends; 0.
std::size_t CodecReader::ReadLast(std::int32_t* values) {
    if (m_begin == m_end || m_failed || m_bytes == 0) {
        m_ok = false;
        ReportEndOfData(m_failed);
        return 0;
    }
    std::uint8_t bytes[4] = {};
    std::memcpy(bytes, m_buffer.data() + m_begin, m_end - m_begin);
    m_begin = m_end;
    UnpackValues(m_bytes, bytes, values, 1);
    return 1;
}

CodecWriter::CodecWriter(gzFile stream, int bytesPerValue)
    : m_stream(stream), m_bytes(static_cast<std::size_t>(bytesPerValue)), m_buffer(kBufferBytes) {}

void CodecWriter::Write(const std::int32_t* values, std::size_t count) {
    while (count > 0 && m_bytes > 0) {
        const std::size_t room = (m_buffer.size() - m_used) / m_bytes;
        const std::size_t done = std::min(room, count);
        ToBytes(m_bytes, values, m_buffer.data() + m_used, done);
        m_used += done * m_bytes;
        values += done;
        count -= done;
        if (count > 0) Flush();
    }
}

void CodecWriter::Flush() {
    if (m_used > 0) gzwrite(m_stream, m_buffer.data(), static_cast<unsigned>(m_used));
    m_used = 0;
}
