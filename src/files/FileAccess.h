// Descriptors of mesh, texture and capture files whose names come from scenes and may name
// anything. Knows nothing of what the files hold and prints nothing.
#pragma once

#include <cstddef>
#include <string>

enum class Links { Follow, Refuse };

// A descriptor of the regular file at path; "-" gives standard input, whatever it is. -1 when it
// does not open or is no regular file. Never blocks.
int OpenForReading(const std::string& path);
// The same for an emptied or new file (mode 0666 less the umask); "-" gives standard output, after
// the text that stdio still holds for it. Links: whether a symbolic link at path may be followed.
int OpenForWriting(const std::string& path, Links links);
// The same, but the file keeps what it holds and everything written goes behind it.
int OpenForAppending(const std::string& path, Links links);
// Closes the descriptor unless it is standard input or output.
void CloseFile(int fd);

// Reads up to count bytes, past signals and short reads, and zeroes what the file did not give.
// The number of bytes read; -1 on a read error (errno is set).
std::ptrdiff_t ReadBytes(int fd, void* bytes, std::size_t count);
// False when not all could be written.
bool WriteBytes(int fd, const void* bytes, std::size_t count);
