// Statuses, the DASH exception and its throwing helpers, and the event notifier.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "dash/DashDownloadStatus.h"
#include "dash/DashEventNotifier.h"
#include "dash/DashException.h"
#include "dash/DashUtil.h"

namespace dash {
namespace {

struct StatusCase {
    int32_t value;
    const char* text;
    bool completed;
};

// Every value, and values outside the enumeration that must fall into the catch-all.
const StatusCase kStatuses[] = {
    {0, "NO_SEGMENT", false},
    {1, "BUFFERING", false},
    {2, "READY", false},
    {3, "CANCELLED", true},
    {4, "COMPLETED", true},
    {5, "FEATURE_NOT_SUPPORTED", true},
    {6, "FAIL_INVALID_URL", true},
    {7, "FAIL_INVALID_MPD", true},
    {8, "FAIL_INVALID_ADAPTATION", true},
    {9, "FAIL_INVALID_REP", true},
    {10, "FAIL_BAD_CONNECTION", true},
    {11, "FAIL_UNKNOWN_ERROR", true},
    {12, "FAIL_UNKNOWN_ERROR", true},
    {-1, "FAIL_UNKNOWN_ERROR", true},  // compared unsigned: a completed status
};

TEST(DashStatusTest, TextsAndCompletion) {
    for (const StatusCase& c : kStatuses) {
        const auto status = static_cast<DashDownloadStatus>(c.value);
        std::ostringstream out;
        out << status;
        EXPECT_EQ(toString(status), c.text) << c.value;
        EXPECT_EQ(out.str(), c.text) << c.value;
        EXPECT_EQ(DashUtil::isCompletedStatus(status), c.completed) << c.value;
    }
}

TEST(DashStatusTest, ExceptionsAndThrowingHelpers) {
    const DashException plain;
    EXPECT_STREQ(plain.what(), "Unknown error occurred");
    EXPECT_EQ(plain.getDownloadStatus(), FAIL_UNKNOWN_ERROR);
    EXPECT_STREQ(DashException(FAIL_INVALID_MPD).what(), "Dash Download Error: FAIL_INVALID_MPD");
    EXPECT_STREQ(DashException(FAIL_INVALID_REP, "Invalid Representation").what(),
                 "Dash Download Error: FAIL_INVALID_REP Invalid Representation");
    EXPECT_STREQ(DashException(FAIL_BAD_CONNECTION, "").what(), "Dash Download Error: FAIL_BAD_CONNECTION ");
    EXPECT_STREQ(DashException(static_cast<DashDownloadStatus>(42), "x").what(),
                 "Dash Download Error: FAIL_UNKNOWN_ERROR x");
    EXPECT_EQ(DashException(static_cast<DashDownloadStatus>(42)).getDownloadStatus(), 42);

    EXPECT_NO_THROW(DashUtil::throwIfTrue(false, FAIL_INVALID_MPD, "never"));
    try {
        DashUtil::throwIfTrue(true, FAIL_INVALID_ADAPTATION, "no set");
        ADD_FAILURE() << "throwIfTrue(true) returned";
    } catch (const DashException& e) {
        EXPECT_EQ(e.getDownloadStatus(), FAIL_INVALID_ADAPTATION);
        EXPECT_STREQ(e.what(), "Dash Download Error: FAIL_INVALID_ADAPTATION no set");
    }
    try {
        DashUtil::throwException(CANCELLED, "");
        ADD_FAILURE() << "throwException returned";
    } catch (const std::runtime_error& e) {  // caught as the standard base class too
        EXPECT_STREQ(e.what(), "Dash Download Error: CANCELLED ");
        EXPECT_EQ(dynamic_cast<const DashException&>(e).getDownloadStatus(), CANCELLED);
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
    notifier.notify(DOWNLOAD_PROGRESS);
    notifier.notify(DOWNLOAD_COMPLETED);
    EXPECT_EQ(calls, (std::vector<std::string>{"error 1", "error 2", "completed"}));

    // An empty function stops the call at its place: listeners before it ran, those after did not.
    calls.clear();
    notifier.registerListener(DOWNLOAD_ERROR, std::function<void()>());
    notifier.registerListener(DOWNLOAD_ERROR, [&] { calls.push_back("error 4"); });
    EXPECT_THROW(notifier.notify(DOWNLOAD_ERROR), std::bad_function_call);
    EXPECT_EQ(calls, (std::vector<std::string>{"error 1", "error 2"}));
}

}  // namespace
}  // namespace dash
