// Textures: formats, filters, the moments of upload, copies of the window.
#include "GLFixture.h"

#include <GL/glext.h>

namespace {

class TexturesGL : public GLFixture {
protected:
    GeoImage m_square = SquareMesh(2, -2);  // fills the height of the view

    Color Show(Texture& texture, Shader pass = Unlit(kWhite)) {
        pass.texture = &texture;
        return Shown(m_square, pass);
    }

    static GLint Parameter(GLenum name) {
        GLint value = 0;
        glGetTexParameteriv(GL_TEXTURE_2D, name, &value);
        return value;
    }

    static GLint InternalFormat() {
        GLint value = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &value);
        return value;
    }
};

// Red runs over the texels; with an alpha channel the picture is half as bright. The pass has half
// of the blue.
TEST_F(TexturesGL, EveryChannelCountShowsEveryTexelOfAnOddImage) {
    for (unsigned channels = 1; channels <= 4; ++channels) {
        Texture texture = FilledTexture(3, 5, std::vector<std::uint8_t>(channels, 128));
        for (unsigned i = 0; i < 15; ++i)
            texture.pixels[i * channels] = static_cast<std::uint8_t>(40 + 12 * i);
        Show(texture, Unlit({1, 1, 0.5F}, BlendBlend));
        for (int i = 0; i < 15; ++i) {
            const double alpha = channels % 2 == 0 ? 128.0 / 255 : 1;
            const double red = alpha * (40 + 12 * i) / 255;
            const double green = channels > 2 ? alpha * 128 / 255 : red;
            const vec3 place{-2 + 4 * (static_cast<float>(i % 3) + 0.5F) / 3,
                             2 - 4 * (static_cast<float>(i / 3) + 0.5F) / 5, -2};
            EXPECT_THAT(At(place), IsColor(red, green, green / 2))
                << channels << " channels, " << i;
        }
        m_driver->Purge(&texture);
    }
}

TEST_F(TexturesGL, FiltersAndFormatFollowSettingsAndFlags) {
    struct Case {
        float texFilter, mipFilter, quality;
        bool filter, mipmap;
        GLint magnification, minification, format;
    };
    constexpr GLint kAnyFormat = 3;  // as many bits as the implementation likes
    const Case cases[] = {
        {0, 0, 1, true, true, GL_NEAREST, GL_NEAREST, kAnyFormat},
        {1, 1, 1, true, true, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST, kAnyFormat},
        {0, 2, 0, true, true, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR, kAnyFormat},
        {1, 2, 0, false, true, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR, kAnyFormat},
        {1, 2, 0.1F, true, false, GL_LINEAR, GL_LINEAR, GL_RGB4},
        {1, 2, 0.3F, true, false, GL_LINEAR, GL_LINEAR, GL_RGB},
        {1, 2, 0.5F, true, false, GL_LINEAR, GL_LINEAR, GL_RGB8},
        {1, 2, std::nanf(""), true, false, GL_LINEAR, GL_LINEAR, GL_RGB4},
    };
    for (const Case& c : cases) {
        Texture texture = FilledTexture(5, 7, {204, 102, 51});
        texture.filter = c.filter;
        texture.mipmap = c.mipmap;
        m_driver->Set("GL_texfilt", c.texFilter);
        m_driver->Set("GL_mipfilt", c.mipFilter);
        m_driver->Set("GL_tex_quality", c.quality);
        StartFrame();
        EXPECT_THAT(Show(texture), IsColor(0.8, 0.4, 0.2));
        EXPECT_EQ(Parameter(GL_TEXTURE_MAG_FILTER), c.magnification);
        EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), c.minification);
        EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
        EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_T), GL_CLAMP_TO_EDGE);
        EXPECT_EQ(InternalFormat(), c.format) << c.quality;
        m_driver->Purge(&texture);
    }
}

TEST_F(TexturesGL, UploadsOnceUntilPurgedReloadedOrReset) {
    Texture texture = FilledTexture(4, 4, {255, 0, 0});
    auto other = std::make_unique<Texture>(FilledTexture(1, 1, {0, 0, 255}));
    const auto repaint = [&texture](const std::vector<std::uint8_t>& pixel) {
        std::copy_n(FilledTexture(4, 4, pixel).pixels, 48, texture.pixels);
    };
    EXPECT_EQ(Show(texture), kRed);
    repaint({0, 255, 0});
    EXPECT_EQ(Show(*other), kBlue);
    EXPECT_EQ(Show(texture), kRed) << "kept";
    m_driver->Purge(&texture);
    EXPECT_EQ(Show(texture), kGreen) << "purged while current";
    repaint({255, 255, 0});
    texture.uploads.clear();
    EXPECT_EQ(Show(texture), (Color{1, 1, 0})) << "loaded again while current";
    repaint({255, 0, 255});
    StartFrame();
    EXPECT_EQ(Show(texture), (Color{1, 1, 0})) << "no setting changed";
    std::uint8_t red = 0;
    for (const char* setting : {"GL_texfilt", "GL_mipfilt", "GL_tex_quality"}) {
        repaint({red += 50, 0, 255});
        m_driver->Set(setting, 1);
        StartFrame();
        EXPECT_THAT(Show(texture), IsColor(red / 255.0, 0, 1)) << setting;
    }
    repaint({0, 255, 0});
    EXPECT_EQ(CaptureStdout([&] { XFree(m_driver->GetVisual()); }),
              "DriverGL: got 8 stencil bits\n");
    StartFrame();
    EXPECT_EQ(Show(texture), kGreen) << "a second visual replaces the context";
    EXPECT_EQ(m_driver->GetCapability("shadows"), 1);
    for (const bool on : {true, false}) {
        m_driver->Set("GL_anisotropic", on ? 1 : 0);
        StartFrame();
        Show(texture);
        EXPECT_EQ(Parameter(GL_TEXTURE_MAX_ANISOTROPY_EXT) > 1, on) << "though it stayed current";
        EXPECT_EQ(m_driver->GetCapability("max anisotropy") > 1, on);
    }
    Show(*other);
    Texture* const address = other.get();
    other.reset();
    for (Texture* gone : {address, address, static_cast<Texture*>(nullptr)})
        m_driver->Purge(gone);
    EXPECT_EQ(Shown(m_square, Unlit(kGreen)), kGreen);
}

TEST_F(TexturesGL, ReportsAnImageThatIsTooLargeOnce) {
    GLint limit = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    Texture wide = FilledTexture(limit + 1, 1, {1});
    EXPECT_THAT(Said([&] { Show(wide); }),
                testing::MatchesRegex("GLError 0x501 at SetTextureEnv:[0-9]+ - SetTextureEnv\n"));
    EXPECT_EQ(Shown(m_square, Unlit(kGreen)), kGreen);
    Show(wide);
}

TEST_F(TexturesGL, CopiesAWindowRectangleFromTheTopLeft) {
    GeoImage square = SquareMesh(1, -2);
    Run(square, Unlit(kRed));
    Texture copy = FilledTexture(1, 1, {0, 0, 0});
    // Four columns and rows round the upper left corner of the red square.
    m_driver->CopyTexture(&copy, kWidth / 2 - kHeight / 4 - 2, kHeight / 4 - 2, 4, 4);
    Show(copy);
    // Its rows go upwards, those of a texture downwards.
    for (const vec3& black : {vec3{-1.5F, 1.5F, -2}, {1.5F, -1.5F, -2}, {-1.5F, -1.5F, -2}})
        EXPECT_EQ(At(black), kBlack);
    EXPECT_EQ(At(vec3{1.5F, 1.5F, -2}), kRed);
    EXPECT_EQ(InternalFormat(), GL_RGB8);
    m_driver->CopyTexture(nullptr, 0, 0, 1, 1);
}

}  // namespace
