// Value syntax, properties of objects, shaders, lights and the camera, use counts, settings.
#include "SceneFixture.h"

#include "renderer/Renderer.h"
#include "scene/CommandValues.h"
#include "settings/Settings.h"

namespace {

using CommandPropertyTest = SceneFixture;

TEST(CommandValues, NumbersAreReadFromCommaLists) {
    const struct {
        std::string text;
        Color color;  // missing numbers are 0, a missing alpha is 1
        float scalar;
    } cases[] = {
        {"1,0.5,0", {1, 0.5F, 0, 1}, 1},
        {"0.5", {0.5F, 0, 0, 1}, 0.5F},
        {".5,+2,x-3", {5, 2, -3, 1}, 0.5F},
        {"1,,3,0", {1, 3, 0, 1}, 1},
        {"1,2,3,", {1, 2, 3, 1}, 1},
        {"1,2,3,0", {1, 2, 3, 0}, 1},
        {"1,2,3,4,5", {1, 2, 3, 4}, 1},
        {"1e2x,0x10,-1e-2", {100, 16, -0.01F, 1}, 100},
        {"-,-inf,-nan,1", {0, 0, 0, 1}, 0},
        {"1e999,-1e999,1e39,0", {0, 0, 0, 0}, 0},
        {"inf,nan,infinity", {0, 0, 0, 1}, 0},
        {"nan", {0, 0, 0, 1}, 0},
        {"", {0, 0, 0, 1}, 0},
        {std::string("2\0,3", 4), {2, 3, 0, 1}, 2},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(ParseColor(test.text), test.color) << test.text;
        EXPECT_EQ(ParseVector(test.text), (vec3{test.color.r, test.color.g, test.color.b}))
            << test.text;
        EXPECT_EQ(ParseScalar(test.text), test.scalar) << test.text;
    }
    std::size_t position = 0;
    float number = 7;
    EXPECT_TRUE(ParseNumber("a1b,c", position, number));
    EXPECT_EQ(position, 3U);
    EXPECT_FALSE(ParseNumber("a1b,c", position, number));
    EXPECT_EQ(number, 0);
    EXPECT_EQ(position, 5U);
}

TEST(CommandValues, BooleansAndKeywords) {
    for (const char* yes : {"yes", "Yup", "true", "True", "1", "1.5", "t"}) {
        EXPECT_TRUE(ParseBool(yes)) << yes;
    }
    for (const char* no : {"", "no", "on", "0", "2", "-1", " 1"}) {
        EXPECT_FALSE(ParseBool(no)) << no;
    }
    const auto errors = CaptureStderr([] {
        EXPECT_TRUE(ParseBlendFunc("subtract") == 7 && ParseBlendFunc("xor") == 8);
        EXPECT_TRUE(ParseRenderFunc("wireshadow") == 4 && ParseRenderFunc("Solid") == 6);
        EXPECT_TRUE(ParseTestFunc("always") == 0 && ParseTestFunc("1") == 0);
        EXPECT_TRUE(ParseTestFunc("never") == 1 && ParseTestFunc("0") == 1);
        EXPECT_TRUE(ParseTestFunc("lt") == 2 && ParseTestFunc("<") == 2);
        EXPECT_TRUE(ParseTestFunc("gt") == 3 && ParseTestFunc(">") == 3 && ParseTestFunc("") == 4);
        EXPECT_TRUE(ParseFaces("all") == 2 && ParseFaces("both") == 3);
        EXPECT_TRUE(ParseShaderPass("shadow") == 2 && ParseShaderPass("glow") == 4);
    });
    EXPECT_EQ(errors,
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
    } cases[] = {{"visible no", false},   {"shadow 0", false},     {"active False", true},
                 {"billboard yes", true}, {"up 1,0", true},        {"point ,0,0,-1", true},
                 {"shade base", false},   {"clear shadow", false}, {"pop light", false}};
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
    EXPECT_TRUE(parent->billboard && !parent->visible && !parent->shadow && !parent->active);
    EXPECT_TRUE(parent->up == (vec3{1, 0, 0}) && parent->point == (vec3{0, 0, -1}));
}

TEST_F(CommandPropertyTest, ShadersAreCopiedIntoLists) {
    Run("room r\nobject a\nshader new\nshader set color 1,0,0\nset shade base\n"
        "shader set color 0.5\nset shade base");
    const auto& list = At("r", "a")->ShaderList(PassBase);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].material.ambient, (Color{1, 0, 0, 1}));
    EXPECT_EQ(list[0].material.diffuse, (Color{1, 0, 0, 1}));
    EXPECT_EQ(list[1].material.diffuse, (Color{0.5F, 0, 0, 1}));
    Run("set pop base\nset pop light");
    EXPECT_EQ(list.size(), 1U);
    Run("set clear base\nset pop base");
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(Errors("set shade glow"), "ParseShaderPass: Unknown pass glow\n");
    EXPECT_EQ(At("r", "a")->ShaderList(PassCount).size(), 1U);

    Run("shader set faces back\nshader set atest >\nshader new");
    EXPECT_EQ(command->CurrentShader().faces, FacesFront);
    EXPECT_EQ(command->CurrentShader().material, Material{});
}

TEST_F(CommandPropertyTest, EveryUserOfAResourceIsCounted) {
    const std::string mesh = Mesh("m");
    const std::string other = Mesh("n", 2);
    const std::string image = Image("t");
    Run("room r\nobject a\nset mesh " + mesh + "\nset mesh " + mesh);
    GeoImage* loaded = At("r", "a")->mesh;
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(database->ResourceName(loaded), mesh);
    EXPECT_EQ(
        Errors("set mesh /none\nshader set mesh /none\nshader set texture /none").substr(0, 9),
        "GeoImage:");
    EXPECT_EQ(At("r", "a")->mesh, loaded);
    Run("set mesh " + other + "\nset mesh -\nset mesh -");
    EXPECT_EQ(At("r", "a")->mesh, nullptr);
    EXPECT_EQ(database->ResourceName(loaded), "null://");

    Run("set mesh " + mesh + "\nshader set mesh " + mesh + "\nshader set mesh " + mesh +
        "\nshader set texture " + image + "\nshader set texture " + image +
        "\nset shade base\nset shade base\nset shade light\nset pop base\nset clear light\n"
        "light set l shade add\nlight set l shade add\nlight set l shade pop\n"
        "room s\nobject x/y\nset shade blend\nset mesh " +
        other +
        "\nlight set l shade add\nmove x s r\ndelete r x/y\n"
        "shader set mesh -\nshader set texture -\nshader set texture " +
        image);
    EXPECT_EQ(End(), "") << "a clean end reports no leak";
}

TEST_F(CommandPropertyTest, ALightDeletedByNameKeepsItsReferences) {
    const std::string mesh = Mesh("m");
    Run("room r\nshader set mesh " + mesh +
        "\nlight set a shade add\nlight set a shade add\n"
        "light set b shade add\nlight set b shade clear\nlight delete a\nlight delete r b");
    EXPECT_TRUE(command->GetRoom("r")->lights.empty());
    const std::string report = End();
    EXPECT_TRUE(report.starts_with("Memory leak detected - mesh resource 0x")) << report;
    EXPECT_TRUE(report.ends_with(" has 2 references!\n")) << report;
}

TEST_F(CommandPropertyTest, LightsAmbientAndCamera) {
    Run("room r\nlight ambient 0.2,0.2,0.2\nlight ambient q 1,2,3,4\nlight set r2 l pos 0,10,-inf\n"
        "light set l color 1,1,0\nlight set l focus 1e999");
    EXPECT_EQ(command->GetRoom("r")->ambient, (Color{0.2F, 0.2F, 0.2F, 1}));
    EXPECT_EQ(command->GetRoom("q")->ambient, (Color{1, 2, 3, 4}));
    EXPECT_EQ(command->GetRoom("r2")->GetLight("l")->pos, (vec3{0, 10, 0}));
    EXPECT_EQ(command->GetRoom("r")->GetLight("l")->color, (Color{1, 1, 0, 1}));
    EXPECT_EQ(command->GetRoom("r")->GetLight("l")->focus, 0);
    EXPECT_EQ(Errors("light set l shade twice\nlight set l hue 1"),
              "light set shade: unknown command twice\n"
              "Command::SetLight: unknown property hue\n");

    Run("camera fov 45\ncamera lookat 4,5");
    EXPECT_TRUE(command->TakeCameraChanged());
    EXPECT_FALSE(command->TakeCameraChanged());
    EXPECT_EQ(command->GetCamera().fov, 45);
    EXPECT_EQ(command->GetCamera().lookat, (vec3{4, 5, 0}));
}

TEST(CmdSetting, ListsShowsAndChanges) {
    Settings settings;
    settings.Declare("G", 0, 0, 0, "A group");
    settings.Declare("G_size", 0, 1048576, 128, "Size") = 1048576;
    settings.Declare("G_tilt", -1, 1, 0.01F, "Tilt") = 0.1F;
    const auto out = [&](const Words& words) {
        return CaptureStdout([&] { CmdSetting(settings, words); });
    };
    std::cout << std::hex;
    const std::string listing =
        "\nAll available settings:\nG: A group\nG_size: Size = 1.04858e+06(0:1.04858e+06)\n"
        "G_tilt: Tilt = 0.1(-1:1)\n";
    EXPECT_EQ(out({}), listing);
    settings.SetCapability("shadows", 1);
    settings.SetCapability("maxlights", 8);
    EXPECT_EQ(out({}), listing + "Capabilities:\nmaxlights = 8\nshadows = 1\n");
    std::cout << std::dec;
    EXPECT_EQ(out({"G_tilt"}), "\nValue of G_tilt: 0.1\n");
    EXPECT_EQ(out({"G_tilt", "7"}), "\n");
    EXPECT_EQ(settings.Get("G_tilt"), 1);
    EXPECT_EQ(out({"none", "1"}), "\n");
    EXPECT_EQ(CaptureStderr([&] {
                  EXPECT_EQ(out({"a", "1", "2"}), "\n");
              }),
              "CmdSetting: invalid parameters\n");
    EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(out({"none"}), "\nValue of none: 0\n"); }),
              "*** Attempt to read nonexistent setting none\n");
}

TEST_F(CommandPropertyTest, SettingsReachEveryRenderer) {
    Renderer first;
    Renderer second;
    database->AddRenderer(&first);
    database->AddRenderer(&second);
    EXPECT_EQ(CaptureStdout([&] { Run("r_set P_LODscale 2\nr_set P_LODscale\nd_set P_LODscale"); }),
              "\n\n\nValue of P_LODscale: 2\n\nValue of P_LODscale: 2\n");
    command.reset();
}

}  // namespace
