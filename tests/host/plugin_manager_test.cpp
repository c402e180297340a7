// The plug-in manager as the host runs it: the cache object's module is listed and makes
// objects with the loading flag; modules that break the contract are refused, saying why.
#include "host/headless/HeadlessHost.h"
#include "object/wkCacheParams.h"
#include "object/wkCache_obj.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

namespace {

TEST(PluginManager, ListsTheCacheClassAndCreatesItWithTheLoadingFlag) {
    HeadlessHost host;
    ScopedHost scope(host);
    host.Time().SetAnimRange(Interval(1600, 4800));
    HeadlessPluginManager& modules = host.Modules();
    ASSERT_EQ(modules.LoadFolder(HeadlessPluginManager::DefaultFolder()), 1);
    ASSERT_EQ(modules.Classes().size(), 1u);
    ClassDesc2& desc = *modules.Classes()[0].desc;
    EXPECT_EQ(desc.IsPublic(), 1);
    EXPECT_EQ(desc.SuperClassID(), 16u);
    EXPECT_EQ(desc.ClassID(), Class_ID(0x74131F4A, 0x5C615BBA));
    EXPECT_EQ(WStr(desc.ClassName()), WStr(L"WK Cache"));
    EXPECT_EQ(WStr(desc.InternalName()), WStr(L"WK_Cache"));
    EXPECT_EQ(WStr(desc.Category()), WStr(L"Welkard"));
    EXPECT_NE(desc.HInstance(), nullptr);

    for (const bool loading : {false, true}) {
        auto made = modules.Create(GEOMOBJECT_CLASS_ID, wkCache_obj::kClassID, loading);
        auto* cache = dynamic_cast<wkCache_obj*>(made.get());
        ASSERT_NE(cache, nullptr);
        // Only a new object takes its ranges from the animation range.
        EXPECT_EQ(cache->params().GetInt(wkCacheParam::recEnd), loading ? 0 : 30);
    }
    EXPECT_THROW(modules.Create(GEOMOBJECT_CLASS_ID, Class_ID(1, 2)), std::runtime_error);
}

TEST(PluginManager, RefusesModulesThatBreakTheContract) {
    const struct {
        const char* folder;
        const char* reason;
    } cases[] = {
        {"/broken_no_shutdown", "missing export LibShutdown"},
        {"/broken_old_version", "version 0x5A784200 where the host needs 0x69784200"},
    };
    for (const auto& c : cases) {
        HeadlessPluginManager modules;
        EXPECT_EQ(modules.LoadFolder(std::string(WKCACHE_BROKEN_MODULES) + c.folder), 0);
        ASSERT_EQ(modules.Refusals().size(), 1u) << c.folder;
        EXPECT_EQ(modules.Refusals()[0].reason, c.reason);
        try {
            modules.Create(GEOMOBJECT_CLASS_ID, wkCache_obj::kClassID);
            ADD_FAILURE() << "created a class no module has";
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string(e.what()).find(c.reason), std::string::npos) << e.what();
        }
    }
}

} // namespace
