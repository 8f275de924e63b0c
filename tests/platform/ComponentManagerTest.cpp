#include "platform/ComponentManager.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class FakeService : public ZUNCOM::ISupports {
public:
    int32_t AddRef() override { return ++refs; }
    int32_t Release() override { return --refs; }
    ZUNCOM::ErrorCode QueryInterface(ZUNCOM::ComId, void** out) override {
        *out = nullptr;
        return ZUNCOM::kNoInterface;
    }
    int32_t refs = 0;
};

TEST(ComponentManagerTest, RegistersFindsAndRefuses) {
    ZUNCOM::ComponentManager manager;
    FakeService service;
    ZUNCOM::ISupports* found = &service;
    EXPECT_EQ(ZUNCOM::kNotFound, manager.getService("S", &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(ZUNCOM::kOk, manager.registerService("S", &service));
    const std::string name = "S";  // found by content, not address
    EXPECT_EQ(ZUNCOM::kOk, manager.getService(name.c_str(), &found));
    EXPECT_EQ(&service, found);
    EXPECT_EQ(0, service.refs);  // the manager takes no references
    EXPECT_EQ(ZUNCOM::kAlreadyExists, manager.registerService("S", &service));
    EXPECT_EQ(ZUNCOM::kInvalidArgument, manager.registerService(nullptr, &service));
    EXPECT_EQ(ZUNCOM::kInvalidArgument, manager.registerService("T", nullptr));
    EXPECT_EQ(ZUNCOM::kOk, manager.unregisterService("S"));
    EXPECT_EQ(ZUNCOM::kNotFound, manager.unregisterService("S"));
}

}  // namespace
