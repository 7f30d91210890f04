// Reports pending OpenGL errors. Knows nothing of what was being drawn.
#pragma once

#include <source_location>

// Asks OpenGL for a pending error and prints it in one line on standard error; the caller goes on.
// operation: the name of the operation that checks; tag: which of its checks this is. Never call
// it between glBegin and glEnd.
void ReportGLError(const char* operation, const char* tag,
                   std::source_location where = std::source_location::current());

// The check of an operation that has only one.
inline void ReportGLError(const char* operation,
                          std::source_location where = std::source_location::current()) {
    ReportGLError(operation, operation, where);
}
