// The user's guide against the program: its tables of keys and settings must be complete and true.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <memory>
#include <sstream>
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
