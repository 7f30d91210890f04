// The user's guide against the program: its tables of keys and settings must be complete and true,
// its commands must do what it says; man pages name every option.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "app/KeyBindings.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"
#include "scene/Command.h"
#include "scene/Camera.h"
#include "scene/Room.h"
#include "scene/SceneDatabase.h"
#include "scene/SceneFile.h"
#include "settings/Registry.h"
#include "settings/Settings.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

// The lines under a heading that begin so.
std::vector<std::string> LinesUnder(const std::string& heading, const std::string& start) {
    std::ifstream guide("docs/guide.md");
    std::vector<std::string> lines;
    bool inside = false;
    for (std::string line; std::getline(guide, line);) {
        if (line.starts_with("#")) inside = line.starts_with(heading);
        if (inside && line.starts_with(start)) lines.push_back(line);
    }
    return lines;
}

// The rows of the table under a heading, without their two head lines.
std::vector<std::string> RowsUnder(const std::string& heading) {
    return LinesUnder(heading, "| `");
}

void ExpectSettings(const std::string& heading, const Settings& settings,
                    const std::string& prefix) {
    const std::vector<std::string> rows = RowsUnder(heading);
    std::size_t count = 0;
    for (const auto& [name, record] : settings.ListSettings()) {
        if (record.min == record.max || !name.starts_with(prefix)) continue;
        std::ostringstream row;
        row << std::setprecision(8) << "| `" << name << "` | " << record.min << " | " << record.max
            << " | " << record.value << " | ";
        const auto fits = [&](const std::string& is) { return is.starts_with(row.str()); };
        EXPECT_TRUE(std::ranges::any_of(rows, fits)) << row.str() << heading;
        ++count;
    }
    EXPECT_EQ(count, rows.size()) << heading;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

}  // namespace

TEST(Guide, ListsEveryKeyInItsOrder) {
    std::string keys;
    for (const std::string& row : RowsUnder("## Keys"))
        keys += row.substr(2, row.find(" |", 2) - 2) + ", ";
    std::string bound;
    for (const auto& [key, action] : KeyBindings()) {
        const std::string name = key == 27 ? "Escape" : key == ' ' ? "Space" : std::string(1, key);
        bound += key == '`' ? "`` ` ``, " : "`" + name + "`, ";
    }
    EXPECT_EQ(keys, bound);
}

TEST(Guide, ListsEverySettingWithItsRangeAndFirstValue) {
    ExpectSettings("### The renderer", Renderer(), "");
    const std::unique_ptr<Driver> driver(DriverFactory::Create("GL", nullptr));
    ASSERT_NE(driver, nullptr);
    ExpectSettings("### Every driver", *driver, "D_");
    ExpectSettings("### The OpenGL driver", *driver, "GL_");
}

TEST(Guide, ImportsAsItsCommandsSay) {
    const TempDir folder;
    const std::string tools = "PATH='" PALLIX_TOOLS "':$PATH; ";
    std::string shown;
    for (std::string line : LinesUnder("## Bring your own model", "    ")) {
        line = Replaced(line.substr(4), "/tmp", folder.Path());
        if (line.starts_with("./run ")) {
            shown = line.substr(6);
        } else {
            const std::string said = folder.File("said");
            EXPECT_EQ(std::system((tools + line + " >>" + said + ".out 2>>" + said).c_str()), 0);
            EXPECT_EQ(folder.Read("said"), "") << line;
        }
    }
    // What the program would show: every part found beside the scene, though the folder has moved.
    Registry registry(folder.File("registry"));
    Camera camera;
    Room* room = nullptr;
    std::string record;
    SceneDatabase database;
    Command command(&database);
    EXPECT_EQ(CaptureStderr([&] {
                  ASSERT_TRUE(LoadRoom(shown, {command, registry, camera, room, record}));
              }),
              "");
    for (const char* model : {"pot", "ring"}) {
        Object* parent = room->Child(model);
        ASSERT_NE(parent, nullptr);
        EXPECT_EQ(parent->children.size(), model == std::string("pot") ? 4U : 1U);
    }
    const std::string table = folder.Read("said.out");
    for (const char* kind : {" square ", " annulus ", " torus "})
        EXPECT_NE(table.find(kind), std::string::npos) << table;
}

TEST(ManPages, NameEveryOptionOfTheirTool) {
    for (const std::string tool : {"pallix-import", "pallix-export"}) {
        const TempDir folder;
        const std::string help = PALLIX_TOOLS "/" + tool + " --help >" + folder.File("help");
        ASSERT_EQ(std::system(help.c_str()), 0);
        const std::string text = folder.Read("help");
        std::ifstream file("docs/" + tool + ".1");
        const std::string page{std::istreambuf_iterator<char>(file), {}};
        // Option lines begin with two blanks; what follows the last name's dashes is its text.
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const std::string names = line.starts_with("  -") ? line.substr(2) : "";
            const std::size_t at = names.substr(0, names.find(' ')).find("--");
            if (at == std::string::npos) continue;
            const std::size_t end = names.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
            const std::string escaped = Replaced(names.substr(at, end - at), "-", "\\-");
            EXPECT_NE(page.find(escaped), std::string::npos) << tool << ' ' << escaped;
        }
    }
}
