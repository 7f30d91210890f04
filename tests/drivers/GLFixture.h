// Pictures of the OpenGL driver, read back pixel by pixel.
#pragma once

#include "support/Capture.h"
#include "support/TestMeshes.h"
#include "support/XWindowFixture.h"

#include <cstring>
#include <iostream>
#include <sstream>
#include <vector>

#include "drivers/gl/DriverGL.h"
#include "scene/Light.h"

inline void PrintTo(const Color& c, std::ostream* out) {
    *out << "(" << c.r << ", " << c.g << ", " << c.b << ")";
}

// But for the blender's rounding to eight bits.
MATCHER_P3(IsColor, red, green, blue, "") {
    constexpr double kTolerance = 2.01 / 255;
    return std::abs(arg.r - red) < kTolerance && std::abs(arg.g - green) < kTolerance &&
           std::abs(arg.b - blue) < kTolerance;
}

constexpr Color kBlack{0, 0, 0};
constexpr Color kRed{1, 0, 0};
constexpr Color kGreen{0, 1, 0};
constexpr Color kBlue{0, 0, 1};
constexpr Color kWhite{1, 1, 1};

class GLFixture : public XWindowFixture {
protected:
    using Picture = std::vector<std::uint32_t>;  // a word a pixel, row by row from the bottom

    GLFixture() : XWindowFixture("GL") {}
    ~GLFixture() override { std::cerr.rdbuf(m_terminal); }

    void SetUp() override {
        XWindowFixture::SetUp();
        if (!HasFatalFailure()) StartFrame();
    }

    void TearDown() override {
        EXPECT_EQ(m_cerr.str(), "");
        XWindowFixture::TearDown();
    }

    // What the driver wrote meanwhile, through either stream of standard error, and before.
    std::string Said(const std::function<void()>& body) {
        std::string said = CaptureStderr(body);
        said += m_cerr.str();
        m_cerr.str("");
        return said;
    }

    void StartFrame() {
        XWindowFixture::StartFrame();
        m_driver->SetAmbient(0, 0, 0, 1);
        Paint(kBlack);
    }

    // Fills the image with a colour, behind everything that is drawn later.
    static void Paint(const Color& color) {
        glDepthMask(GL_TRUE);
        glClearColor(color.r, color.g, color.b, color.a);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    }

    static Shader Unlit(const Color& color, BlendFunc blend = BlendReplace) {
        Shader pass;
        pass.blend = blend;
        pass.material.diffuse = color;
        pass.lit = false;
        return pass;
    }

    static Shader Lit() {
        Shader pass;
        pass.blend = BlendReplace;
        pass.material.specular = kBlack;
        return pass;
    }

    static Shader Of(RenderFunc mode, float thick = 1, Shader pass = Unlit(kRed)) {
        pass.rmode = mode;
        pass.thick = thick;
        return pass;
    }

    // Takes the picture that At looks at.
    const Picture& Shoot() {
        const Texture shot = m_driver->GetFramebuffer();
        std::memcpy(m_picture.data(), shot.pixels, 4 * m_picture.size());
        return m_picture;
    }

    // Of the last shot, origin at the top left.
    Color At(int x, int y) const {
        const std::uint32_t pixel = m_picture.at((kHeight - 1 - y) * kWidth + x);
        const auto channel = [&](int bit) { return static_cast<float>(pixel >> bit & 0xFF) / 255; };
        return {channel(0), channel(8), channel(16)};
    }

    // The pixel that shows a point in front of the camera.
    Color At(const vec3& point) const {
        const float unit = -0.5F * kHeight / point.z;
        return At(static_cast<int>(0.5F * kWidth + point.x * unit),
                  static_cast<int>(0.5F * kHeight - point.y * unit));
    }

    Color ShotCentre() {
        Shoot();
        return At(kWidth / 2, kHeight / 2);
    }

    // Of a pass that draws, alone on the colour.
    Color Shown(GeoImage& mesh, const Shader& pass, const Color& background = kBlack) {
        Paint(background);
        EXPECT_TRUE(Run(mesh, pass));
        return ShotCentre();
    }

    // Of the present image, row by row from the bottom.
    static std::vector<int> Stencil() {
        std::vector<int> values(std::size_t{kWidth} * kHeight);
        glReadPixels(0, 0, kWidth, kHeight, GL_STENCIL_INDEX, GL_INT, values.data());
        return values;
    }

    // An image of one pixel value everywhere, without mipmaps.
    static Texture FilledTexture(int columns, int rows, const std::vector<std::uint8_t>& pixel) {
        Texture texture;
        texture.SetSize(columns, rows, static_cast<int>(pixel.size()));
        for (int i = 0; i < columns * rows; ++i)
            std::copy(pixel.begin(), pixel.end(), texture.pixels + i * texture.channels);
        texture.mipmap = false;
        return texture;
    }

private:
    Picture m_picture = Picture(std::size_t{kWidth} * kHeight);
    std::ostringstream m_cerr;
    std::streambuf* m_terminal = std::cerr.rdbuf(m_cerr.rdbuf());
};
