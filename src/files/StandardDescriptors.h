// A program may be started with standard input, output or error closed. The next file or socket to
// be opened would take that number: input would come from it, or a message be written into it.
#pragma once

// To be called before anything is opened. What is closed becomes a descriptor that gives an end of
// input and refuses output, so that lost output is noticed.
void OccupyStandardDescriptors();
