#include "velar/LibraryEntry.h"

#include <gtest/gtest.h>

#include <cstdlib>

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
    EXPECT_EQ(ZUNCOM::kOk, ZUNCOM_RegisterServices(&manager));
    EXPECT_EQ(ZUNCOM::kAlreadyExists, ZUNCOM_RegisterServices(&manager));
    EXPECT_EQ(0, ZUNCOM_LibraryEntry(&manager));
    EXPECT_EQ(&manager, ZUNCOM::getComponentManager());
    ZUNCOM::ISupports* found = nullptr;
    ASSERT_EQ(ZUNCOM::kOk, manager.getService("Mp4Service", &found));
    EXPECT_EQ(velar::Mp4Service::getInstance(), found);
}

}  // namespace
