// The sibling plug-in's export, as the record tests need it. By the source node's name:
//  - "Skip..."  nothing is recorded for it;
//  - "Split..." two new nodes are recorded in its place, each holding its mesh at the start
//    tick, and handed back as temporary nodes; their names tell the ticks the call got;
//  - any other  the node itself.
#include "host/Host.h"
#include "host/INode.h"
#include "host/SceneObject.h"

#include <memory>
#include <string>

extern "C" __attribute__((visibility("default"))) int
Get_SD_SOLID_Exploded(INode* node, INodeTab& outNodes, INodeTab& outTmpNodes, TimeValue start,
                      TimeValue end) {
    const std::string name = node->GetName().ToCStr().str();
    if (name.rfind("Skip", 0) == 0)
        return 0;
    if (name.rfind("Split", 0) != 0) {
        outNodes.Append(1, &node);
        return 1;
    }
    SceneObject* object = node->EvalWorldState(start, true).obj;
    const TriObjectConversion converted = object->ConvertToTriMesh(start);
    for (int part = 1; part <= 2; ++part) {
        INode* piece = GetHost().Nodes().CreateObjectNode(
            std::make_unique<TriObject>(converted.object->GetMesh()));
        piece->SetName(WStr((name + "_part" + std::to_string(part) + "@" + std::to_string(start) +
                             "-" + std::to_string(end))
                                .c_str()));
        outNodes.Append(1, &piece);
        outTmpNodes.Append(1, &piece);
    }
    return 2;
}
