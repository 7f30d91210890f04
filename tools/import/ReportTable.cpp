#include "import/ReportTable.h"

#include <array>
#include <cstdio>

namespace {

std::string Format(const char* format, double value) {
    std::array<char, 40> text;
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string SizeText(int columns, int rows) {
    return std::to_string(columns) + "x" + std::to_string(rows);
}

using Cells = std::vector<std::string>;

std::string Aligned(const std::vector<Cells>& lines) {
    std::vector<std::size_t> widths(lines.front().size(), 0);
    for (const Cells& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], line[i].size());
    }
    std::string text;
    for (const Cells& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::string space(widths[i] - line[i].size(), ' ');
            // Names to the left, figures to the right.
            text += (i == 0 ? line[i] + space : "  " + space + line[i]);
        }
        text += '\n';
    }
    return text;
}

// Names may hold commas and quotes.
std::string Quoted(const std::string& name) {
    if (name.find_first_of(",\"\n\r") == std::string::npos) return name;
    std::string quoted = "\"";
    for (const char letter : name)
        quoted += letter == '"' ? std::string(2, '"') : std::string(1, letter);
    return quoted + '"';
}

std::string CsvLine(const ReportRow& row, double detail, int columns, int rows,
                    const Fidelity& fidelity) {
    const PartFigures& f = *row.figures;
    const std::string cells[] = {Quoted(row.model),
                                 row.part,
                                 std::to_string(f.triangles),
                                 std::to_string(f.genus),
                                 std::to_string(f.borders),
                                 NameOf(f.kind),
                                 Format("%g", detail),
                                 std::to_string(columns),
                                 std::to_string(rows),
                                 Format("%.2f", fidelity.toGrid),
                                 Format("%.2f", fidelity.toSurface),
                                 Format("%.6f", fidelity.largest),
                                 std::to_string(f.flips),
                                 Format("%.6f", f.folded),
                                 Format("%.6f", f.added),
                                 std::to_string(f.capsOutside),
                                 Format("%.3f", f.seconds)};
    std::string line;
    for (const std::string& cell : cells)
        line += (line.empty() ? "" : ",") + cell;
    return line + '\n';
}

}  // namespace

std::string ReportAsText(const std::vector<ReportRow>& rows) {
    std::vector<Cells> lines{{"part", "triangles", "genus", "borders", "grid", "size",
                              "PSNR to grid", "to surface", "largest", "flipped", "folded", "added",
                              "seconds"}};
    for (const ReportRow& row : rows) {
        const PartFigures& f = *row.figures;
        lines.push_back({row.part, std::to_string(f.triangles), std::to_string(f.genus),
                         std::to_string(f.borders), NameOf(f.kind), SizeText(f.columns, f.rows),
                         Format("%.2f", f.fidelity.toGrid), Format("%.2f", f.fidelity.toSurface),
                         Format("%.4f %%", 100 * f.fidelity.largest), std::to_string(f.flips),
                         Format("%.2f %%", 100 * f.folded), Format("%.2f %%", 100 * f.added),
                         Format("%.2f", f.seconds)});
    }
    return Aligned(lines);
}

std::string ReportAsCsv(const std::vector<ReportRow>& rows) {
    std::string text =
        "model,part,triangles,genus,borders,grid,detail,columns,rows,psnr_to_grid,psnr_to_surface,"
        "largest,flipped,folded,added,caps_outside,seconds\n";
    for (const ReportRow& row : rows) {
        const PartFigures& f = *row.figures;
        if (f.levels.empty()) text += CsvLine(row, 1, f.columns, f.rows, f.fidelity);
        for (auto level = f.levels.rbegin(); level != f.levels.rend(); ++level)
            text += CsvLine(row, level->detail, level->columns, level->rows, level->fidelity);
    }
    return text;
}
