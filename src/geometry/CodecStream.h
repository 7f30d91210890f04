// Bulk transfer of codec values: whole runs between 32-bit integers in memory and the 0 to 4 byte
// big-endian values of the gzip stream. Knows no layout of the body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/Codec.h"

// Reads the body of the codec's stream, ReadInt's rules included: after the end of the data one
// message, codec.ok cleared and zeros for everything that follows.
class CodecReader {
public:
    CodecReader(Codec& codec, gzFile stream);
    void Read(std::int32_t* values, std::size_t count);

private:
    Codec& m_codec;
    gzFile m_stream;
    std::size_t m_bytes;  // per value
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;  // unread part of the buffer
    std::size_t m_end = 0;
    bool m_failed = false;  // the stream reported an error, not an end

    void Refill();
    std::size_t ReadLast(std::int32_t* values);
};

// Writes the body; errors of the stream are not reported.
class CodecWriter {
public:
    CodecWriter(gzFile stream, int bytesPerValue);
    void Write(const std::int32_t* values, std::size_t count);
    void Flush();  // hands what is buffered to the stream

private:
    gzFile m_stream;
    std::size_t m_bytes;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_used = 0;
};

// Clears codec.ok and prints the one line that ends a short stream: as the system's error when the
// stream reported one, else as a premature end.
void EndCodecData(Codec& codec, bool failed);
