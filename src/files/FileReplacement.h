// Replaces the contents of a regular file as a whole, so that a write which fails half-way leaves
// the old contents, or adds them to what takes a stream: a pipe, a terminal, the process's output.
// Knows nothing of what is written.
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

    // Gets ready to replace the file or to make it. A pipe with a reader and a character device
    // stay, to be written where they are. So does what standard output or standard error goes to,
    // under whatever name, even a regular file: there the contents go behind what was printed.
    // False when it cannot be written or is anything else; never waits for the reader of a pipe.
    bool Open(const std::string& path);
    // Writes the new contents, as fast as the reader of a pipe takes them. False, with errno set,
    // when they did not all reach the file.
    bool Finish(std::string_view contents);

private:
    int m_descriptor = -1;
    std::string m_path;       // symbolic links resolved
    std::string m_temporary;  // beside the file; empty when the file is written in place
    bool m_isStream = false;  // the descriptor takes the contents behind what it took before

    void Drop();
    bool OpenBeside();
    bool OpenInPlace();
    bool WriteWhole(std::string_view contents) const;
};
