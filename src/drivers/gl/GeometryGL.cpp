// Sends meshes, outlines, shells and shadow volumes to OpenGL, in immediate mode or from client
// arrays. Sets no state but the arrays' own and the current normal and texture coordinate.
#include <iostream>
#include <iterator>

#include "drivers/gl/DriverGL.h"
#include "drivers/gl/GLError.h"
#include "geometry/GeoImage.h"

namespace {

constexpr GLsizei kSampleStride = sizeof(GeoImageSample);
constexpr GLsizei kPointStride = sizeof(vec3);
// Keeps the direction finite at the light itself.
constexpr float kTinyLength = 1e-12F;

// All vertices of a mesh row pair: (r, c), (r + 1, c) for every column.
template <class Send>
void SendStrip(const GeoImage& mesh, int row, Send send) {
    const GeoImageSample* upper = &mesh.At(row, 0);
    const GeoImageSample* lower = upper + mesh.width;
    glBegin(GL_TRIANGLE_STRIP);
    for (int column = 0; column < mesh.width; ++column) {
        send(upper[column]);
        send(lower[column]);
    }
    glEnd();
}

bool HasStrips(const GeoImage& mesh) {
    return mesh.samples != nullptr && mesh.width > 0 && mesh.height > 1;
}

void SendPointsImmediate(GLenum mode, const std::vector<vec3>& points, bool texcoords) {
    glBegin(mode);
    for (const vec3& point : points) {
        if (texcoords) glTexCoord3fv(&point.x);
        glVertex3fv(&point.x);
    }
    glEnd();
}

// A point and its image on the far side of the volume.
struct Extruder {
    vec3 light;
    float extrusion;
    float offset;

    vec3 Near(const vec3& point) const { return offset * point; }
    vec3 Far(const vec3& point) const {
        const vec3 away = point - light;
        return point + (away * extrusion) * (1 / (Length(away) + kTinyLength));
    }
};

}  // namespace

void DriverGL::Lock(std::size_t count) const {
    if (m_lockArrays != nullptr) m_lockArrays(0, static_cast<GLsizei>(count));
}

void DriverGL::Unlock() const {
    if (m_unlockArrays != nullptr) m_unlockArrays();
}

std::int64_t DriverGL::intRenderGeoImage(const GeoImage& mesh, bool normals, bool texcoords) {
    const bool empty = !HasStrips(mesh);
    const std::int64_t width = mesh.width;
    const std::int64_t quadRows = empty ? 0 : mesh.height - 1;
    switch (m_drawMethod) {
        case 0:
            if (!empty) SendStripsImmediate(mesh, normals, texcoords);
            return 24 * width * quadRows;
        case 1:
        case 2:
            if (!empty) SendStripsFromArrays(mesh, normals, texcoords);
            return 8 * width * quadRows + 12 * width * mesh.height;
        default:
            std::cerr << "Unknown drawmethod " << m_drawMethod
                      << " (in DriverGL::intRenderGeoImage)" << std::endl;
            return 0;
    }
}

void DriverGL::SendStripsImmediate(const GeoImage& mesh, bool normals, bool texcoords) const {
    for (int row = 0; row + 1 < mesh.height; ++row) {
        SendStrip(mesh, row, [normals, texcoords](const GeoImageSample& sample) {
            if (normals) glNormal3fv(&sample.normal.x);
            if (texcoords) glTexCoord2fv(&sample.u);
            glVertex3fv(&sample.position.x);
        });
        ReportGLError("intRenderGeoImage");
    }
}

void DriverGL::SendStripsFromArrays(const GeoImage& mesh, bool normals, bool texcoords) {
    const auto width = static_cast<GLuint>(mesh.width);
    const auto height = static_cast<GLuint>(mesh.height);
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, kSampleStride, &mesh.samples->position);
    if (normals) {
        glEnableClientState(GL_NORMAL_ARRAY);
        glNormalPointer(GL_FLOAT, kSampleStride, &mesh.samples->normal);
    }
    if (texcoords) {
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(2, GL_FLOAT, kSampleStride, &mesh.samples->u);
    }
    ReportGLError("intRenderGeoImage", "intRenderGeoImage - setup client area");
    Lock(std::size_t{width} * height);
    if (m_drawMethod == 2) m_stripIndices.resize(std::size_t{2} * width);
    for (GLuint row = 0; row + 1 < height; ++row) {
        const GLuint upper = row * width;
        if (m_drawMethod == 2) {
            for (GLuint column = 0; column < width; ++column) {
                m_stripIndices[2 * column] = upper + column;
                m_stripIndices[2 * column + 1] = upper + width + column;
            }
            glDrawElements(GL_TRIANGLE_STRIP, static_cast<GLsizei>(2 * width), GL_UNSIGNED_INT,
                           m_stripIndices.data());
            continue;
        }
        glBegin(GL_TRIANGLE_STRIP);
        for (GLuint column = 0; column < width; ++column) {
            glArrayElement(static_cast<GLint>(upper + column));
            glArrayElement(static_cast<GLint>(upper + width + column));
        }
        glEnd();
    }
    ReportGLError("intRenderGeoImage", "intRenderGeoImage - rendered mesh");
    Unlock();
    glDisableClientState(GL_VERTEX_ARRAY);
    glDisableClientState(GL_NORMAL_ARRAY);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    ReportGLError("intRenderGeoImage", "intRenderGeoImage - tearing down client area");
}

void DriverGL::DrawPoints(GLenum mode, const void* points, std::size_t count,
                          int texcoordSize) const {
    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, kPointStride, points);
    if (texcoordSize > 0) {
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(texcoordSize, GL_FLOAT, kPointStride, points);
    }
    Lock(count);
    glDrawArrays(mode, 0, static_cast<GLsizei>(count));
    Unlock();
    glDisableClientState(GL_VERTEX_ARRAY);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
}

std::int64_t DriverGL::intRenderOutline(const SilhouetteResult& silhouette, bool texcoords) {
    if (silhouette.edges.empty()) return 0;
    std::int64_t size = 24 * std::ssize(silhouette.edges);
    if (m_lineMethod == 0) {
        glBegin(GL_LINES);
        for (const SilhouetteEdge& edge : silhouette.edges) {
            if (texcoords) glTexCoord3fv(&edge.from.x);
            glVertex3fv(&edge.from.x);
            if (texcoords) glTexCoord3fv(&edge.to.x);
            glVertex3fv(&edge.to.x);
        }
        glEnd();
    } else if (m_lineMethod == 1) {
        DrawPoints(GL_LINES, silhouette.edges.data(), 2 * silhouette.edges.size(),
                   texcoords ? 3 : 0);
    } else {
        std::cerr << "Unknown linemethod " << m_lineMethod << " (in DriverGL::intRenderOutline)"
                  << std::endl;
        size = 0;
    }
    ReportGLError("intRenderOutline");
    return texcoords ? 2 * size : size;
}

std::int64_t DriverGL::intRenderShell(const GeoImage& mesh, float thickness) {
    if (!HasStrips(mesh)) return 0;
    for (int row = 0; row + 1 < mesh.height; ++row) {
        SendStrip(mesh, row, [thickness](const GeoImageSample& sample) {
            const vec3 moved = sample.position + thickness * sample.normal;
            glNormal3fv(&sample.normal.x);
            glTexCoord2fv(&sample.u);
            glVertex3fv(&moved.x);
        });
        ReportGLError("intRenderShell");
    }
    return std::int64_t{72} * mesh.width * (mesh.height - 1);
}

// The closed volume between the mesh's lit side and its image moved away from the light: a quad
// for each silhouette edge, and each lit triangle twice, the far one turned round.
std::int64_t DriverGL::intRenderShadowvol(const SilhouetteResult& silhouette, const vec3& light,
                                          bool texcoords, float extrusion) {
    if (silhouette.edges.empty() && silhouette.caps.empty()) return 0;
    const Extruder extruder{light, extrusion, m_shadowOffset};
    ReportGLError("intRenderShadowvol", "AddShadow - about to do sides");
    const vec3 normal = Normalise(light);
    glNormal3f(normal.x, normal.y, normal.z);
    m_volumePoints.clear();
    for (const SilhouetteEdge& edge : silhouette.edges) {
        m_volumePoints.insert(m_volumePoints.end(),
                              {extruder.Near(edge.from), extruder.Near(edge.to),
                               extruder.Far(edge.to), extruder.Far(edge.from)});
    }
    SendVolumePoints(GL_QUADS, texcoords, "AddShadow - CVA Quads");
    ReportGLError("intRenderShadowvol", "AddShadow - about to do caps");
    m_volumePoints.clear();
    for (const SilhouetteCap& cap : silhouette.caps) {
        m_volumePoints.insert(m_volumePoints.end(),
                              {extruder.Near(cap.a), extruder.Near(cap.b), extruder.Near(cap.c),
                               extruder.Far(cap.a), extruder.Far(cap.c), extruder.Far(cap.b)});
    }
    SendVolumePoints(GL_TRIANGLES, texcoords, "AddShadow - CVA tris");
    return 48 * std::ssize(silhouette.edges) + 72 * std::ssize(silhouette.caps);
}

void DriverGL::SendVolumePoints(GLenum mode, bool texcoords, const char* tag) {
    if (m_shadowMethod == 0) {
        SendPointsImmediate(mode, m_volumePoints, texcoords);
    } else if (m_shadowMethod == 1) {
        // OpenGL refuses to lock an empty array.
        if (!m_volumePoints.empty()) {
            DrawPoints(mode, m_volumePoints.data(), m_volumePoints.size(), texcoords ? 2 : 0);
        }
        ReportGLError("intRenderShadowvol", tag);
    }
}
