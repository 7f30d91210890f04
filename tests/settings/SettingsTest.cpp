// Declared settings: clamping, conversion, order and persistence.
#include "settings/Settings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "settings/Registry.h"
#include "support/TempFile.h"

namespace {

TEST(Settings, ClampsTogglesAndConverts) {
    Settings settings;
    settings.Declare("D", 0, 0, 0, "group") = 0;
    settings.Declare("D_x", 0, 2, 0.01F, "x") = 1;
    EXPECT_TRUE(settings.Declares("D_x") && !settings.Declares("D_"));
    const SettingRecord none = settings.GetRecord("D_");
    EXPECT_TRUE(none.min == 0 && none.max == 0 && none.step == 0 && none.value == 0);
    EXPECT_EQ(settings.Set("D_x", 2.01F), 2);
    EXPECT_EQ(settings.Set("D_x", -1), 0);
    EXPECT_TRUE(std::isnan(settings.Set("D_x", NAN)));
    EXPECT_EQ(settings.GetInt("D_x"), 0);
    EXPECT_EQ(settings.Set("D", 3), 0);
    EXPECT_EQ(settings.Set("D", NAN), 0);
    settings.Set("D_x", 0.3F);
    EXPECT_TRUE(settings.Toggle("D_x") && settings.Get("D_x") == 1);
    settings.Set("D_x", 0.7F);
    EXPECT_FALSE(settings.Toggle("D_x"));
    float& wide = settings.Declare("D_wide", -1e30F, 1e30F, 1, "wide");
    for (const auto& [value, integer] : {std::pair{3.5F, 4},
                                         {-0.7F, 0},
                                         {-1.6F, -1},
                                         {0.49999997F, 0},
                                         {1e30F, 2147483647},
                                         {-1e30F, -2147483647 - 1}}) {
        wide = value;
        EXPECT_EQ(settings.GetInt("D_wide"), integer) << value;
    }
    settings.Declare("D_x", 0, 9, 1, "again");
    EXPECT_EQ(settings.Set("D_x", 8), 8);
    EXPECT_EQ(settings.GetDescription("D_x"), "again");
}

TEST(Settings, PersistThroughTheRegistryInByteOrderAndClampWhatItHolds) {
    const TempDir dir;
    Settings settings;
    for (const char* name : {"GL_shadows", "D_wireframe", "GL_shadow_method", "D_offset", "D"})
        settings.Declare(name, 0, 2, 1, "") = 0.01F;
    Registry registry(dir.File("r"));
    settings.SaveTo(registry);
    EXPECT_EQ(registry.GetString("setting/GL_shadow_method"), "0.00999999977648");
    settings.Set("D_wireframe", 2);
    registry.SetString("setting/GL_shadows", "100");
    registry.SetString("setting/D", "word");
    registry.SetString("setting/other", "1");
    settings.Declare("late", 0, 2, 1, "") = 1;
    settings.LoadFrom(registry);
    EXPECT_EQ(settings.Get("late"), 1);
    EXPECT_EQ(settings.Get("D_wireframe"), 0.01F);
    EXPECT_EQ(settings.Get("GL_shadows"), 2);
    EXPECT_EQ(settings.Get("D"), 0);
    EXPECT_EQ(settings.ListSettings().size(), 6U);
}

}  // namespace
