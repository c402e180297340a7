// wkcache.Cache: a cache file read-only, straight through the reader.
#include "cachefile/wkCacheReader.h"
#include "host/headless/HeadlessMaterials.h"
#include "python/py_scene.h"
#include "python/py_values.h"
#include "tools/common/info_json.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

namespace wkpy {

namespace {

using WelkardTools::wkCacheReader;

class CacheFile {
public:
    explicit CacheFile(const std::string& path) : reader(wide(path), &materials) {
        {
            py::gil_scoped_release release;
            reader.loadCache();
        }
        check();
    }

    py::dict info() {
        const py::object loads = py::module_::import("json").attr("loads");
        return loads(wkcli::infoJson(reader).dump());
    }

    std::vector<std::string> elementNames() const {
        std::vector<std::string> names;
        for (const auto& node : reader.getIndex()->nodes)
            names.push_back(utf8(node->name));
        return names;
    }

    int numElements() const { return reader.cacheNumNodes(); }
    int numSamples() const { return reader.cacheNumSamples(); }

    py::array_t<float> transforms(int sample) {
        fetch(sample);
        const int n = reader.cacheNumNodes();
        py::array_t<float> out({static_cast<py::ssize_t>(n), py::ssize_t{4}, py::ssize_t{3}});
        float* dest = out.mutable_data();
        for (int i = 0; i < n; ++i, dest += 12) {
            const Matrix3 tm = reader.sampleTransform(i, sample);
            std::memcpy(dest, tm.GetAddr(), sizeof(float) * 12);
        }
        return out;
    }

    py::array_t<std::uint8_t> visibility(int sample) {
        fetch(sample);
        const int n = reader.cacheNumNodes();
        py::array_t<std::uint8_t> out(n);
        std::uint8_t* dest = out.mutable_data();
        for (int i = 0; i < n; ++i)
            dest[i] = reader.sampleVisible(i, sample) ? 1 : 0;
        return out;
    }

    py::dict mesh(int element) {
        if (element < 0 || element >= reader.cacheNumNodes())
            throw py::index_error("element " + std::to_string(element) + " of " +
                                  std::to_string(reader.cacheNumNodes()));
        auto& info = *reader.getIndex()->nodes[static_cast<std::size_t>(element)];
        if (!info.mesh)
            reader.buildNodeMesh(element);
        if (!info.mesh)
            throw py::value_error("element " + std::to_string(element) + " has no mesh");
        const Mesh& m = *info.mesh;
        const auto nv = static_cast<py::ssize_t>(m.getNumVerts());
        const auto nf = static_cast<py::ssize_t>(m.getNumFaces());
        py::array_t<float> verts({nv, py::ssize_t{3}});
        py::array_t<std::int32_t> faces({nf, py::ssize_t{3}});
        py::array_t<std::int32_t> matIds(nf);
        if (nv > 0)
            std::memcpy(verts.mutable_data(), m.getVertPtr(0), sizeof(float) * 3 * nv);
        for (py::ssize_t i = 0; i < nf; ++i) {
            const Face& f = m.getFace(static_cast<int>(i));
            for (int c = 0; c < 3; ++c)
                faces.mutable_at(i, c) = static_cast<std::int32_t>(f.getVert(c));
            matIds.mutable_at(i) = f.getMatID();
        }
        py::dict out;
        out["vertices"] = verts;
        out["faces"] = faces;
        out["material_ids"] = matIds;
        return out;
    }

private:
    void fetch(int sample) {
        if (sample < 0 || sample >= reader.cacheNumSamples())
            throw py::index_error("sample " + std::to_string(sample) + " of " +
                                  std::to_string(reader.cacheNumSamples()));
        bool fetched;
        {
            py::gil_scoped_release release;
            fetched = reader.fetchSample(sample, false);
        }
        if (!fetched)
            check();
    }

    // Raises CacheError(status text, code) when the reader has failed.
    void check() const {
        if (!reader.hasError() && reader.getIndex())
            return;
        const py::object error = py::reinterpret_borrow<py::object>(CacheErrorType)(
            utf8(reader.statusText()), reader.status());
        PyErr_SetObject(CacheErrorType, error.ptr());
        throw py::error_already_set();
    }

    HeadlessMaterials materials;
    wkCacheReader reader;
};

} // namespace

void bindCache(py::module_& m) {
    py::class_<CacheFile>(m, "Cache", R"(A .wkc cache file, read-only.

Opening reads the header, index and meshes; a file the reader cannot read raises
wkcache.CacheError with the reader's status text and code. Sample rows are read as they are
asked for: ``transforms(s)`` gives each element's transform at sample s as float32 (n, 4, 3)
(three axis rows, then the translation), ``visibility(s)`` its visibility byte as uint8 (n,).)")
        .def(py::init<const std::string&>(), py::arg("path"))
        .def_property_readonly("info", &CacheFile::info,
                               "The facts that `wkcache info --json` prints, as a dict.")
        .def_property_readonly("element_names", &CacheFile::elementNames,
                               "The element names, in element order.")
        .def_property_readonly("num_elements", &CacheFile::numElements, "The element count.")
        .def_property_readonly("num_samples", &CacheFile::numSamples, "The sample count.")
        .def("transforms", &CacheFile::transforms, py::arg("sample"),
             "Every element's transform at this sample, float32 (n, 4, 3).")
        .def("visibility", &CacheFile::visibility, py::arg("sample"),
             "Every element's visibility byte at this sample, uint8 (n,).")
        .def("mesh", &CacheFile::mesh, py::arg("element"),
             "An element's mesh as recorded: \"vertices\" float32 (n, 3), \"faces\" int32 (m, 3), "
             "\"material_ids\" int32 (m,).");
}

} // namespace wkpy
