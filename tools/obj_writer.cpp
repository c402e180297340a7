#include "tools/obj_writer.h"

#include "tools/output_file.h"

#include <cstdio>

namespace wkcli {

namespace {

// %.9g: every float comes back exactly.
void writeTriple(std::ostream& out, const char* tag, float x, float y, float z) {
    char line[96];
    std::snprintf(line, sizeof line, "%s %.9g %.9g %.9g\n", tag, static_cast<double>(x),
                  static_cast<double>(y), static_cast<double>(z));
    out << line;
}

} // namespace

void WriteObj(Mesh& mesh, std::ostream& out) {
    out << "# wkcache frame: " << mesh.getNumVerts() << " vertices, " << mesh.getNumFaces()
        << " faces\n";
    for (int v = 0; v < mesh.getNumVerts(); ++v) {
        const Point3& p = mesh.getVert(v);
        writeTriple(out, "v", p.x, p.y, p.z);
    }
    const bool uvs = mesh.mapSupport(1) && mesh.getNumMapFaces(1) == mesh.getNumFaces();
    if (uvs) {
        const UVVert* tv = mesh.mapVerts(1);
        for (int i = 0; i < mesh.getNumMapVerts(1); ++i) {
            char line[64];
            std::snprintf(line, sizeof line, "vt %.9g %.9g\n", static_cast<double>(tv[i].x),
                          static_cast<double>(tv[i].y));
            out << line;
        }
    }
    mesh.checkNormals();
    for (int n = 0; n < mesh.getNumNormals(); ++n) {
        const Point3& p = mesh.getNormalByID(n);
        writeTriple(out, "vn", p.x, p.y, p.z);
    }
    const TVFace* tf = uvs ? mesh.mapFaces(1) : nullptr;
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        if (face.Hidden())
            continue;
        out << 'f';
        for (int c = 0; c < 3; ++c) {
            out << ' ' << face.v[c] + 1 << '/';
            if (tf != nullptr)
                out << tf[f].t[c] + 1;
            out << '/' << mesh.getNormalID(f, c) + 1;
        }
        out << '\n';
    }
}

void WriteObjFile(Mesh& mesh, const std::string& path, const std::vector<std::string>& inputs) {
    OutputFile out(path, "--obj", inputs);
    WriteObj(mesh, out.stream());
    out.commit();
}

} // namespace wkcli
