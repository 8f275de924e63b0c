#include "dash/DashConfiguration.h"

#include <strings.h>
#include <tinyxml.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include "platform/zun_log.h"

ZUN_LOG_SOURCE("dash/DashConfiguration")

namespace dash {

namespace {

bool sameName(const TiXmlElement* element, const char* name) {
    return strcasecmp(element->Value(), name) == 0;
}

}  // namespace

std::string DashConfiguration::settingsPath() {
    const char* path = std::getenv("VELAR_DASH_SETTINGS");
    if (path != nullptr && path[0] != '\0') {
        return path;
    }
    return kSettingsPath;
}

int DashConfiguration::convertStringToIntValue(const char* text) {
    if (text == nullptr || text[0] == '\0') {
        return 0;
    }
    const long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

DashConfiguration::DashConfiguration()
    : mMaxBufferedSegment(10),
      mMaxBuffer(50),
      mLivePlaybackBuffer(30),
      mMaxResolutionLive(720),
      mMaxResolution(1080),
      mDrmType("Playready") {}

int DashConfiguration::getMinBufferedSegment() const {
    const float quarter = static_cast<float>(mMaxBufferedSegment * 0.25);
    return static_cast<int>(std::ceil(quarter));
}

void DashConfiguration::init(TiXmlNode* document) {
    TiXmlElement* settings = document != nullptr ? document->FirstChildElement("VexaSetting") : nullptr;
    if (settings == nullptr) {
        ZUN_LOG(0, "NO VEXA dash configuration found!!! ");
    } else {
        TiXmlElement* first = settings->FirstChildElement();
        if (first == nullptr) {
            ZUN_LOG(0, "No VexaSetting!!!");
        } else {
            if (first->ValueStr() == "Dash") {
                for (TiXmlElement* item = first->FirstChildElement(); item != nullptr;
                     item = item->NextSiblingElement()) {
                    const int value = convertStringToIntValue(item->GetText());
                    if (sameName(item, "maxBufferedSegment")) {
                        setMaxBufferedSegment(value);
                    } else if (sameName(item, "maxBuffer")) {
                        setMaxBuffer(value);
                    } else if (sameName(item, "Livestreaming")) {
                        setLivePlaybackBuffer(value);
                    } else if (sameName(item, "MaxResolution")) {
                        setMaxResolution(value);
                    } else if (sameName(item, "MaxResolutionLive")) {
                        setMaxResolutionLive(value);
                    } else {
                        ZUN_LOG(0, "Unknown parameter!!!");
                    }
                }
            } else {
                ZUN_LOG(0, "No DASH configuration!!!");
            }

            TiXmlElement* drm = first->NextSiblingElement();
            if (drm != nullptr) {
                if (!sameName(drm, "Drm")) {
                    ZUN_LOG(0, "No DRM configuration!!!");
                } else {
                    for (TiXmlElement* item = drm->FirstChildElement(); item != nullptr;
                         item = item->NextSiblingElement()) {
                        if (sameName(item, "DrmType")) {
                            const char* text = item->GetText();
                            if (text == nullptr) {
                                ZUN_LOG(0, "DRM Type NULL Value!!!");
                            } else {
                                setDrmType(text);
                            }
                        } else {
                            ZUN_LOG(0, "Unknown parameter%s in DrmType", item->Value());
                        }
                    }
                }
            }
        }
    }

    if (mMaxBufferedSegment < 3) {
        ZUN_LOG(0, "Number of buffered segments must be at least 3, setting to 3%d", mMaxBufferedSegment);
    }
}

}  // namespace dash
