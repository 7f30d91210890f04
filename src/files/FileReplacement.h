// Replaces the contents of a regular file as a whole, so that a write which fails half-way leaves
// the old contents. Knows nothing of what is written.
#pragma once

#include <string>
#include <string_view>

class FileReplacement {
public:
    FileReplacement() = default;
    // A replacement that was not finished is dropped; the file stays as it was.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Gets ready to replace the file or to make it. False when it cannot be written or is no
    // regular file; never waits for the reader of a pipe.
    bool Open(const std::string& path);
    // Writes the new contents. False, with errno set, when they did not all reach the file.
    bool Finish(std::string_view contents);

private:
    int m_descriptor = -1;
    std::string m_path;       // symbolic links resolved
    std::string m_temporary;  // beside the file; empty when the file is written in place

    void Drop();
    bool OpenBeside();
    bool OpenInPlace();
};
