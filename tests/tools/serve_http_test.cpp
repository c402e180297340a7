// wkcache serve through HTTP, with cpp-httplib's client: what is refused (and leaves the scene
// as it was), two clients on one scene, a modal dialog answered over several requests, the
// fast path of frames, and saving inside the served folder only.
#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessPrimitives.h"
#include "tests/object/CacheObjectFixture.h"
#include "tools/common/input_file.h"
#include "tools/common/scene_file.h"
#include "tools/serve/frame_buffer.h"
#include "tools/serve/http_server.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <cstring>

#include <thread>

namespace {

using Json = nlohmann::json;

class ServeHttpTest : public objtest::CacheObjectTest {
protected:
    std::unique_ptr<wkserve::ServedFolder> folder;
    std::unique_ptr<wkserve::ServeSession> session;
    std::unique_ptr<wkserve::HttpServer> server;
    std::thread serving;
    int port = -1;
    const std::string token = wkserve::NewToken();

    // Serves the two-element cache; without it, the new cache object has no file yet.
    virtual bool withFile() const { return true; }

    void SetUp() override {
        CacheObjectTest::SetUp();
        object->setPanelOpen(false);
        if (withFile())
            useFile(path);
        folder = std::make_unique<wkserve::ServedFolder>(dir.path());
        session = std::make_unique<wkserve::ServeSession>(host, *object, *node, *folder);
        server = std::make_unique<wkserve::HttpServer>(
            *session,
            wkserve::ServerOptions{"127.0.0.1", 0, token, WKCACHE_SOURCE_DIR "/web", dir.path()});
        port = server->bind();
        ASSERT_GT(port, 0);
        serving = std::thread([this] { server->listen(); });
    }
    void TearDown() override {
        server->stop();
        serving.join();
        server.reset();
        session.reset();
        CacheObjectTest::TearDown();
    }
    httplib::Headers headers(const std::string& with = "") const {
        return {{"X-Wkcache-Token", with.empty() ? token : with}};
    }
    httplib::Client client() const { return httplib::Client("127.0.0.1", port); }
    Json post(const std::string& what, const Json& body, int status = 200) {
        auto res = client().Post(what.c_str(), headers(), body.dump(), "application/json");
        EXPECT_TRUE(res && res->status == status)
            << what << " " << body << " " << (res ? res->body : "no answer");
        return res ? Json::parse(res->body, nullptr, false) : Json();
    }
    Json state() {
        auto res = client().Get("/api/state", headers());
        return res ? Json::parse(res->body) : Json();
    }
    static const Json* control(const Json& state, int id) {
        for (const char* list : {"dialogs", "rollouts"})
            for (const Json& window : state[list])
                for (const Json& c : window["controls"])
                    if (c["id"] == id)
                        return &c;
        return nullptr;
    }
};

TEST_F(ServeHttpTest, RefusesWhatItMustAndTheSceneStaysAsItWas) {
    const Json before = state();
    struct Case {
        const char* what;
        const char* method;
        std::string path, body;
        httplib::Headers extra;
        int status;
    };
    std::filesystem::create_directory_symlink(std::filesystem::temp_directory_path(),
                                              dir.path() / "out");
    // A link in the folder to a file outside it, not made yet: writing through it leaves the
    // folder too.
    const std::filesystem::path away =
        dir.path().parent_path() / (dir.path().filename().string() + "_away.wks");
    std::filesystem::create_symlink(away, dir.path() / "away.wks");
    const Case cases[] = {
        {"no token", "GET", "/api/state", "", {{"X-Wkcache-Token", ""}}, 403},
        {"wrong token", "GET", "/api/state", "", {{"X-Wkcache-Token", "0123"}}, 403},
        {"another origin",
         "POST",
         "/api/action",
         R"({"do":"press","id":1042})",
         {{"Origin", "http://elsewhere.example"}},
         403},
        {"a rebound name",
         "GET",
         "/api/state",
         "",
         {{"Host", "elsewhere.example:" + std::to_string(port)}},
         403},
        {"not JSON", "POST", "/api/action", "{press", {}, 400},
        {"no id", "POST", "/api/action", R"({"do":"press"})", {}, 400},
        {"unknown verb", "POST", "/api/action", R"({"do":"paint","id":1042})", {}, 400},
        {"unknown control", "POST", "/api/action", R"({"do":"press","id":424242})", {}, 400},
        {"typing into a button",
         "POST",
         "/api/action",
         R"({"do":"type","id":1026,"text":"x"})",
         {},
         400},
        {"frame without time", "GET", "/api/frame", "", {}, 400},
        {"frame at no time", "GET", "/api/frame?time=1e3", "", {}, 400},
        {"a key that is not hex", "GET", "/api/frame?time=0&topology=zz", "", {}, 400},
        {"a short camera",
         "POST",
         "/api/pick",
         R"({"time":0,"width":10,"height":10,"view":[1,2],"fov":45,"x0":0,"y0":0,"x1":1,"y1":1})",
         {},
         400},
        {"a level that is not", "POST", "/api/level", R"({"level":7})", {}, 400},
        {"an answer without a question", "POST", "/api/answer", R"({"answer":6})", {}, 409},
        {"saving above the folder", "POST", "/api/save", R"({"name":"../outside.wks"})", {}, 403},
        {"saving elsewhere", "POST", "/api/save", R"({"name":"/tmp/outside.wks"})", {}, 403},
        {"saving through a link", "POST", "/api/save", R"({"name":"out/outside.wks"})", {}, 403},
        {"saving through a dangling link", "POST", "/api/save", R"({"name":"away.wks"})", {}, 403},
        {"saving a text", "POST", "/api/save", R"({"name":"notes.txt"})", {}, 400},
        {"a page above the pages", "GET", "/three/../../../../etc/passwd", "", {}, 404},
    };
    for (const Case& c : cases) {
        httplib::Headers h = headers();
        for (const auto& [key, value] : c.extra) {
            h.erase(key);
            if (!value.empty())
                h.emplace(key, value);
        }
        auto res = std::string(c.method) == "GET"
                       ? client().Get(c.path.c_str(), h)
                       : client().Post(c.path.c_str(), h, c.body, "application/json");
        ASSERT_TRUE(res) << c.what;
        EXPECT_EQ(res->status, c.status) << c.what << ": " << res->body;
    }
    EXPECT_EQ(state().dump(), before.dump()); // nothing moved, not even the version
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "../outside.wks"));
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "out/outside.wks"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path() / "away.wks"));
    EXPECT_FALSE(std::filesystem::exists(away));
}

TEST_F(ServeHttpTest, TwoClientsShareOneSceneAndADialogSpansRequests) {
    const Json first = state();
    post("/api/action", {{"do", "press"}, {"id", 1042}}); // Display Icon, in one client
    const Json seen = state();                            // and read through another
    EXPECT_NE((*control(seen, 1042))["checked"], (*control(first, 1042))["checked"]);
    EXPECT_GT(seen["version"].get<int>(), first["version"].get<int>());
    auto unchanged =
        client().Get(("/api/state?since=" + seen["version"].dump()).c_str(), headers());
    EXPECT_EQ(unchanged->status, 204);

    // New Group opens the Group Name dialog, which waits for the next requests.
    post("/api/action", {{"do", "press"}, {"id", 1069}});
    ASSERT_EQ(state()["dialogs"].size(), 1u);
    post("/api/undo", Json::object(), 409); // not while a dialog is open
    post("/api/action", {{"do", "type"}, {"id", 1068}, {"text", "Rocks"}});
    post("/api/action", {{"do", "press"}, {"id", IDC_OK}});
    const Json grouped = state();
    EXPECT_TRUE(grouped["dialogs"].empty());
    ASSERT_EQ((*control(grouped, 1070))["rows"].size(), 1u);
    EXPECT_EQ(grouped["undo"], "Add Group");
    post("/api/undo", Json::object());
    EXPECT_TRUE((*control(state(), 1070))["rows"].empty());
    // The click on a parameter's check box was an undo step of its own.
    EXPECT_EQ(state()["undo"], "Parameter Change");
    post("/api/undo", Json::object());
    EXPECT_EQ((*control(state(), 1042))["checked"], (*control(first, 1042))["checked"]);
}

TEST_F(ServeHttpTest, FramesSendOnlyVerticesWhileTheFacesStay) {
    auto full = client().Get("/api/frame?time=0", headers());
    ASSERT_TRUE(full && full->status == 200);
    const auto word = [](const std::string& b, int i) {
        std::uint32_t w;
        std::memcpy(&w, b.data() + 4 * i, 4);
        return w;
    };
    ASSERT_EQ(word(full->body, 1), wkserve::kFrameFull);
    const std::uint32_t verts = word(full->body, 3);
    EXPECT_GT(verts, 0u);
    char keys[64];
    std::snprintf(keys, sizeof keys, "&topology=%08x%08x&overlay=%x", word(full->body, 8),
                  word(full->body, 7), word(full->body, 9));
    auto fast = client().Get(("/api/frame?time=320" + std::string(keys)).c_str(), headers());
    ASSERT_TRUE(fast && fast->status == 200);
    EXPECT_EQ(word(fast->body, 1), wkserve::kFramePositions);
    EXPECT_EQ(fast->body.size(), wkserve::kFrameHeaderBytes + verts * 12u +
                                     word(fast->body, 5) * 12u + word(fast->body, 6) * 28u);
    EXPECT_NE(fast->body.substr(88, verts * 12), full->body.substr(88, verts * 12));
}

TEST_F(ServeHttpTest, PickAndTheSelectByNameDialogAddNodesFromThePage) {
    for (const wchar_t* name : {L"a", L"b", L"c"})
        host.Nodes().CreateNode(
            name, host.Nodes().AddObject(std::make_unique<TriObject>(MakeBoxMesh(1, 2, 3))));
    const auto rows = [this] {
        std::vector<std::string> names;
        const Json now = state();
        for (const Json& row : (*control(now, 1004))["rows"])
            names.push_back(row["text"]);
        return names;
    };
    // Pick: the page lists the scene's nodes, the cache object's own not pickable; a click on
    // node 1 ("a") adds it, a click on nothing ends the mode.
    post("/api/action", {{"do", "press"}, {"id", 1005}});
    EXPECT_FALSE(state()["pick"]["nodes"].at(0)["pickable"]);
    post("/api/action", {{"do", "clickNode"}, {"node", 1}});
    post("/api/action", {{"do", "clickNode"}, {"node", -1}});
    EXPECT_TRUE(state()["pick"].is_null());
    post("/api/action", {{"do", "clickNode"}, {"node", 1}}, 400); // no pick mode now
    EXPECT_EQ(rows(), std::vector<std::string>{"a"});

    // Add..: the dialog waits for the page, offering the nodes not listed yet.
    post("/api/action", {{"do", "press"}, {"id", 1006}});
    EXPECT_EQ(state()["dialogs"].at(0)["title"], "Select objects to add");
    EXPECT_EQ((*control(state(), kNodeDialogList))["rows"].size(), 2u); // b, c
    post("/api/action", {{"do", "mark"}, {"id", kNodeDialogList}, {"rows", {1}}});
    post("/api/action", {{"do", "press"}, {"id", IDC_OK}});
    EXPECT_EQ(rows(), (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(state()["undo"], "Select Multiple");

    // A parameter's pick button: the Explode rollout's source object, set by one click.
    post("/api/action", {{"do", "press"}, {"id", 1140}}); // explodeTo 3, which enables it
    post("/api/action", {{"do", "press"}, {"id", 1141}});
    EXPECT_EQ(state()["pick"]["prompt"], "Pick an object to use as source");
    post("/api/action", {{"do", "clickNode"}, {"node", 2}});
    EXPECT_TRUE(state()["pick"].is_null());
    EXPECT_EQ((*control(state(), 1141))["text"], "b");
}

TEST_F(ServeHttpTest, SavesInsideTheFolderAndAsksBeforeReplacing) {
    post("/api/save", {{"name", "scene.wks"}});
    post("/api/save", {{"name", "scene.wks"}}, 409);
    post("/api/save", {{"name", "scene.wks"}, {"overwrite", true}});
    HeadlessHost other;
    ScopedHost scope(other);
    EXPECT_EQ(wkcli::LoadSceneFile((dir.path() / "scene.wks").string(), other).cacheObjects.size(),
              1u);
    // A link whose file is not made yet is written through, as every output of the tool is.
    std::filesystem::create_directory(dir.path() / "kept");
    std::filesystem::create_symlink("kept/real.wks", dir.path() / "linked.wks");
    post("/api/save", {{"name", "linked.wks"}});
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path() / "linked.wks"));
    EXPECT_TRUE(std::filesystem::is_regular_file(dir.path() / "kept/real.wks"));
    // The kind goes by the name's ending, in any case.
    for (const char* name : {"upper.WKS", "mixed.Json"}) {
        post("/api/save", {{"name", name}});
        const std::string bytes = wkcli::ReadInputFile((dir.path() / name).string(), 1 << 20);
        EXPECT_EQ(bytes.front() == '{', std::string(name).ends_with("Json")) << name;
    }
}

} // namespace

namespace {

TEST_F(ServeHttpTest, TheGizmoMovesTurnsAndScalesAsOneUndoableStepEach) {
    post("/api/gizmo", {{"time", 0}, {"move", {5, 0, 0}}}, 409); // only at the Gizmo level
    post("/api/level", {{"level", 2}});
    const auto gizmo = [this] { return state()["gizmo"].get<std::vector<float>>(); };
    const std::vector<float> start = gizmo();
    post("/api/gizmo", {{"time", 0}, {"move", {5, 0, 0}}});
    EXPECT_FLOAT_EQ(gizmo()[9], start[9] + 5.0f);
    post("/api/gizmo", {{"time", 0}, {"rotate", {{"axis", {0, 0, 1}}, {"angle", 1.5707964}}}});
    EXPECT_NEAR(gizmo()[1], 1.0f, 1e-5f); // x turned onto y
    post("/api/gizmo", {{"time", 0}, {"scale", {2, 2, 2}}});
    EXPECT_NEAR(gizmo()[1], 2.0f, 1e-5f);
    EXPECT_NEAR(gizmo()[9], start[9] + 5.0f, 1e-4f); // about its own centre
    post("/api/gizmo", {{"time", 0}, {"scale", {0, 1, 1}}}, 400);
    for (const char* step : {"Scale", "Rotate", "Move"}) {
        EXPECT_EQ(state()["undo"], step);
        post("/api/undo", Json::object());
    }
    EXPECT_EQ(gizmo(), start);
}

} // namespace

namespace {

class ServeWithoutFileTest : public ServeHttpTest {
protected:
    bool withFile() const override { return false; }
};

TEST_F(ServeWithoutFileTest, ANewObjectLoadsACacheOfTheFolderThroughTheFileDialog) {
    const auto kind = [this] {
        auto res = client().Get("/api/frame?time=0", headers());
        std::uint32_t word = 0;
        if (res && res->body.size() >= 8)
            std::memcpy(&word, res->body.data() + 4, 4);
        return word;
    };
    EXPECT_EQ(kind(), wkserve::kFrameEmpty);
    post("/api/action", {{"do", "press"}, {"id", 1012}}); // Load..
    ASSERT_TRUE(state()["dialogs"].at(0).contains("file"));
    post("/api/action", {{"do", "type"}, {"id", kFileDialogNameEdit}, {"text", "two.wkc"}});
    post("/api/action", {{"do", "press"}, {"id", IDC_OK}});
    EXPECT_EQ(kind(), wkserve::kFrameFull);
}

} // namespace
