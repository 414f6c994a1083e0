#include "receivers/upnp/device/Didl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

std::string didl(const std::string& content) {
  return "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\""
         " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
         " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\""
         " xmlns:sec=\"http://www.sec.co.kr/\" xmlns:pv=\"http://www.pv.com/pvns/\">"
         "<item id=\"1\" parentID=\"0\" restricted=\"1\">" +
         content + "</item></DIDL-Lite>";
}

const std::string kUri = "http://a/film.mp4";

std::string summary(const upnp::Item& item) {
  return item.title + "|" + item.artist + "|" + item.album + "|" + item.artUri + "|" +
         item.subtitleUri + "|" + item.mimeType + "|" +
         std::to_string(static_cast<int>(item.duration * 10));
}

TEST(UpnpDidl, ReadsWhatTheBoxUses) {
  const std::string video =
      "<res protocolInfo=\"http-get:*:video/mp4:DLNA.ORG_OP=01\""
      " duration=\"0:01:00.500\">" +
      kUri + "</res>";
  const struct {
    const char* name;
    std::string content;
    const char* summary;
  } cases[] = {
      {"all",
       "<dc:title>A &amp; B</dc:title><upnp:artist>C</upnp:artist><upnp:album>D</upnp:album>"
       "<upnp:albumArtURI>http://a/art.jpg</upnp:albumArtURI>" +
           video,
       "A & B|C|D|http://a/art.jpg||video/mp4|605"},
      {"creator for an artist", "<dc:title>A</dc:title><dc:creator>E</dc:creator>" + video,
       "A|E||||video/mp4|605"},
      {"resource of the URI",
       "<dc:title>A</dc:title><res protocolInfo=\"http-get:*:image/jpeg:*\">http://a/x</res>" +
           video,
       "A|||||video/mp4|605"},
      {"first resource for another URI",
       "<dc:title>A</dc:title><res protocolInfo=\"http-get:*:audio/flac:*\">http://a/x</res>"
       "<res protocolInfo=\"http-get:*:audio/mpeg:*\">http://a/y</res>",
       "A|||||audio/flac|0"},
      {"subtitles as captions",
       "<dc:title>A</dc:title>" + video +
           "<sec:CaptionInfoEx sec:type=\"srt\">\n http://a/s.srt </sec:CaptionInfoEx>",
       "A||||http://a/s.srt|video/mp4|605"},
      {"subtitles as a resource",
       "<dc:title>A</dc:title>" + video +
           "<res protocolInfo=\"http-get:*:text/srt:*\">http://a/t.srt</res>",
       "A||||http://a/t.srt|video/mp4|605"},
      {"subtitles as an attribute",
       "<dc:title>A</dc:title><res protocolInfo=\"http-get:*:video/mp4:*\""
       " pv:subtitleFileUri=\"http://a/u.srt\">" +
           kUri + "</res>",
       "A||||http://a/u.srt|video/mp4|0"},
      {"subtitles of another scheme",
       "<dc:title>A</dc:title>" + video + "<sec:CaptionInfo>file:///etc/x</sec:CaptionInfo>",
       "A|||||video/mp4|605"},
      {"cover of another scheme",
       "<dc:title>A</dc:title><upnp:albumArtURI>file:///etc/x</upnp:albumArtURI>" + video,
       "A|||||video/mp4|605"},
      {"picture by class",
       "<dc:title>A</dc:title><upnp:class>object.item.imageItem.photo</upnp:class>",
       "A|||||image/*|0"},
      {"broken resource", "<dc:title>A</dc:title><res protocolInfo=\"http\" duration=\"x\"/>",
       "A||||||0"},
  };
  for (const auto& each : cases) {
    const auto item = upnp::readItem(kUri, didl(each.content));
    ASSERT_TRUE(item) << each.name;
    EXPECT_EQ(summary(*item), each.summary) << each.name;
    EXPECT_EQ(item->uri, kUri);
  }
  EXPECT_EQ(summary(*upnp::readItem(kUri, "")), "||||||0");
  const std::string title(20000, 'x');
  const auto item = upnp::readItem(kUri, didl("<dc:title>" + title + "</dc:title>"));
  EXPECT_EQ(item->title, title);
  EXPECT_EQ(item->metadata, "") << "too long for events";
}

TEST(UpnpDidl, RefusesOtherDocumentsInBoundedTime) {
  std::string entities = "<!DOCTYPE x [<!ENTITY e0 \"0123456789\">";
  for (int level = 1; level < 12; ++level) {
    entities += "<!ENTITY e" + std::to_string(level) + " \"";
    for (int copy = 0; copy < 10; ++copy) entities += "&e" + std::to_string(level - 1) + ";";
    entities += "\">";
  }
  std::string deep;
  for (int level = 0; level < 20000; ++level) deep += "<a>";
  const std::string documents[] = {"x",  "<html/>",  "<DIDL-Lite",
                                   deep, didl(deep), entities + "]><x>&e11;</x>"};
  for (const std::string& document : documents) {
    EXPECT_FALSE(upnp::readItem(kUri, document)) << document.substr(0, 40);
  }
}

}  // namespace
