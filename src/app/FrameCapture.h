// Writes recorded frames: numbered PNG pictures and a control file of their times.
// Knows nothing of drawing. What cannot be opened or written is left out silently.
#pragma once

#include <cstdint>
#include <string>

class Texture;

// Appends one line to the control file of the recording: time in thirtieths of a second, frame.
void AppendFrameTime(const std::string& baseName, std::int64_t milliseconds, int frameNumber);
// Writes the picture (rows bottom to top) to the scratch PPM file and as numbered PNG, upright. A
// picture without pixels leaves the PPM header only.
void WriteFrame(const Texture& picture, const std::string& baseName, int frameNumber);
