// pallix-export: meshes of the program to triangles for other programs.

#include <string>
#include <vector>

#include "export/Export.h"
#include "shared/Cli.h"

int main(int argc, char** argv) {
    CLI::App app(
        "Writes mesh files as triangles for other programs, all into one file.\n"
        "Normals and texture coordinates are kept; .stl has none.",
        "pallix-export");
    std::vector<std::string> meshes;
    std::string file;
    app.add_option("mesh", meshes, "mesh files to read")->required();
    app.add_option("-o,--output", file, "file to write, ending in .ply, .obj, .stl or .glb")
        ->required();
    return RunTool(app, argc, argv, [&] { return ExportMeshes(meshes, file); });
}
