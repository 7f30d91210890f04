// Pictures with occlusion culling against pictures without, in software and by the depth buffer.
#include "GLFixture.h"

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

    void SetUp() override {
        GLFixture::SetUp();
        XResizeWindow(m_display, m_xWindow, kColumns, kRows);
        XSync(m_display, False);
        m_driver->Finish();  // the buffers follow the window
        m_driver->Set("GL_dither", 0);
        m_driver->Set("GL_dlistSize", 1e6F);
    }
    // The object with that number as its colour.
    Object* Place(int number, GeoImage* mesh, const vec3& pos) {
        Object* object = m_scene.AddPlain(m_scene.room, std::to_string(number), mesh, pos);
        object->shaders[PassBase].front().material.diffuse = {
            static_cast<float>(number & 255) / 255, static_cast<float>(number >> 8) / 255, 0, 1};
        return object;
    }
    // Which object each pixel shows.
    std::vector<int> Picture(Renderer& renderer, const Camera& camera) {
        XWindowFixture::StartFrame(kColumns, kRows);
        renderer.BeginFrame(m_driver.get());
        renderer.Render(&m_scene.room, camera);
        renderer.FinishFrame();
        const Texture image = m_driver->GetFramebuffer();
        std::vector<int> numbers;
        for (const std::uint8_t* pixel = image.pixels; std::ssize(numbers) < kPixels; pixel += 4)
            numbers.push_back(pixel[2] != 0 ? 0 : pixel[0] + 256 * pixel[1]);
        return numbers;
    }
};

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
    const auto uniform = [&](float low, float high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    std::vector<GeoImage*> meshes;
    for (const float radius : {0.4F, 0.8F, 1.2F, 1.6F}) {
        meshes.push_back(m_scene.Sphere(radius, 17));
        meshes.push_back(m_scene.Sphere(radius, 4));  // large flat faces, sharp edges
    }
    for (int i = 1; i <= 500; ++i) {
        const vec3 pos{uniform(-11, 11), uniform(-11, 11), uniform(-11, 11)};
        Object* object = Place(i, meshes[static_cast<std::size_t>(i) % meshes.size()], pos);
        object->point = {uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)};
    }
    Renderer plain;
    plain.Set("P_occlusion", 0);
    for (const bool hardware : {false, true}) {
        m_driver->Set("GL_hw_occlusion", hardware ? 1 : 0);
        // Pixels of the window that one of the tested buffer stands for.
        const int bufferPixel = hardware ? kRows / 32 : 2 * kRows / (90 - 10);
        Renderer culling;
        int missed = 0;
        float drawn = 0;
        float inView = 0;
        for (int frame = 0; frame < 14; ++frame) {
            const float angle = 0.05F * static_cast<float>(frame);
            Camera camera;
            camera.pos = {15 * std::sin(angle), 3 * angle, 15 * std::cos(angle)};
            camera.lookat = {0, 0, 0};
            const std::vector<int> culled = Picture(culling, camera);
            if (frame < 2) continue;
            const std::vector<int> whole = Picture(plain, camera);
            drawn += Statistic(culling.Stats(), stat_names::kDrawn);
            inView += Statistic(plain.Stats(), stat_names::kDrawn);
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
