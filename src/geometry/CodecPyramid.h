// The 2 x 2 difference pyramid of the top-left x0 x y0 rectangle of every channel.
// Knows neither the stream's header nor the border around the rectangle.
#pragma once

class Codec;
class CodecReader;
class CodecWriter;

// Reads the coefficients and turns them into values; 0 <= x0 <= width, 0 <= y0 <= height.
void DecodePyramid(Codec& codec, CodecReader& reader, int x0, int y0);
// Turns the values into coefficients, in place, and writes these, coarsest level first.
void EncodePyramid(Codec& codec, CodecWriter& writer, int x0, int y0);
