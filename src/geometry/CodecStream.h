// Bulk transfer of codec values: whole runs between 32-bit integers in memory and the 0 to 4 byte
// big-endian values of the gzip stream. Knows no layout of the body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

typedef struct gzFile_s* gzFile;

// Values of 0 to 4 bytes each, with their sign.
void UnpackValues(std::size_t bytesPerValue, const std::uint8_t* bytes, std::int32_t* values,
                  std::size_t count);

// Prints the one line that ends a short stream: as the system's error when the stream reported
// one, else as a premature end.
void ReportEndOfData(bool failed);

// Reads the body of a stream. The end of the data, or a fault in it, clears ok after one line.
class CodecReader {
public:
    CodecReader(gzFile stream, int bytesPerValue, bool& ok);
    // How many values there were; those behind the end of the data are left alone.
    std::size_t Read(std::int32_t* values, std::size_t count);
    bool Ok() const { return m_ok; }

private:
    gzFile m_stream;
    std::size_t m_bytes;  // per value
    bool& m_ok;
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
