// The HTTP face of a ServeSession: the page's own files, three.js, and the JSON and binary API
// under /api/.
//
// Every /api/ request carries the run's token in the X-Wkcache-Token header; a request whose
// Origin is not the server's own, or whose Host names another server (a rebound name), is
// refused with 403 before it reaches the scene. The page's files are the tool's own and need
// no token.
#pragma once

#include "tools/serve/serve_session.h"

#include <filesystem>
#include <memory>
#include <string>

namespace httplib {
class Server;
}

namespace wkserve {

struct ServerOptions {
    std::string bind = "127.0.0.1";
    int port = 0; // 0: any free port
    std::string token;
    std::filesystem::path webRoot;   // index.html and the page's modules
    std::filesystem::path threeRoot; // three.js: three.module.js, examples/jsm/...
};

class HttpServer {
public:
    // Throws std::invalid_argument when a root is not a folder.
    HttpServer(ServeSession& session, ServerOptions options);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Binds the address; the port bound, or -1 when it cannot be bound.
    int bind();
    // Serves until stop(); returns false when serving failed.
    bool listen();
    void stop();
    // http://ADDRESS:PORT/?token=TOKEN
    std::string url() const;

private:
    void routes();

    ServeSession& session;
    ServerOptions options;
    ServedFolder web;
    ServedFolder three;
    std::unique_ptr<httplib::Server> server;
    int port = -1;
};

// 32 random hexadecimal digits.
std::string NewToken();

} // namespace wkserve
