// Declared settings: clamping, conversion, order and persistence.
#include "settings/Settings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "settings/Registry.h"
#include "support/Capture.h"
#include "support/TempFile.h"

namespace {

TEST(Settings, ClampsTogglesAndConverts) {
    Settings settings;
    settings.Declare("D", 0, 0, 0, "group") = 0;
    settings.Declare("D_x", 0, 2, 0.01F, "x") = 1;
    EXPECT_EQ(settings.Set("D_x", 5), 2);
    EXPECT_EQ(settings.Set("D_x", -1), 0);
    EXPECT_EQ(settings.GetRecord("D_x").step, 0.01F);
    EXPECT_TRUE(std::isnan(settings.Set("D_x", NAN)));
    EXPECT_EQ(settings.GetInt("D_x"), 0);
    EXPECT_EQ(settings.Set("D", 3), 0);
    EXPECT_EQ(settings.Set("D", NAN), 0);
    settings.Set("D_x", 0.3F);
    EXPECT_TRUE(settings.Toggle("D_x"));
    settings.Set("D_x", 0.7F);
    EXPECT_FALSE(settings.Toggle("D_x"));
    float& wide = settings.Declare("D_wide", -1e30F, 1e30F, 1, "wide");
    for (const auto& [value, integer] : {std::pair{3.5F, 4},
                                         {3.49F, 3},
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

TEST(Settings, ReportsUndeclaredNamesOnReadOnly) {
    Settings settings;
    EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(settings.Get("GL_mblur%s"), 0); }),
              "*** Attempt to read nonexistent setting GL_mblur%s\n");
    EXPECT_EQ(CaptureStderr([&] { EXPECT_EQ(settings.Set("x", 1), 0); }), "");
    EXPECT_EQ(CaptureStderr([&] { EXPECT_FALSE(settings.Toggle("x")); }),
              "*** Attempt to read nonexistent setting x\n");
    EXPECT_EQ(settings.GetRecord("x").max, 0);
    EXPECT_EQ(settings.GetDescription("x"), "(unknown)");
    EXPECT_TRUE(settings.ListSettings().empty());
    EXPECT_EQ(settings.GetCapability("maxlights"), 0);
    settings.SetCapability("maxlights", 8);
    EXPECT_TRUE(settings.HasCapability("maxlights"));
    EXPECT_EQ(settings.GetCapability("maxlights"), 8);
}

TEST(Settings, ListsHeadersBeforeTheirGroupsInByteOrder) {
    Settings settings;
    for (const char* name :
         {"GL_shadows", "D_wireframe", "GL_shadow_method", "D_shadowoffset", "D"}) {
        settings.Declare(name, 0, 1, 1, "");
    }
    std::string order;
    for (const auto& [name, record] : settings.ListSettings())
        order += name + " ";
    EXPECT_EQ(order, "D D_shadowoffset D_wireframe GL_shadow_method GL_shadows ");
}

TEST(Settings, PersistsThroughTheRegistryAndClampsWhatItHolds) {
    const TempDir dir;
    Registry registry(dir.File("r"));
    Settings settings;
    settings.Declare("P", 0, 0, 0, "group") = 0;
    settings.Declare("P_a", 0, 2, 0.01F, "") = 0.01F;
    settings.Declare("P_b", 1, 16, 1, "") = 4;
    settings.Declare("P_c", 0, 1, 1, "") = 1;
    settings.SaveTo(registry);
    EXPECT_EQ(registry.GetString("setting/P"), "0");
    EXPECT_EQ(registry.GetString("setting/P_a"), "0.00999999977648");
    settings.Set("P_a", 2);
    registry.SetString("setting/P_b", "100");
    registry.SetString("setting/P_c", "word");
    registry.SetString("setting/P_other", "1");
    settings.LoadFrom(registry);
    EXPECT_EQ(settings.Get("P_a"), 0.01F);
    EXPECT_EQ(settings.Get("P_b"), 16);
    EXPECT_EQ(settings.Get("P_c"), 0);
    EXPECT_EQ(settings.ListSettings().size(), 4U);
}

}  // namespace
