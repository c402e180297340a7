#include "tools/common/info_json.h"

#include "cachefile/wkCacheElementBlockCheck.h"

namespace wkcli {

namespace {

using WelkardTools::wkCacheReader;

Json channelObject(const std::map<std::int32_t, std::int32_t>& channels) {
    Json object = Json::object();
    for (const auto& [channel, count] : channels)
        object[std::to_string(channel)] = count;
    return object;
}

} // namespace

Json elementBlock(wkCacheReader& reader) {
    WelkardTools::wkCacheElementFrames& store = reader.getFrameStore();
    // A version 3 file whose block offset is its size has no block, not a block of zeros.
    if (reader.getVersion() != 3 || !WelkardTools::HasElementBlock(utf8(reader.fileName())) ||
        !store.parseBlockHead(reader.fileName()))
        return nullptr;
    return Json{{"frameCount", store.frameCount},
                {"keyFrameCount", store.keyFrameCount},
                {"pointCount", store.pointCount},
                {"elementCount", store.elementCount},
                {"elementPointCounts", store.elementPointCounts},
                {"keyFrames", store.keyFrames}};
}

Json infoJson(wkCacheReader& reader) {
    Json info{{"status", reader.status()},
              {"statusText", utf8(reader.statusText())},
              {"fileSize", reader.fileSize()}};
    if (reader.status() != WelkardTools::kStatusOk || reader.getHeader() == nullptr)
        return info;
    const WelkardTools::wkCacheHeader& header = *reader.getHeader();
    const WelkardTools::wkCacheIndex& index = *reader.getIndex();
    info["version"] = reader.getVersion();
    info["cacheStart"] = header.cacheStart;
    info["cacheEnd"] = header.cacheEnd;
    info["cacheStepSize"] = header.cacheStepSize;
    info["cacheFrameRate"] = header.cacheFrameRate;
    info["cacheNumNodes"] = header.cacheNumNodes;
    info["cacheNumSamples"] = header.cacheNumSamples;
    info["cacheHasVisibility"] = reader.cacheHasVisibility() != 0;
    info["cacheHasSpecifiedNormals"] = reader.cacheHasSpecifiedNormals() != 0;
    info["meshSize"] = reader.meshSize();
    info["animationSize"] = reader.animationSize();
    info["numFrames"] = reader.numFrames();
    info["totalVerts"] = index.totalVerts;
    info["totalFaces"] = index.totalFaces;
    info["channels"] = channelObject(index.channels);
    Json nodes = Json::array();
    for (const auto& node : index.nodes)
        nodes.push_back(Json{{"name", utf8(node->name)},
                             {"numVerts", node->numVerts},
                             {"numFaces", node->numFaces},
                             {"boundsMin", point(node->bounds.pmin)},
                             {"boundsMax", point(node->bounds.pmax)},
                             {"channels", channelObject(node->channels)},
                             {"hasSpecifiedNormals", node->hasSpecifiedNormals != 0}});
    info["nodes"] = std::move(nodes);
    info["elementBlock"] = elementBlock(reader);
    return info;
}

} // namespace wkcli
