// Which triangles the drivers' occlusion buffers call hidden, filled in software and by OpenGL.
#include "GLFixture.h"

#include "drivers/gl/OcclusionGL.h"

namespace {

class OcclusionInGL : public GLFixture {
protected:
    Occlusion& Buffer() { return *m_driver->GetOcclusion(); }
    void Choose(bool hardware) {
        m_driver->Set("GL_hw_occlusion", hardware ? 1 : 0);
        StartFrame();
    }
    // As the renderer draws an object that was seen a frame ago.
    void DrawOccluder(GeoImage& mesh) {
        m_driver->LoadMatrix({});
        Buffer().SetMatrix({});
        EXPECT_TRUE(Run(mesh, Unlit(kRed)));
        Buffer().AddGeoImage(&mesh, Unlit(kRed), {});
    }
    // A small triangle at that place.
    bool Shows(const vec3& p) {
        return Buffer().TestTriangle(p, p + vec3{0.1F, 0, 0}, p + vec3{0, 0.1F, 0});
    }
};

TEST_F(OcclusionInGL, OccludersHideWhatIsBehindThemInEveryImage) {
    GeoImage wall = SquareMesh(1, -4);
    for (int i = 0; i < 4; ++i)
        wall.samples[i].position.y += 1;
    wall.Finish(false);
    for (const bool hardware : {false, true, false}) {
        Choose(hardware);
        EXPECT_EQ(dynamic_cast<OcclusionGL*>(&Buffer()) != nullptr, hardware);
        for (int image = 0; image < 2; ++image) {  // the second eye has no viewport of its own
            DrawOccluder(wall);
            Buffer().Sync();
            EXPECT_FALSE(Shows({0, 1, -8}) || Shows({1, 3, -8}));
            EXPECT_TRUE(Shows({0, 1, -3.9F}) && Shows({5, 1, -8}) && Shows({0, 6, -8}));
            EXPECT_TRUE(Shows({0, -2, -8}) && Shows({-5, 1, -8}));
            m_driver->Clear(true, false);
            m_driver->SetupProjection(m_camera);
        }
        DrawOccluder(wall);
        m_driver->Clear(false, true);  // keeps the depths
        Buffer().Sync();
        EXPECT_FALSE(Shows({0, 1, -8}));
    }
    Choose(true);
    Buffer().AddGeoImage(&wall, {}, {});
    Buffer().Sync();
    EXPECT_TRUE(Shows({0, 1, -8})) << "only what OpenGL drew counts";
}

TEST_F(OcclusionInGL, NoSurfaceHidesItself) {
    for (const bool hardware : {false, true}) {
        for (float z = -0.2F; z > -3000; z *= 1.07F) {
            m_camera.hith = -0.4F * z;  // but for the fixed one, as near as walls get
            Choose(hardware);
            GeoImage wall = SquareMesh(-2 * z, z);
            DrawOccluder(wall);
            Buffer().Sync();
            EXPECT_TRUE(Buffer().TestTriangle({0, 0, z}, {-z, 0, z}, {0, -z, z})) << z;
            EXPECT_FALSE(Shows({0, 0, 1.01F * z})) << z;
        }
    }
}

}  // namespace
