#include "receivers/upnp/device/Actions.h"

namespace upnp {

namespace {

/// Media types of docs/media.md. Controllers offer an item only if they find its type here.
constexpr const char* kMimeTypes[] = {
    "video/mp4",
    "video/quicktime",
    "video/x-m4v",
    "video/3gpp",
    "video/x-matroska",
    "video/x-mkv",
    "video/webm",
    "video/mpeg",
    "video/mp2t",
    "video/vnd.dlna.mpeg-tts",
    "video/x-msvideo",
    "video/avi",
    "video/divx",
    "video/x-flv",
    "video/x-ms-wmv",
    "video/x-ms-asf",
    "video/ogg",
    "application/ogg",
    "application/vnd.apple.mpegurl",
    "application/x-mpegURL",
    "application/dash+xml",
    "audio/mpegurl",
    "audio/x-mpegurl",
    "audio/mpeg",
    "audio/mp3",
    "audio/mp4",
    "audio/m4a",
    "audio/x-m4a",
    "audio/aac",
    "audio/vnd.dlna.adts",
    "audio/flac",
    "audio/x-flac",
    "audio/ogg",
    "audio/opus",
    "audio/wav",
    "audio/x-wav",
    "audio/wave",
    "audio/aiff",
    "audio/x-aiff",
    "audio/x-ms-wma",
    "audio/3gpp",
    "audio/amr",
    "audio/x-caf",
    "audio/x-tta",
    "audio/ac3",
    "audio/eac3",
    "audio/x-matroska",
    "audio/webm",
    "audio/L16",
};

}  // namespace

std::string sinkProtocolInfo() {
  std::string list;
  for (const char* const type : kMimeTypes) {
    if (!list.empty()) list += ',';
    list += std::string("http-get:*:") + type + ":*";
  }
  return list;
}

ActionTable connectionActions() {
  return {{"GetProtocolInfo",
           [](Action& action) {
             action.set("Source", "");
             action.set("Sink", sinkProtocolInfo());
             action.succeed();
           }},
          {"GetCurrentConnectionIDs",
           [](Action& action) {
             action.set("ConnectionIDs", "0");
             action.succeed();
           }},
          {"GetCurrentConnectionInfo", [](Action& action) {
             if (!action.text("ConnectionID")) return action.fail(Error::InvalidArgs);
             if (action.number("ConnectionID") != 0) return action.fail(Error::InvalidConnection);
             action.set("RcsID", "0");
             action.set("AVTransportID", "0");
             action.set("ProtocolInfo", "");
             action.set("PeerConnectionManager", "");
             action.set("PeerConnectionID", "-1");
             action.set("Direction", "Input");
             action.set("Status", "OK");
             action.succeed();
           }}};
}

}  // namespace upnp
