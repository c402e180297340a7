#include "host/headless/HeadlessPrimitives.h"

#include <stdexcept>

namespace {

// Two faces of the quad a-b-c-d (counter-clockwise seen from outside), with the diagonal a-c
// hidden.
void setQuad(Mesh& mesh, int face, std::uint32_t a, std::uint32_t b, std::uint32_t c,
             std::uint32_t d, std::uint32_t smGroup, MtlID matID) {
    Face& first = mesh.getFace(face);
    first.setVerts(a, b, c);
    first.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_INVIS);
    first.setSmGroup(smGroup);
    first.setMatID(matID);
    Face& second = mesh.getFace(face + 1);
    second.setVerts(c, d, a);
    second.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_INVIS);
    second.setSmGroup(smGroup);
    second.setMatID(matID);
}

} // namespace

Mesh MakeBoxMesh(float width, float length, float height) {
    if (!(width > 0.0f && length > 0.0f && height > 0.0f))
        throw std::invalid_argument("box sizes must be above 0");
    const float x = width * 0.5f;
    const float y = length * 0.5f;
    Mesh mesh;
    mesh.setNumVerts(8);
    mesh.setVert(0, -x, -y, 0.0f);
    mesh.setVert(1, x, -y, 0.0f);
    mesh.setVert(2, x, y, 0.0f);
    mesh.setVert(3, -x, y, 0.0f);
    mesh.setVert(4, -x, -y, height);
    mesh.setVert(5, x, -y, height);
    mesh.setVert(6, x, y, height);
    mesh.setVert(7, -x, y, height);
    mesh.setNumFaces(12);
    setQuad(mesh, 0, 0, 3, 2, 1, 2, 0);   // bottom
    setQuad(mesh, 2, 4, 5, 6, 7, 4, 1);   // top
    setQuad(mesh, 4, 0, 1, 5, 4, 8, 2);   // front
    setQuad(mesh, 6, 1, 2, 6, 5, 16, 3);  // right
    setQuad(mesh, 8, 2, 3, 7, 6, 32, 4);  // back
    setQuad(mesh, 10, 3, 0, 4, 7, 64, 5); // left
    // Every side shows the whole unit square.
    mesh.setNumMapVerts(1, 4);
    UVVert* uv = mesh.mapVerts(1);
    uv[0] = UVVert(0.0f, 0.0f, 0.0f);
    uv[1] = UVVert(1.0f, 0.0f, 0.0f);
    uv[2] = UVVert(1.0f, 1.0f, 0.0f);
    uv[3] = UVVert(0.0f, 1.0f, 0.0f);
    TVFace* tv = mesh.mapFaces(1);
    for (int side = 0; side < 6; ++side) {
        tv[side * 2].setTVerts(0, 1, 2);
        tv[side * 2 + 1].setTVerts(2, 3, 0);
    }
    return mesh;
}

Mesh MakePlaneMesh(float width, float length, int segX, int segY) {
    if (segX < 1 || segY < 1)
        throw std::invalid_argument("a plane needs at least one segment each way");
    const int columns = segX + 1;
    const int rows = segY + 1;
    Mesh mesh;
    mesh.setNumVerts(columns * rows);
    mesh.setNumMapVerts(1, columns * rows);
    UVVert* uv = mesh.mapVerts(1);
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
            const float u = static_cast<float>(i) / static_cast<float>(segX);
            const float v = static_cast<float>(j) / static_cast<float>(segY);
            mesh.setVert(j * columns + i, (u - 0.5f) * width, (v - 0.5f) * length, 0.0f);
            uv[j * columns + i] = UVVert(u, v, 0.0f);
        }
    }
    mesh.setNumFaces(segX * segY * 2);
    int face = 0;
    for (int j = 0; j < segY; ++j) {
        for (int i = 0; i < segX; ++i) {
            const auto at = [columns](int ci, int cj) {
                return static_cast<std::uint32_t>(cj * columns + ci);
            };
            setQuad(mesh, face, at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1), 1, 0);
            face += 2;
        }
    }
    // Map faces follow the vertex indices: the grid is its own texture layout.
    TVFace* tv = mesh.mapFaces(1);
    for (int f = 0; f < mesh.getNumFaces(); ++f)
        tv[f].setTVerts(mesh.getFace(f).getAllVerts());
    return mesh;
}
