// Set-up and frames of the OpenGL driver: capabilities, viewport, clearing, blur, reading back.
#include "GLFixture.h"

namespace {

using FrameGL = GLFixture;

TEST_F(FrameGL, PublishesWhatTheVisualAndTheContextOffer) {
    EXPECT_EQ(m_driver->GetCapability("shadows"), 1);
    const float available = m_driver->GetCapability("maxlights");
    EXPECT_GE(available, 8);
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
    EXPECT_EQ(m_driver->ListSettings().size(), 3U + 18U);
}

TEST_F(FrameGL, ASecondVisualReplacesTheContext) {
    Texture white;
    white.SetSize(1, 1, 3);
    std::fill_n(white.pixels, 3, std::uint8_t{255});
    GeoImage square = SquareMesh(100, -2);
    Shader pass = Unlit(kRed);
    pass.texture = &white;
    for (int context = 0; context < 2; ++context) {
        StartFrame();
        EXPECT_TRUE(Run(square, pass));
        EXPECT_THAT(ShotCentre(), IsColor(1, 0, 0));
        testing::internal::CaptureStdout();
        XFree(m_driver->GetVisual());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "DriverGL: got 8 stencil bits\n");
    }
}

TEST_F(FrameGL, ViewportCountsFromTheTopLeft) {
    m_driver->SetViewport(10, 5, 30, 20);
    GLint box[4];
    glGetIntegerv(GL_VIEWPORT, box);
    EXPECT_THAT(box, testing::ElementsAre(10, kHeight - 25, 30, 20));
    int x, y, width, height;
    m_driver->GetViewport(x, y, width, height);
    EXPECT_TRUE(x == 10 && y == 5 && width == 30 && height == 20);
    const Texture image = m_driver->GetFramebuffer();
    EXPECT_TRUE(image.width == 30 && image.height == 20 && image.channels == 4);
    EXPECT_TRUE(image.filter && image.mipmap && image.uploads.empty());
}

TEST_F(FrameGL, ClearsWhatIsAskedAndStencilAlways) {
    glClearDepth(0.5);
    Paint(kRed);
    glClearDepth(1);
    m_driver->ColorMask(false, false, false);
    GLint stencil = -1;
    GLfloat depth = -1;
    glClearStencil(5);
    m_driver->Clear(false, false);
    glClearStencil(0);
    glReadPixels(5, 5, 1, 1, GL_STENCIL_INDEX, GL_INT, &stencil);
    glReadPixels(5, 5, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &depth);
    EXPECT_EQ(stencil, 5);
    EXPECT_NEAR(depth, 0.5, 1e-4);
    EXPECT_THAT(ShotCentre(), IsColor(1, 0, 0));
    m_driver->Clear(true, true);
    glReadPixels(5, 5, 1, 1, GL_STENCIL_INDEX, GL_INT, &stencil);
    glReadPixels(5, 5, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &depth);
    EXPECT_EQ(stencil, 0);
    EXPECT_EQ(depth, 1);
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
    EXPECT_THAT(frame(kRed), IsColor(1, 0, 0));
    const Rgb mixed = frame(kBlue);
    // Some implementations accumulate linear light, where the mean of 0 and 1 shows as 188.
    EXPECT_TRUE(mixed.r >= 125 && mixed.r <= 190 && mixed.g <= kColorTolerance) << mixed;
    EXPECT_NEAR(mixed.r, mixed.b, kColorTolerance);
    m_driver->Set("GL_mblur%", 0);
    EXPECT_THAT(frame(kGreen), IsColor(0, 1, 0));
    m_driver->Set("GL_mblur%", 0.5F);
    EXPECT_THAT(frame(kWhite), IsColor(1, 1, 1)) << "the frame before was not blurred";
    m_driver->Set("GL_mblur", 0);
    EXPECT_THAT(frame(kRed), IsColor(1, 0, 0));
}

// Cameras that a scene line can ask for.
TEST_F(FrameGL, SurvivesSenselessCameras) {
    GeoImage square = SquareMesh(1, -2);
    const float values[] = {0, -30, 180, 360, std::nanf("")};
    for (const float fov : values) {
        for (const float yon : {0.1F, 0.0F, -1.0F}) {
            Camera camera;
            camera.fov = fov;
            camera.yon = yon;
            m_driver->SetupProjection(camera);
            Run(square, Unlit(kRed));
        }
    }
}

TEST_F(FrameGL, ReportsOpenGLErrorsInOneLine) {
    GeoImage square = SquareMesh(1, -2);
    Shader wire = Unlit(kRed);
    wire.rmode = RenderWire;
    wire.thick = 0;
    EXPECT_THAT(
        CaptureStderr([&] { EXPECT_TRUE(Run(square, wire)); }),
        testing::MatchesRegex(
            "GLError 0x501 at RunShader:[0-9]+ - RunShader - about to intRenderGeoImage\n"));
    EXPECT_THAT(m_cerr.text, testing::HasSubstr("GLError 0x501"));
    m_cerr.text.clear();
}

}  // namespace
