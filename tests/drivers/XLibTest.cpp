// Lines of the Xlib driver, read back from its window.
#include "support/Capture.h"
#include "support/TestMeshes.h"
#include "support/XWindowFixture.h"

#include <algorithm>
#include <optional>
#include <random>
#include <utility>

#include "drivers/DriverSettings.h"
#include "drivers/Rectangle.h"
#include "drivers/xlib/XLines.h"
#include "geometry/Silhouette.h"
#include "scene/Light.h"
#include "spatial/Occlusion.h"

namespace {

constexpr int kFunctions[] = {GXnoop, GXcopy, GXor,          GXxor,
                              GXand,  GXand,  GXandInverted, GXandInverted};

// A pixmap of the window's size.
struct Canvas {
    Canvas(Display* d, Drawable like)
        : display(d),
          pixmap(XCreatePixmap(d, like, XWindowFixture::kWidth, XWindowFixture::kHeight,
                               static_cast<unsigned>(DefaultDepth(d, DefaultScreen(d))))),
          context(XCreateGC(d, pixmap, 0, nullptr)) {}
    ~Canvas() {
        XFreeGC(display, context);
        XFreePixmap(display, pixmap);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void Fill(unsigned long pixel) const {
        XSetForeground(display, context, pixel);
        XFillRectangle(display, pixmap, context, 0, 0, XWindowFixture::kWidth,
                       XWindowFixture::kHeight);
    }

    Display* display;
    Pixmap pixmap;
    GC context;
};

// A frame in plain calls: the arithmetic written out, the server asked for every colour, a call
// for every line.
class PlainFrame {
public:
    PlainFrame(Display* display, Drawable like, const Rectangle& viewport, const Camera& camera)
        : m_viewport(viewport), m_canvas(display, like) {
        const double f = 1 / std::tan(std::numbers::pi * camera.fov / 360);
        m_scaleX = static_cast<float>(viewport.height * camera.aspect * 0.5 * f);
        m_scaleY = static_cast<float>(viewport.height * 0.5 * f);
        m_canvas.Fill(Pixel({0.0625F, 0.0625F, 0.0625F, 1}, {0, 0, 0, 0}));
    }

    void Draw(GeoImage& mesh, const Shader& pass, const Matrix& modelView, const vec3& eye,
              const vec3& light) {
        XSetFunction(m_canvas.display, m_canvas.context, kFunctions[pass.blend]);
        XSetForeground(m_canvas.display, m_canvas.context,
                       Pixel(pass.material.diffuse, pass.material.emission));
        XSetLineAttributes(m_canvas.display, m_canvas.context,
                           static_cast<unsigned>(pass.thick + 0.5F), LineSolid, CapButt, JoinMiter);
        constexpr float kSigns[] = {1, -1, 0};  // front, back, all
        SilhouetteResult silhouette;
        if (pass.rmode == RenderSolid || pass.rmode == RenderWire) {
            DrawGrid(mesh, modelView, kSigns[pass.faces]);
        } else if (pass.rmode == RenderOutline) {
            mesh.ExtractSilhouette(eye, silhouette, false, pass.faces == FacesFront);
        } else {
            mesh.ExtractSilhouette(light, silhouette, true, true);
        }
        for (const SilhouetteEdge& edge : silhouette.edges) {
            const vec3 from = modelView.Transform(edge.from);
            const vec3 to = modelView.Transform(edge.to);
            if (from.z < 0 && to.z < 0) DrawLine({Place(from), Place(to)});
        }
    }

    void ShowOn(const Canvas& picture) const {
        XCopyArea(m_canvas.display, m_canvas.pixmap, picture.pixmap, picture.context, 0, 0,
                  static_cast<unsigned>(m_viewport.width), static_cast<unsigned>(m_viewport.height),
                  m_viewport.x, m_viewport.y);
    }

private:
    Rectangle m_viewport;
    Canvas m_canvas;
    float m_scaleX;
    float m_scaleY;

    unsigned long Pixel(const Color& diffuse, const Color& emission) const {
        const auto channel = [](float value) {
            const int whole = static_cast<int>(value * 65536);
            return static_cast<unsigned short>(std::clamp(whole, 0, 65535));
        };
        XColor color{};
        color.red = channel(diffuse.r + emission.r);
        color.green = channel(diffuse.g + emission.g);
        color.blue = channel(diffuse.b + emission.b);
        XAllocColor(m_canvas.display, DefaultColormap(m_canvas.display, 0), &color);
        return color.pixel;
    }

    XPoint Place(const vec3& e) const {
        const int centreX = m_viewport.x + m_viewport.width / 2;
        const int centreY = m_viewport.y + m_viewport.height / 2;
        return {static_cast<short>(static_cast<float>(centreX) - e.x * m_scaleX / e.z),
                static_cast<short>(e.y * m_scaleY / e.z + static_cast<float>(centreY))};
    }

    void DrawLine(std::vector<XPoint> points) const {
        if (points.size() < 2) return;
        XDrawLines(m_canvas.display, m_canvas.pixmap, m_canvas.context, points.data(),
                   static_cast<int>(points.size()), CoordModeOrigin);
    }

    void DrawGrid(const GeoImage& mesh, const Matrix& modelView, float sign) const {
        const auto at = [&](int row, int column) {
            return modelView.Transform(mesh.At(row, column).position);
        };
        const auto ends = [&](int row, int column) {
            const vec3 e = at(row, column);
            if (e.z >= 0) return true;
            if (sign == 0 || row == 0 || column == 0) return false;
            return sign * Dot(Cross(at(row - 1, column) - e, at(row, column - 1) - e), e) > 0;
        };
        const auto draw = [&](int lines, int length, auto&& place) {
            for (int line = 0; line < lines; ++line) {
                std::vector<XPoint> points;
                for (int i = 0; i < length; ++i) {
                    const auto [row, column] = place(line, i);
                    if (ends(row, column)) {
                        DrawLine(std::exchange(points, {}));
                    } else {
                        points.push_back(Place(at(row, column)));
                    }
                }
                DrawLine(points);
            }
        };
        draw(mesh.height, mesh.width, [](int line, int i) { return std::pair(line, i); });
        draw(mesh.width, mesh.height, [](int line, int i) { return std::pair(i, line); });
    }
};

class XLib : public XWindowFixture {
protected:
    XLib() : XWindowFixture("X") {}

    static inline int s_errors = 0;
    GeoImage m_square = SquareMesh(1, -2);

    // In place of the window, whose pixels another test's window may cover.
    std::optional<Canvas> m_shown;
    Window m_mapped = 0;

    void SetUp() override {
        XWindowFixture::SetUp();
        s_errors = 0;
        XSetErrorHandler([](Display*, XErrorEvent*) { return ++s_errors; });
        if (HasFatalFailure()) return;
        m_shown.emplace(m_display, m_xWindow);
        m_mapped = std::exchange(m_xWindow, m_shown->pixmap);
        StartFrame();
    }

    void TearDown() override {
        m_shown.reset();
        m_xWindow = m_mapped;
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

    // Pixel values, row by row.
    std::vector<unsigned long> Pixels(const Canvas& shown) const {
        std::vector<unsigned long> pixels;
        XImage* image =
            XGetImage(m_display, shown.pixmap, 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
        for (int i = 0; i < kWidth * kHeight; ++i)
            pixels.push_back(XGetPixel(image, i % kWidth, i / kWidth) & 0xFFFFFF);
        XDestroyImage(image);
        return pixels;
    }
};

// Meshes in every mode, some of them round the eye, in viewports of every shape.
TEST_F(XLib, ShowsWhatPlainCallsDraw) {
    std::mt19937 random(4);
    const auto below = [&](unsigned count) { return static_cast<int>(random() % count); };
    const auto real = [&](float low, float high) {
        return low + (high - low) * static_cast<float>(below(1024)) / 1024;
    };
    const auto point = [&](float reach) {
        return vec3{real(-reach, reach), real(-reach, reach), real(-reach, reach)};
    };
    const auto color = [&] { return Color{real(-0.2F, 1), real(0, 1.2F), real(0, 1), 1}; };
    GeoImage meshes[] = {SphereMesh(0.8F, 9, 9), SquareMesh(1, 0, 5), SphereMesh(0.5F, 5, 17),
                         SquareMesh(1.5F, 0, 9)};
    const Canvas expected(m_display, m_xWindow);
    for (int round = 0; round < 400; ++round) {
        const Rectangle viewport{below(30), below(30), 1 + below(60), 1 + below(50)};
        m_camera.fov = real(30, 120);
        m_camera.aspect = real(0.5F, 2);
        expected.Fill(0x336699);
        m_shown->Fill(0x336699);
        PlainFrame plain(m_display, m_xWindow, viewport, m_camera);
        m_driver->SetViewport(viewport.x, viewport.y, viewport.width, viewport.height);
        m_driver->Clear(below(2) == 0, below(2) == 0);
        m_driver->SetupProjection(m_camera);
        for (int i = below(4); i >= 0; --i) {
            const int number = below(4);
            GeoImage& mesh = meshes[number];
            Matrix modelView = Matrix::Frame({real(-1, 1), 0, real(-4, -2)}, point(1), point(1));
            if (number == 3) {  // rugged, never so close to the eye that 16 bits do not do
                for (GeoImageSample* sample = mesh.samples; sample != mesh.samples + 81; ++sample)
                    sample->position.z = 0.5F * static_cast<float>(below(7)) - 2.25F;
                mesh.Finish(true);
                modelView = Matrix::Frame({real(-1, 1), real(-1, 1), 0}, {0, 0, 1}, {0, 1, 0});
            }
            Shader pass = Wire(color(), 0.5F * static_cast<float>(below(11)));
            pass.material.emission = color();
            pass.blend = static_cast<BlendFunc>(BlendReplace + below(BlendCount - 1));
            pass.rmode = static_cast<RenderFunc>(below(RenderShell));
            pass.faces = static_cast<FaceSet>(below(FacesCount));
            const Matrix lightView = Matrix::Frame(point(2), point(1), point(1));
            Light light;
            light.pos = point(5);
            m_driver->LoadMatrix(lightView);
            EXPECT_TRUE(m_driver->AddLight(&light));
            m_driver->LoadMatrix(modelView);
            const vec3 eye = point(3);
            EXPECT_TRUE(Run(mesh, pass, eye));
            plain.Draw(mesh, pass, modelView, eye,
                       ToMeshSpace(modelView, lightView.Transform(light.pos)));
        }
        m_driver->Finish();
        plain.ShowOn(expected);
        ASSERT_EQ(Pixels(*m_shown), Pixels(expected)) << round;
    }
}

// Thin lines that are longer than a request look as if they were not.
TEST_F(XLib, SplitsLongLinesWithoutDrawingAPointTwice) {
    GeoImage coil(3, 50);
    for (int i = 0; i < 150; ++i)
        coil.samples[i].position = {std::sin(0.7F * i), std::sin(0.31F * i), -2};
    const SilhouetteResult edges{
        {{{-1, 0, -2}, {1, 0.4F, -2}}, {{0.3F, 1, -2}, {0, -1, -2}}, {{-1, 1, -2}, {1, -1, -2}}},
        {},
        {}};
    const LineProjection projection{kWidth / 2, kHeight / 2, 50, 50};
    const auto picture = [&](std::size_t requestWords) {
        const Canvas canvas(m_display, m_xWindow);
        canvas.Fill(0);
        XSetForeground(m_display, canvas.context, 0xFFFFFF);
        XSetFunction(m_display, canvas.context, GXxor);
        const XLines::Target target{m_display, canvas.pixmap, canvas.context, requestWords};
        XLines lines;
        lines.DrawMesh(target, coil, {}, projection, 0);
        lines.DrawEdges(target, edges, {}, projection);
        return Pixels(canvas);
    };
    const unsigned long before = NextRequest(m_display);
    const std::vector<unsigned long> whole = picture(1000);
    EXPECT_LT(NextRequest(m_display) - before, 53U + 20);
    for (const std::size_t words : {0U, 5U, 6U, 23U})
        EXPECT_EQ(picture(words), whole) << words;
}

TEST_F(XLib, RefusesUnknownKindsAndShadows) {
    const auto refused = [&](const Shader& pass) {
        return CaptureStderr([&] { EXPECT_FALSE(Run(m_square, pass)); });
    };
    Shader pass = Wire({1, 1, 1, 1});
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
    for (int frame = 0; frame < 2; ++frame) {
        StartFrame();
        Occlusion& buffer = *m_driver->GetOcclusion();
        buffer.SetMatrix({});
        buffer.AddGeoImage(frame == 0 ? &m_square : nullptr, {}, {});
        buffer.Sync();
        EXPECT_EQ(buffer.TestTriangle({0, 0, -5}, {0.1F, 0, -5}, {0, 0.1F, -5}), frame == 1);
    }
}

// A line that goes far beyond what the protocol's 16 bits hold, or comes from there, keeps its
// direction and leaves nothing elsewhere.
TEST_F(XLib, CutsLongLinesWithoutBendingThem) {
    for (const float reach : {3.0F, 3e3F, 3e5F, 3e30F}) {
        for (const bool back : {false, true}) {
            StartFrame();
            // Away upwards or back down the same way, and then a little down.
            const vec3 near{-0.5F, -0.25F, -1};
            const vec3 far{-0.5F + reach, -0.25F + 0.5F * reach, -1};
            GeoImage line(1, 2);
            line.samples[0].position = back ? far : near;
            line.samples[1].position = back ? near : far;
            EXPECT_TRUE(Run(line, Wire({1, 1, 1, 1})));
            m_driver->Finish();
            const std::vector<unsigned long> pixels = Pixels(*m_shown);
            EXPECT_LT(std::count(pixels.begin(), pixels.end(), 0xFFFFFF), 100);
            // It starts a quarter of the height below the centre and rises half a pixel a column.
            for (const int column : {30, 50, 79}) {
                int row = 0;
                while (row < kHeight && pixels[row * kWidth + column] != 0xFFFFFF)
                    ++row;
                EXPECT_NEAR(row, 37.5 - 0.5 * (column - 25), 1.5) << reach << " at " << column;
            }
        }
    }
}

// Colours and the graphics context are kept: a row or column is one request, and no pass waits for
// the server.
TEST_F(XLib, SendsFewRequestsPerPass) {
    GeoImage sphere = SphereMesh(0.8F, 33, 33);
    const auto frame = [&] {
        const unsigned long before = NextRequest(m_display);
        StartFrame();
        MoveTo({0, 0, -2});
        for (int i = 0; i < 100; ++i) {
            Shader pass = Wire({0.01F * static_cast<float>(i), 0, 0, 1});
            pass.rmode = i % 2 == 0 ? RenderOutline : RenderSolid;
            Run(sphere, pass, {0, 0, 2});
        }
        m_driver->Finish();
        return NextRequest(m_display) - before;
    };
    frame();  // every colour is asked for once
    EXPECT_LT(frame(), 50U * (2 + 2 + 2 * 33));
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
    for (const float thick : {1e6F, -1e6F, std::nanf("")})
        EXPECT_TRUE(Run(longRow, Wire({std::nanf(""), -1, 1e9F, 1}, thick)));
    StartFrame(0, 0);
    Run(m_square, Wire({1, 1, 1, 1}));
    m_driver->Finish();
    EXPECT_FALSE(Run(m_square, Wire({1, 1, 1, 1}))) << "no pixmap between frames";
}

}  // namespace
