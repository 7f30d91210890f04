// Lines of the Xlib driver, read back from its window.
#include "support/Capture.h"
#include "support/TestMeshes.h"
#include "support/XWindowFixture.h"

#include <map>

#include "spatial/Occlusion.h"

namespace {

class XLib : public XWindowFixture {
protected:
    XLib() : XWindowFixture("X") {}

    static inline int s_errors = 0;
    GeoImage m_square = SquareMesh(1, -2);  // 30 pixels a side, nowhere near the frame

    void SetUp() override {
        XWindowFixture::SetUp();
        s_errors = 0;
        XSetErrorHandler([](Display*, XErrorEvent*) { return ++s_errors; });
        if (!HasFatalFailure()) StartFrame();
    }

    void TearDown() override {
        if (m_display != nullptr) XSync(m_display, False);
        EXPECT_EQ(s_errors, 0);
        XWindowFixture::TearDown();
        XSetErrorHandler(nullptr);
    }

    static Shader Wire(const Color& color, float thick = 1) {
        Shader pass;
        pass.blend = BlendReplace;
        pass.rmode = RenderWire;
        pass.faces = FacesAll;
        pass.material.diffuse = color;
        pass.thick = thick;
        return pass;
    }

    // Ends the frame; the pixel values shown, row by row.
    std::vector<unsigned long> Shown() {
        m_driver->Finish();
        std::vector<unsigned long> pixels;
        XImage* image = XGetImage(m_display, m_xWindow, 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
        for (int i = 0; i < kWidth * kHeight; ++i)
            pixels.push_back(XGetPixel(image, i % kWidth, i / kWidth) & 0xFFFFFF);
        XDestroyImage(image);
        return pixels;
    }

    // Ends the frame; how often each pixel value is shown.
    std::map<unsigned long, int> Colors() {
        std::map<unsigned long, int> counts;
        for (const unsigned long pixel : Shown())
            ++counts[pixel];
        return counts;
    }

    static constexpr unsigned long kBackground = 0x101010;
};

TEST_F(XLib, DrawsLinesOfThePassColourAndWidth) {
    Shader pass = Wire({0.5F, 0.5F, 0.5F, 1}, 1.4F);
    pass.material.emission = {0.6F, 0, 0, 1};
    EXPECT_TRUE(Run(m_square, pass));
    const std::map<unsigned long, int> thin = Colors();
    EXPECT_EQ(thin.size(), 2U);
    EXPECT_NEAR(thin.at(0xFF8080), 120, 4);
    StartFrame();
    Run(m_square, Wire({0, 0, 1, 1}, 1.5F));
    EXPECT_NEAR(Colors().at(0xFF), 240, 8);
    StartFrame();
    GeoImage behind = SquareMesh(1, 2);
    EXPECT_TRUE(Run(behind, pass));
    EXPECT_EQ(Colors(), (std::map<unsigned long, int>{{kBackground, kWidth * kHeight}}));
}

TEST_F(XLib, CombinesBitsAsTheBlendSays) {
    const std::pair<BlendFunc, unsigned long> cases[] = {
        {BlendReplace, 0x00FFFF}, {BlendAdd, 0xFFFFFF},  {BlendBlend, 0xFF00FF},
        {BlendMul, 0x00FF00},     {BlendHaze, 0x00FF00}, {BlendFilter, 0xFF0000},
        {BlendSubtract, 0xFF0000}};
    for (const auto& [blend, expected] : cases) {
        StartFrame();
        Run(m_square, Wire({1, 1, 0, 1}, 3));
        Shader pass = Wire({0, 1, 1, 1});
        pass.blend = blend;
        Run(m_square, pass);
        EXPECT_GT(Colors()[expected], 50) << blend;
    }
}

TEST_F(XLib, LeavesOutHiddenSidesAndFindsRims) {
    GeoImage sphere = SphereMesh(0.8F, 17, 17);
    const auto drawn = [&](RenderFunc mode, FaceSet faces) {
        StartFrame();
        MoveTo({0, 0, -2});
        Shader pass = Wire({1, 1, 1, 1});
        pass.rmode = mode;
        pass.faces = faces;
        EXPECT_TRUE(Run(sphere, pass, {0, 0, 2}));
        return Colors()[0xFFFFFF];
    };
    const int all = drawn(RenderWire, FacesAll);
    EXPECT_LT(drawn(RenderWire, FacesFront), all);
    EXPECT_LT(drawn(RenderWire, FacesBack), all);
    const int rim = drawn(RenderOutline, FacesFront);
    EXPECT_TRUE(rim > 30 && rim < all / 2) << rim << " of " << all;
    EXPECT_GT(drawn(RenderShadow, FacesFront), 30);
}

TEST_F(XLib, RefusesUnknownKindsAndShadows) {
    const auto refused = [&](const Shader& pass) {
        return CaptureStderr([&] { EXPECT_FALSE(Run(m_square, pass)); });
    };
    Shader pass = Wire({1, 1, 1, 1});
    pass.rmode = RenderShell;
    EXPECT_EQ(refused(pass), "DriverXLib: Unknown RenderFunc 5");
    pass.blend = BlendOpaque;
    EXPECT_EQ(refused(pass), "DriverXLib: Unknown BlendFunc 0\n");
    EXPECT_EQ(CaptureStderr([&] { m_driver->AddShadow(&m_square, nullptr, 1); }),
              "*** Unimplemented driver function: AddShadow\n*** in driver: XLib renderer\n");
    EXPECT_TRUE(m_driver->HasCapability("maxlights") && !m_driver->HasCapability("shadows"));
}

TEST_F(XLib, OffersABufferThatFollowsViewportAndCamera) {
    for (int frame = 0; frame < 2; ++frame) {
        StartFrame();
        Occlusion& buffer = *m_driver->GetOcclusion();
        buffer.SetMatrix({});
        buffer.AddGeoImage(frame == 0 ? &m_square : nullptr, {}, {});
        buffer.Sync();
        EXPECT_EQ(buffer.TestTriangle({0, 0, -5}, {0.1F, 0, -5}, {0, 0.1F, -5}), frame == 1);
    }
}

// A line that ends far outside what the protocol's 16 bits hold keeps its direction.
TEST_F(XLib, CutsLongLinesWithoutBendingThem) {
    for (const float reach : {3.0F, 3e3F, 3e5F, 3e30F}) {
        StartFrame();
        GeoImage line(1, 2);
        line.samples[0].position = {-0.5F, -0.25F, -1};
        line.samples[1].position = {-0.5F + reach, -0.25F + 0.5F * reach, -1};
        Run(line, Wire({1, 1, 1, 1}));
        const std::vector<unsigned long> pixels = Shown();
        // It starts a quarter of the height below the centre and rises half a pixel a column.
        for (const int column : {30, 50, 79}) {
            int row = 0;
            while (row < kHeight && pixels[row * kWidth + column] != 0xFFFFFF)
                ++row;
            EXPECT_NEAR(row, 37.5 - 0.5 * (column - 25), 1.5) << reach << " at " << column;
        }
    }
}

// Colours and the graphics context are kept, and a mesh goes in one request: no pass waits for
// the server.
TEST_F(XLib, SendsFewRequestsPerPass) {
    GeoImage sphere = SphereMesh(0.8F, 33, 33);
    const auto frame = [&] {
        const unsigned long before = NextRequest(m_display);
        StartFrame();
        MoveTo({0, 0, -2});
        for (int i = 0; i < 100; ++i) {
            Shader pass = Wire({0.01F * static_cast<float>(i), 0, 0, 1});
            pass.rmode = i % 3 == 0 ? RenderOutline : RenderSolid;
            pass.faces = FacesFront;
            Run(sphere, pass, {0, 0, 2});
        }
        m_driver->Finish();
        return NextRequest(m_display) - before;
    };
    frame();  // every colour is asked for once
    EXPECT_LT(frame(), 3UL * 100);
    const unsigned long processed = LastKnownRequestProcessed(m_display);
    frame();
    EXPECT_EQ(LastKnownRequestProcessed(m_display), processed) << "a round trip to the server";
}

// An X error would end the program; the end of each test counts them.
TEST_F(XLib, SurvivesSizesBeyondTheServers) {
    GeoImage longRow(2, 100000);
    for (int i = 0; i < 200000; ++i) {
        const float far = i % 3 == 0 ? 1e30F : std::nanf("");
        longRow.samples[i].position = {i % 2 == 0 ? 0.1F : far, 0, -1};
    }
    GeoImage dense(1025, 1025);  // more grid lines than a request holds
    for (int i = 0; i < 1025 * 1025; ++i)
        dense.samples[i].position = {1e-3F * static_cast<float>(i % 1025), 5, -1};
    EXPECT_TRUE(Run(dense, Wire({1, 1, 1, 1})));
    for (const float thick : {1e6F, -1e6F, std::nanf("")})
        EXPECT_TRUE(Run(longRow, Wire({std::nanf(""), -1, 1e9F, 1}, thick)));
    StartFrame(0, 0);
    Run(m_square, Wire({1, 1, 1, 1}));
    m_driver->Finish();
    EXPECT_FALSE(Run(m_square, Wire({1, 1, 1, 1}))) << "no pixmap between frames";
}

}  // namespace
