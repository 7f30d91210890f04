// Pictures of the OpenGL driver, read back pixel by pixel.
#pragma once

#include "support/Capture.h"
#include "support/TestMeshes.h"
#include "support/XWindowFixture.h"

#include <iostream>
#include <ostream>
#include <streambuf>
#include <vector>

#include "drivers/gl/DriverGL.h"
#include "scene/Light.h"
#include "scene/Shader.h"

// Eight bits and the blender's rounding.
constexpr int kColorTolerance = 2;

struct Rgb {
    int r = 0;
    int g = 0;
    int b = 0;
    bool operator==(const Rgb&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Rgb& c) {
    return out << "(" << c.r << ", " << c.g << ", " << c.b << ")";
}

// Red, green and blue in 0..1.
MATCHER_P3(IsColor, red, green, blue, "") {
    return std::abs(arg.r - 255.0 * red) <= kColorTolerance &&
           std::abs(arg.g - 255.0 * green) <= kColorTolerance &&
           std::abs(arg.b - 255.0 * blue) <= kColorTolerance;
}

constexpr Rgb kNothing{0, 0, 0};

constexpr Color kBlack{0, 0, 0, 1};
constexpr Color kRed{1, 0, 0, 1};
constexpr Color kGreen{0, 1, 0, 1};
constexpr Color kBlue{0, 0, 1, 1};
constexpr Color kWhite{1, 1, 1, 1};

// Keeps a copy of what goes through std::cerr, also while a test captures it.
class CerrTee : public std::streambuf {
public:
    CerrTee() : m_target(std::cerr.rdbuf(this)) {}
    ~CerrTee() override { std::cerr.rdbuf(m_target); }
    std::string text;

protected:
    int overflow(int c) override {
        text.push_back(static_cast<char>(c));
        return m_target->sputc(static_cast<char>(c));
    }
    int sync() override { return m_target->pubsync(); }

private:
    std::streambuf* m_target;
};

class GLFixture : public XWindowFixture {
protected:
    GLFixture() : XWindowFixture("GL") {}

    CerrTee m_cerr;
    Texture m_image;

    DriverGL& Gl() { return static_cast<DriverGL&>(*m_driver); }

    void SetUp() override {
        XWindowFixture::SetUp();
        if (!HasFatalFailure()) StartFrame();
    }

    void TearDown() override {
        EXPECT_THAT(m_cerr.text, testing::Not(testing::HasSubstr("GLError")));
        XWindowFixture::TearDown();
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
        pass.material.specular = {0, 0, 0, 1};
        return pass;
    }

    static Shader Of(RenderFunc mode, float thick = 1, Shader pass = Unlit(kRed)) {
        pass.rmode = mode;
        pass.thick = thick;
        return pass;
    }

    void Shoot() {
        Texture shot = m_driver->GetFramebuffer();
        m_image.TakeContents(shot);
    }

    // Of the last shot, origin at the top left.
    Rgb At(int x, int y) const {
        if (m_image.pixels == nullptr) return {-1, -1, -1};
        const std::uint8_t* pixel =
            m_image.pixels + 4 * ((m_image.height - 1 - y) * m_image.width + x);
        return {pixel[0], pixel[1], pixel[2]};
    }

    // The pixel that shows a point in front of the camera.
    Rgb At(const vec3& point) const {
        const float unit = -0.5F * kHeight / point.z;
        return At(static_cast<int>(0.5F * kWidth + point.x * unit),
                  static_cast<int>(0.5F * kHeight - point.y * unit));
    }

    Rgb ShotCentre() {
        Shoot();
        return At(kWidth / 2, kHeight / 2);
    }

    // Of a pass that draws, alone on the colour.
    Rgb Shown(GeoImage& mesh, const Shader& pass, const Color& background = kBlack) {
        Paint(background);
        EXPECT_TRUE(Run(mesh, pass));
        return ShotCentre();
    }

    std::string Pixels() {
        Shoot();
        return {reinterpret_cast<const char*>(m_image.pixels), std::size_t{4} * kWidth * kHeight};
    }

    // Of the present image, origin at the top left.
    static int Stencil(int x, int y) {
        GLint value = -1;
        glReadPixels(x, kHeight - 1 - y, 1, 1, GL_STENCIL_INDEX, GL_INT, &value);
        return value;
    }

    // An image of one pixel value everywhere, without mipmaps.
    static Texture FilledTexture(int columns, int rows, const std::vector<std::uint8_t>& pixel) {
        Texture texture;
        texture.SetSize(columns, rows, static_cast<int>(pixel.size()));
        for (std::size_t i = 0; i < pixel.size() * static_cast<std::size_t>(columns * rows); ++i) {
            texture.pixels[i] = pixel[i % pixel.size()];
        }
        texture.mipmap = false;
        return texture;
    }
};
