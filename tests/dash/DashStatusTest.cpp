// Statuses and their texts, the DASH exception and its throwing helpers, the event notifier.
#include "dash/DashDownloadStatus.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "dash/DashEventNotifier.h"
#include "dash/DashException.h"
#include "dash/DashUtil.h"

namespace dash {
namespace {

TEST(DashStatusTest, TextsAndCompletion) {
    const char* const texts[] = {"NO_SEGMENT", "BUFFERING", "READY", "CANCELLED", "COMPLETED", "FEATURE_NOT_SUPPORTED",
                                 "FAIL_INVALID_URL", "FAIL_INVALID_MPD", "FAIL_INVALID_ADAPTATION", "FAIL_INVALID_REP",
                                 "FAIL_BAD_CONNECTION"};
    // 11, 12 and -1 fall into the catch-all; -1 is compared unsigned, so it counts as completed.
    for (int32_t value = -1; value <= 12; ++value) {
        const auto status = static_cast<DashDownloadStatus>(value);
        const std::string text = value >= 0 && value <= 10 ? texts[value] : "FAIL_UNKNOWN_ERROR";
        std::ostringstream out;
        out << status;
        EXPECT_EQ(toString(status) + "|" + out.str(), text + "|" + text) << value;
        EXPECT_EQ(DashUtil::isCompletedStatus(status), value < 0 || value >= CANCELLED) << value;
    }
}

TEST(DashStatusTest, ExceptionsAndThrowingHelpers) {
    // What is thrown, as "status|message"; an empty text keeps its separating space.
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { throw DashException(); }, "11|Unknown error occurred"},
        {[] { throw DashException(FAIL_INVALID_MPD); }, "7|Dash Download Error: FAIL_INVALID_MPD"},
        {[] { throw DashException(FAIL_INVALID_REP, "Bad"); }, "9|Dash Download Error: FAIL_INVALID_REP Bad"},
        {[] { throw DashException(FAIL_BAD_CONNECTION, ""); }, "10|Dash Download Error: FAIL_BAD_CONNECTION "},
        {[] { throw DashException(DashDownloadStatus(42), "x"); }, "42|Dash Download Error: FAIL_UNKNOWN_ERROR x"},
        {[] { DashUtil::throwIfTrue(false, FAIL_INVALID_MPD, "never"); }, "nothing"},
        {[] { DashUtil::throwIfTrue(true, FAIL_INVALID_URL, "no"); }, "6|Dash Download Error: FAIL_INVALID_URL no"},
        {[] { DashUtil::throwException(CANCELLED, ""); }, "3|Dash Download Error: CANCELLED "},
    };
    for (const auto& c : cases) {
        std::string thrown = "nothing";
        try { c.first(); } catch (const std::runtime_error& e) {  // caught as the standard base class
            thrown = std::to_string(dynamic_cast<const DashException&>(e).getDownloadStatus()) + "|" + e.what();
        }
        EXPECT_EQ(thrown, c.second);
    }
}

TEST(DashStatusTest, NotifierCallsInRegistrationOrderAndPropagatesEmptyListeners) {
    DashEventNotifier notifier;
    std::vector<std::string> calls;
    EXPECT_NO_THROW(notifier.notify(DOWNLOAD_STARTED));  // nobody listens yet
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 1"); });
    notifier.registerListener(DOWNLOAD_COMPLETED, [&] { calls.push_back("completed"); });
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 2"); });
    notifier.notify(DOWNLOAD_ERROR);
    notifier.notify(DOWNLOAD_COMPLETED);
    // An empty function stops the call at its place: listeners before it ran, those after did not.
    notifier.registerListener(DOWNLOAD_ERROR, std::function<void()>());
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 4"); });
    EXPECT_THROW(notifier.notify(DOWNLOAD_ERROR), std::bad_function_call);
    EXPECT_EQ(calls, (std::vector<std::string>{"error 1", "error 2", "completed", "error 1", "error 2"}));
}

}  // namespace
}  // namespace dash
