// Writing of the visibility record, a system call a line.
#include "spatial/VisibilityStream.h"

#include "files/FileAccess.h"

#include <unistd.h>

#include <cstdio>

namespace {

// The longest number of six digits: sign, point and an exponent of three digits.
constexpr int kNumberSize = 16;

}  // namespace

VisibilityStream& VisibilityStream::Shared() {
    static VisibilityStream stream("/tmp/vis-stream");
    return stream;
}

// Everybody may write to /tmp: whatever lies at the path must not lead anywhere else.
void VisibilityStream::Open() {
    Close();
    m_file = OpenForWriting(m_path, Links::Refuse);
    if (m_file < 0) m_failed = true;
}

void VisibilityStream::Close() {
    if (m_file >= 0 && close(m_file) != 0) m_failed = true;
    m_file = -1;
}

void VisibilityStream::WriteObject(const char* keyword, const Origin& origin, float radius) {
    m_line.assign(keyword).append(" ");
    for (const double coordinate : origin)
        Append(coordinate, ' ');
    Append(radius, '\n');
    WriteLine();
}

void VisibilityStream::WriteNode(const char* keyword, const Matrix& matrix, const Box& box) {
    m_line.assign(keyword).append(" ");
    for (int i = 0; i < 16; ++i)
        Append(matrix[i], ' ');
    m_line.append(" ");
    for (const float bound : {box.min.x, box.min.y, box.min.z, box.max.x, box.max.y})
        Append(bound, ' ');
    Append(box.max.z, '\n');
    WriteLine();
}

void VisibilityStream::Append(double number, char after) {
    char text[kNumberSize];
    m_line.append(text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%g", number)));
    m_line.push_back(after);
}

void VisibilityStream::WriteLine() {
    if (m_file < 0 || m_failed) return;
    if (!WriteBytes(m_file, m_line.data(), m_line.size())) m_failed = true;
}
