// Loading an asset: the file and every external buffer read as regular files within a size
// limit, images left undecoded (the scene carries no textures).
#include "tools/common/input_file.h"
#include "tools/gltf/gltf_accessor.h"
#include "tools/gltf/gltf_import.h"

#include <filesystem>

namespace wkgltf {

namespace {

bool fileExists(const std::string& path, void*) {
    std::error_code ec;
    return std::filesystem::is_regular_file(path, ec);
}

std::string expandPath(const std::string& path, void*) {
    return path;
}

bool readWholeFile(std::vector<unsigned char>* out, std::string* err, const std::string& path,
                   void*) {
    try {
        const std::string bytes = wkcli::ReadInputFile(path, kGltfFileLimit);
        out->assign(bytes.begin(), bytes.end());
        return true;
    } catch (const std::exception& e) {
        if (err != nullptr)
            *err += path + ": " + e.what() + "\n";
        return false;
    }
}

bool refuseWrite(std::string* err, const std::string&, const std::vector<unsigned char>&, void*) {
    if (err != nullptr)
        *err += "the import writes no files\n";
    return false;
}

bool skipImage(tinygltf::Image*, const int, std::string*, std::string*, int, int,
               const unsigned char*, int, void*) {
    return true;
}

} // namespace

tinygltf::Model LoadGltf(const std::string& path, std::vector<std::string>& warnings) {
    std::string bytes;
    try {
        bytes = wkcli::ReadInputFile(path, kGltfFileLimit);
    } catch (const std::exception& e) {
        throw GltfError(e.what());
    }
    tinygltf::TinyGLTF loader;
    loader.SetFsCallbacks({fileExists, expandPath, readWholeFile, refuseWrite, nullptr});
    loader.SetImageLoader(skipImage, nullptr);
    tinygltf::Model model;
    std::string err;
    std::string warn;
    const std::string base = std::filesystem::path(path).parent_path().string();
    const bool binary = bytes.size() >= 4 && bytes.compare(0, 4, "glTF") == 0;
    const bool ok =
        binary ? loader.LoadBinaryFromMemory(&model, &err, &warn,
                                             reinterpret_cast<const unsigned char*>(bytes.data()),
                                             static_cast<unsigned int>(bytes.size()), base)
               : loader.LoadASCIIFromString(&model, &err, &warn, bytes.data(),
                                            static_cast<unsigned int>(bytes.size()), base);
    if (!warn.empty())
        warnings.push_back(warn);
    if (!ok) {
        // The JSON library's own code ("[json.exception.parse_error.101] ") says nothing to a user.
        const std::size_t code = err.find("[json.exception.");
        const std::size_t end = code == std::string::npos ? code : err.find("] ", code);
        if (end != std::string::npos)
            err.replace(code, end + 2 - code, "not valid JSON: ");
        throw GltfError(err.empty() ? "not a glTF asset" : err);
    }
    return model;
}

} // namespace wkgltf
