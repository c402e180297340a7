// `wkcache serve [SCENE|CACHE] [--object NAME] [--port N] [--bind ADDRESS] [--open]`: the cache
// object's panels and a viewport that plays it, in a browser, until Ctrl-C.
//
// A scene file (.json or .wks) gives its cache object; a bare cache gets a scene with one cache
// object playing it; no file, a new scene with one cache object and no cache file, which the
// page can load or record. Pages may read and write files only in the folder of that file (or,
// without one, the current folder).
#include "tools/cli_common.h"
#include "tools/common/file_names.h"
#include "tools/frame_session.h"
#include "tools/serve/http_server.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <thread>
#include <vector>

#include <spawn.h>

#ifndef WKCACHE_WEB_DIR
#error "WKCACHE_WEB_DIR must come from the build"
#endif

namespace wkcli {

namespace {

namespace fs = std::filesystem;

struct ServeOptions {
    std::string file;
    std::string object;
    int port = 0;
    std::string bind = "127.0.0.1";
    bool open = false;
    std::string web;
    std::string three = WKCACHE_THREE_DIR;
};

// The desktop's browser, without a shell between: the address goes as one argument.
void OpenInBrowser(const std::string& url) {
    const std::string program = "xdg-open";
    std::vector<char*> argv = {const_cast<char*>(program.c_str()), const_cast<char*>(url.c_str()),
                               nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0)
        std::cerr << "wkcache: could not run xdg-open; open the address yourself\n";
}

// The pages: given, else installed beside the tool, else those of the source tree it was
// built from.
fs::path WebRoot(const std::string& given) {
    if (!given.empty())
        return given;
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    const fs::path installed = self.parent_path().parent_path() / "share/wkcache/web";
    if (!error && fs::is_regular_file(installed / "index.html", error))
        return installed;
    return WKCACHE_WEB_DIR;
}

void runServe(const ServeOptions& options) {
    const fs::path file = options.file;
    FrameOptions frame;
    if (options.file.empty())
        frame.noFile = true;
    else
        (HasExtension(file, ".json") || HasExtension(file, ".wks") ? frame.scene : frame.cache) =
            options.file;
    frame.object = options.object;
    if (frame.scene.empty() && !options.object.empty())
        throw CommandError(kExitUsage, "--object needs a scene file");
    FrameSession session(frame);
    HeadlessHost& host = session.host();
    const std::vector<INode*> nodes = host.Nodes().NodesReferencing(&session.object());
    if (nodes.empty())
        throw CommandError(kExitBadInput, options.file + ": the cache object has no node");

    std::optional<wkserve::ServedFolder> folder;
    std::optional<wkserve::ServedFolder> pages;
    try {
        folder.emplace(options.file.empty() ? fs::current_path()
                                            : fs::absolute(file).parent_path());
        pages.emplace(WebRoot(options.web));
        (void)wkserve::ServedFolder(options.three);
    } catch (const std::invalid_argument& e) {
        throw CommandError(kExitBadInput, e.what());
    }
    wkserve::ServeSession scene(host, session.object(), *nodes.front(), *folder);
    wkserve::HttpServer server(
        scene, {options.bind, options.port, wkserve::NewToken(), pages->root(), options.three});
    if (server.bind() < 0)
        throw CommandError(kExitBadInput,
                           "cannot listen on " + options.bind + ":" + std::to_string(options.port));
    std::cout << "Serving "
              << (options.file.empty() ? "a new scene in " + folder->root().string() : options.file)
              << " at " << server.url() << '\n'
              << "Press Ctrl-C to stop." << std::endl;
    if (options.open)
        OpenInBrowser(server.url());

    // Ctrl-C reaches the terminal session; the watcher turns it into a clean stop.
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        while (!done && !session.terminal().interrupted())
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        server.stop();
    });
    const bool served = server.listen();
    done = true;
    watcher.join();
    if (!served && !session.terminal().interrupted())
        throw CommandError(kExitBadInput, "the server stopped: " + options.bind);
    // Ctrl-C is how a server ends: a clean stop, exit code 0.
    std::cout << "Stopped." << std::endl;
}

} // namespace

void addServeCommand(CLI::App& app) {
    auto options = std::make_shared<ServeOptions>();
    CLI::App* command = app.add_subcommand(
        "serve", "Show a cache object's panels and a live viewport in the browser");
    command->add_option("FILE", options->file,
                        "A scene file (.json or .wks) or a bare cache (.wkc); pages may use "
                        "the files of its folder. Without one: a new scene holding one cache "
                        "object with no cache file, and the current folder's files to load "
                        "a cache from or record into");
    command->add_option("--object", options->object,
                        "The node holding the cache object (when the scene has several)");
    command->add_option("--port", options->port, "The port to listen on (default: a free one)")
        ->check(CLI::Range(0, 65535));
    command->add_option("--bind", options->bind,
                        "The address to listen on (default 127.0.0.1: this machine only)");
    command->add_flag("--open", options->open, "Open the page in the desktop's browser");
    command->add_option("--web", options->web, "The folder of the page's files");
    command->add_option("--three", options->three, "The folder of three.js (libjs-three)");
    command->footer("Every request must carry the token of the printed URL; requests from "
                    "other sites are refused. Ctrl-C stops the server.");
    command->callback([options] { runServe(*options); });
}

} // namespace wkcli
