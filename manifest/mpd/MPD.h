#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "manifest/mpd/BaseUrl.h"
#include "manifest/mpd/Descriptor.h"
#include "manifest/mpd/IMPD.h"
#include "manifest/mpd/Period.h"

namespace dash {
namespace mpd {

// The root of a parsed MPD; owns the whole model. Made by MPDParser, which fills the fields; the
// object is not copied or moved afterwards because the model points at mDocumentUrl.
class MPD : public IMPD {
public:
    MPD(std::string documentUrl, uint32_t fetchTime);
    MPD(const MPD&) = delete;
    MPD& operator=(const MPD&) = delete;

    const std::string& GetId() const override { return mId; }
    const std::string& GetType() const override { return mType; }
    const std::string& GetProfiles() const override { return mProfiles; }
    const std::string& GetAvailabilityStarttime() const override { return mAvailabilityStartTime; }
    const std::string& GetAvailabilityEndtime() const override { return mAvailabilityEndTime; }
    const std::string& GetPublishTime() const override { return mPublishTime; }
    const std::string& GetMediaPresentationDuration() const override { return mMediaPresentationDuration; }
    const std::string& GetMinimumUpdatePeriod() const override { return mMinimumUpdatePeriod; }
    const std::string& GetMinBufferTime() const override { return mMinBufferTime; }
    const std::string& GetTimeShiftBufferDepth() const override { return mTimeShiftBufferDepth; }
    const std::string& GetSuggestedPresentationDelay() const override { return mSuggestedPresentationDelay; }
    const std::string& GetMaxSegmentDuration() const override { return mMaxSegmentDuration; }
    const std::string& GetMaxSubsegmentDuration() const override { return mMaxSubsegmentDuration; }
    const std::vector<IBaseUrl*>& GetBaseURLs() const override { return mBaseUrlView; }
    const std::vector<std::string>& GetLocations() const override { return mLocations; }
    const std::vector<IDescriptor*>& GetUTCTimings() const override { return mUTCTimingView; }
    const std::vector<IPeriod*>& GetPeriods() const override { return mPeriodView; }
    uint32_t GetFetchTime() const override { return mFetchTime; }
    const std::string& GetDocumentUrl() const override { return mDocumentUrl; }
    IBaseUrl* GetMPDPathBaseUrl() const override { return mPathBaseUrl.get(); }

    // The location text every model object resolves against (stable while this object lives).
    const std::string* DocumentUrl() const { return &mDocumentUrl; }

    std::string mId;
    std::string mType = "static";
    std::string mProfiles;
    std::string mAvailabilityStartTime;
    std::string mAvailabilityEndTime;
    std::string mPublishTime;
    std::string mMediaPresentationDuration;
    std::string mMinimumUpdatePeriod;
    std::string mMinBufferTime;
    std::string mTimeShiftBufferDepth;
    std::string mSuggestedPresentationDelay;
    std::string mMaxSegmentDuration;
    std::string mMaxSubsegmentDuration;
    std::vector<std::unique_ptr<BaseUrl>> mBaseUrls;
    std::vector<IBaseUrl*> mBaseUrlView;
    std::vector<std::string> mLocations;
    std::vector<std::unique_ptr<Descriptor>> mUTCTimings;
    std::vector<IDescriptor*> mUTCTimingView;
    std::vector<std::unique_ptr<Period>> mPeriods;
    std::vector<IPeriod*> mPeriodView;

private:
    const std::string mDocumentUrl;
    const uint32_t mFetchTime;
    std::unique_ptr<BaseUrl> mPathBaseUrl;
};

}  // namespace mpd
}  // namespace dash
