// The OpenGL 1.1 driver on GLX. Knows nothing of the renderer; OpenGL calls stay in this folder.
// Sources by topic: DriverGL.cpp set-up, FrameGL.cpp frames, ShaderGL.cpp pass state,
// GeometryGL.cpp vertices, LightsGL.cpp, TexturesGL.cpp, ShadowsGL.cpp. DisplayListCache, StateGL
// and OcclusionGL are classes of their own.
#pragma once

#include "drivers/Driver.h"

#include <GL/glx.h>

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "drivers/Rectangle.h"
#include "drivers/gl/CacheKey.h"
#include "drivers/gl/DisplayListCache.h"
#include "drivers/gl/StateGL.h"
#include "geometry/Silhouette.h"

struct Color;
struct Material;

// What draws or sets state ends with a check for OpenGL errors (see GLError.h), which never stops
// it. GetVisual makes the context, SetWindow makes it current; without a context nothing is drawn.
class DriverGL : public Driver {
public:
    explicit DriverGL(Display* display);
    ~DriverGL() override;

    // Chooses the visual with the most stencil bits, at most 8, and replaces the context by a new
    // one for it. Publishes "shadows" when there are stencil bits. Null, with a line on standard
    // error, where no visual will do, as on X servers without GLX.
    XVisualInfo* GetVisual() override;
    void SetWindow(Window window) override;

    void SetViewport(int x, int y, int width, int height) override;
    void GetViewport(int& x, int& y, int& width, int& height) override;
    void ColorMask(bool red, bool green, bool blue) override;
    void Clear(bool depth, bool color) override;
    void Finish() override;
    Texture GetFramebuffer() override;
    void SetupProjection(const Camera& camera) override;
    void LoadMatrix(const Matrix& modelView) override;

    void CopyTexture(Texture* texture, int x, int y, int width, int height) override;
    void Purge(Texture* texture) override;
    void Purge(GeoImage* mesh) override { m_lists.Purge(mesh); }

    bool RunShader(GeoImage* mesh, const Shader* pass, const vec3* point, bool cacheable) override;

    void SetAmbient(float red, float green, float blue, float alpha) override;
    void ClearLights() override;
    bool AddLight(const Light* light) override;

    void StartShadows() override;
    void AddShadow(GeoImage* mesh, const vec3* lightPosition, float extrusion) override;
    void FinishShadows() override;
    void SetShadowTest(bool on) override;
    // Software or the real depth buffer, as "GL_hw_occlusion" says: a change replaces the object.
    Occlusion* GetOcclusion() override;

    // Switches the lights added so far on or off; lighting itself stays on.
    virtual void SetLighting(bool on);
    virtual void SetMaterial(const Material* material);
    // Makes the texture current, uploading its image when this context lacks it. Null: none.
    virtual void SetupTexture(Texture* texture);

private:
    struct Channels {
        bool red = true;
        bool green = true;
        bool blue = true;
    };

    GLXContext m_context = nullptr;
    StateGL m_state;
    Rectangle m_viewport;
    bool m_extensionsProbed = false;
    bool m_hasAnisotropic = false;
    // Array locking; both null where the extension is missing.
    void (*m_lockArrays)(GLint, GLsizei) = nullptr;
    void (*m_unlockArrays)() = nullptr;
    Channels m_colorMask;
    Matrix m_modelView;

    int m_activeLights = 0;  // added since ClearLights
    int m_maxLights = 0;
    vec3 m_lightPosition;        // of the last light added, eye space
    float m_lightExtrusion = 0;  // of the last light added

    DisplayListCache m_lists;

    bool m_shadowsOn = false;  // as of the last StartShadows
    GLuint m_scratchList = 0;  // holds one shadow volume between its two passes

    std::unique_ptr<Occlusion> m_occlusion;
    bool m_occlusionIsHardware = false;

    // Names of this context by texture. Textures note under this map's address that their image
    // is uploaded. Addresses of freed textures may be among the keys: never follow them.
    std::map<Texture*, GLuint> m_textures;

    // Settings as of the last SetWindow.
    int m_texFilter = 0;
    int m_mipFilter = 0;
    float m_texQuality = 0;
    float m_maxAnisotropy = 1;
    int m_drawMethod = 0;
    int m_lineMethod = 0;
    int m_shadowMethod = 0;
    bool m_wireframe = false;
    float m_shadowOffset = 1;
    bool m_cacheShadows = false;

    // Scratch, kept for its capacity.
    SilhouetteResult m_silhouette;
    std::vector<GLuint> m_stripIndices;
    std::vector<vec3> m_volumePoints;

    // Set-up.
    void DeclareSettings();
    void DropContext();
    void ProbeExtensions();
    void ReadLightLimit();
    void ReadTextureSettings();
    void ReadAnisotropy();
    int WindowHeight() const;
    void ApplyColorMask() const;

    // Pass state; false when the pass draws nothing.
    bool SetBlend(int blend);
    bool SetAlphaTest(const Shader& pass);
    bool SetFaces(const Shader& pass);
    void SetSurface(const Shader& pass);
    void SetRasterMode(const Shader& pass);
    bool MakeKey(GeoImage* mesh, const Shader& pass, const vec3* point, CacheKey& key,
                 bool& cacheable) const;
    bool SendGeometry(CacheKey& key, const Shader& pass, bool recording);

    DisplayList* ShadowList(const CacheKey& key, float extrusion);
    std::int64_t SendShadow(const CacheKey& key, bool texcoords, float extrusion);

    // Vertices; each returns the approximate bytes they take in a display list.
    std::int64_t intRenderGeoImage(const GeoImage& mesh, bool normals, bool texcoords);
    std::int64_t intRenderOutline(const SilhouetteResult& silhouette, bool texcoords);
    std::int64_t intRenderShell(const GeoImage& mesh, float thickness);
    std::int64_t intRenderShadowvol(const SilhouetteResult& silhouette, const vec3& light,
                                    bool texcoords, float extrusion);
    void SendStripsImmediate(const GeoImage& mesh, bool normals, bool texcoords) const;
    void SendStripsFromArrays(const GeoImage& mesh, bool normals, bool texcoords);
    void SendVolumePoints(GLenum mode, bool texcoords, const char* tag);
    void DrawPoints(GLenum mode, const void* points, std::size_t count, int texcoordSize) const;
    void Lock(std::size_t count) const;
    void Unlock() const;

    void SetupLight(int number, const Light& light);
    void SetTextureHandle(Texture& texture);
    void SetTextureEnv(GLint magnification, GLint minification) const;
    void UploadImage(Texture& texture) const;
};
