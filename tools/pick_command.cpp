// `wkcache pick CACHE|--scene SCENE --time TICKS --at X,Y [view options] [--json]`: what a click
// at pixel (X, Y) of the viewport that `render` draws with the same options would hit. At object
// level: whether the object is hit. At the elements level: each element hit, with its distance
// (nearer is smaller), in element order.
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/viewport_session.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <sstream>

namespace wkcli {

namespace {

struct PickOptions {
    FrameOptions frame;
    ViewOptions view;
    TimeValue time = 0;
    std::string at;
    bool json = false;
};

IPoint2 ParsePoint(const std::string& text) {
    std::istringstream in(text);
    IPoint2 p;
    char comma = 0;
    if (!(in >> p.x >> comma >> p.y) || comma != ',' || !in.eof())
        throw CommandError(kExitUsage, "--at: expected X,Y in pixels, got \"" + text + "\"");
    return p;
}

void runPick(const PickOptions& options) {
    const IPoint2 at = ParsePoint(options.at);
    FrameSession session(options.frame);
    ViewportSession viewport(session, options.view);
    const int width = viewport.window().Width();
    const int height = viewport.window().Height();
    if (at.x < 0 || at.y < 0 || at.x >= width || at.y >= height)
        throw CommandError(kExitUsage, "--at: " + options.at + " lies outside the " +
                                           std::to_string(width) + "x" + std::to_string(height) +
                                           " picture");
    viewport.frame({options.time});
    if (!viewport.draw(options.time))
        throw session.failure();
    wkCache_obj& object = session.object();
    const bool elements = viewport.level() == 1;
    int objectHit = 0;
    if (elements)
        object.HitTest(options.time, &viewport.node(), POINT_RGN, 0, 0, &at, &viewport.view(),
                       nullptr);
    else
        objectHit =
            object.HitTest(options.time, &viewport.node(), POINT_RGN, 0, 0, &at, &viewport.view());

    Json hits = Json::array();
    for (HitRecord* hit = viewport.view().GetSubObjHitList().First(); hit != nullptr;
         hit = hit->Next())
        hits.push_back({{"element", wkCache_obj::hitElementIndex(*hit)},
                        {"distance", hit->distance}});
    if (options.json) {
        Json result = {{"x", at.x}, {"y", at.y}, {"level", options.view.level}};
        if (elements)
            result["hits"] = std::move(hits);
        else
            result["hit"] = objectHit == 1;
        std::string out;
        writeJson(out, result);
        std::cout << out << '\n';
        return;
    }
    if (!elements) {
        std::cout << (objectHit == 1 ? "hit: the object\n" : "no hit\n");
        return;
    }
    if (hits.empty())
        std::cout << "no hit\n";
    for (const Json& hit : hits)
        std::cout << "element " << hit["element"].get<int>() << "  distance "
                  << hit["distance"].get<std::uint32_t>() << '\n';
}

} // namespace

void addPickCommand(CLI::App& app) {
    auto options = std::make_shared<PickOptions>();
    CLI::App* command = app.add_subcommand(
        "pick", "Hit test a click at one pixel of the viewport that render draws");
    command->add_option("--time", options->time, "Scene time in ticks (4800 a second)")
        ->required();
    command->add_option("--at", options->at, "The pixel X,Y, from the top left")->required();
    command->add_flag("--json", options->json, "Print the hits as JSON");
    addFrameOptions(*command, options->frame);
    addViewOptions(*command, options->view);
    command->callback([options] { runPick(*options); });
}

} // namespace wkcli
