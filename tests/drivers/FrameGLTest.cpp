// Frames of the OpenGL driver: viewport and projection, clearing, blur, errors.
#include "GLFixture.h"
#include "support/Random.h"

namespace {

using FrameGL = GLFixture;
using testing::Each;
using testing::ElementsAre;

TEST_F(FrameGL, ViewportCountsFromTheTopLeftAndProjectsAsTheLensSays) {
    Random random(2);
    for (int round = 0; round < 50; ++round) {
        m_camera.fov = random.Real(20, 140);
        m_camera.aspect = random.Real(0.3F, 3);
        m_camera.hith = random.Real(0.01F, 2);
        m_camera.yon = m_camera.hith + random.Real(1, 500);
        const int x = random.Index(kWidth);
        const int y = random.Index(kHeight);
        const int width = 1 + random.Index(kWidth);
        const int height = 1 + random.Index(kHeight);
        m_driver->SetViewport(x, y, width, height);
        m_driver->SetupProjection(m_camera);
        GLint box[4];
        glGetIntegerv(GL_VIEWPORT, box);
        EXPECT_THAT(box, ElementsAre(x, kHeight - y - height, width, height));
        m_driver->GetViewport(box[0], box[1], box[2], box[3]);
        EXPECT_THAT(box, ElementsAre(x, y, width, height));
        const Texture image = m_driver->GetFramebuffer();
        EXPECT_TRUE(image.width == width && image.height == height && image.channels == 4);

        const double f = 1 / std::tan(std::numbers::pi * m_camera.fov / 360);
        const double near = m_camera.hith;
        const double far = m_camera.yon;
        const double wanted[] = {f * height / (m_camera.aspect * width), f,
                                 (near + far) / (near - far), -1, 2 * near * far / (near - far)};
        GLdouble m[16];
        glGetDoublev(GL_PROJECTION_MATRIX, m);
        const double found[] = {m[0], m[5], m[10], m[11], m[14]};
        for (int i = 0; i < 5; ++i)
            EXPECT_NEAR(found[i], wanted[i], 1e-4 * std::abs(wanted[i])) << i;
    }
}

TEST_F(FrameGL, ClearsWhatIsAskedAndStencilAlways) {
    const auto depth = [] {
        GLfloat value = -1;
        glReadPixels(5, 5, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &value);
        return value;
    };
    glClearDepth(0.5);
    Paint(kRed);
    glClearDepth(1);
    m_driver->ColorMask(false, false, false);
    glClearStencil(5);
    m_driver->Clear(false, false);
    glClearStencil(0);
    EXPECT_THAT(Stencil(), Each(5));
    EXPECT_NEAR(depth(), 0.5, 1e-4);
    EXPECT_THAT(ShotCentre(), IsColor(1, 0, 0));
    m_driver->Clear(true, true);
    EXPECT_THAT(Stencil(), Each(0));
    EXPECT_EQ(depth(), 1);
    EXPECT_THAT(ShotCentre(), IsColor(0.5, 0.5, 0.5));
    Paint(kRed);
    EXPECT_THAT(ShotCentre(), IsColor(0.5, 0.5, 0.5)) << "the mask holds for drawing";
    m_driver->ColorMask(false, true, false);
    Paint(kWhite);
    EXPECT_THAT(ShotCentre(), IsColor(0.5, 1, 0.5));
    for (const bool on : {false, true}) {
        m_driver->Set("GL_dither", on ? 1 : 0);
        StartFrame();
        EXPECT_EQ(glIsEnabled(GL_DITHER), on);
    }
    m_driver->ColorMask(false, true, false);
    m_driver->Finish();
    Paint(kBlue);
    EXPECT_THAT(ShotCentre(), IsColor(0, 0, 1)) << "the end of a frame opens the mask";
}

TEST_F(FrameGL, MotionBlurMixesFramesOnceItHasOne) {
    const auto frame = [&](const Color& color) {
        StartFrame();
        Paint(color);
        m_driver->Finish();
        return ShotCentre();
    };
    m_driver->Set("GL_mblur", 1);
    m_driver->Set("GL_mblur%", 0.2F);
    EXPECT_THAT(frame(kRed), IsColor(1, 0, 0));
    // Some implementations accumulate linear light, where a fifth shows as almost a half.
    const Color mixed = frame(kBlue);
    EXPECT_TRUE(mixed.r > 0.19F && mixed.r < 0.5F && mixed.g < 0.01F) << mixed.r;
    EXPECT_TRUE(mixed.b > 0.79F && mixed.b < 0.92F) << mixed.b;
    m_driver->Set("GL_mblur%", 0);
    EXPECT_THAT(frame(kGreen), IsColor(0, 1, 0));
    m_driver->Set("GL_mblur%", 0.5F);
    EXPECT_THAT(frame(kWhite), IsColor(1, 1, 1)) << "the frame before was not blurred";
    m_driver->Set("GL_mblur", 0);
    EXPECT_THAT(frame(kRed), IsColor(1, 0, 0));
}

TEST_F(FrameGL, SurvivesSenselessCamerasAndReportsErrorsInOneLine) {
    GeoImage square = SquareMesh(1, -2);
    for (const float fov : {0.0F, -30.0F, 180.0F, 360.0F, std::nanf("")}) {
        m_camera.fov = fov;
        m_camera.yon = m_camera.hith;
        m_driver->SetupProjection(m_camera);
        EXPECT_EQ(Said([&] { Run(square, Unlit(kRed)); }), "");
    }
    EXPECT_THAT(Said([&] { EXPECT_TRUE(Run(square, Of(RenderWire, 0))); }),
                testing::MatchesRegex("GLError 0x501 at PlayDList:[0-9]+ - PlayDList\n"));
}

}  // namespace
