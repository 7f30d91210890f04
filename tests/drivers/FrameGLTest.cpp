// Set-up and frames of the OpenGL driver: capabilities, viewport, clearing, blur, errors.
#include "GLFixture.h"

#include <numbers>
#include <random>

namespace {

using FrameGL = GLFixture;

TEST_F(FrameGL, PublishesWhatTheVisualAndTheContextOffer) {
    EXPECT_EQ(m_driver->GetCapability("shadows"), 1);
    const float available = m_driver->GetCapability("maxlights");
    for (const auto& [forced, expected] :
         {std::pair{2.0F, 2.0F}, {128, available}, {0, available}}) {
        m_driver->Set("GL_lights", forced);
        m_driver->SetWindow(m_xWindow);
        EXPECT_EQ(m_driver->GetCapability("maxlights"), expected);
    }
    EXPECT_EQ(m_driver->GetCapability("max anisotropy"), 1);
    m_driver->Set("GL_anisotropic", 1);
    m_driver->SetWindow(m_xWindow);
    EXPECT_GT(m_driver->GetCapability("max anisotropy"), 1);
}

TEST_F(FrameGL, ASecondVisualReplacesTheContext) {
    Texture white = FilledTexture(1, 1, {255, 255, 255});
    GeoImage square = SquareMesh(100, -2);
    Shader pass = Unlit(kRed);
    pass.texture = &white;
    for (int context = 0; context < 2; ++context) {
        StartFrame();
        EXPECT_THAT(Shown(square, pass), IsColor(1, 0, 0));
        EXPECT_EQ(CaptureStdout([&] { XFree(m_driver->GetVisual()); }),
                  "DriverGL: got 8 stencil bits\n");
    }
}

TEST_F(FrameGL, ViewportCountsFromTheTopLeft) {
    m_driver->SetViewport(10, 5, 30, 20);
    GLint box[4];
    glGetIntegerv(GL_VIEWPORT, box);
    EXPECT_THAT(box, testing::ElementsAre(10, kHeight - 25, 30, 20));
    m_driver->GetViewport(box[0], box[1], box[2], box[3]);
    EXPECT_THAT(box, testing::ElementsAre(10, 5, 30, 20));
    const Texture image = m_driver->GetFramebuffer();
    EXPECT_TRUE(image.width == 30 && image.height == 20 && image.channels == 4);
}

TEST_F(FrameGL, ProjectsAsTheLensSays) {
    std::mt19937 random(2);
    const auto real = [&](double low, double high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    for (int round = 0; round < 50; ++round) {
        Camera camera;
        camera.fov = static_cast<float>(real(20, 140));
        camera.aspect = static_cast<float>(real(0.3, 3));
        camera.hith = static_cast<float>(real(0.01, 2));
        camera.yon = camera.hith + static_cast<float>(real(1, 500));
        const int width = 1 + static_cast<int>(random() % kWidth);
        const int height = 1 + static_cast<int>(random() % kHeight);
        m_driver->SetViewport(3, 5, width, height);
        m_driver->SetupProjection(camera);
        const double f = 1 / std::tan(std::numbers::pi * camera.fov / 360);
        const double range = double{camera.hith} - camera.yon;
        const double wanted[] = {f * height / (camera.aspect * width), f,
                                 (double{camera.hith} + camera.yon) / range, -1,
                                 2.0 * camera.hith * camera.yon / range};
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
    EXPECT_EQ(Stencil(5, 5), 5);
    EXPECT_NEAR(depth(), 0.5, 1e-4);
    EXPECT_THAT(ShotCentre(), IsColor(1, 0, 0));
    m_driver->Clear(true, true);
    EXPECT_EQ(Stencil(5, 5), 0);
    EXPECT_EQ(depth(), 1);
    EXPECT_THAT(ShotCentre(), IsColor(0.5, 0.5, 0.5));
    Paint(kRed);
    EXPECT_THAT(ShotCentre(), IsColor(0.5, 0.5, 0.5)) << "the mask holds for drawing";
    m_driver->ColorMask(false, true, false);
    Paint(kWhite);
    EXPECT_THAT(ShotCentre(), IsColor(0.5, 1, 0.5));
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
    // Some implementations accumulate linear light, where a fifth shows as 124.
    const Rgb mixed = frame(kBlue);
    EXPECT_TRUE(mixed.r >= 50 && mixed.r <= 126 && mixed.g <= kColorTolerance) << mixed;
    EXPECT_TRUE(mixed.b >= 202 && mixed.b <= 233) << mixed;
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
        Run(square, Unlit(kRed));
    }
    EXPECT_EQ(m_cerr.text, "");
    EXPECT_TRUE(Run(square, Of(RenderWire, 0)));
    EXPECT_THAT(m_cerr.text,
                testing::MatchesRegex("GLError 0x501 at PlayDList:[0-9]+ - PlayDList\n"));
    m_cerr.text.clear();
}

}  // namespace
