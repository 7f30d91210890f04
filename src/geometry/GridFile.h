// Writing of a mesh or texture file: a header and the stream of a grid, or no file at all.
// Knows neither kind.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

#include "files/FileAccess.h"
#include "geometry/Codec.h"
#include "geometry/FileHeader.h"

// Writes to path ("-": standard output) and turns the grid into coefficients. False, with one line
// that names the writer, when the file does not open or the codec is unknown; an incomplete file
// is removed. As for the stream, errors while writing are not reported.
template <class Header>
bool WriteGridFile(const char* writer, const std::string& path, const Header& header, Codec& grid,
                   int codec) {
    const int fd = OpenForWriting(path, Links::Follow);
    if (fd < 0) {
        std::fprintf(stderr, "%s: could not open file %s\n", writer, path.c_str());
        return false;
    }
    WriteHeader(fd, header);
    const bool saved = grid.Save(fd, codec);
    CloseFile(fd);
    if (!saved && path != "-" && unlink(path.c_str()) != 0) std::perror(writer);
    return saved;
}
