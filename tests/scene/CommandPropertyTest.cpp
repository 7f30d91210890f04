// What commands do beside the scene: caches of objects, settings of renderer and drivers.
#include "SceneFixture.h"

#include "renderer/Renderer.h"
#include "settings/Settings.h"
#include "support/RecordingDriver.h"

namespace {

using CommandPropertyTest = SceneFixture;

TEST_F(CommandPropertyTest, ObjectPropertiesEmptyTheCachesThatDependOnThem) {
    const struct {
        const char* line;
        bool wholeTree;
    } cases[] = {{"visible no", false}, {"shadow 0", false},   {"active False", true},
                 {"billboard y", true}, {"up 1,0", true},      {"point ,0,0,-1", true},
                 {"pos 1,2,3", true},   {"shade base", false}, {"clear shadow", false},
                 {"pop light", false}};
    Run("room r\nobject a/b\nobject a");
    Object* parent = At("r", "a");
    Object* child = At("r", "a/b");
    for (const auto& test : cases) {
        parent->derivedCache.insert(this);
        child->derivedCache.insert(this);
        Run(std::string("set ") + test.line);
        EXPECT_TRUE(parent->derivedCache.empty()) << test.line;
        EXPECT_EQ(child->derivedCache.empty(), test.wholeTree) << test.line;
    }
    for (const char* line : {"move a r s", "delete s a/none"}) {
        parent->derivedCache.insert(this);
        Run(line);
        EXPECT_TRUE(parent->derivedCache.empty()) << line;
    }
    EXPECT_TRUE(child->derivedCache.empty());
}

TEST_F(CommandPropertyTest, SettingsAreListedShownAndChanged) {
    Settings settings;
    // Listed in the order of their bytes.
    settings.Declare("G_tilt", -1, 1, 0.01F, "Tilt") = 0.1F;
    settings.Declare("G_size", 0, 1048576, 128, "Size") = 1048576;
    settings.Declare("GL", 0, 1, 1, "Lists") = 1;
    settings.Declare("G", 0, 0, 0, "A group");
    // What is printed, errors first.
    const auto said = [&](const Words& words) {
        std::string out;
        const std::string errors =
            CaptureStderr([&] { out = CaptureStdout([&] { CmdSetting(settings, words); }); });
        return errors + out;
    };
    EXPECT_EQ(said({"none", "1"}), "\n");
    EXPECT_EQ(said({"none"}), "*** Attempt to read nonexistent setting none\n\nValue of none: 0\n");
    std::cout << std::hex;
    const std::string listing =
        "\nAll available settings:\nG: A group\nGL: Lists = 1(0:1)\nG_size: Size = "
        "1.04858e+06(0:1.04858e+06)\n"
        "G_tilt: Tilt = 0.1(-1:1)\n";
    EXPECT_EQ(said({}), listing);
    settings.SetCapability("shadows", 1);
    settings.SetCapability("maxlights", 8);
    EXPECT_EQ(said({}), listing + "Capabilities:\nmaxlights = 8\nshadows = 1\n");
    std::cout << std::dec;
    EXPECT_EQ(said({"G_tilt", "7"}), "\n");
    EXPECT_EQ(said({"G_tilt"}), "\nValue of G_tilt: 1\n");
    EXPECT_EQ(said({"a", "1", "2"}), "CmdSetting: invalid parameters\n\n");

    Renderer renderers[2];
    for (Renderer& renderer : renderers)
        database->AddRenderer(&renderer);
    EXPECT_EQ(CaptureStdout([&] { Run("r_set P_LODscale 2\nr_set P_LODscale\nd_set P_LODscale"); }),
              "\n\n\nValue of P_LODscale: 2\n\nValue of P_LODscale: 2\n");
    RecordingDriver driver;
    driver.Declare("G", 0, 1, 1, "") = 0;
    database->AddDriver(&driver);
    EXPECT_EQ(CaptureStdout([&] { Run("d_set G 1"); }), "\n");
    EXPECT_EQ(driver.Get("G"), 1);
    EXPECT_EQ(database->SettingOwner("G"), &driver);
    EXPECT_TRUE(database->SettingOwner("P_LODscale"));
    EXPECT_FALSE(database->SettingOwner("P_LODscal"));
    command.reset();
}

}  // namespace
