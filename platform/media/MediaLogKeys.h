#pragma once

#include <string_view>

namespace platform {

// Keys of access log entries. There is one entry for each load, or one for each variant of a
// stream that was played. Unknown values other than the first two are omitted.
inline constexpr std::string_view kAccessLogDate = "date";                    // start of the load
inline constexpr std::string_view kAccessLogURI = "uri";                      // as requested
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
inline constexpr std::string_view kAccessLogSwitchCount = "switchCount";  // variant switches
inline constexpr std::string_view kAccessLogIndicatedBitrate = "indicatedBitrate";  // bits a second
inline constexpr std::string_view kAccessLogDroppedFrameCount = "droppedFrameCount";

// Keys of error log entries. There is one entry for each failed request and for each failed item.
// An item that failed with the error of its own request has one entry.
inline constexpr std::string_view kErrorLogDate = "date";
inline constexpr std::string_view kErrorLogURI = "uri";  // optional
inline constexpr std::string_view kErrorLogStatusCode = "errorStatusCode";
inline constexpr std::string_view kErrorLogDomain = "errorDomain";
inline constexpr std::string_view kErrorLogComment = "errorComment";  // optional

}  // namespace platform
