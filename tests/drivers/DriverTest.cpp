// Drivers without a display: the base's answers, the registry of names.
#include <gtest/gtest.h>

#include "support/Capture.h"

#include <memory>

#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "drivers/gl/DisplayListCache.h"
#include "geometry/GeoImage.h"
#include "scene/Camera.h"

namespace {

TEST(DriverBase, ReportsWhatItLacksAndAnswersSafely) {
    Driver driver(nullptr);
    const auto check = [&](const std::string& operation, auto&& call) {
        EXPECT_EQ(CaptureStderr(call), "*** Unimplemented driver function: " + operation +
                                           "\n*** in driver: Null renderer\n");
    };
    int x = 7;
    check("GetViewport", [&] { driver.GetViewport(x, x, x, x); });
    check("GetFramebuffer", [&] { EXPECT_EQ(driver.GetFramebuffer().pixels, nullptr); });
    check("Purge", [&] { driver.Purge(static_cast<Texture*>(nullptr)); });
    check("Purge", [&] { driver.Purge(static_cast<GeoImage*>(nullptr)); });
    check("RunShader", [&] { EXPECT_FALSE(driver.RunShader(nullptr, nullptr, nullptr, true)); });
    check("AddLight", [&] { EXPECT_FALSE(driver.AddLight(nullptr)); });
    EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(driver.GetOcclusion(), nullptr); }), "");
    EXPECT_TRUE(x == 0 && driver.Get("D_wireframe") == 0 && driver.Get("D_shadowoffset") == 1);
}

TEST(DriverRegistry, StepsThroughNamesAndListsThem) {
    EXPECT_EQ(CaptureStderr([] { EXPECT_EQ(DriverFactory::Create("gl", nullptr), nullptr); }),
              "Error: Requested driver 'gl' does not exist.\nAvailable drivers:\n"
              "  GL - OpenGL backend\n  X - Simple Xlib driver\n");
    EXPECT_EQ(DriverFactory::Names(), (std::set<std::string>{"GL", "X"}));
    std::string next;
    EXPECT_TRUE(!DriverFactory::Next("GL", next) && next == "X");
    EXPECT_TRUE(DriverFactory::Next("X", next) && next == "GL");
    EXPECT_TRUE(!DriverFactory::Next("", next) && next == "GL");
}

// A driver whose context could not be made is still called by the frame loop.
TEST(DriverWithoutDisplay, SaysSoAndSurvivesAFrame) {
    for (const bool gl : {true, false}) {
        const std::unique_ptr<Driver> driver(DriverFactory::Create(gl ? "GL" : "X", nullptr));
        EXPECT_STREQ(driver->Name(), gl ? "OpenGL renderer" : "XLib renderer");
        EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(driver->GetVisual(), nullptr); }),
                  gl ? "DriverGL: Couldn't get an appropriate visual\n" : "");
        EXPECT_EQ(CaptureStderr([&] { driver->SetWindow(1); }), gl ? "DriverGL: No context\n" : "");
        Texture texture;
        driver->SetViewport(0, 0, 4, 4);
        driver->Clear(true, true);
        driver->SetupProjection({});
        driver->CopyTexture(&texture, 0, 0, 2, 2);
        driver->Purge(&texture);
        EXPECT_FALSE(driver->AddLight(nullptr));
        driver->Finish();
        EXPECT_EQ(driver->GetFramebuffer().width, gl ? 4 : 0);
    }
}

TEST(DisplayListCache, AListOfAnotherMeshEndsTheProgram) {
    GeoImage meshes[2];
    DisplayListCache cache;
    DisplayList list{1, {}};
    for (GeoImage& mesh : meshes)
        cache.Insert({&mesh, PrimitiveMesh, {}}, list);
    EXPECT_DEATH(cache.Find({meshes, PrimitiveMesh, {}}),
                 "^\n\\*\\*\\*ERROR\\*\\*\\*: cached mesh 0x[0-9a-f]+ does not match cache "
                 "request 0x[0-9a-f]+\n$");
}

}  // namespace
