// The cache of display lists: what is recorded, replayed, evicted and dropped, and that none of it
// shows in the picture.
#include "GLFixture.h"

#include <array>
#include <set>

#include "settings/StatisticNames.h"

namespace {

// Accesses, hits, purges, entries, size of a frame.
using Counts = std::array<float, 5>;

constexpr int kSquareSize = 8 * 2 * 1 + 12 * 2 * 2;  // two by two points sent from arrays

class DisplayLists : public GLFixture {
protected:
    std::vector<GeoImage> m_squares = std::vector<GeoImage>(20, SquareMesh(1, -2));

    // A new context starts without any list.
    void ForgetLists() { XFree(m_driver->GetVisual()); }

    Counts FinishFrame() {
        m_driver->Finish();
        const auto count = [&](const char* name) { return Statistic(m_driver->Stats(), name); };
        return {count(stat_names::kCacheAccesses), count(stat_names::kCacheHits),
                count(stat_names::kCachePurges), count(stat_names::kCacheEntries),
                count(stat_names::kCacheSize)};
    }

    Counts Frame(const std::vector<std::size_t>& squares) {
        StartFrame();
        for (const std::size_t i : squares)
            EXPECT_TRUE(Run(m_squares[i], Unlit(kRed)));
        return FinishFrame();
    }

    void SetBudget(float maxLists, float size) {
        m_driver->Set("GL_dlistMax", maxLists);
        m_driver->Set("GL_dlistSize", size);
    }
};

TEST_F(DisplayLists, OneListServesEveryPassOfTheKey) {
    EXPECT_EQ(Frame({0, 0}), (Counts{2, 1, 0, 1, kSquareSize}));
    EXPECT_EQ(Frame({0, 1}), (Counts{2, 1, 0, 2, 2 * kSquareSize}));
    const Shader pass = Unlit(kRed);
    m_driver->RunShader(&m_squares[2], &pass, nullptr, false);
    Run(m_squares[0], Of(RenderOutline));
    EXPECT_EQ(FinishFrame()[3], 2) << "neither what is not cacheable nor an outline is kept";
}

TEST_F(DisplayLists, RandomListsMakeRoom) {
    SetBudget(2, 1024);
    for (unsigned seed = 1; seed < 5; ++seed) {
        ForgetLists();
        std::srand(seed);
        const std::size_t survivor = std::rand() % 2 == 0 ? 1 : 0;
        std::srand(seed);
        EXPECT_EQ(Frame({0, 1, 2}), (Counts{3, 0, 1, 2, 2 * kSquareSize}));
        EXPECT_EQ(Frame({survivor, 2}), (Counts{2, 2, 0, 2, 2 * kSquareSize}));
    }
}

TEST_F(DisplayLists, BudgetHoldsWhenAFrameStarts) {
    Frame({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(Frame({10, 11, 12, 13, 14, 15, 16, 17, 18, 19})[4], 20 * kSquareSize);
    SetBudget(100, 1);
    EXPECT_EQ(Frame({}), (Counts{0, 0, 0, 1024 / kSquareSize, 1024})) << "trimmed uncounted";
    SetBudget(100, 0);
    EXPECT_EQ(Frame({})[4], 1024) << "no budget, no trimming";
    ForgetLists();
    EXPECT_EQ(Frame({0, 1, 1, 2}), (Counts{4, 1, 2, 1, kSquareSize})) << "but one list at a time";
    SetBudget(0, 1024);
    m_driver->Purge(&m_squares[2]);
    EXPECT_EQ(Frame({0, 0}), (Counts{2, 1, 0, 1, kSquareSize})) << "a name in stock is used";
}

TEST_F(DisplayLists, PurgeDropsTheListsOfOneMesh) {
    SetBudget(5, 1024);
    m_driver->Set("GL_dlistShadows", 1);
    Frame({1});
    for (int round = 0; round < 2; ++round) {
        StartFrame();
        for (const Shader& pass :
             {Of(RenderSolid), Of(RenderShell, 0.1F), Of(RenderShell, 0.2F), Of(RenderOutline)}) {
            Run(m_squares[0], pass);
        }
        // A shell has 72 bytes a column of a strip; what is flat has no outline.
        EXPECT_EQ(FinishFrame(), (Counts{4, 0, 0, 5, 2 * kSquareSize + 2 * 2 * 72}));
        m_driver->Purge(m_squares.data());
        EXPECT_EQ(Frame({1}), (Counts{1, 1, 0, 1, kSquareSize}));
    }
}

TEST_F(DisplayLists, ChangedMeshesAreRecordedAnew) {
    Frame({0, 1});
    m_squares[0] = SquareMesh(0.1F, -2, 3);
    const float both = kSquareSize + 8 * 3 * 2 + 12 * 9;
    EXPECT_EQ(Frame({0, 0, 1}), (Counts{3, 3, 0, 2, both}));
    StartFrame();
    Run(m_squares[0], Unlit(kRed));
    EXPECT_EQ(ShotCentre(), kRed);
    EXPECT_EQ(At(vec3{0.5F, 0, -2}), kBlack);
    // A mesh that took the place of a deleted one has none of its tokens.
    m_squares[0] = m_squares[1];
    EXPECT_EQ(Frame({0}), (Counts{1, 1, 0, 2, 2 * kSquareSize}));
}

// Passes of one key replay what the first of them recorded, unless they differ in shape.
TEST_F(DisplayLists, RecordedReplayedAndDirectLookTheSame) {
    GeoImage dome(9, 17);
    std::copy_n(SphereMesh(0.6F, 17, 17).samples, 9 * 17, dome.samples);
    dome.Finish(false);
    const vec3 eye{0.3F, 0.4F, 2};
    Texture texture = FilledTexture(2, 2, {40, 80, 250});
    texture.pixels[0] = 255;  // where a texel lies shows
    Shader textured = Lit();
    textured.texture = &texture;
    Shader behind = Of(RenderOutline, 2);
    behind.faces = FacesBack;
    struct Look {
        Shader pass;
        float shadowlen;
        float offset;
        std::set<Picture> pictures;
    };
    std::vector<Look> looks;
    for (const Shader& pass :
         {Unlit(kRed), Lit(), textured, Of(RenderWire, 2), Of(RenderShell, 0.1F, Lit()),
          Of(RenderOutline, 2), Of(RenderOutline, 2, Lit()), Of(RenderOutline, 2, textured), behind,
          Of(RenderWireShadow)}) {
        looks.push_back({pass, 1, 1, {}});
    }
    for (const auto& [shadowlen, offset] : {std::pair{1.0F, 1.0F}, {1.5F, 1}, {1.5F, 0}})
        looks.push_back({Of(RenderShadow), shadowlen, offset, {}});
    for (const float method : {0.0F, 1.0F, 2.0F}) {
        m_driver->Set("GL_draw_method", method);
        for (const char* other : {"GL_line_method", "GL_shadow_method", "GL_dlistShadows"})
            m_driver->Set(other, method > 0 ? 1 : 0);
        // In either order, and then without lists.
        for (int round = 0; round < 3; ++round) {
            for (Look& look : looks) {
                Light light;
                light.pos = {1, 2, 3};
                light.shadowlen = look.shadowlen;
                m_driver->Set("D_shadowoffset", look.offset);
                StartFrame();
                m_driver->AddLight(&light);
                MoveTo(-eye);
                EXPECT_TRUE(m_driver->RunShader(&dome, &look.pass, &eye, round < 2));
                look.pictures.insert(Shoot());
            }
            if (round != 1) m_driver->Purge(&dome);
            std::reverse(looks.begin(), looks.end());
        }
    }
    std::set<Picture> different;
    for (Look& look : looks) {
        EXPECT_EQ(look.pictures.size(), 1U) << look.pass.rmode << look.shadowlen << look.offset;
        different.merge(look.pictures);
    }
    EXPECT_EQ(different.size(), looks.size());
}

// New lists of volumes come from shadow passes; the stencil passes replay them, and record again
// only what has become stale.
TEST_F(DisplayLists, ShadowsReplayWhatShadowPassesRecord) {
    GeoImage ball = SphereMesh(0.4F, 9, 9);
    GeoImage wall = SquareMesh(8, -4);
    Light light;
    light.pos = {2, 0, 0};
    light.shadowlen = 50;
    m_driver->Set("GL_dlistShadows", 1);
    const auto shadow = [&](const vec3& from = {2, 0, 2}) {
        StartFrame();
        const Shader black = Unlit(kBlack);
        m_driver->RunShader(&wall, &black, nullptr, false);
        m_driver->AddLight(&light);
        m_driver->StartShadows();
        MoveTo({0, 0, -2});
        m_driver->AddShadow(&ball, &from, light.shadowlen);
        m_driver->FinishShadows();
        return Stencil();
    };
    const std::vector<int> direct = shadow();
    EXPECT_EQ(FinishFrame()[3], 0) << "a miss records nothing";
    shadow();
    EXPECT_TRUE(Run(ball, Of(RenderShadow)));
    const float size = FinishFrame()[4];
    EXPECT_GT(size, 0);
    EXPECT_EQ(shadow(), direct);
    EXPECT_EQ(FinishFrame(), (Counts{1, 1, 0, 1, size}));
    ball = SphereMesh(0.2F, 9, 9);
    EXPECT_NE(shadow(), direct);
    const float sizeNow = FinishFrame()[4];
    EXPECT_TRUE(sizeNow > 0 && sizeNow < 2 * size);
    shadow({std::nanf(""), 0, 0});
    EXPECT_EQ(FinishFrame(), (Counts{0, 0, 0, 1, sizeNow})) << "no order, no key";
}

}  // namespace
