// Soups become surfaces, surfaces become parts: shapes of known topology, random solids against
// counts of their voxels, and real models where they are installed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>

#include "import/repair/HalfEdges.h"
#include "import/repair/Repair.h"
#include "import/repair/Slivers.h"
#include "import/repair/Topology.h"

namespace {

using Point = Eigen::Vector3d;

// Corners carry their own places as colours, so that what moves them apart shows.
void Add(Surface& soup, const std::vector<Point>& polygon) {
    for (std::size_t i = 2; i < polygon.size(); ++i) {
        const int first = static_cast<int>(soup.positions.size());
        Corners corners;
        for (int k = 0; k < 3; ++k) {
            const Point& p = polygon[k == 0 ? 0 : i + k - 2];
            soup.positions.push_back(p);
            corners[k].colour = {float(p.x()), float(p.y()), float(p.z()), 1};
        }
        soup.triangles.push_back({first, first + 1, first + 2});
        soup.corners.push_back(corners);
        soup.materials.push_back(0);
    }
}

using Map = std::function<Point(double, double)>;
Surface Sheet(int n, const Map& at, const std::function<bool(int, int)>& hole = nullptr) {
    Surface soup;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            if (hole && hole(i, j)) continue;
            const auto p = [&](int a, int b) { return at(double(a) / n, double(b) / n); };
            Add(soup, {p(i, j), p(i + 1, j), p(i + 1, j + 1), p(i, j + 1)});
        }
    return soup;
}
constexpr double kTurn = 2 * M_PI;
Point Plane(double u, double v) {
    return {u, v, 0};
}
Point Ring(double u, double v) {
    const double r = 3 + std::cos(kTurn * v);
    return {r * std::cos(kTurn * u), r * std::sin(kTurn * u), std::sin(kTurn * v)};
}
Point Twist(double u, double v) {
    const double a = M_PI * u, r = 3 + (v - 0.5) * std::cos(a);
    return {r * std::cos(2 * a), r * std::sin(2 * a), (v - 0.5) * std::sin(a)};
}

struct Solid {
    int n;
    std::vector<char> cells;
    bool At(int x, int y, int z) const {
        return std::min({x, y, z}) >= 0 && std::max({x, y, z}) < n && cells[(x * n + y) * n + z];
    }
    bool At(const Eigen::Vector3i& c) const { return At(c.x(), c.y(), c.z()); }
    template <class Visit>
    void ForEach(int low, const Visit& visit) const {
        for (int x = low; x <= n; ++x)
            for (int y = low; y <= n; ++y)
                for (int z = low; z <= n; ++z)
                    visit(Eigen::Vector3i(x, y, z));
    }
    // Each side that lies free, outward.
    Surface Boundary(const std::function<Point(Point)>& moved = [](Point p) { return p; }) const {
        Surface soup;
        ForEach(0, [&](const Eigen::Vector3i& c) {
            for (int axis = 0; At(c) && axis < 3; ++axis)
                for (int side = 0; side < 2; ++side) {
                    const Eigen::Vector3i out = Eigen::Vector3i::Unit(axis) * (2 * side - 1);
                    if (At(c + out)) continue;
                    Eigen::Vector3i one = Eigen::Vector3i::Unit((axis + 1) % 3);
                    Eigen::Vector3i two = Eigen::Vector3i::Unit((axis + 2) % 3);
                    if (side == 0) std::swap(one, two);
                    const Eigen::Vector3i from = c + side * out;
                    const auto p = [&](const Eigen::Vector3i& v) {
                        return moved(v.cast<double>());
                    };
                    Add(soup, {p(from), p(from + one), p(from + one + two), p(from + two)});
                }
        });
        return soup;
    }
};
Solid Filled(int n, const std::function<bool(int, int, int)>& in) {
    Solid solid{n, std::vector<char>(n * n * n)};
    solid.ForEach(0, [&](const Eigen::Vector3i& c) {
        if (c.maxCoeff() < n)
            solid.cells[(c.x() * n + c.y()) * n + c.z()] = in(c.x(), c.y(), c.z());
    });
    return solid;
}

Surface Joined(Surface a, const Surface& b, const Point& shift = Point::Zero(), double scale = 1) {
    for (const Triangle& t : b.triangles)
        Add(a, {scale * b.positions[t[0]] + shift, scale * b.positions[t[1]] + shift,
                scale * b.positions[t[2]] + shift});
    return a;
}

struct Shape {
    int borders = 0, genus = 0;
    bool operator==(const Shape&) const = default;
};
// Counted with maps: every edge once each way at most, one fan of triangles a vertex.
Shape ShapeOf(const Surface& surface) {
    std::map<std::pair<int, int>, int> apexOf;
    std::vector<int> degrees(surface.positions.size(), 0), first(degrees.size(), -1);
    for (const Triangle& t : surface.triangles)
        for (int k = 0; k < 3; ++k) {
            ++degrees[t[k]];
            EXPECT_TRUE(apexOf.emplace(std::pair(t[k], t[(k + 1) % 3]), t[(k + 2) % 3]).second);
        }
    int edges = 0;
    std::map<int, int> border;
    for (const auto& [edge, apex] : apexOf) {
        const bool open = !apexOf.contains({edge.second, edge.first});
        edges += open || edge.first < edge.second;
        if (open || first[edge.first] < 0) first[edge.first] = edge.second;
        if (open) border.insert(edge);
    }
    for (int v = 0; v < static_cast<int>(degrees.size()); ++v) {
        int fan = 0, around = first[v];
        do {
            const auto next = apexOf.find({v, around});
            if (next == apexOf.end()) break;
            around = next->second;
            ++fan;
        } while (around != first[v]);
        EXPECT_TRUE(fan > 0 && fan == degrees[v]) << v;
    }
    Shape shape;
    for (; !border.empty(); ++shape.borders)
        for (auto it = border.begin(); it != border.end();) {
            const int to = it->second;
            border.erase(it);
            it = border.find(to);
        }
    const int vertices = static_cast<int>(degrees.size());
    const int euler = vertices - edges + static_cast<int>(surface.triangles.size());
    shape.genus = (2 - shape.borders - euler) / 2;
    EXPECT_EQ(2 - 2 * shape.genus - shape.borders, euler);
    return shape;
}

Repaired RepairedOf(const Surface& soup) {
    Result<Repaired> repaired = Repair(soup, {0, 1000});
    EXPECT_TRUE(repaired) << repaired.Why().line;
    return repaired ? std::move(*repaired) : Repaired();
}

Part CheckedPart(const Surface& component, int keep) {
    const Shape found = ShapeOf(component);
    Result<Part> part = MakePart(component, keep);
    if (!part) {
        ADD_FAILURE() << part.Why().line;
        return {};
    }
    EXPECT_TRUE(part->genus == found.genus && part->borders == found.borders);
    const int kept = std::min(keep, found.borders);
    const bool torus = part->kind == GridKind::Torus;
    EXPECT_EQ(torus, kept == 0 && found.genus == 1);
    EXPECT_EQ(ShapeOf(part->surface), (Shape{kept, torus}));
    EXPECT_EQ(part->kind == GridKind::Annulus ? 2 : part->kind == GridKind::Square, kept);
    EXPECT_NEAR(Area(part->surface), part->area + part->holeArea + part->capArea,
                1e-6 * part->area);
    return std::move(*part);
}

}  // namespace

TEST(ImportRepair, ShapesHaveTheirTopology) {
    const auto slab = [](int x, int y, int z) { return z == 1 && !((x == 1 || x == 3) && y == 1); };
    const Solid cube = Filled(1, [](int, int, int) { return true; });
    const Solid shell = Filled(3, [](int x, int y, int z) { return x != 1 || y != 1 || z != 1; });
    const Surface sheet = Sheet(4, Plane),
                  back = Sheet(4, [](double u, double v) { return Plane(v, u); });
    const Surface box = cube.Boundary(), genus2 = Filled(5, slab).Boundary();
    Surface flipped = genus2;
    std::minstd_rand random(1);
    for (std::size_t t = 0; t < flipped.triangles.size(); ++t)
        if (random() % 2) {
            std::swap(flipped.triangles[t][0], flipped.triangles[t][1]);
            std::swap(flipped.corners[t][0], flipped.corners[t][1]);
        }
    const auto holes = [](int i, int j) { return (i % 4 == 2) && (j == 2 || (i == 2 && j == 6)); };
    const auto upright = [](double u, double v) { return Point{0.5, u, v}; };
    Surface triangle;
    Add(triangle, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    Surface slivers = box;  // and a square with a flat triangle across
    Add(slivers, {{2, 0, 0}, {4, 0, 0}, {3, 1, 0}});
    Add(slivers, {{2, 0, 0}, {3, 0, 0}, {4, 0, 0}});
    Add(slivers, {{3, 0, 0}, {2, 0, 0}, {3, -1, 0}});
    Add(slivers, {{4, 0, 0}, {3, 0, 0}, {3, -1, 0}});
    const struct {
        const char* name;
        Surface soup;
        std::vector<Shape> components;
        double volume;  // of all that is closed; -1: of no interest
    } cases[] = {
        {"genus 2", genus2, {{0, 2}}, 23},
        {"flipped", flipped, {{0, 2}}, 23},
        {"torus", Sheet(20, Ring), {{0, 1}}, -1},
        {"moebius", Sheet(20, Twist), {{1, 0}}, -1},
        {"three holes", Sheet(9, Plane, holes), {{4, 0}}, -1},
        {"one triangle", triangle, {{1, 0}}, -1},
        {"touching vertex", Joined(box, box, {1, 1, 1}), {{}, {}}, 2},
        {"touching edge", Joined(box, box, {1, 1, 0}), {{}, {}}, 2},
        {"touching face", Joined(box, box, {1, 0, 0}), {{}, {}}, 2},
        {"cavity", shell.Boundary(), {{}, {}}, 26},
        {"one in another", Joined(box, box, {0.2, 0.2, 0.2}, 0.5), {{}, {}}, 1.125},
        {"two sides", Joined(sheet, back), {{1, 0}}, -1},
        {"three sheets", Joined(sheet, Sheet(4, upright)), {{1, 0}, {1, 0}}, -1},
        {"sliver", slivers, {{}, {1, 0}}, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Repaired repaired = RepairedOf(c.soup);
        ASSERT_EQ(repaired.components.size(), c.components.size());
        double volume = 0, area = repaired.duplicateArea;
        EXPECT_EQ(repaired.slivers, 0);
        for (std::size_t i = 0; i < c.components.size(); ++i) {
            const Surface& component = repaired.components[i];
            EXPECT_EQ(ShapeOf(component), c.components[i]);
            volume += Volume(component);
            area += Area(component);
            for (std::size_t t = 0; t < component.triangles.size(); ++t)
                for (int k = 0; k < 3; ++k)
                    EXPECT_NEAR(component.positions[component.triangles[t][k]].x(),
                                component.corners[t][k].colour[0], 1e-5);
            for (int keep = 0; keep < 3; ++keep)
                EXPECT_EQ(CheckedPart(component, keep).capsOutside, 0);
        }
        EXPECT_NEAR(area, repaired.area, 1e-9);
        if (c.volume >= 0) {
            EXPECT_NEAR(volume, c.volume, 1e-9);
        }
    }
    Surface flat;
    Add(flat, {{0, 0, 0}, {1, 0, 0}, {3, 0, 0}});
    EXPECT_FALSE(Repair(flat, {}));
    EXPECT_FALSE(Repair(Joined(box, box, {9, 9, 9}), {0, 1}));
}

// Solids of voxels that hang together by faces have the volume and the handles that counting says,
// whatever edges and vertices they touch in besides. No two triangles of the soup share a position.
TEST(ImportRepair, RandomSolidsComeApartWhereTheyTouch) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        std::minstd_rand random(seed + 1);
        const unsigned share = 15 + random() % 70;
        const Solid solid = Filled(2 + static_cast<int>(random() % 5), [&](int x, int, int) {
            return random() % 100 < share || x == 0;
        });
        const auto jitter = [&] { return (static_cast<int>(random() % 200) - 100) * 1e-10; };
        Surface soup =
            solid.Boundary([&](Point p) { return Point(p + Point(jitter(), jitter(), jitter())); });
        const Repaired repaired = RepairedOf(soup);

        // Cells less neighbouring pairs, plus squares, less cubes of them; and corners where only
        // two opposite cells of eight are empty, which come together from both sides without a way
        // through.
        int volume = 0, euler = 0, pinches = 0;
        solid.ForEach(-1, [&](const Eigen::Vector3i& c) {
            unsigned cells = 0;
            for (int k = 0; k < 8; ++k)
                cells |= unsigned{solid.At(c.x() + k % 2, c.y() + k / 2 % 2, c.z() + k / 4)} << k;
            for (const unsigned box : {0x01U, 0x33U, 0x55U, 0x0FU})
                euler += (cells & box) == box;
            for (const unsigned box : {0x03U, 0x05U, 0x11U, 0xFFU})
                euler -= (cells & box) == box;
            for (const unsigned empty : {0x81U, 0x42U, 0x24U, 0x18U})
                pinches += cells == (empty ^ 0xFFU);
            volume += solid.At(c);
        });
        EXPECT_EQ(repaired.degenerate + repaired.duplicates + repaired.turned, 0);
        double area = 0, enclosed = 0;
        int ownEuler = 0;
        for (const Surface& component : repaired.components) {
            const Shape shape = ShapeOf(component);
            EXPECT_EQ(shape.borders, 0);
            ownEuler += 2 - 2 * shape.genus;
            area += Area(component);
            enclosed += Volume(component);
            CheckedPart(component, 0);
        }
        EXPECT_EQ(ownEuler, 2 * (euler + pinches));
        EXPECT_NEAR(area, repaired.area, 1e-6);
        EXPECT_NEAR(enclosed, volume, 1e-6);

        // And with triangles missing.
        for (std::size_t gone = 0; gone < soup.triangles.size(); gone += 1 + random() % 30) {
            soup.triangles.erase(soup.triangles.begin() + static_cast<std::ptrdiff_t>(gone));
            soup.corners.pop_back();
            soup.materials.pop_back();
        }
        for (const Surface& component : RepairedOf(soup).components)
            CheckedPart(component, static_cast<int>(random() % 3));
    }
}

// Triangles anywhere between a few points, many of them on one line or in one place.
TEST(ImportRepair, AnySoupBecomesParts) {
    for (unsigned seed = 0; seed < 600; ++seed) {
        SCOPED_TRACE(seed);
        std::minstd_rand random(7 * seed + 1);
        const unsigned points = 4 + random() % 20, size = seed % 2 ? 3 : 1000;
        std::vector<Point> places(points);
        for (Point& p : places)
            p = {double(random() % size), double(random() % size), double(random() % size)};
        Surface soup;
        for (unsigned count = 1 + random() % 80; count > 0; --count)
            Add(soup,
                {places[random() % points], places[random() % points], places[random() % points]});
        const Result<Repaired> repaired = Repair(soup, {0, 1000});
        for (std::size_t i = 0; repaired && i < repaired->components.size(); ++i)
            CheckedPart(repaired->components[i], static_cast<int>(random() % 3));
    }
}

TEST(ImportRepair, RealModelsHaveTheirTopology) {
    const char* folder = std::getenv("PALLIX_MODELS");
    const std::string models = folder != nullptr ? folder : PALLIX_MODELS;
    if (!std::ifstream(models + "/elephant.off")) GTEST_SKIP() << "no models";
    const struct {
        const char* name;
        std::size_t parts;
        Shape largest;
    } cases[] = {
        {"knot1", 1, {0, 1}},           {"elk", 1, {0, 1}},
        {"rotor_small", 1, {0, 1}},     {"femur", 1, {0, 2}},
        {"elephant", 1, {0, 3}},        {"anchor_dense", 1, {0, 4}},
        {"couplingdown", 1, {0, 9}},    {"turbine", 1, {0, 11}},
        {"bones", 26, {0, 0}},          {"blobby_3cc", 3, {2, 0}},
        {"b9_mesh", 47, {16, 1}},       {"boeing", 1, {0, 10}},
        {"mannequin-devil", 1, {1, 0}}, {"lion-head", 1, {1, 0}},
        {"three_peaks", 1, {1, 0}},     {"mushroom", 1, {1, 0}},
        {"blade", 1, {2, 0}},           {"lion", 1, {5, 0}},
        {"holes", 1, {7, 0}},           {"degtri_sliding", 1, {1, 0}},
        {"blobby-shuffled", 1, {0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::ifstream lines(models + "/" + c.name + ".off");
        std::stringstream file;
        for (std::string line; std::getline(lines, line);)
            file << line.substr(0, line.find('#')) << '\n';
        std::string head;
        int vertices = 0, faces = 0, edges = 0, corners = 0;
        file >> head >> vertices >> faces >> edges;
        Surface soup;
        soup.positions.resize(vertices);
        for (Point& p : soup.positions)
            file >> p.x() >> p.y() >> p.z();
        while (faces-- > 0 && file >> corners) {
            std::vector<int> polygon(corners);
            for (int& v : polygon)
                file >> v;
            for (int i = 2; i < corners; ++i)
                soup.triangles.push_back({polygon[0], polygon[i - 1], polygon[i]});
        }
        soup.corners.resize(soup.triangles.size());
        soup.materials.resize(soup.triangles.size());
        const Repaired repaired = RepairedOf(soup);
        ASSERT_EQ(repaired.components.size(), c.parts);
        EXPECT_EQ(ShapeOf(repaired.components[0]), c.largest);
        for (const Surface& component : repaired.components) {
            const Part part = CheckedPart(component, 2);
            EXPECT_TRUE(part.borders > 0 || Volume(component) > 0);
            EXPECT_TRUE(part.capsOutside == 0 || part.borders > 0);
        }
    }
}
