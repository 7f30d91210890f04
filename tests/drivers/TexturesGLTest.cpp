// Textures: formats, filters, the moments of upload, copies of the window.
#include "GLFixture.h"

#include <vector>

namespace {

class TexturesGL : public GLFixture {
protected:
    GeoImage m_square = SquareMesh(2, -2);  // fills the height of the view

    static Texture Filled(int columns, int rows, const std::vector<std::uint8_t>& pixel) {
        Texture texture;
        texture.SetSize(columns, rows, static_cast<int>(pixel.size()));
        for (std::size_t i = 0; i < pixel.size() * static_cast<std::size_t>(columns * rows); ++i) {
            texture.pixels[i] = pixel[i % pixel.size()];
        }
        texture.mipmap = false;
        return texture;
    }

    Rgb Show(Texture& texture, BlendFunc blend = BlendReplace) {
        Paint({0, 0, 0, 1});
        Shader pass = Unlit(kWhite);
        pass.texture = &texture;
        pass.blend = blend;
        EXPECT_TRUE(Run(m_square, pass));
        return ShotCentre();
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

TEST_F(TexturesGL, EveryChannelCountShowsEveryTexelOfAnOddImage) {
    m_driver->Set("GL_tex_quality", 1);
    StartFrame();
    for (int channels = 1; channels <= 4; ++channels) {
        Texture texture = Filled(3, 5, std::vector<std::uint8_t>(static_cast<unsigned>(channels)));
        for (int i = 0; i < 15 * channels; ++i) {
            const bool alpha = channels % 2 == 0 && i % channels == channels - 1;
            texture.pixels[i] = alpha ? 128 : static_cast<std::uint8_t>(40 + 3 * i);
        }
        Show(texture, BlendBlend);
        for (int row = 0; row < 5; ++row) {
            for (int column = 0; column < 3; ++column) {
                const std::uint8_t* texel = texture.pixels + (row * 3 + column) * channels;
                const double alpha = channels % 2 == 0 ? 128.0 / 255 : 1;
                const int colors = channels > 2 ? 1 : 0;
                const vec3 place{-2 + 4 * (static_cast<float>(column) + 0.5F) / 3,
                                 2 - 4 * (static_cast<float>(row) + 0.5F) / 5, -2};
                EXPECT_THAT(At(place), IsColor(alpha * texel[0] / 255, alpha * texel[colors] / 255,
                                               alpha * texel[2 * colors] / 255))
                    << channels << " channels at " << column << ", " << row;
            }
        }
        m_driver->Purge(&texture);
    }
}

TEST_F(TexturesGL, QualityChoosesTheInternalFormat) {
    const std::pair<float, GLint> cases[] = {
        {0.1F, GL_RGB4}, {0.3F, GL_RGB}, {0.5F, GL_RGB8}, {1, GL_RGB8}};
    Texture texture = Filled(2, 2, {10, 20, 30});
    for (const auto& [quality, format] : cases) {
        m_driver->Set("GL_tex_quality", quality);
        StartFrame();
        Show(texture);
        EXPECT_EQ(InternalFormat(), format) << quality;
    }
    m_driver->Set("GL_tex_quality", std::nanf(""));
    StartFrame();
    Show(texture);
    EXPECT_EQ(InternalFormat(), GL_RGB4);
}

TEST_F(TexturesGL, FiltersFollowSettingsAndFlags) {
    struct Case {
        float texFilter, mipFilter;
        bool filter, mipmap;
        GLint magnification, minification;
    };
    const Case cases[] = {
        {0, 0, true, true, GL_NEAREST, GL_NEAREST},
        {1, 0, true, true, GL_LINEAR, GL_LINEAR},
        {0, 1, true, true, GL_NEAREST, GL_NEAREST_MIPMAP_NEAREST},
        {1, 1, true, true, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST},
        {0, 2, true, true, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR},
        {1, 2, true, true, GL_LINEAR, GL_LINEAR_MIPMAP_LINEAR},
        {1, 2, false, true, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR},
        {1, 2, true, false, GL_LINEAR, GL_LINEAR},
    };
    for (const Case& c : cases) {
        Texture texture = Filled(5, 7, {200, 100, 50});
        texture.filter = c.filter;
        texture.mipmap = c.mipmap;
        m_driver->Set("GL_texfilt", c.texFilter);
        m_driver->Set("GL_mipfilt", c.mipFilter);
        StartFrame();
        EXPECT_THAT(Show(texture), IsColor(200 / 255.0, 100 / 255.0, 50 / 255.0));
        EXPECT_EQ(Parameter(GL_TEXTURE_MAG_FILTER), c.magnification);
        EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), c.minification);
        EXPECT_EQ(Parameter(GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
        m_driver->Purge(&texture);
    }
}

TEST_F(TexturesGL, UploadsOnceUntilPurgedReloadedOrReset) {
    Texture texture = Filled(4, 4, {255, 0, 0});
    Texture other = Filled(1, 1, {0, 0, 255});
    const auto repaint = [&texture](const std::vector<std::uint8_t>& pixel) {
        const Texture fresh = Filled(4, 4, pixel);
        std::copy_n(fresh.pixels, 48, texture.pixels);
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
    m_driver->Set("GL_texfilt", 1);
    StartFrame();
    EXPECT_THAT(Show(texture), IsColor(1, 0, 1)) << "a setting changed";
    EXPECT_TRUE(Run(m_square, Unlit(kGreen)));
    EXPECT_THAT(ShotCentre(), IsColor(0, 1, 0)) << "no texture";
}

TEST_F(TexturesGL, PurgeTakesAddressesOfFreedTextures) {
    auto* doomed = new Texture(Filled(2, 2, {255, 0, 0}));
    Show(*doomed);
    delete doomed;
    m_driver->Purge(doomed);
    m_driver->Purge(doomed);
    m_driver->Purge(static_cast<Texture*>(nullptr));
    EXPECT_TRUE(Run(m_square, Unlit(kGreen)));
    EXPECT_THAT(ShotCentre(), IsColor(0, 1, 0));
}

TEST_F(TexturesGL, ReportsAnImageThatIsTooLargeOnce) {
    GLint limit = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    Texture wide = Filled(limit + 1, 1, {1});
    EXPECT_THAT(CaptureStderr([&] { Show(wide); }),
                testing::MatchesRegex("GLError 0x501 at SetTextureEnv:[0-9]+ - SetTextureEnv\n"));
    EXPECT_EQ(CaptureStderr([&] { Show(wide); }), "");
    m_cerr.text.clear();
}

TEST_F(TexturesGL, CopiesAWindowRectangleFromTheTopLeft) {
    GeoImage left = SquareMesh(2, -2);
    Run(left, Unlit(kRed));
    Texture copy = Filled(1, 1, {0, 0, 0});
    // Four columns and rows round the upper left corner of the red square.
    const int edge = kWidth / 2 - kHeight / 2;
    m_driver->CopyTexture(&copy, edge - 2, 0, 4, 4);
    Show(copy);
    EXPECT_EQ(At(vec3{-1.5F, 1.5F, -2}), kBlack);
    EXPECT_THAT(At(vec3{1.5F, 1.5F, -2}), IsColor(1, 0, 0));
    EXPECT_EQ(InternalFormat(), GL_RGB8);
    m_driver->CopyTexture(nullptr, 0, 0, 1, 1);
}

}  // namespace
