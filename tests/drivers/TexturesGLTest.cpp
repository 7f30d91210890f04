// Textures: formats, filters, the moments of upload, copies of the window.
#include "GLFixture.h"

#include <GL/glext.h>

namespace {

class TexturesGL : public GLFixture {
protected:
    GeoImage m_square = SquareMesh(2, -2);  // fills the height of the view

    Rgb Show(Texture& texture, BlendFunc blend = BlendReplace) {
        Shader pass = Unlit(kWhite, blend);
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

// Red runs over the texels; with an alpha channel the picture is half as bright.
TEST_F(TexturesGL, EveryChannelCountShowsEveryTexelOfAnOddImage) {
    for (int channels = 1; channels <= 4; ++channels) {
        Texture texture =
            FilledTexture(3, 5, std::vector<std::uint8_t>(static_cast<unsigned>(channels), 128));
        for (int i = 0; i < 15; ++i) {
            texture.pixels[i * channels] = static_cast<std::uint8_t>(40 + 12 * i);
        }
        Show(texture, BlendBlend);
        for (int i = 0; i < 15; ++i) {
            const double alpha = channels % 2 == 0 ? 128.0 / 255 : 1;
            const double red = alpha * (40 + 12 * i) / 255;
            const double green = channels > 2 ? alpha * 128 / 255 : red;
            const vec3 place{-2 + 4 * (static_cast<float>(i % 3) + 0.5F) / 3,
                             2 - 4 * (static_cast<float>(i / 3) + 0.5F) / 5, -2};
            EXPECT_THAT(At(place), IsColor(red, green, green)) << channels << " channels, " << i;
        }
        m_driver->Purge(&texture);
    }
}

TEST_F(TexturesGL, QualityChoosesTheInternalFormat) {
    const std::pair<float, GLint> cases[] = {
        {0.1F, GL_RGB4}, {0.3F, GL_RGB}, {0.5F, GL_RGB8}, {1, GL_RGB8}, {std::nanf(""), GL_RGB4}};
    Texture texture = FilledTexture(2, 2, {10, 20, 30});
    for (const auto& [quality, format] : cases) {
        m_driver->Set("GL_tex_quality", quality);
        StartFrame();
        Show(texture);
        EXPECT_EQ(InternalFormat(), format) << quality;
    }
}

TEST_F(TexturesGL, FiltersFollowSettingsAndFlags) {
    struct Case {
        float texFilter, mipFilter;
        bool filter, mipmap;
        GLint magnification, minification;
    };
    const Case cases[] = {
        {0, 0, true, true, GL_NEAREST, GL_NEAREST},
        {1, 1, true, true, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST},
        {0, 2, true, true, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR},
        {1, 2, true, true, GL_LINEAR, GL_LINEAR_MIPMAP_LINEAR},
        {1, 2, false, true, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR},
        {1, 2, true, false, GL_LINEAR, GL_LINEAR},
    };
    for (const Case& c : cases) {
        Texture texture = FilledTexture(5, 7, {200, 100, 50});
        texture.filter = c.filter;
        texture.mipmap = c.mipmap;
        m_driver->Set("GL_texfilt", c.texFilter);
        m_driver->Set("GL_mipfilt", c.mipFilter);
        StartFrame();
        EXPECT_THAT(Show(texture), IsColor(200 / 255.0, 100 / 255.0, 50 / 255.0));
        EXPECT_EQ(Parameter(GL_TEXTURE_MAG_FILTER), c.magnification);
        EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), c.minification);
        EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
        EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_T), GL_CLAMP_TO_EDGE);
        m_driver->Purge(&texture);
    }
}

TEST_F(TexturesGL, UploadsOnceUntilPurgedReloadedOrReset) {
    Texture texture = FilledTexture(4, 4, {255, 0, 0});
    Texture other = FilledTexture(1, 1, {0, 0, 255});
    const auto repaint = [&texture](const std::vector<std::uint8_t>& pixel) {
        std::copy_n(FilledTexture(4, 4, pixel).pixels, 48, texture.pixels);
    };
    EXPECT_THAT(Show(texture), IsColor(1, 0, 0));
    repaint({0, 255, 0});
    EXPECT_THAT(Show(other), IsColor(0, 0, 1));
    EXPECT_THAT(Show(texture), IsColor(1, 0, 0)) << "kept";
    m_driver->Purge(&texture);
    EXPECT_THAT(Show(texture), IsColor(0, 1, 0)) << "purged while current";
    repaint({255, 255, 0});
    texture.uploads.clear();
    EXPECT_THAT(Show(texture), IsColor(1, 1, 0)) << "loaded again while current";
    repaint({255, 0, 255});
    StartFrame();
    EXPECT_THAT(Show(texture), IsColor(1, 1, 0)) << "no setting changed";
    std::uint8_t red = 0;
    for (const char* setting : {"GL_texfilt", "GL_mipfilt", "GL_tex_quality"}) {
        repaint({red += 50, 0, 255});
        m_driver->Set(setting, 1);
        StartFrame();
        EXPECT_THAT(Show(texture), IsColor(red / 255.0, 0, 1)) << setting;
    }
    for (const bool on : {true, false}) {
        m_driver->Set("GL_anisotropic", on ? 1 : 0);
        StartFrame();
        Show(texture);
        EXPECT_EQ(Parameter(GL_TEXTURE_MAX_ANISOTROPY_EXT) > 1, on) << "though it stayed current";
    }
}

TEST_F(TexturesGL, PurgeTakesAddressesOfFreedTextures) {
    auto* doomed = new Texture(FilledTexture(2, 2, {255, 0, 0}));
    Show(*doomed);
    delete doomed;
    m_driver->Purge(doomed);
    m_driver->Purge(doomed);
    m_driver->Purge(static_cast<Texture*>(nullptr));
    EXPECT_THAT(Shown(m_square, Unlit(kGreen)), IsColor(0, 1, 0));
}

TEST_F(TexturesGL, ReportsAnImageThatIsTooLargeOnce) {
    GLint limit = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    Texture wide = FilledTexture(limit + 1, 1, {1});
    Texture other = FilledTexture(1, 1, {1});
    for (Texture* texture : {&wide, &other, &wide})
        Show(*texture);
    EXPECT_THAT(m_cerr.text,
                testing::MatchesRegex("GLError 0x501 at SetTextureEnv:[0-9]+ - SetTextureEnv\n"));
    m_cerr.text.clear();
}

TEST_F(TexturesGL, CopiesAWindowRectangleFromTheTopLeft) {
    Run(m_square, Unlit(kRed));
    Texture copy = FilledTexture(1, 1, {0, 0, 0});
    // Four columns and rows round the upper left corner of the red square.
    m_driver->CopyTexture(&copy, kWidth / 2 - kHeight / 2 - 2, 0, 4, 4);
    Show(copy);
    EXPECT_EQ(At(vec3{-1.5F, 1.5F, -2}), kNothing);
    EXPECT_THAT(At(vec3{1.5F, 1.5F, -2}), IsColor(1, 0, 0));
    EXPECT_EQ(InternalFormat(), GL_RGB8);
    m_driver->CopyTexture(nullptr, 0, 0, 1, 1);
}

}  // namespace
