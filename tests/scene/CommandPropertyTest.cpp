// Value syntax, properties of objects, shaders and the camera, use counts, settings.
#include "SceneFixture.h"

#include "renderer/Renderer.h"
#include "scene/CommandValues.h"
#include "settings/Settings.h"
#include "support/RecordingDriver.h"

namespace {

using CommandPropertyTest = SceneFixture;

TEST(CommandValues, NumbersAreReadFromCommaLists) {
    const struct {
        std::string text;
        Color color;  // missing numbers are 0, a missing alpha is 1
        float scalar;
    } cases[] = {
        {"1,0.5,0", {1, 0.5F, 0, 1}, 1},
        {".5,+2,x-3", {5, 2, -3, 1}, 0.5F},
        {"1,,3,0", {1, 3, 0, 1}, 1},
        {"1,2,3,", {1, 2, 3, 1}, 1},
        {"1,2,3,4,5", {1, 2, 3, 4}, 1},
        {"1e2x,0x10,-1e-2,0", {100, 16, -0.01F, 0}, 100},
        {"-,-inf,-nan,1", {0, 0, 0, 1}, 0},
        {"1e999,-1e999,1e39,0", {0, 0, 0, 0}, 0},
        {"nan,inf,infinity", {0, 0, 0, 1}, 0},
        {"", {0, 0, 0, 1}, 0},
        {std::string("2\0,3", 4), {2, 3, 0, 1}, 2},
    };
    for (const auto& [text, color, scalar] : cases) {
        EXPECT_EQ(ParseColor(text), color) << text;
        EXPECT_EQ(ParseVector(text), (vec3{color.r, color.g, color.b})) << text;
        EXPECT_EQ(ParseScalar(text), scalar) << text;
    }
}

TEST(CommandValues, BooleansAndKeywords) {
    for (const char* yes : {"yes", "Yup", "true", "True", "1.5"})
        EXPECT_TRUE(ParseBool(yes)) << yes;
    for (const char* no : {"", "no", "on", "0", "2", "-1", " 1"})
        EXPECT_FALSE(ParseBool(no)) << no;
    int next = 0;
    for (const char* word :
         {"opaque", "replace", "add", "blend", "mul", "haze", "filter", "subtract"})
        EXPECT_EQ(ParseBlendFunc(word), next++);
    next = 0;
    for (const char* word : {"solid", "wire", "outline", "shadow", "wireshadow", "shell"})
        EXPECT_EQ(ParseRenderFunc(word), next++);
    EXPECT_TRUE(ParseTestFunc("always") == TestAlways && ParseTestFunc("1") == TestAlways);
    EXPECT_TRUE(ParseTestFunc("never") == TestNever && ParseTestFunc(">") == TestGreater);
    EXPECT_TRUE(ParseFaces("all") == FacesAll && ParseFaces("back") == FacesBack);
    EXPECT_EQ(CaptureStderr([] {
                  EXPECT_EQ(ParseBlendFunc("xor"), BlendCount);
                  EXPECT_EQ(ParseRenderFunc("Solid"), RenderCount);
                  EXPECT_EQ(ParseTestFunc(""), TestCount);
                  EXPECT_EQ(ParseFaces("both"), FacesCount);
                  EXPECT_EQ(ParseShaderPass("glow"), PassCount);
              }),
              "ParseBlendFunc: Unknown blend function xor\n"
              "ParseRenderFunc: Unknown render function Solid\n"
              "ParseTestFunc: Unknown test function \n"
              "ParseFaces: Unknown face culling both\n"
              "ParseShaderPass: Unknown pass glow\n");
}

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
}

TEST_F(CommandPropertyTest, EveryUserOfAResourceIsCounted) {
    const std::string mesh = Mesh("m");
    const std::string other = Mesh("n", 2);
    const std::string image = Image("t");
    Run("room r\nobject a\nset mesh " + mesh + "\nset mesh " + mesh);
    GeoImage* loaded = At("r", "a")->mesh;
    EXPECT_EQ(database->ResourceName(loaded), mesh);
    EXPECT_TRUE(Errors("set mesh /none\nshader set mesh /none\nshader set texture /none")
                    .starts_with("GeoImage:"));
    EXPECT_EQ(At("r", "a")->mesh, loaded);
    Run("set mesh " + other + "\nset mesh -\nset mesh -");
    EXPECT_EQ(At("r", "a")->mesh, nullptr);

    const std::string set =
        "set mesh " + mesh + "\nshader set mesh " + mesh + "\nshader set texture " + image + '\n';
    Run(set + set +
        "set shade base\nset shade base\nset shade light\nset pop base\nset clear light\n"
        "light set l shade add\nlight set l shade add\nlight set l shade pop\n"
        "light set m shade pop\nroom s\nobject x/y\nset shade blend\nset mesh " +
        other +
        "\nlight set l shade add\nmove x s r\ndelete r x/y\n"
        "shader set mesh -\nshader set texture -\n" +
        set);
    EXPECT_EQ(End(), "") << "a clean end reports no leak";
}

TEST_F(CommandPropertyTest, ALightDeletedByNameKeepsItsReferences) {
    Run("room r\nshader set mesh " + Mesh("m") +
        "\nlight set a shade add\nlight set a shade add\n"
        "light set b shade add\nlight set b shade clear\nlight delete a\nlight delete r b");
    EXPECT_EQ(WithoutAddresses(End()),
              "Memory leak detected - mesh resource * has 2 references!\n");
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
