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

TEST(ComIdTest, ComparesNamesByContent) {
    std::string a = "ISupports";
    std::string b = "ISupports";
    ASSERT_NE(a.c_str(), b.c_str());
    EXPECT_TRUE(ZUNCOM::ComId(a.c_str()) == ZUNCOM::ComId(b.c_str()));
    EXPECT_FALSE(ZUNCOM::ComId("IMp4Service") == ZUNCOM::ComId("ISupports"));
    EXPECT_TRUE(ZUNCOM::ComId(nullptr) == ZUNCOM::ComId(nullptr));
    EXPECT_FALSE(ZUNCOM::ComId(nullptr) == ZUNCOM::ComId("x"));
}

TEST(ComponentManagerTest, RegistersAndFindsByName) {
    ZUNCOM::ComponentManager manager;
    FakeService service;
    EXPECT_EQ(ZUNCOM::kOk, manager.registerService("Mp4Service", &service));
    ZUNCOM::ISupports* found = nullptr;
    std::string name = "Mp4Service";
    EXPECT_EQ(ZUNCOM::kOk, manager.getService(name.c_str(), &found));
    EXPECT_EQ(&service, found);
    EXPECT_EQ(0, service.refs);  // the manager takes no references
}

TEST(ComponentManagerTest, ReportsMissingDuplicateAndInvalid) {
    ZUNCOM::ComponentManager manager;
    FakeService service;
    ZUNCOM::ISupports* found = &service;
    EXPECT_EQ(ZUNCOM::kNotFound, manager.getService("Nothing", &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(ZUNCOM::kOk, manager.registerService("S", &service));
    EXPECT_EQ(ZUNCOM::kAlreadyExists, manager.registerService("S", &service));
    EXPECT_EQ(ZUNCOM::kInvalidArgument, manager.registerService(nullptr, &service));
    EXPECT_EQ(ZUNCOM::kInvalidArgument, manager.registerService("T", nullptr));
    EXPECT_EQ(ZUNCOM::kOk, manager.unregisterService("S"));
    EXPECT_EQ(ZUNCOM::kNotFound, manager.unregisterService("S"));
}

}  // namespace
