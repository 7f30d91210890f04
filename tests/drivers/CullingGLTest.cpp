// Pictures with occlusion culling against pictures without, in software and by the depth buffer.
#include "GLFixture.h"

#include <array>
#include <map>
#include <random>

#include "renderer/Renderer.h"
#include "settings/StatisticNames.h"
#include "spatial/Occlusion.h"
#include "support/SceneBuilder.h"

namespace {

constexpr int kColumns = 640;
constexpr int kRows = 480;
constexpr int kPixels = kColumns * kRows;

class CullingGL : public GLFixture {
protected:
    TestScene m_scene;
    Renderer m_plain;  // without culling
    Camera m_view;

    void SetUp() override {
        GLFixture::SetUp();
        XResizeWindow(m_display, m_xWindow, kColumns, kRows);
        XSync(m_display, False);
        m_driver->Finish();  // the buffers follow the window
        m_plain.Set("P_occlusion", 0);
        m_driver->Set("GL_dither", 0);
        m_driver->Set("GL_dlistSize", 1e6F);
    }
    // The object with that number as its colour.
    Object* Place(GeoImage* mesh, const vec3& pos) {
        const auto number = static_cast<int>(m_scene.room.children.size()) + 1;
        Object* object = m_scene.AddPlain(m_scene.room, std::to_string(number), mesh, pos);
        object->shaders[PassBase].front().material.diffuse = {
            static_cast<float>(number & 255) / 255, static_cast<float>(number >> 8) / 255, 0, 1};
        return object;
    }
    void LookFrom(const vec3& pos, const vec3& target) {
        m_view.pos = pos;
        m_view.lookat = target;
    }
    // Which object each pixel shows.
    std::vector<int> Picture(Renderer& renderer) {
        m_driver->SetWindow(m_xWindow);
        m_driver->SetViewport(0, 0, kColumns, kRows);
        m_driver->Clear(true, true);
        renderer.BeginFrame(m_driver.get());
        renderer.Render(&m_scene.room, m_view);
        renderer.FinishFrame();
        const Texture image = m_driver->GetFramebuffer();
        std::vector<int> numbers(kPixels);
        for (int i = 0; i < kPixels; ++i) {
            const std::uint8_t* pixel = image.pixels + std::ptrdiff_t{4} * i;
            numbers[static_cast<std::size_t>(i)] = pixel[2] != 0 ? 0 : pixel[0] + 256 * pixel[1];
        }
        return numbers;
    }
    static int Drawn(const Renderer& renderer) {
        return static_cast<int>(Statistic(renderer.Stats(), stat_names::kDrawn));
    }
};

// A cuboid in five columns round and four rows down.
void MakeCuboid(GeoImage& mesh, const vec3& half) {
    mesh.SetSize(4, 5);
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 5; ++column) {
            const float out = row == 0 || row == 3 ? 0 : 1;
            const float x = column == 1 || column == 2 ? half.x : -half.x;
            const float z = column == 0 || column == 1 || column == 4 ? half.z : -half.z;
            mesh.At(row, column) = {{out * x, row < 2 ? half.y : -half.y, out * z}, {}, 0, 0};
        }
    }
    mesh.Finish(true);
}

// Side of the largest square of that number.
int LargestSquare(const std::vector<int>& picture, int number) {
    std::vector<int> sides(kPixels);  // of the squares that end at each pixel
    for (std::size_t i = kColumns + 1; i < kPixels; ++i) {
        if (picture[i] != number || i % kColumns == 0) continue;
        sides[i] = 1 + std::min({sides[i - 1], sides[i - kColumns], sides[i - kColumns - 1]});
    }
    return *std::max_element(sides.begin(), sides.end());
}

// What is left out shows at most slivers: the buffer rounds occluders up and what it tests down to
// its pixels, so that an edge less than one of them wide may be missed, never a whole one.
TEST_F(CullingGL, NothingIsMissedThatShowsAWholePixelOfTheBuffer) {
    std::mt19937 random(11);
    const auto uniform = [&](double low, double high) {
        return static_cast<float>(std::uniform_real_distribution<double>(low, high)(random));
    };
    GeoImage cuboids[4];
    for (GeoImage& mesh : cuboids)
        MakeCuboid(mesh, {uniform(0.3, 1.5), uniform(0.3, 1.5), uniform(0.3, 1.5)});
    GeoImage* balls[] = {m_scene.Sphere(0.4F, 17), m_scene.Sphere(0.8F, 17),
                         m_scene.Sphere(1.2F, 17), m_scene.Sphere(1.6F, 17)};
    for (int i = 0; i < 500; ++i) {
        const vec3 pos{uniform(-11, 11), uniform(-11, 11), uniform(-11, 11)};
        Object* object = Place(i % 2 ? balls[i / 2 % 4] : &cuboids[i / 2 % 4], pos);
        object->point = {uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)};
    }
    for (const bool hardware : {false, true}) {
        m_driver->Set("GL_hw_occlusion", hardware ? 1 : 0);
        // Pixels of the window that one of the tested buffer stands for.
        const int bufferPixel = hardware ? kRows / 32 : 2 * kRows / (90 - 10);
        Renderer culling;
        int missed = 0;
        int drawn = 0;
        int inView = 0;
        for (int frame = 0; frame < 14; ++frame) {
            const double angle = 0.05 * frame;
            LookFrom({static_cast<float>(15 * std::sin(angle)), static_cast<float>(3 * angle),
                      static_cast<float>(15 * std::cos(angle))},
                     {0, 0, 0});
            const std::vector<int> culled = Picture(culling);
            if (frame < 2) continue;
            drawn += Drawn(culling);
            const std::vector<int> whole = Picture(m_plain);
            inView += Drawn(m_plain);
            std::map<int, int> counts;
            for (const int number : whole)
                ++counts[number];
            for (const int number : culled)
                counts.erase(number);
            for (const auto& [number, pixels] : counts) {
                missed += pixels;
                EXPECT_LT(LargestSquare(whole, number), bufferPixel)
                    << "object " << number << ", frame " << frame << ", hardware " << hardware;
            }
        }
        EXPECT_LT(missed, 12 * kPixels / 2000);
        EXPECT_LT(drawn, inView * 2 / 3);
    }
}

}  // namespace
