// The user's guide against the program: its tables of keys and settings must be complete and true.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "app/KeyBindings.h"
#include "drivers/Driver.h"
#include "drivers/DriverFactory.h"
#include "renderer/Renderer.h"
#include "settings/Settings.h"

namespace {

using Row = std::vector<std::string>;

std::string Trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos ? ""
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Rows of the tables between a heading line and the next heading, without their two head lines.
std::vector<Row> TableUnder(const std::string& heading) {
    std::ifstream guide("docs/guide.md");
    std::vector<Row> rows;
    bool inside = false;
    for (std::string line; std::getline(guide, line);) {
        if (line.starts_with("#")) inside = line.starts_with(heading);
        if (!inside || !line.starts_with("|")) continue;
        Row row;
        std::istringstream cells(line.substr(1));
        for (std::string cell; std::getline(cells, cell, '|');)
            row.push_back(Trimmed(cell));
        rows.push_back(row);
    }
    if (rows.size() >= 2) rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}

void ExpectSettings(const std::string& heading, const Settings& settings,
                    const std::string& prefix) {
    std::set<std::string> documented;
    for (const Row& row : TableUnder(heading)) {
        ASSERT_EQ(row.size(), 5U) << heading;
        const std::string name = row[0].substr(1, row[0].size() - 2);
        documented.insert(name);
        const SettingRecord record = settings.GetRecord(name);
        EXPECT_FLOAT_EQ(record.min, std::stof(row[1])) << name;
        EXPECT_FLOAT_EQ(record.max, std::stof(row[2])) << name;
        EXPECT_FLOAT_EQ(record.value, std::stof(row[3])) << name;
    }
    for (const auto& [name, record] : settings.ListSettings()) {
        if (record.min == record.max || !name.starts_with(prefix)) continue;
        EXPECT_TRUE(documented.contains(name)) << name << " is missing under " << heading;
    }
}

// Names of the keys in a cell such as "`Escape`, `q`"; the backtick stands between double ones.
std::vector<std::string> KeyNames(const std::string& cell) {
    if (cell == "`` ` ``") return {"`"};
    std::vector<std::string> names;
    for (std::size_t begin = cell.find('`'); begin != std::string::npos;) {
        const std::size_t end = cell.find('`', begin + 1);
        names.push_back(cell.substr(begin + 1, end - begin - 1));
        begin = cell.find('`', end + 1);
    }
    return names;
}

std::string KeyName(char key) {
    if (key == 27) return "Escape";
    return key == ' ' ? "Space" : std::string(1, key);
}

}  // namespace

TEST(Guide, ListsEveryKeyAsTheProgramDescribesIt) {
    std::map<std::string, std::string> documented;
    for (const Row& row : TableUnder("## Keys")) {
        ASSERT_EQ(row.size(), 2U);
        for (const std::string& name : KeyNames(row[0]))
            documented[name] = row[1];
    }
    std::map<std::string, std::string> bound;
    for (const KeyBinding& binding : KeyBindings())
        bound[KeyName(binding.key)] = binding.help;
    EXPECT_EQ(documented, bound);
}

TEST(Guide, ListsEverySettingWithItsRangeAndFirstValue) {
    ExpectSettings("### The renderer", Renderer(), "");
    const std::unique_ptr<Driver> driver(DriverFactory::Create("GL", nullptr));
    ASSERT_NE(driver, nullptr);
    ExpectSettings("### Every driver", *driver, "D_");
    ExpectSettings("### The OpenGL driver", *driver, "GL_");
}
