#include "velar/LibraryEntry.h"

#include <gtest/gtest.h>

#include "platform/ComponentManager.h"
#include "velar/Mp4Service.h"

namespace {

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
