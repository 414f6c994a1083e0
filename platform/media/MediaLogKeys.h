#pragma once

#include <string_view>

namespace platform {

// Entries of the access log: one dictionary a load, or a variant of one. All but the first two are
// left out where they are not known.
inline constexpr std::string_view kAccessLogDate = "date";                    // when it began
inline constexpr std::string_view kAccessLogURI = "uri";                      // as it was asked for
inline constexpr std::string_view kAccessLogServerAddress = "serverAddress";  // string
inline constexpr std::string_view kAccessLogPlaybackType = "playbackType";  // one of the next three
inline constexpr std::string_view kAccessLogPlaybackTypeFile = "file";
inline constexpr std::string_view kAccessLogPlaybackTypeStream = "stream";
inline constexpr std::string_view kAccessLogPlaybackTypeLive = "live";
inline constexpr std::string_view kAccessLogStartupTime = "startupTime";  // seconds, load to ready
inline constexpr std::string_view kAccessLogDurationWatched = "durationWatched";  // seconds
inline constexpr std::string_view kAccessLogStallCount = "stallCount";
inline constexpr std::string_view kAccessLogRequestCount = "requestCount";
inline constexpr std::string_view kAccessLogBytesTransferred = "bytesTransferred";
inline constexpr std::string_view kAccessLogTransferDuration = "transferDuration";  // seconds
inline constexpr std::string_view kAccessLogObservedBitrate = "observedBitrate";    // bits a second
inline constexpr std::string_view kAccessLogObservedBitrateDeviation =
    "observedBitrateStandardDeviation";  // bits a second
inline constexpr std::string_view kAccessLogDownloadedDuration =
    "downloadedDuration";                                                 // seconds of media
inline constexpr std::string_view kAccessLogSwitchCount = "switchCount";  // changes of the variant
inline constexpr std::string_view kAccessLogIndicatedBitrate = "indicatedBitrate";  // bits a second
inline constexpr std::string_view kAccessLogDroppedFrameCount = "droppedFrameCount";

// Entries of the error log: one dictionary a failed item.
inline constexpr std::string_view kErrorLogDate = "date";
inline constexpr std::string_view kErrorLogURI = "uri";  // left out where there is none
inline constexpr std::string_view kErrorLogStatusCode = "errorStatusCode";
inline constexpr std::string_view kErrorLogDomain = "errorDomain";
inline constexpr std::string_view kErrorLogComment =
    "errorComment";  // left out where there is none

}  // namespace platform
