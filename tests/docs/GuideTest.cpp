// The user's guide against the program: its tables of keys and settings must be complete and true.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/KeyBindings.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"
#include "settings/Settings.h"

namespace {

// The rows of the table under a heading, without their two head lines.
std::vector<std::string> RowsUnder(const std::string& heading) {
    std::ifstream guide("docs/guide.md");
    std::vector<std::string> rows;
    bool inside = false;
    for (std::string line; std::getline(guide, line);) {
        if (line.starts_with("#")) inside = line.starts_with(heading);
        if (inside && line.starts_with("| `")) rows.push_back(line);
    }
    return rows;
}

void ExpectSettings(const std::string& heading, const Settings& settings,
                    const std::string& prefix) {
    std::set<std::string> documented;
    for (const std::string& row : RowsUnder(heading)) {
        char name[64] = {};
        float min = 0;
        float max = 0;
        float value = 0;
        std::sscanf(row.c_str(), "| `%63[^`]` | %f | %f | %f |", name, &min, &max, &value);
        const SettingRecord record = settings.GetRecord(name);
        EXPECT_TRUE(record.min == min && record.max == max && record.value == value) << row;
        documented.insert(name);
    }
    for (const auto& [name, record] : settings.ListSettings()) {
        if (record.min == record.max || !name.starts_with(prefix)) continue;
        EXPECT_TRUE(documented.contains(name)) << name << " is missing under " << heading;
    }
}

std::string KeyName(char key) {
    if (key == 27) return "`Escape`";
    if (key == '`') return "`` ` ``";
    return key == ' ' ? "`Space`" : std::string{'`', key, '`'};
}

}  // namespace

TEST(Guide, ListsEveryKeyAsTheProgramDescribesIt) {
    std::vector<std::string> rows;
    std::string help;
    for (const KeyBinding& binding : KeyBindings()) {
        const std::string end = std::string(" | ") + binding.help + " |";
        if (help == binding.help) {
            rows.back().resize(rows.back().size() - end.size());
            rows.back() += ", " + KeyName(binding.key) + end;
        } else {
            rows.push_back("| " + KeyName(binding.key) + end);
        }
        help = binding.help;
    }
    EXPECT_EQ(RowsUnder("## Keys"), rows);
}

TEST(Guide, ListsEverySettingWithItsRangeAndFirstValue) {
    ExpectSettings("### The renderer", Renderer(), "");
    const std::unique_ptr<Driver> driver(DriverFactory::Create("GL", nullptr));
    ASSERT_NE(driver, nullptr);
    ExpectSettings("### Every driver", *driver, "D_");
    ExpectSettings("### The OpenGL driver", *driver, "GL_");
}
