#include "platform/zun_log.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "LogCapture.h"

ZUN_LOG_SOURCE("tests/ZunLogTest")

namespace {

TEST(ZunLogTest, SilentWithoutASink) {
    zun_log_set_sink(nullptr, nullptr);
    ZUN_LOG(0, "nobody hears %d", 1);  // must simply do nothing
}

TEST(ZunLogTest, FormatsAndPassesSourceAndFunction) {
    velar_test::LogCapture capture;
    ZUN_LOG(1, "Registering  Mp4Service...\tmgr=%s", "x");
    auto lines = capture.lines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(1, lines[0].level);
    EXPECT_EQ("tests/ZunLogTest", lines[0].source);
    EXPECT_EQ("Registering  Mp4Service...\tmgr=x", lines[0].message);
    EXPECT_NE(std::string::npos, lines[0].function.find("TestBody"));
}

TEST(ZunLogTest, LongMessagesAreNotCut) {
    velar_test::LogCapture capture;
    std::string longText(5000, 'a');
    ZUN_LOG(0, "%s!", longText.c_str());
    ASSERT_EQ(1u, capture.lines().size());
    EXPECT_EQ(longText + "!", capture.messages()[0]);
}

TEST(ZunLogTest, RegistersEachSourceOnce) {
    register_logging("tests/ZunLogTest");
    size_t matches = 0;
    for (size_t i = 0; i < zun_log_registered_count(); ++i) {
        if (std::strcmp(zun_log_registered_source(i), "tests/ZunLogTest") == 0) ++matches;
    }
    EXPECT_EQ(1u, matches);
    EXPECT_EQ(nullptr, zun_log_registered_source(zun_log_registered_count()));
}

}  // namespace
