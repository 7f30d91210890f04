// Lines of the Xlib driver, read back from what it draws on.
#include "support/Capture.h"
#include "support/Random.h"
#include "support/TestMeshes.h"
#include "support/XWindowFixture.h"

#include <array>

#include "drivers/DriverSettings.h"
#include "drivers/xlib/XLines.h"
#include "geometry/Silhouette.h"
#include "scene/Light.h"
#include "spatial/Occlusion.h"

namespace {

constexpr int kFunctions[] = {GXnoop, GXcopy, GXor,          GXxor,
                              GXand,  GXand,  GXandInverted, GXandInverted};

// The lines of a pass in eye space; some have too few points to be seen.
std::vector<std::vector<vec3>> LinesOf(GeoImage& mesh, const Shader& pass, const Matrix& modelView,
                                       const vec3& eye, const vec3& light) {
    std::vector<std::vector<vec3>> lines;
    if (pass.rmode != RenderSolid && pass.rmode != RenderWire) {
        const bool outline = pass.rmode == RenderOutline;
        SilhouetteResult silhouette;
        mesh.ExtractSilhouette(outline ? eye : light, silhouette, !outline,
                               !outline || pass.faces == FacesFront);
        for (const SilhouetteEdge& edge : silhouette.edges) {
            const vec3 from = modelView.Transform(edge.from);
            const vec3 to = modelView.Transform(edge.to);
            if (from.z < 0 && to.z < 0) lines.push_back({from, to});
        }
        return lines;
    }
    const float sign = std::array{1, -1, 0}[pass.faces];  // front, back, all
    const auto at = [&](int row, int column) {
        return modelView.Transform(mesh.At(row, column).position);
    };
    const auto add = [&](int row, int column) {
        const vec3 e = at(row, column);
        const bool inner = row > 0 && column > 0;
        const vec3 normal =
            inner ? Cross(at(row - 1, column) - e, at(row, column - 1) - e) : vec3{};
        if (e.z < 0 && sign * Dot(normal, e) <= 0) return lines.back().push_back(e);
        lines.emplace_back();
    };
    for (int i = 0; i < mesh.height * mesh.width; ++i) {
        if (i % mesh.width == 0) lines.emplace_back();
        add(i / mesh.width, i % mesh.width);
    }
    for (int i = 0; i < mesh.height * mesh.width; ++i) {
        if (i % mesh.height == 0) lines.emplace_back();
        add(i % mesh.height, i / mesh.height);
    }
    return lines;
}

unsigned long PixelOf(const Color& diffuse, const Color& emission) {
    const auto byte = [](float value) {
        return static_cast<unsigned long>(std::clamp(value * 65536, 0.0F, 65535.0F)) >> 8;
    };
    return byte(diffuse.r + emission.r) << 16 | byte(diffuse.g + emission.g) << 8 |
           byte(diffuse.b + emission.b);
}

class XLib : public XWindowFixture {
protected:
    XLib() : XWindowFixture("X") {}

    static inline int s_errors = 0;
    GeoImage m_square = SquareMesh(1, -2);

    void SetUp() override {
        XWindowFixture::SetUp();
        s_errors = 0;
        XSetErrorHandler([](Display*, XErrorEvent*) { return ++s_errors; });
        if (HasFatalFailure()) return;
        // In place of the window, whose pixels another test's window may cover.
        m_xWindow = NewPixmap();
        StartFrame();
    }

    // An X error would end the program; every test counts them.
    void TearDown() override {
        if (m_display != nullptr) XSync(m_display, False);
        EXPECT_EQ(s_errors, 0);
        XWindowFixture::TearDown();
        XSetErrorHandler(nullptr);
    }

    static Shader Wire(const Color& color = {1, 1, 1}, float thick = 1) {
        Shader pass;
        pass.blend = BlendReplace;
        pass.rmode = RenderWire;
        pass.faces = FacesAll;
        pass.material.diffuse = color;
        pass.thick = thick;
        return pass;
    }

    // Goes with the connection.
    Pixmap NewPixmap(unsigned width = kWidth, unsigned height = kHeight) const {
        return XCreatePixmap(m_display, m_xWindow, width, height,
                             static_cast<unsigned>(DefaultDepth(m_display, 0)));
    }

    void Fill(Pixmap pixmap, unsigned long pixel) const {
        const GC context = DefaultGC(m_display, 0);
        XSetForeground(m_display, context, pixel);
        XFillRectangle(m_display, pixmap, context, 0, 0, kWidth, kHeight);
    }

    std::vector<unsigned long> Pixels(Pixmap pixmap) const {
        std::vector<unsigned long> pixels;
        XImage* image = XGetImage(m_display, pixmap, 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
        for (int i = 0; i < kWidth * kHeight; ++i)
            pixels.push_back(XGetPixel(image, i % kWidth, i / kWidth) & 0xFFFFFF);
        XDestroyImage(image);
        return pixels;
    }
};

// Meshes in every mode, some of them round the eye, in viewports of every shape: as in plain calls,
// one for each line.
TEST_F(XLib, ShowsWhatPlainCallsDraw) {
    Random random(4);
    const auto color = [&] {
        return Color{random.Real(-0.2F, 1), random.Real(0, 1.2F), random.Real(0, 1)};
    };
    GeoImage meshes[] = {SphereMesh(0.8F, 9, 9), SquareMesh(1, 0, 5), SphereMesh(0.5F, 5, 17),
                         SquareMesh(1.5F, 0, 9)};
    const Pixmap expected = NewPixmap();
    for (int round = 0; round < 400; ++round) {
        const int width = 1 + random.Index(60);
        const int height = 1 + random.Index(50);
        const int left = random.Index(30);
        const int top = random.Index(30);
        m_camera.fov = random.Real(30, 120);
        m_camera.aspect = random.Real(0.5F, 2);
        Fill(expected, 0x336699);
        Fill(m_xWindow, 0x336699);
        m_driver->SetViewport(left, top, width, height);
        m_driver->Clear(random.Coin(), random.Coin());
        m_driver->SetupProjection(m_camera);
        const Pixmap drawn = NewPixmap(width, height);
        Fill(drawn, 0x101010);
        const GC context = XCreateGC(m_display, drawn, 0, nullptr);
        for (int i = random.Index(4); i >= 0; --i) {
            const int number = random.Index(4);
            GeoImage& mesh = meshes[number];
            const vec3 middle{random.Real(-1, 1), 0, random.Real(-4, -2)};
            Matrix modelView = Matrix::Frame(middle, random.Point(1), random.Point(1));
            if (number == 3) {  // rugged, never so close to the eye that 16 bits do not do
                for (GeoImageSample* sample = mesh.samples; sample != mesh.samples + 81; ++sample)
                    sample->position.z = 0.5F * static_cast<float>(random.Index(7)) - 2.25F;
                mesh.Finish(true);
                modelView = Matrix::Frame({middle.x, 0.5F * middle.x, 0}, {0, 0, 1}, {0, 1, 0});
            }
            Shader pass = Wire(color(), 0.5F * static_cast<float>(random.Index(11)));
            pass.material.emission = color();
            pass.blend = static_cast<BlendFunc>(BlendReplace + random.Index(BlendCount - 1));
            pass.rmode = static_cast<RenderFunc>(random.Index(RenderShell));
            pass.faces = static_cast<FaceSet>(random.Index(FacesCount));
            const Matrix lightView =
                Matrix::Frame(random.Point(2), random.Point(1), random.Point(1));
            Light light;
            light.pos = random.Point(5);
            m_driver->LoadMatrix(lightView);
            EXPECT_TRUE(m_driver->AddLight(&light));
            m_driver->LoadMatrix(modelView);
            const vec3 eye = random.Point(3);
            EXPECT_TRUE(Run(mesh, pass, eye));

            XSetFunction(m_display, context, kFunctions[pass.blend]);
            XSetForeground(m_display, context,
                           PixelOf(pass.material.diffuse, pass.material.emission));
            XSetLineAttributes(m_display, context, static_cast<unsigned>(pass.thick + 0.5F),
                               LineSolid, CapButt, JoinMiter);
            const double f = height * 0.5 / std::tan(std::numbers::pi * m_camera.fov / 360);
            const auto scaleX = static_cast<float>(f * m_camera.aspect);
            const auto scaleY = static_cast<float>(f);
            const auto centreX = static_cast<float>(left + width / 2);
            const auto centreY = static_cast<float>(top + height / 2);
            for (const auto& line :
                 LinesOf(mesh, pass, modelView, eye,
                         ToMeshSpace(modelView, lightView.Transform(light.pos)))) {
                std::vector<XPoint> points;
                for (const vec3& e : line) {
                    points.push_back({static_cast<short>(centreX - e.x * scaleX / e.z),
                                      static_cast<short>(centreY + e.y * scaleY / e.z)});
                }
                if (points.size() < 2) continue;
                XDrawLines(m_display, drawn, context, points.data(),
                           static_cast<int>(points.size()), CoordModeOrigin);
            }
        }
        m_driver->Finish();
        XCopyArea(m_display, drawn, expected, DefaultGC(m_display, 0), 0, 0, width, height, left,
                  top);
        XFreeGC(m_display, context);
        XFreePixmap(m_display, drawn);
        ASSERT_EQ(Pixels(m_xWindow), Pixels(expected)) << round;
    }
}

// Thin lines that are longer than a request look as if they were not.
TEST_F(XLib, SplitsLongLinesWithoutDrawingAPointTwice) {
    GeoImage coil(3, 50);
    for (int i = 0; i < 150; ++i)
        coil.samples[i].position = {std::sin(0.7F * i), std::sin(0.31F * i), -2};
    SilhouetteResult edges;
    edges.edges = {
        {{-1, 0, -2}, {1, 0.4F, -2}}, {{0.3F, 1, -2}, {0, -1, -2}}, {{-1, 1, -2}, {1, -1, -2}}};
    const LineProjection projection{kWidth / 2, kHeight / 2, 50, 50};
    const GC context = XCreateGC(m_display, m_xWindow, 0, nullptr);
    XSetForeground(m_display, context, 0xFFFFFF);
    XSetFunction(m_display, context, GXxor);
    const auto picture = [&](std::size_t requestWords) {
        Fill(m_xWindow, 0);
        const XLines::Target target{m_display, m_xWindow, context, requestWords};
        XLines lines;
        lines.DrawMesh(target, coil, {}, projection, 0);
        lines.DrawEdges(target, edges, {}, projection);
        return Pixels(m_xWindow);
    };
    const unsigned long before = NextRequest(m_display);
    const std::vector<unsigned long> whole = picture(1000);
    EXPECT_LT(NextRequest(m_display) - before, 53U + 20);
    for (const std::size_t words : {0U, 5U, 6U, 23U})
        EXPECT_EQ(picture(words), whole) << words;
    XFreeGC(m_display, context);
}

TEST_F(XLib, RefusesUnknownKindsAndShadows) {
    const auto refused = [&](const Shader& pass) {
        return CaptureStderr([&] { EXPECT_FALSE(Run(m_square, pass)); });
    };
    Shader pass = Wire();
    pass.rmode = RenderShell;
    EXPECT_EQ(refused(pass), "DriverXLib: Unknown RenderFunc 5");
    for (const BlendFunc blend : {BlendOpaque, BlendCount}) {
        pass.blend = blend;
        EXPECT_EQ(refused(pass), "DriverXLib: Unknown BlendFunc " + std::to_string(blend) + "\n");
    }
    EXPECT_EQ(CaptureStderr([&] { m_driver->AddShadow(&m_square, nullptr, 1); }),
              "*** Unimplemented driver function: AddShadow\n*** in driver: XLib renderer\n");
    EXPECT_TRUE(m_driver->HasCapability(driver_capabilities::kMaxLights));
    EXPECT_EQ(m_driver->GetCapability(driver_capabilities::kMaxLights), 0);
    EXPECT_FALSE(m_driver->HasCapability(driver_capabilities::kShadows));
}

TEST_F(XLib, OffersABufferThatFollowsViewportAndCamera) {
    Occlusion& buffer = *m_driver->GetOcclusion();
    for (GeoImage* occluder : {&m_square, static_cast<GeoImage*>(nullptr)}) {
        StartFrame();
        buffer.SetMatrix({});
        buffer.AddGeoImage(occluder, {}, {});
        buffer.Sync();
        EXPECT_EQ(buffer.TestTriangle({0, 0, -5}, {0.1F, 0, -5}, {0, 0.1F, -5}), !occluder);
    }
}

// A line that goes far beyond what the protocol's 16 bits hold, or comes from there, keeps its
// direction and leaves nothing elsewhere.
TEST_F(XLib, CutsLongLinesWithoutBendingThem) {
    for (const float reach : {3.0F, 3e3F, 3e5F, 3e30F}) {
        for (const int start : {0, 1}) {
            StartFrame();
            // It starts a quarter of the height below the centre and rises half a pixel a column.
            GeoImage line(1, 2);
            line.samples[start].position = {-0.5F, -0.25F, -1};
            line.samples[1 - start].position = {-0.5F + reach, -0.25F + 0.5F * reach, -1};
            EXPECT_TRUE(Run(line, Wire()));
            m_driver->Finish();
            const std::vector<unsigned long> pixels = Pixels(m_xWindow);
            EXPECT_LT(std::count(pixels.begin(), pixels.end(), 0xFFFFFF), 100);
            for (const int column : {30, 50, 79}) {
                int row = 0;
                while (row < kHeight && pixels[row * kWidth + column] != 0xFFFFFF)
                    ++row;
                EXPECT_NEAR(row, 37.5 - 0.5 * (column - 25), 1.5) << reach << " at " << column;
            }
        }
    }
    StartFrame();
    MoveTo({4297.4F, 0, 0});  // whence 16 bits would come round to the middle
    EXPECT_TRUE(Run(m_square, Wire()));
    m_driver->Finish();
    EXPECT_EQ(std::ranges::count(Pixels(m_xWindow), 0xFFFFFFU), 0);
}

// A row or column is one request, and no pass waits for the server: colours are computed.
TEST_F(XLib, SendsFewRequestsPerPass) {
    GeoImage sphere = SphereMesh(0.8F, 33, 33);
    const auto frame = [&] {
        StartFrame();
        MoveTo({0, 0, -2});
        for (int i = 0; i < 100; ++i) {
            Shader pass = Wire({0.01F * static_cast<float>(i), 0, 0});
            pass.rmode = i % 2 == 0 ? RenderOutline : RenderSolid;
            Run(sphere, pass, {0, 0, 2});
        }
        m_driver->Finish();
    };
    const unsigned long processed = LastKnownRequestProcessed(m_display);
    const unsigned long next = NextRequest(m_display);
    frame();
    EXPECT_LT(NextRequest(m_display) - next, 50U * (2 + 2 + 2 * 33));
    EXPECT_EQ(LastKnownRequestProcessed(m_display), processed) << "a round trip to the server";
}

TEST_F(XLib, SurvivesSizesBeyondTheServers) {
    GeoImage longRow(2, 100000);
    for (int i = 0; i < 200000; ++i) {
        const float far = i % 3 == 0 ? 1e30F : std::nanf("");
        longRow.samples[i].position = {i % 2 == 0 ? 0.1F : far, 0, -1};
    }
    for (const float thick : {1e6F, -1e6F, std::nanf("")})
        EXPECT_TRUE(Run(longRow, Wire({std::nanf(""), -1, 1e9F}, thick)));
    StartFrame(0, 0);
    Run(m_square, Wire());
    m_driver->Finish();
    EXPECT_FALSE(Run(m_square, Wire())) << "no pixmap between frames";
}

}  // namespace
