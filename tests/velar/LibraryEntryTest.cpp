#include "velar/LibraryEntry.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>

#include "tests/common/LogCapture.h"
#include "platform/ComponentManager.h"
#include "velar/IMp4Service.h"
#include "velar/Mp4Service.h"

namespace {

const char* const kNoManager =
    "Failed, no ComponentManager.  You must call setComponentManager in RegisterService";

std::string registeringLine(const void* mgr) {
    char text[128];
    std::snprintf(text, sizeof text, "Registering  Mp4Service...\tmgr=%p", mgr);
    return text;
}

// A manager that answers every registration with a fixed code and remembers the last one.
class FixedAnswerManager : public ZUNCOM::IComponentManager {
public:
    explicit FixedAnswerManager(ZUNCOM::ErrorCode answer) : mAnswer(answer) {}
    ZUNCOM::ErrorCode registerService(const char* name, ZUNCOM::ISupports* service) override {
        lastName = name;
        lastService = service;
        return mAnswer;
    }
    ZUNCOM::ErrorCode unregisterService(const char*) override { return ZUNCOM::kOk; }
    ZUNCOM::ErrorCode getService(const char*, ZUNCOM::ISupports** out) override {
        *out = nullptr;
        return ZUNCOM::kNotFound;
    }
    std::string lastName;
    ZUNCOM::ISupports* lastService = nullptr;

private:
    ZUNCOM::ErrorCode mAnswer;
};

// In a process of its own, before any entry call: no manager, and the level 1 complaint.
TEST(LibraryEntryDeathTest, NoManagerBeforeTheEntry) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // re-executes the binary: nothing stored yet
    EXPECT_EXIT(
        {
            velar_test::LogCapture log;
            ZUNCOM::IComponentManager* mgr = ZUNCOM::getComponentManager();
            const auto lines = log.lines();
            const bool ok = mgr == nullptr && lines.size() == 1 && lines[0].level == 1 &&
                            lines[0].message == kNoManager &&
                            lines[0].source == "velar/LibraryEntry";
            std::fprintf(stderr, ok ? "as expected\n" : "unexpected\n");
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "as expected");
}

TEST(LibraryEntryTest, EntryStoresTheManagerAndRegistersTheService) {
    ZUNCOM::ComponentManager manager;
    velar_test::LogCapture log;
    EXPECT_EQ(0, ZUNCOM_LibraryEntry(&manager));
    EXPECT_EQ(&manager, ZUNCOM::getComponentManager());
    EXPECT_TRUE(log.contains(registeringLine(&manager)));
    EXPECT_FALSE(log.contains(kNoManager));

    ZUNCOM::ISupports* found = nullptr;
    ASSERT_EQ(ZUNCOM::kOk, manager.getService("Mp4Service", &found));
    EXPECT_EQ(static_cast<ZUNCOM::ISupports*>(velar::Mp4Service::getInstance()), found);

    // The host's path to the service. The reference taken is never given back: the published
    // instance is static and a Release to 0 would delete it.
    void* out = nullptr;
    ASSERT_EQ(0, found->QueryInterface(ZUNCOM::ComId("IMp4Service"), &out));
    EXPECT_EQ(static_cast<velar::IMp4Service*>(velar::Mp4Service::getInstance()),
              static_cast<velar::IMp4Service*>(out));
}

TEST(LibraryEntryTest, EntryIgnoresTheRegistrationResult) {
    FixedAnswerManager refusing(ZUNCOM::kAlreadyExists);
    EXPECT_EQ(0, ZUNCOM_LibraryEntry(&refusing));
    EXPECT_EQ("Mp4Service", refusing.lastName);
    EXPECT_EQ(static_cast<ZUNCOM::ISupports*>(velar::Mp4Service::getInstance()),
              refusing.lastService);
}

TEST(LibraryEntryTest, RegisterServicesReturnsTheManagersAnswer) {
    for (ZUNCOM::ErrorCode answer : {ZUNCOM::kOk, ZUNCOM::kAlreadyExists, ZUNCOM::ErrorCode(42)}) {
        FixedAnswerManager manager(answer);
        velar_test::LogCapture log;
        EXPECT_EQ(answer, ZUNCOM_RegisterServices(&manager));
        ASSERT_EQ(1u, log.lines().size());
        EXPECT_EQ(registeringLine(&manager), log.lines()[0].message);
        EXPECT_EQ(0, log.lines()[0].level);
    }
}

TEST(LibraryEntryTest, NullManagerIsRefusedWithoutCrashAndForgetsTheStoredOne) {
    ZUNCOM::ComponentManager manager;
    ZUNCOM_LibraryEntry(&manager);
    velar_test::LogCapture log;
    EXPECT_EQ(ZUNCOM::kInvalidArgument, ZUNCOM_RegisterServices(nullptr));
    EXPECT_EQ(0, ZUNCOM_LibraryEntry(nullptr));
    EXPECT_EQ(nullptr, ZUNCOM::getComponentManager());
    EXPECT_EQ(1u, log.count(kNoManager));
}

// The shared library exports the entry points unmangled (and getComponentManager with its C++
// name), and registers its own service with a host's manager.
TEST(LibraryEntryTest, SharedLibraryExportsTheEntryPoints) {
    const std::string path = std::string(VELAR_BINARY_DIR) + "/velar/libvelar.so";
    struct stat info;
    ASSERT_EQ(0, stat(path.c_str(), &info)) << path << " is not built";
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    using Entry = ZUNCOM::ErrorCode (*)(ZUNCOM::IComponentManager*);
    using Getter = ZUNCOM::IComponentManager* (*)();
    auto entry = reinterpret_cast<Entry>(dlsym(library, "ZUNCOM_LibraryEntry"));
    auto registerServices = reinterpret_cast<Entry>(dlsym(library, "ZUNCOM_RegisterServices"));
    auto getter = reinterpret_cast<Getter>(dlsym(library, "_ZN6ZUNCOM19getComponentManagerEv"));
    ASSERT_NE(nullptr, entry);
    ASSERT_NE(nullptr, registerServices);
    ASSERT_NE(nullptr, getter);

    ZUNCOM::ComponentManager manager;
    EXPECT_EQ(0, entry(&manager));
    EXPECT_EQ(&manager, getter());
    ZUNCOM::ISupports* found = nullptr;
    ASSERT_EQ(ZUNCOM::kOk, manager.getService("Mp4Service", &found));
    void* out = nullptr;
    EXPECT_EQ(0, found->QueryInterface(ZUNCOM::ComId("ISupports"), &out));
    EXPECT_EQ(static_cast<void*>(found), out);
    EXPECT_EQ(ZUNCOM::kAlreadyExists, registerServices(&manager));
    // The library stays loaded: its service is still registered with `manager` until the end.
    manager.unregisterService("Mp4Service");
}

}  // namespace
