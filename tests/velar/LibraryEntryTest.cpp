#include "velar/LibraryEntry.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/ComponentManager.h"
#include "tests/common/LogCapture.h"
#include "velar/Mp4Service.h"

namespace {

const char* const kNoManager =
    "Failed, no ComponentManager.  You must call setComponentManager in RegisterService";

// In a process of its own, so that no entry call came before: null and the level 1 complaint.
TEST(LibraryEntryDeathTest, NoManagerBeforeTheEntry) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            velar_test::LogCapture log;
            const bool isNull = ZUNCOM::getComponentManager() == nullptr;
            const auto lines = log.lines();
            std::exit(isNull && lines.size() == 1 && lines[0].level == 1 &&
                              lines[0].message == kNoManager ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

// Registration passes the manager's answer on (a second one is refused); the entry answers 0
// whatever the registration answered, and stores the manager.
TEST(LibraryEntryTest, RegistersTheInstanceAndTheEntryIgnoresTheAnswer) {
    ZUNCOM::ComponentManager manager;
    velar_test::LogCapture log;
    EXPECT_EQ(ZUNCOM::kOk, ZUNCOM_RegisterServices(&manager));
    EXPECT_EQ(ZUNCOM::kAlreadyExists, ZUNCOM_RegisterServices(&manager));
    EXPECT_EQ(0, ZUNCOM_LibraryEntry(&manager));
    EXPECT_EQ(&manager, ZUNCOM::getComponentManager());
    char line[128];
    std::snprintf(line, sizeof line, "Registering  Mp4Service...\tmgr=%p", (void*)&manager);
    EXPECT_EQ(3u, log.count(line));
    EXPECT_EQ(0, log.lines().at(0).level);
    ZUNCOM::ISupports* found = nullptr;
    ASSERT_EQ(ZUNCOM::kOk, manager.getService("Mp4Service", &found));
    EXPECT_EQ(velar::Mp4Service::getInstance(), found);
}

// The unmangled entry points of libvelar.so register the library's own service with a host's
// manager.
TEST(LibraryEntryTest, SharedLibraryExportsTheEntryPoints) {
    const std::string path = std::string(VELAR_BINARY_DIR) + "/velar/libvelar.so";
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    using Entry = ZUNCOM::ErrorCode (*)(ZUNCOM::IComponentManager*);
    auto entry = reinterpret_cast<Entry>(dlsym(library, "ZUNCOM_LibraryEntry"));
    auto registerServices = reinterpret_cast<Entry>(dlsym(library, "ZUNCOM_RegisterServices"));
    auto getter = reinterpret_cast<ZUNCOM::IComponentManager* (*)()>(
        dlsym(library, "_ZN6ZUNCOM19getComponentManagerEv"));
    ASSERT_TRUE(entry && registerServices && getter);

    ZUNCOM::ComponentManager manager;
    EXPECT_EQ(0, entry(&manager));
    EXPECT_EQ(&manager, getter());
    EXPECT_EQ(ZUNCOM::kAlreadyExists, registerServices(&manager));
    // The library stays loaded; its service must not outlive `manager` there.
    manager.unregisterService("Mp4Service");
}

}  // namespace
