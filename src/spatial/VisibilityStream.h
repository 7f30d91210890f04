// A record of visibility decisions for debugging: one line of text each, in a file that can be
// read while the program runs. Decides nothing itself and prints nothing.
#pragma once

#include <array>
#include <string>

#include "spatial/Matrix.h"
#include "spatial/Plane.h"

// Lines of objects hold the object's origin in camera space and its mesh radius; lines of octree
// nodes the model-view matrix of the object whose children they divide, in storage order, and the
// node's bounds in that object's frame. Every line reaches the file at once.
//
// After a failure to open, write or close, every later line is dropped, silently and for good.
class VisibilityStream {
public:
    explicit VisibilityStream(std::string path) : m_path(std::move(path)) {}
    ~VisibilityStream() { Close(); }
    VisibilityStream(const VisibilityStream&) = delete;
    VisibilityStream& operator=(const VisibilityStream&) = delete;

    // The one of the process: /tmp/vis-stream.
    static VisibilityStream& Shared();

    // Empties the file or makes it; never one that is a link or no regular file.
    void Open();
    void Close();

    using Origin = std::array<double, 3>;
    void Tiny(const Origin& origin, float radius) { WriteObject("tiny", origin, radius); }
    void Seen(const Origin& origin, float radius) { WriteObject("node", origin, radius); }
    void Rejected(const Origin& origin, float radius) { WriteObject("ptl", origin, radius); }
    void NodeAccepted(const Matrix& matrix, const Box& box) { WriteNode("abb", matrix, box); }
    void NodeRejected(const Matrix& matrix, const Box& box) { WriteNode("rej", matrix, box); }

private:
    std::string m_path;
    int m_file = -1;
    bool m_failed = false;
    std::string m_line;  // scratch, kept for its capacity

    void WriteObject(const char* keyword, const Origin& origin, float radius);
    void WriteNode(const char* keyword, const Matrix& matrix, const Box& box);
    void Append(double number, char after);
    void WriteLine();
};
