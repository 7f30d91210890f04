// Emission: its exact text, emit and load as inverses, and files that cannot be written.
#include "SceneFixture.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <random>

namespace {

const std::string kCamera =
    "camera pos 0,0,0\ncamera lookat 0,0,-1\ncamera up 0,1,0\ncamera fov 60\n"
    "camera hith 0.1\ncamera yon 1e+06\n";

class EmitTest : public SceneFixture {
protected:
    std::string Emit(const std::string& name = "out") {
        const std::string path = dir.File(name);
        EXPECT_EQ(Errors("emit " + path), "Saving scene to file " + path + "...Done.\n");
        return dir.Read(name);
    }
};

TEST_F(EmitTest, LeavesDefaultsOut) {
    EXPECT_EQ(Emit(), kCamera);
    const std::string resources =
        "shader set mesh " + Mesh("mesh") + "\nshader set texture " + Image("image") + '\n';
    const std::string scene =
        "camera pos 1e-07,-0,1.23457e+08\n" + kCamera.substr(kCamera.find('\n') + 1) +
        "room r\nlight ambient 0,0,0,1\n\n"
        "light set k pos 0,0,0\nlight set k pointat 1,0,0\nlight set k active 0\n"
        "light set k shadows 0\nlight set k color 1,0,0,1\nlight set k falloff 1,1,1\n"
        "light set k ambient 0,0,0,1\nlight set k angle 45\nlight set k focus 2\n"
        "light set k shadowlen 9\nlight set k global 0,0,0,1\n"
        "shader new\nshader set color 1,0,0,1\nlight set k shade add\n\n"
        "light set l pos 1,2,3\n\n"
        "object a\nset pos 0,0,0\nset up 0,1,0\nset point 0,0,1\nset visible 0\n"
        "set active 0\nset shadow 0\nset billboard 1\n"
        "shader new\n" +
        resources +
        "shader set color 0,0,1,1\nshader set ambient 0,1,0,1\nshader set specular 0,0,0,1\n"
        "shader set shininess 5\nshader set emission 1,1,1,1\nshader set blend add\n"
        "shader set rmode shell\nshader set atest 0\nshader set athresh 0.25\n"
        "shader set thick 2\nshader set smooth 0\nshader set depth 0\nset shade base\n"
        "shader new\n" +
        resources +
        "shader set lit 0\nshader set atest <\nset shade light\n"
        "shader new\nshader set color 1,0,0,1\nset shade blend\n"
        "shader new\nshader set blend unknown-8\nshader set rmode unknown-6\n"
        "shader set atest unknown-4\nset shade unknown-4\n\n"
        "object a/b\nset mesh " +
        dir.File("mesh") +
        "\nset pos 0,0,0\nset up 0,1,0\nset point 0,0,1\n\n"
        "object a/c\nset pos 0,0,0\nset up 0,1,0\nset point 0,0,1\n\n"
        "room s\nlight ambient 0.1,0.2,0.3,1\n\n";
    const std::string errors = Errors(scene);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 4) << "the unknown words";
    // What is default again, what an unlit shader does not show, faces and the mesh of a room are
    // not written.
    Run("set mesh " + dir.File("mesh") +
        "\nset visible 0\nroom r\nlight set l active 1\nlight set l angle 180\nobject a\n"
        "set pop blend\nset pop shadow\nset shade shadow\nset clear shadow\nshader new\n"
        "shader set diffuse 1,0,0\nshader set faces all\nset shade blend\nset pop light\n"
        "shader new\n" +
        resources +
        "shader set lit 0\nshader set specular 1,0,0\n"
        "shader set atest lt\nset shade light");
    EXPECT_EQ(Emit(), scene);
}

// %n is a number, %b a boolean, %m a mesh, %t a texture.
constexpr std::string_view kLines =
    "room r1;room r/2;object a;object b;object a/b;object a/b/c;set pos %n,%n,%n;"
    "set up %n,%n;set point %n,%n,%n;set visible %b;set active %b;set shadow %b;"
    "set billboard %b;set mesh %m;set shade base;set shade light;set shade shadow;"
    "set shade blend;set pop base;shader new;shader set mesh %m;shader set texture %t;"
    "shader set color %n,%n,%n;shader set ambient %n,1,1;shader set diffuse %n,%n,%n,%n;"
    "shader set specular 1,%n;shader set emission %n,0,0,%n;shader set shininess %n;"
    "shader set athresh %n;shader set thick %n;shader set lit %b;shader set smooth %b;"
    "shader set depth %b;shader set blend haze;shader set rmode wire;shader set atest gt;"
    "shader set atest never;light ambient %n,%n,%n;light set l pos %n,%n;"
    "light set k angle %n;light set l color %n,%n,%n,%n;light set k falloff %n,%n,%n;"
    "light set k focus %n;light set l ambient %n,0,0,0;light set l global %n,0,0,0;"
    "light set l shadowlen %n;light set l active %b;light set k shade add;"
    "camera pos %n,%n,%n;camera fov %n";

std::string RandomScene(std::mt19937& random, const std::string& mesh, const std::string& image) {
    std::string scene = "room r\n";
    for (int i = 0; i < 300; ++i) {
        const std::size_t begin = kLines.rfind(';', random() % kLines.size()) + 1;
        std::string line(kLines.substr(begin, kLines.find(';', begin) - begin));
        for (std::size_t at; (at = line.find('%')) != line.npos;) {
            const double value = std::uniform_real_distribution(-1000.0, 1000.0)(random);
            const std::string number[] = {"0", "1", "1e-30", std::to_string(value)};
            const char kind = line[at + 1];
            line.replace(at, 2,
                         kind == 'm'   ? mesh
                         : kind == 't' ? image
                                       : number[random() % (kind == 'b' ? 2 : 4)]);
        }
        scene += line + '\n';
    }
    return scene;
}

TEST_F(EmitTest, LoadingWhatWasEmittedEmitsTheSame) {
    const std::string mesh = Mesh("mesh");
    const std::string image = Image("image");
    std::mt19937 random(1);
    for (int round = 0; round < 20; ++round) {
        command = std::make_unique<Command>(database.get());
        Run(RandomScene(random, mesh, image));
        const std::string first = Emit();
        command = std::make_unique<Command>(database.get());
        Run(first);
        EXPECT_EQ(Emit("again"), first) << "round " << round;
    }
}

TEST_F(EmitTest, FilesThatCannotBeWrittenAreLeftAlone) {
    Run("room r");
    const std::string fifo = dir.File("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path :
         {dir.Path(), fifo, dir.File("no/out"), std::string("/dev/null")}) {
        EXPECT_EQ(Errors("emit " + path), "emit: Could not open file " + path + " for writing");
    }
    EXPECT_EQ(dir.Count(), 1);

    // A limit that the messages fit in but the scene does not.
    Run("object a\nobject b\nobject c");
    const std::string text = Emit();
    const std::string link = dir.File("link");
    std::filesystem::create_symlink("out", link);
    const auto emitWithoutRoom = [&] {
        EXPECT_EQ(CaptureStderr(
                      [&] { WithFileSizeLimit(text.size() - 1, [&] { Run("emit " + link); }); }),
                  "Saving scene to file " + link + "...\nemit: Could not write file " + link +
                      ": File too large\n");
        EXPECT_EQ(dir.Read("out"), text);
    };
    emitWithoutRoom();
    EXPECT_EQ(dir.Count(), 3) << "the old file, the link and the pipe";
    // A file of two names is written in place.
    std::filesystem::create_hard_link(dir.File("out"), dir.File("twin"));
    Run("object d");
    emitWithoutRoom();
}

TEST_F(EmitTest, ReplacesTheFileThatALinkNamesAndKeepsItsMode) {
    Run("room r");
    const std::string file = dir.Write("file", "old");
    std::filesystem::permissions(file, std::filesystem::perms{0606});
    std::filesystem::create_symlink("file", dir.File("link"));
    const std::string text = Emit("link");
    EXPECT_EQ(dir.Read("file"), text);
    EXPECT_TRUE(std::filesystem::is_symlink(dir.File("link")));
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0606});
    std::filesystem::create_hard_link(file, dir.File("twin"));
    Run("room q");
    EXPECT_NE(Emit("file"), text);
    EXPECT_EQ(dir.Read("twin"), dir.Read("file"));
    std::filesystem::create_symlink("later", dir.File("dangling"));
    EXPECT_EQ(Emit("dangling"), dir.Read("file"));
    EXPECT_EQ(dir.Read("later"), dir.Read("file"));
}

}  // namespace
