// Drivers without a display: the base's answers, the registry of names.
#include <gtest/gtest.h>

#include "support/Capture.h"

#include <memory>

#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "scene/Camera.h"

namespace {

std::string Missing(const std::string& operation) {
    return "*** Unimplemented driver function: " + operation + "\n*** in driver: Null renderer\n";
}

TEST(DriverBase, ReportsWhatItLacksAndAnswersSafely) {
    Driver driver(nullptr);
    const auto check = [&](const char* operation, auto&& call) {
        EXPECT_EQ(CaptureStderr(call), Missing(operation));
    };
    int box[4] = {1, 2, 3, 4};
    check("GetVisual", [&] { EXPECT_EQ(driver.GetVisual(), nullptr); });
    check("SetWindow", [&] { driver.SetWindow(0); });
    check("SetViewport", [&] { driver.SetViewport(0, 0, 1, 1); });
    check("GetViewport", [&] { driver.GetViewport(box[0], box[1], box[2], box[3]); });
    check("ColorMask", [&] { driver.ColorMask(true, true, true); });
    check("Clear", [&] { driver.Clear(true, true); });
    check("Finish", [&] { driver.Finish(); });
    check("GetFramebuffer", [&] {
        const Texture image = driver.GetFramebuffer();
        EXPECT_TRUE(image.width == 0 && image.height == 0 && image.channels == 4);
        EXPECT_TRUE(image.pixels == nullptr && image.filter && image.mipmap);
    });
    check("SetupProjection", [&] { driver.SetupProjection({}); });
    check("LoadMatrix", [&] { driver.LoadMatrix({}); });
    check("CopyTexture", [&] { driver.CopyTexture(nullptr, 0, 0, 1, 1); });
    check("Purge", [&] { driver.Purge(static_cast<Texture*>(nullptr)); });
    check("Purge", [&] { driver.Purge(static_cast<GeoImage*>(nullptr)); });
    check("RunShader", [&] { EXPECT_FALSE(driver.RunShader(nullptr, nullptr, nullptr, true)); });
    check("SetAmbient", [&] { driver.SetAmbient(0, 0, 0, 1); });
    check("ClearLights", [&] { driver.ClearLights(); });
    check("AddLight", [&] { EXPECT_FALSE(driver.AddLight(nullptr)); });
    check("StartShadows", [&] { driver.StartShadows(); });
    check("AddShadow", [&] { driver.AddShadow(nullptr, nullptr, 1); });
    check("FinishShadows", [&] { driver.FinishShadows(); });
    check("SetShadowTest", [&] { driver.SetShadowTest(true); });
    EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(driver.GetOcclusion(), nullptr); }), "");
    EXPECT_EQ(driver.Get("D_wireframe"), 0);
    EXPECT_EQ(driver.Get("D_shadowoffset"), 1);
    EXPECT_EQ(driver.ListSettings().size(), 3U);
}

TEST(DriverRegistry, FindsStepsAndListsNames) {
    const std::unique_ptr<Driver> driver(DriverFactory::Create("GL", nullptr));
    ASSERT_NE(driver, nullptr);
    EXPECT_STREQ(driver->Name(), "OpenGL renderer");
    EXPECT_EQ(CaptureStderr([] { EXPECT_EQ(DriverFactory::Create("gl", nullptr), nullptr); }),
              "Error: Requested driver 'gl' does not exist.\nAvailable drivers:\n"
              "  GL - OpenGL backend\n");
    DriverFactoryImpl<Driver> second("Z", "Another");
    EXPECT_EQ(DriverFactory::Names(), (std::set<std::string>{"GL", "Z"}));
    std::string next;
    EXPECT_TRUE(!DriverFactory::Next("GL", next) && next == "Z");
    EXPECT_TRUE(DriverFactory::Next("Z", next) && next == "GL");
    EXPECT_TRUE(!DriverFactory::Next("", next) && next == "GL");
    DriverFactoryImpl<Driver> replacement("Z", "Later");
    EXPECT_EQ(CaptureStderr([] { DriverFactory::Create("", nullptr); }),
              "Error: Requested driver '' does not exist.\nAvailable drivers:\n"
              "  GL - OpenGL backend\n  Z - Later\n");
}

// A driver whose context could not be made is still called by the frame loop.
TEST(DriverWithoutContext, SaysSoAndSurvivesAFrame) {
    const std::unique_ptr<Driver> driver(DriverFactory::Create("GL", nullptr));
    EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(driver->GetVisual(), nullptr); }),
              "DriverGL: Couldn't get an appropriate visual\n");
    EXPECT_FALSE(driver->HasCapability("shadows"));
    EXPECT_EQ(CaptureStderr([&] { driver->SetWindow(1); }), "DriverGL: No context\n");
    EXPECT_EQ(CaptureStderr([&] {
                  Texture texture;
                  driver->SetViewport(0, 0, 4, 4);
                  driver->Clear(true, true);
                  driver->SetupProjection({});
                  driver->LoadMatrix({});
                  driver->CopyTexture(&texture, 0, 0, 2, 2);
                  driver->Purge(&texture);
                  EXPECT_FALSE(driver->AddLight(nullptr));
                  driver->StartShadows();
                  driver->FinishShadows();
                  driver->Finish();
                  EXPECT_EQ(driver->GetFramebuffer().width, 4);
              }),
              "");
}

}  // namespace
