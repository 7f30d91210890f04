// The figures of an import for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "import/ImportModel.h"

struct ReportRow {
    std::string model;
    std::string part;
    const PartFigures* figures;
};

// Aligned columns under one heading line; every line ends.
std::string ReportAsText(const std::vector<ReportRow>& rows);
// Comma separated, a heading line first. A row for the part, of detail 1, and where levels were
// measured one for each of them.
std::string ReportAsCsv(const std::vector<ReportRow>& rows);
