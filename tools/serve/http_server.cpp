#include "tools/serve/http_server.h"

#include "tools/common/file_names.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <random>
#include <stdexcept>

namespace wkserve {

namespace {

namespace fs = std::filesystem;

constexpr const char* kTokenHeader = "X-Wkcache-Token";
constexpr std::size_t kBodyLimit = 1 << 20;

const char* ContentType(const fs::path& file) {
    using wkcli::HasExtension;
    if (HasExtension(file, ".html"))
        return "text/html; charset=utf-8";
    if (HasExtension(file, ".js") || HasExtension(file, ".mjs"))
        return "text/javascript; charset=utf-8";
    if (HasExtension(file, ".css"))
        return "text/css; charset=utf-8";
    if (HasExtension(file, ".png"))
        return "image/png";
    if (HasExtension(file, ".json"))
        return "application/json";
    return "application/octet-stream";
}

void Send(httplib::Response& res, const Reply& reply) {
    res.status = reply.status;
    res.set_content(reply.body, reply.type.c_str());
    res.set_header("Cache-Control", "no-store");
}

// Runs a session request; a malformed one is a 400 that never reached the scene.
template <class F> void Answer(httplib::Response& res, F&& request) {
    try {
        Send(res, request());
    } catch (const std::invalid_argument& e) {
        Send(res, {400, nlohmann::json{{"error", e.what()}}.dump()});
    } catch (const nlohmann::json::exception& e) {
        Send(res, {400, nlohmann::json{{"error", e.what()}}.dump()});
    } catch (const std::exception& e) {
        Send(res, {500, nlohmann::json{{"error", e.what()}}.dump()});
    }
}

bool SameText(const std::string& a, const std::string& b) {
    // Compared in full whatever differs, so the time taken says nothing about the token.
    unsigned char diff = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

bool Loopback(const std::string& address) {
    return address == "127.0.0.1" || address == "localhost" || address == "::1";
}

} // namespace

std::string NewToken() {
    std::random_device random;
    static const char digits[] = "0123456789abcdef";
    std::string token;
    for (int i = 0; i < 32; ++i)
        token += digits[random() & 15u];
    return token;
}

HttpServer::HttpServer(ServeSession& session_, ServerOptions options_)
    : session(session_), options(std::move(options_)), web(options.webRoot),
      three(options.threeRoot), server(std::make_unique<httplib::Server>()) {
    routes();
}

HttpServer::~HttpServer() = default;

int HttpServer::bind() {
    port = options.port == 0
               ? server->bind_to_any_port(options.bind)
               : (server->bind_to_port(options.bind, options.port) ? options.port : -1);
    return port;
}

bool HttpServer::listen() {
    return server->listen_after_bind();
}

void HttpServer::stop() {
    session.stop();
    server->stop();
}

std::string HttpServer::url() const {
    const std::string host =
        options.bind.find(':') != std::string::npos ? "[" + options.bind + "]" : options.bind;
    return "http://" + host + ":" + std::to_string(port) + "/?token=" + options.token;
}

void HttpServer::routes() {
    httplib::Server& s = *server;
    s.set_payload_max_length(kBodyLimit);
    s.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
        const std::string host = req.get_header_value("Host");
        const std::string portText = ":" + std::to_string(port);
        // On a loopback address only loopback names may be asked for: a page of another site
        // whose name was made to point here says its own name.
        bool hostOk = host.ends_with(portText);
        if (hostOk && Loopback(options.bind)) {
            const std::string name = host.substr(0, host.size() - portText.size());
            hostOk = name == "127.0.0.1" || name == "localhost" || name == "[::1]";
        }
        const std::string origin = req.get_header_value("Origin");
        const bool originOk = origin.empty() || origin == "http://" + host;
        const bool api = req.path.starts_with("/api/");
        const bool tokenOk = !api || SameText(req.get_header_value(kTokenHeader), options.token);
        if (hostOk && originOk && tokenOk)
            return httplib::Server::HandlerResponse::Unhandled;
        Send(res, {403, nlohmann::json{{"error", !hostOk     ? "unknown host"
                                                 : !originOk ? "another origin"
                                                             : "wrong or missing token"}}
                            .dump()});
        return httplib::Server::HandlerResponse::Handled;
    });

    s.Get("/api/state", [this](const httplib::Request& req, httplib::Response& res) {
        // A page that has the current version gets 204 without a trip to the scene.
        if (req.has_param("since") &&
            req.get_param_value("since") == std::to_string(session.version())) {
            res.status = 204;
            return;
        }
        Answer(res, [&] { return session.state(); });
    });
    s.Get("/api/frame", [this](const httplib::Request& req, httplib::Response& res) {
        Answer(res, [&] {
            return session.frame(req.get_param_value("time"), req.get_param_value("topology"),
                                 req.get_param_value("overlay"));
        });
    });
    s.Get("/api/files", [this](const httplib::Request&, httplib::Response& res) {
        Answer(res, [&] { return session.files(); });
    });
    using Call = Reply (ServeSession::*)(const std::string&);
    const std::pair<const char*, Call> posts[] = {
        {"/api/action", &ServeSession::act},  {"/api/answer", &ServeSession::answer},
        {"/api/level", &ServeSession::level}, {"/api/pick", &ServeSession::pick},
        {"/api/gizmo", &ServeSession::gizmo}, {"/api/save", &ServeSession::save}};
    // A lambda captures a copy: clang before 16 cannot capture a structured binding.
    for (const auto& post : posts)
        s.Post(post.first,
               [this, call = post.second](const httplib::Request& req, httplib::Response& res) {
                   Answer(res, [&] { return (session.*call)(req.body); });
               });
    s.Post("/api/undo", [this](const httplib::Request&, httplib::Response& res) {
        Answer(res, [&] { return session.undo(false); });
    });
    s.Post("/api/redo", [this](const httplib::Request&, httplib::Response& res) {
        Answer(res, [&] { return session.undo(true); });
    });

    // The page's files and three.js, never outside their folders.
    s.Get(R"(/(.*))", [this](const httplib::Request& req, httplib::Response& res) {
        std::string path = req.matches[1].str();
        const ServedFolder* root = &web;
        if (path.starts_with("api/")) {
            Send(res, {404, R"({"error":"no such request"})"});
            return;
        }
        if (path.starts_with("three/")) {
            root = &three;
            path = path.substr(6);
        }
        if (path.empty())
            path = "index.html";
        const std::optional<fs::path> file = root->inside(path);
        std::error_code error;
        if (!file || !fs::is_regular_file(*file, error)) {
            Send(res, {404, R"({"error":"no such file"})"});
            return;
        }
        std::ifstream in(*file, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        res.set_content(std::move(bytes), ContentType(*file));
    });
}

} // namespace wkserve
