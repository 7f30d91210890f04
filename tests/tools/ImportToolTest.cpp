// The import as a tool: its files as a scene that can be moved, its report, its refusals.
#include "MadeSurfaces.h"
#include "scene/SceneFixture.h"
#include "support/ToolRun.h"

namespace {

namespace fs = std::filesystem;

std::string Off(const Surface& soup) {
    std::ostringstream text;
    text << "OFF\n" << soup.positions.size() << ' ' << soup.triangles.size() << " 0\n";
    for (const Eigen::Vector3d& p : soup.positions)
        text << p.transpose() << '\n';
    for (const auto& [a, b, c] : soup.triangles)
        text << "3 " << a << ' ' << b << ' ' << c << '\n';
    return text.str();
}

std::string Names(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& file : fs::directory_iterator(folder))
        names.insert(file.path().filename());
    std::string text;
    for (const std::string& name : names)
        text += name + ' ';
    return text;
}

TEST_F(Scene, OfSeveralModelsStandsAloneWhereverItIsMoved) {
    const auto isTower = [](int x, int y, int z) { return x == 1 && y == 1 && z > 0 && z < 4; };
    dir.Write("#a tower.off", Off(Cubes(isTower)));
    dir.Write("ball.off", Off(SphereSoup(12, 6, 5, {9, 9, 9})));
    const ToolRun run = RunTool(dir, "pallix-import",
                                "'#a tower.off' ball.off -o out/in --name 'K\u00f6#' --size "
                                "17x9 --up z --report r.csv");
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* line : {
             "\"K\u00f6#\" is called K__\n",
             "\"#a tower\" is called a_tower\n",
         })
        EXPECT_NE(run.err.find(line), std::string::npos) << run.err;
    EXPECT_EQ(std::ranges::count(run.out, '\n'), 3) << run.out;

    fs::rename(dir.File("out/in"), dir.File("moved"));
    EXPECT_EQ(Names(dir.File("moved")), "K__ K__-00 K__-01 K__-sky K__-sky-texture ");
    command->SetSceneFolder(dir.File("moved/"));
    EXPECT_EQ(Errors(dir.Read("moved/K__")), "");
    for (const char* path : {"a_tower/K__-00", "ball/K__-01"}) {
        const Object* part = At("K__", path);
        ASSERT_TRUE(part != nullptr && part->mesh != nullptr) << path;
        EXPECT_TRUE(part->mesh->width == 17 && part->mesh->height == 9);
        const vec3 size = part->mesh->boundsMax - part->mesh->boundsMin;
        EXPECT_NEAR(size.y, 2, 0.1);
        EXPECT_NEAR(size.x, path[0] == 'a' ? 2. / 3 : 2, 0.1);
    }

    std::istringstream report(dir.Read("r.csv"));
    std::string line;
    std::getline(report, line);
    EXPECT_EQ(line,
              "model,part,triangles,genus,borders,grid,detail,columns,rows,psnr_to_grid,"
              "psnr_to_surface,largest,flipped,folded,added,caps_outside,seconds");
    for (int i = 0; i < 40; ++i) {
        ASSERT_TRUE(std::getline(report, line));
        const Words cells = Cut(line, ',');
        ASSERT_EQ(cells.size(), 17U);
        EXPECT_EQ(cells[0], i < 20 ? "a_tower" : "ball");
        EXPECT_EQ(cells[1], "K__-0" + std::to_string(i / 20));
        EXPECT_EQ(cells[2], i < 20 ? "28" : "120");
        EXPECT_NEAR(std::stod(cells[6]), 1 - i % 20 * 0.05, 1e-9);
        EXPECT_EQ(std::stoi(cells[7]), std::max(4, 17 - i % 20 * 17 / 20));
    }
    EXPECT_FALSE(std::getline(report, line));
}

TEST(ImportTool, RefusesWithOneLineAndLeavesNothing) {
    const TempDir folder;
    const std::string ball = Off(SphereSoup(8, 4, 1, {0, 0, 0}));
    folder.Write("ball.off", ball);
    folder.Write("plain", ball);
    folder.Write("text.off", "not a model");
    folder.Write("cut.off", ball.substr(0, ball.size() / 2));
    folder.Write("nan.off", "OFF\n3 1 0\n0 0 0\nnan 0 0\n0 1 0\n3 0 1 2\n");
    folder.Write("none.off", "OFF\n3 0 0\n0 0 0\n1 0 0\n0 1 0\n");
    folder.Write("flat.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n2 0 0\n3 0 1 2\n");
    folder.Write("many.off", Off(Cubes([](int x, int y, int z) {
                     return x == 1 && y % 2 == 1 && z % 2 == 1 && y < 7 && z < 3;
                 })));
    fs::create_directories(folder.File("taken/ball-00"));
    const ToolRun good = RunTool(folder, "pallix-import", "ball.off -o old --size 9");
    ASSERT_EQ(good.status, 0) << good.err;
    const std::string before = Names(folder.Path()), old = Names(folder.File("old"));
    const auto expectRefusal = [&](const std::string& words, const std::string& said) {
        const ToolRun run = RunTool(folder, "pallix-import", words);
        EXPECT_TRUE(run.IsRefusal() && run.out.empty()) << words << ": " << run.err;
        EXPECT_NE(run.err.find(said), std::string::npos) << words << ": " << run.err;
        EXPECT_EQ(Names(folder.Path()), before) << words;
        EXPECT_EQ(Names(folder.File("old")), old) << words;
    };
    std::istringstream cases(R"(missing.off, text.off, cut.off, nan.off, none.off, flat.off, .,
        -o new --size 9 ball.off missing.off, --size 9 ball.off -o text.off,
        --size 9 ball.off -o text.off/in, --size 9 ball.off -o taken, ball.off --size 8,
        --size 9 plain, --size 9 ball.off --report ball.off, --size 9 ball.off --report old/none/r.csv,
        -o old --size 9 ball.off --report old/ball, ball.off --size 9x, ball.off --size 2050, ball.off --size 9x9x9, ball.off --size 99999999999,
        ball.off --up x, ball.off --fit some, ball.off --scale 0, ball.off --scale nan,
        ball.off --error 32768, ball.off --min-part 2, ball.off --max-parts 0,
        ball.off --texture 3, ball.off --threads 0, ball.off --colour,)");
    for (std::string words; std::getline(cases >> std::ws, words, ',');)
        expectRefusal(words, words.substr(words.rfind(' ') + 1));
    expectRefusal("", "model");
    expectRefusal("-o new many.off --max-parts 2", "--max-parts");
    const std::string scene = folder.Read("old/ball");
    WithFileSizeLimit(2000, [&] {
        for (const std::string to : {"old", "new"})
            expectRefusal("ball.off --size 65 -o " + to, "could not write " + to + "/ball-00");
    });
    EXPECT_EQ(folder.Read("old/ball"), scene);
}

}  // namespace
