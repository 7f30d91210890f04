#include "import/repair/Repair.h"

#include "import/repair/Duplicates.h"
#include "import/repair/HalfEdges.h"
#include "import/repair/Sheets.h"
#include "import/repair/Slivers.h"
#include "import/repair/UnionFind.h"
#include "import/repair/Weld.h"
#include "import/repair/Winding.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

namespace {

double AreaOf(const std::vector<Eigen::Vector3d>& positions, const Triangle& triangle) {
    const Eigen::Vector3d& a = positions[triangle[0]];
    return 0.5 * (positions[triangle[1]] - a).cross(positions[triangle[2]] - a).norm();
}

// Triangles over welded positions and where they come from.
struct Soup {
    std::vector<Triangle> triangles;
    std::vector<int> sources;

    void LeaveOut(const std::vector<char>& gone) {
        std::size_t kept = 0;
        for (std::size_t t = 0; t < gone.size(); ++t) {
            if (gone[t]) continue;
            triangles[kept] = triangles[t];
            sources[kept++] = sources[t];
        }
        triangles.resize(kept);
        sources.resize(kept);
    }
};

// So that areas, volumes and lengths stay numbers.
constexpr double kFarthest = 1e100;

bool AllNear(const std::vector<Eigen::Vector3d>& positions) {
    return std::all_of(positions.begin(), positions.end(), [](const Eigen::Vector3d& p) {
        return p.allFinite() && p.cwiseAbs().maxCoeff() < kFarthest;
    });
}

bool HasArea(const std::vector<Eigen::Vector3d>& positions,
             const std::vector<Triangle>& triangles) {
    return std::any_of(triangles.begin(), triangles.end(), [&](const Triangle& triangle) {
        return !IsSliver(positions[triangle[0]], positions[triangle[1]], positions[triangle[2]]);
    });
}

Soup WeldedSoup(const Surface& surface, Repaired& repaired) {
    const std::vector<int> weld = Weld(surface);
    Soup soup;
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) {
        const auto& [a, b, c] = surface.triangles[t];
        const Triangle welded = {weld[a], weld[b], weld[c]};
        repaired.area += AreaOf(surface.positions, surface.triangles[t]);
        if (welded[0] == welded[1] || welded[1] == welded[2] || welded[2] == welded[0]) {
            ++repaired.degenerate;
            continue;
        }
        soup.triangles.push_back(welded);
        soup.sources.push_back(static_cast<int>(t));
    }
    return soup;
}

void LeaveOutDuplicates(Soup& soup, const Surface& surface, Repaired& repaired) {
    const std::vector<char> gone =
        FindDuplicates(soup.triangles, static_cast<int>(surface.positions.size()));
    for (std::size_t t = 0; t < gone.size(); ++t) {
        if (!gone[t]) continue;
        ++repaired.duplicates;
        repaired.duplicateArea += AreaOf(surface.positions, soup.triangles[t]);
    }
    soup.LeaveOut(gone);
}

// Neighbours after the last two corners of all triangles were exchanged: the half-edges ab, bc, ca
// lie where ba, cb, ac come to lie.
std::vector<int> Mirrored(const std::vector<int>& opposite) {
    std::vector<int> mirrored(opposite.size());
    const auto moved = [](int h) { return h - h % 3 + 2 - h % 3; };
    for (int h = 0; h < static_cast<int>(opposite.size()); ++h)
        mirrored[moved(h)] = opposite[h] < 0 ? -1 : moved(opposite[h]);
    return mirrored;
}

// A component while it is made.
struct Piece {
    Surface surface;
    std::vector<int> opposite;
    double area = 0;
    bool closed = true;
    // How it faces in the file: all of it alike, and whether as here (of an open one, most of it).
    bool consistent = true;
    double balance = 0;
    int turned = 0;
    double volume = 0;

    bool FacesInwardInFile() const { return (volume < 0) != (balance < 0); }
    void TurnRound() {
        for (std::size_t t = 0; t < surface.triangles.size(); ++t) {
            std::swap(surface.triangles[t][1], surface.triangles[t][2]);
            std::swap(surface.corners[t][1], surface.corners[t][2]);
        }
        opposite = Mirrored(opposite);
        turned = static_cast<int>(surface.triangles.size()) - turned;
        balance = -balance;
        volume = -volume;
    }
};

// Triangles in the order of their components, which begin at the given places.
struct ByComponent {
    std::vector<int> triangles;
    std::vector<int> begins;

    explicit ByComponent(const Sheets& sheets)
        : triangles(sheets.triangles.size()), begins(sheets.componentCount + 1, 0) {
        for (const int component : sheets.components)
            ++begins[component + 1];
        std::partial_sum(begins.begin(), begins.end(), begins.begin());
        std::vector<int> ends(begins.begin(), begins.end() - 1);
        for (std::size_t t = 0; t < triangles.size(); ++t)
            triangles[ends[sheets.components[t]]++] = static_cast<int>(t);
    }
};

// The corners that one fan of triangles has in common become a vertex of their own.
std::vector<int> VertexOfCorners(const Sheets& sheets) {
    const int count = static_cast<int>(sheets.opposite.size());
    UnionFind fans(count);
    for (int h = 0; h < count; ++h) {
        const int g = sheets.opposite[h];
        if (g < h) continue;
        fans.Join(h, Next(g));
        fans.Join(Next(h), g);
    }
    std::vector<int> vertices(count);
    for (int h = 0; h < count; ++h)
        vertices[h] = fans.Find(h);
    return vertices;
}

class Pieces {
public:
    Pieces(const Surface& surface, const Soup& soup, const Sheets& sheets)
        : m_surface(surface),
          m_soup(soup),
          m_sheets(sheets),
          m_byComponent(sheets),
          m_vertexOf(VertexOfCorners(sheets)),
          m_numbers(m_vertexOf.size(), -1),
          m_places(sheets.triangles.size(), -1) {}

    double AreaOfComponent(int component) const {
        double area = 0;
        for (int i = m_byComponent.begins[component]; i < m_byComponent.begins[component + 1]; ++i)
            area += AreaOf(m_surface.positions, m_sheets.triangles[m_byComponent.triangles[i]]);
        return area;
    }

    Piece Make(int component) {
        Piece piece;
        const int begin = m_byComponent.begins[component];
        const int end = m_byComponent.begins[component + 1];
        for (int i = begin; i < end; ++i) {
            m_places[m_byComponent.triangles[i]] = i - begin;
            Append(m_byComponent.triangles[i], piece);
        }
        for (int i = begin; i < end; ++i)
            for (int k = 0; k < 3; ++k) {
                const int g = m_sheets.opposite[3 * m_byComponent.triangles[i] + k];
                piece.opposite.push_back(g < 0 ? -1 : 3 * m_places[g / 3] + g % 3);
                piece.closed = piece.closed && g >= 0;
            }
        piece.consistent = piece.turned == 0 || piece.turned == end - begin;
        piece.volume = Volume(piece.surface);
        return piece;
    }

private:
    void Append(int t, Piece& piece) {
        Surface& surface = piece.surface;
        Triangle triangle;
        for (int k = 0; k < 3; ++k) {
            int& number = m_numbers[m_vertexOf[3 * t + k]];
            if (number < 0) {
                number = static_cast<int>(surface.positions.size());
                surface.positions.push_back(m_surface.positions[m_sheets.triangles[t][k]]);
            }
            triangle[k] = number;
        }
        surface.triangles.push_back(triangle);
        const int source = m_soup.sources[t];
        Corners corners = m_surface.corners[source];
        if (m_sheets.flipped[t]) std::swap(corners[1], corners[2]);
        surface.corners.push_back(corners);
        surface.materials.push_back(m_surface.materials[source]);
        const double area = AreaOf(m_surface.positions, m_sheets.triangles[t]);
        piece.area += area;
        piece.balance += m_sheets.flipped[t] ? -area : area;
        piece.turned += m_sheets.flipped[t];
    }

    const Surface& m_surface;
    const Soup& m_soup;
    const Sheets& m_sheets;
    ByComponent m_byComponent;
    std::vector<int> m_vertexOf;  // of each corner: the corner that stands for its vertex
    std::vector<int> m_numbers;   // of such a corner: the vertex in its piece
    std::vector<int> m_places;    // of a triangle in its piece
};

Result<std::vector<Piece>> LargePieces(Pieces& pieces, int count, const RepairOptions& options,
                                       Repaired& repaired) {
    std::vector<std::pair<double, int>> order;
    double whole = 0;
    for (int i = 0; i < count; ++i) {
        order.emplace_back(-pieces.AreaOfComponent(i), i);
        whole -= order.back().first;
    }
    std::sort(order.begin(), order.end());
    const auto isLarge = [&](const std::pair<double, int>& entry) {
        return entry.first < 0 && -entry.first >= options.minPart * whole;
    };
    const auto end = std::find_if_not(order.begin(), order.end(), isLarge);
    if (end - order.begin() > options.maxParts) {
        char line[160];
        std::snprintf(line, sizeof line,
                      "the model has %d parts of at least %g of its area, %d are allowed: raise "
                      "--max-parts or --min-part",
                      static_cast<int>(end - order.begin()), options.minPart, options.maxParts);
        return Failure{line};
    }
    std::vector<Piece> large;
    for (auto entry = order.begin(); entry != end; ++entry)
        large.push_back(pieces.Make(entry->second));
    repaired.smallComponents = static_cast<int>(order.end() - end);
    for (auto entry = end; entry != order.end(); ++entry)
        repaired.smallArea -= entry->first;
    return large;
}

// A closed piece that the file lets face the other way than the outermost one around it.
bool IsCavity(const Piece& piece, const std::vector<Piece>& all) {
    const Piece* outermost = nullptr;
    for (const Piece& other : all) {
        if (&other == &piece || !other.closed || !other.consistent) continue;
        if (std::abs(other.volume) <= std::abs(piece.volume)) continue;
        if (outermost != nullptr && std::abs(outermost->volume) >= std::abs(other.volume)) continue;
        const double winding = WindingNumber(other.surface, piece.surface.positions[0]);
        if (std::abs(winding) > 0.5) outermost = &other;
    }
    return outermost != nullptr && outermost->FacesInwardInFile() != piece.FacesInwardInFile();
}

void TurnPieces(std::vector<Piece>& pieces) {
    std::vector<char> turn;
    for (const Piece& piece : pieces) {
        if (!piece.closed)
            turn.push_back(piece.balance < 0);
        else
            turn.push_back((piece.volume < 0) != (piece.consistent && IsCavity(piece, pieces)));
    }
    for (std::size_t i = 0; i < pieces.size(); ++i)
        if (turn[i]) pieces[i].TurnRound();
}

}  // namespace

double Area(const Surface& surface) {
    double area = 0;
    for (const Triangle& triangle : surface.triangles)
        area += AreaOf(surface.positions, triangle);
    return area;
}

double Volume(const Surface& surface) {
    if (surface.positions.empty()) return 0;
    const Eigen::Vector3d origin = surface.positions[0];
    double volume = 0;
    for (const auto& [a, b, c] : surface.triangles)
        volume += (surface.positions[a] - origin)
                      .dot((surface.positions[b] - origin).cross(surface.positions[c] - origin));
    return volume / 6;
}

Result<Repaired> Repair(const Surface& surface, const RepairOptions& options) {
    if (!AllNear(surface.positions)) return Failure{"the model has places that are no numbers"};
    Repaired repaired;
    Soup soup = WeldedSoup(surface, repaired);
    if (!HasArea(surface.positions, soup.triangles))
        return Failure{"no triangle of the model has an area"};
    LeaveOutDuplicates(soup, surface, repaired);
    const Sheets sheets = FindSheets(surface.positions, soup.triangles);
    Pieces maker(surface, soup, sheets);
    Result<std::vector<Piece>> pieces =
        LargePieces(maker, sheets.componentCount, options, repaired);
    if (!pieces) return pieces.Why();
    TurnPieces(*pieces);
    for (Piece& piece : *pieces) {
        Surface& component = piece.surface;
        HalfEdges mesh(component.triangles, std::move(piece.opposite));
        SplitDoubleEdges(component, mesh);
        repaired.slivers += TurnSlivers(component, mesh);
        repaired.turned += piece.turned;
        repaired.components.push_back(std::move(component));
    }
    return repaired;
}
