// Reports pending OpenGL errors. Knows nothing of what was being drawn.
#include "drivers/gl/GLError.h"

#include <GL/gl.h>

#include <cstdint>
#include <iostream>

void ReportGLError(const char* operation, const char* tag, std::source_location where) {
    const GLenum code = glGetError();
    if (code == GL_NO_ERROR) return;
    std::cerr << "GLError " << reinterpret_cast<const void*>(std::uintptr_t{code}) << " at "
              << operation << ":" << where.line() << " - " << tag << std::endl;
}
