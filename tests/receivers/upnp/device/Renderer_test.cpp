#include "receivers/upnp/device/Renderer.h"

#include <map>

#include "tests/receivers/upnp/device/RendererFixture.h"

namespace {

using platform::Dictionary;
using testing::HasSubstr;
using testing::Not;

class UpnpRenderer : public RendererFixture {
 protected:
  /// Sets and plays a film, until the box plays it.
  void playFilm() {
    EXPECT_THAT(setUri("http://a/film.mp4"), HasSubstr("200 OK"));
    EXPECT_THAT(transport("Play", "<Speed>1</Speed>"), HasSubstr("200 OK"));
    EXPECT_TRUE(boxIsCalled("set metaData"));
    const Dictionary info{{"uuid", startedUuid()},
                          {"readyToPlay", 1},
                          {"position", 12},
                          {"duration", 60},
                          {"rate", 1.0}};
    delegate->value = info;
    post("playing", info);
  }
};

TEST_F(UpnpRenderer, IsDescribed) {
  const std::string device = description();
  EXPECT_EQ(element(device, "friendlyName"), "Living &lt;room&gt; " + std::string(49, 'x'));
  EXPECT_THAT(device, HasSubstr("<UDN>uuid:"));
  for (const char* file : {"AVTransport.xml", "RenderingControl.xml", "ConnectionManager.xml",
                           "icon-48.png", "icon-120.png"}) {
    EXPECT_THAT(request({.method = "GET", .path = std::string("/") + file}), HasSubstr("200 OK"))
        << file;
    EXPECT_THAT(device, HasSubstr(file));
  }
  for (const char* path : {"/../uuid", "/playing", "/%2e%2e/uuid"}) {
    EXPECT_THAT(request({.method = "GET", .path = path}), Not(HasSubstr("200 OK"))) << path;
  }
  // A restarted renderer is the same device.
  renderer.reset();
  startRenderer();
  EXPECT_EQ(element(description(), "UDN"), element(device, "UDN"));
}

TEST_F(UpnpRenderer, AnswersEachActionOfItsDescriptions) {
  const std::string arguments =
      "<InstanceID>0</InstanceID><Channel>Master</Channel><ConnectionID>0</ConnectionID>"
      "<CurrentURI>http://a/b</CurrentURI><CurrentURIMetaData/><NextURI/><NextURIMetaData/>"
      "<Speed>1</Speed><Unit>REL_TIME</Unit><Target>0:00:01</Target>"
      "<NewPlayMode>NORMAL</NewPlayMode><PresetName>FactoryDefaults</PresetName>"
      "<DesiredMute>0</DesiredMute><DesiredVolume>10</DesiredVolume>";
  // There is no next item.
  const std::map<std::string, std::string> errors{{"Next", "711"}};
  setUri("http://a/b");
  int count = 0;
  for (const char* service : {"AVTransport", "RenderingControl", "ConnectionManager"}) {
    std::string rest = request({.method = "GET", .path = std::string("/") + service + ".xml"});
    rest.resize(rest.find("</actionList>"));
    const std::string marker = "<action>\n      <name>";
    for (auto place = rest.find(marker); place != std::string::npos; place = rest.find(marker)) {
      rest.erase(0, place + marker.size());
      const std::string name = rest.substr(0, rest.find('<'));
      const std::string response = call(service, name, arguments);
      const auto error = errors.find(name);
      EXPECT_EQ(element(response, "errorCode"), error != errors.end() ? error->second : "") << name;
      EXPECT_EQ(response.find(" 200 OK") != std::string::npos, error == errors.end()) << name;
      // Every output of the description is there.
      const std::string action = rest.substr(0, rest.find("</action>"));
      for (auto at = action.find("<argument><name>"); at != std::string::npos;
           at = action.find("<argument><name>", at + 1)) {
        const std::string argument = action.substr(at + 16, action.find('<', at + 16) - at - 16);
        if (action.compare(action.find("<direction>", at), 14, "<direction>out") != 0) continue;
        EXPECT_THAT(response, HasSubstr("<" + argument)) << name;
      }
      ++count;
    }
  }
  EXPECT_EQ(count, 24);
}

TEST_F(UpnpRenderer, RefusesWrongArguments) {
  const std::string longUri = "http://a/" + std::string(65536, 'x');
  const std::string zero = "<InstanceID>0</InstanceID>";
  const struct {
    const char* service;
    const char* action;
    std::string arguments;
    const char* error;
  } cases[] = {
      {"AVTransport", "Play", "<Speed>1</Speed>", "402"},
      {"AVTransport", "Play", zero, "402"},
      {"AVTransport", "Play", "<InstanceID>7</InstanceID><Speed>1</Speed>", "718"},
      {"AVTransport", "Play", "<InstanceID>x</InstanceID><Speed>1</Speed>", "718"},
      {"AVTransport", "Play", zero + "<Speed>1</Speed>", "701"},
      {"AVTransport", "SetAVTransportURI", zero, "402"},
      {"AVTransport", "SetAVTransportURI", zero + "<CurrentURI>" + longUri + "</CurrentURI>",
       "402"},
      {"AVTransport", "SetAVTransportURI", zero + "<CurrentURI>ftp://a/b</CurrentURI>", "716"},
      {"AVTransport", "SetAVTransportURI", zero + "<CurrentURI>http://a/b.png</CurrentURI>", "714"},
      {"AVTransport", "SetAVTransportURI",
       zero +
           "<CurrentURI>http://a/b</CurrentURI><CurrentURIMetaData>&lt;html/></CurrentURIMetaData>",
       "402"},
      {"AVTransport", "Seek", zero + "<Unit>FRAME</Unit><Target>1</Target>", "710"},
      {"AVTransport", "Record", zero, "401"},
      {"RenderingControl", "GetVolume", "<InstanceID>1</InstanceID><Channel>Master</Channel>",
       "702"},
      {"RenderingControl", "GetVolume", zero + "<Channel>LF</Channel>", "402"},
      {"RenderingControl", "SetVolume",
       zero + "<Channel>Master</Channel><DesiredVolume>101</DesiredVolume>", "402"},
      {"RenderingControl", "SetMute",
       zero + "<Channel>Master</Channel><DesiredMute>maybe</DesiredMute>", "402"},
      {"ConnectionManager", "GetCurrentConnectionInfo", "<ConnectionID>1</ConnectionID>", "706"},
  };
  for (const auto& each : cases) {
    const std::string response = call(each.service, each.action, each.arguments);
    EXPECT_EQ(element(response, "errorCode"), each.error)
        << each.action << " " << each.arguments.substr(0, 100);
  }
}

TEST_F(UpnpRenderer, PlaysAndReportsWhatTheBoxSays) {
  EventServer controller;
  const std::string callback = "http://127.0.0.1:" + std::to_string(controller.port()) + "/";
  ASSERT_THAT(subscribe("AVTransport", callback), HasSubstr("200 OK"));
  const std::string initial = whileRunning([&] { return controller.receive(); });
  EXPECT_THAT(initial, HasSubstr("NO_MEDIA_PRESENT"));
  playFilm();
  ASSERT_TRUE(stateBecomes("PLAYING"));
  std::string events;
  while (events.find("\"PLAYING\"") == std::string::npos &&
         events.find("&quot;PLAYING&quot;") == std::string::npos) {
    const std::string event = whileRunning([&] { return controller.receive(); });
    ASSERT_FALSE(event.empty()) << events;
    events += event;
  }
  EXPECT_THAT(events, HasSubstr("NOTIFY"));
  const std::string position = transport("GetPositionInfo");
  EXPECT_EQ(element(position, "RelTime"), "0:00:12");
  EXPECT_EQ(element(position, "TrackDuration"), "0:01:00");
  EXPECT_EQ(element(position, "TrackURI"), "http://a/film.mp4");

  // The remote pauses; a second controller sees it.
  post("paused");
  EXPECT_TRUE(stateBecomes("PAUSED_PLAYBACK"));
  EventServer second;
  subscribe("AVTransport", "http://127.0.0.1:" + std::to_string(second.port()) + "/");
  EXPECT_THAT(whileRunning([&] { return second.receive(); }), HasSubstr("PAUSED_PLAYBACK"));
}

TEST_F(UpnpRenderer, SendsTheCoverOfAnItemToTheBox) {
  EventServer media("200 OK\r\nContent-Type: image/png", "picture");
  const std::string art = "http://127.0.0.1:" + std::to_string(media.port()) + "/art.png";
  transport("SetAVTransportURI",
            "<CurrentURI>http://a/1.mp3</CurrentURI><CurrentURIMetaData>"
            "&lt;DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\""
            " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\">&lt;item>"
            "&lt;upnp:albumArtURI>" +
                art + "&lt;/upnp:albumArtURI>&lt;/item>&lt;/DIDL-Lite></CurrentURIMetaData>");
  transport("Play", "<Speed>1</Speed>");
  EXPECT_THAT(whileRunning([&] { return media.receive(); }), HasSubstr("GET /art.png"));
  EXPECT_TRUE(iterateUntil([&] {
    const auto argument = delegate->lastArgument();
    const auto* const metadata = argument.asDictionary();
    return metadata && metadata->string("artworkMIMEType") == "image/png";
  }));
}

TEST_F(UpnpRenderer, ContinuesAfterItsOwnRestart) {
  playFilm();
  ASSERT_TRUE(stateBecomes("PLAYING"));
  const std::string channel = "<InstanceID>0</InstanceID><Channel>Master</Channel>";
  call("RenderingControl", "SetVolume", channel + "<DesiredVolume>30</DesiredVolume>");
  renderer.reset();
  startRenderer();
  EXPECT_TRUE(stateBecomes("PLAYING"));
  EXPECT_EQ(element(transport("GetMediaInfo"), "CurrentURI"), "http://a/film.mp4");
  EXPECT_EQ(element(call("RenderingControl", "GetVolume", channel), "CurrentVolume"), "30");
  EXPECT_THAT(transport("Stop"), HasSubstr("200 OK"));
  EXPECT_TRUE(boxIsCalled("stop video"));
  EXPECT_TRUE(stateBecomes("STOPPED"));
}

TEST_F(UpnpRenderer, SurvivesTheBox) {
  playFilm();
  ASSERT_TRUE(stateBecomes("PLAYING"));
  onMain([&] { server->close(); });
  EXPECT_TRUE(stateBecomes("STOPPED"));
  delegate->value = {};
  EXPECT_EQ(element(transport("Play", "<Speed>1</Speed>"), "errorCode"), "501");
  onMain([&] {
    server = std::make_unique<box::DBusServer>(mainQueue, options);
    server->setDelegate(delegate, queue);
  });
  EXPECT_TRUE(iterateUntil([&] { return renderer->isConnected(); }));
  EXPECT_EQ(transportState(), "STOPPED");
  EXPECT_THAT(transport("Play", "<Speed>1</Speed>"), HasSubstr("200 OK"));
}

TEST_F(UpnpRenderer, RefusesLongBodies) {
  const std::string body(std::size_t{10} << 20, 'x');
  for (const bool isChunked : {false, true}) {
    const std::string response = request({.method = "POST",
                                          .path = "/AVTransport/Control",
                                          .headers = "SOAPAction: \"x#Play\"\r\n",
                                          .body = body,
                                          .isChunked = isChunked});
    EXPECT_THAT(response, HasSubstr(" 413 ")) << isChunked;
  }
  EXPECT_EQ(transportState(), "NO_MEDIA_PRESENT");
}

TEST_F(UpnpRenderer, FollowsNoRedirectionOfASubscriber) {
  const EventServer other;
  EventServer controller(
      "303 See Other\r\nLocation: http://127.0.0.1:" + std::to_string(other.port()) + "/");
  subscribe("AVTransport", "http://127.0.0.1:" + std::to_string(controller.port()) + "/");
  EXPECT_THAT(whileRunning([&] { return controller.receive(); }), HasSubstr("NO_MEDIA_PRESENT"));
  setUri("http://a/film.mp4");
  // It is sent after the delivery of the first event has ended.
  EXPECT_THAT(whileRunning([&] { return controller.receive(); }), HasSubstr("STOPPED"));
  EXPECT_FALSE(other.isContacted());
}

TEST_F(UpnpRenderer, ClosesTheOldestOfTooManyConnections) {
  EXPECT_EQ(whileRunning([&] { return firstClosedOf(80, renderer->port()); }), 0);
  EXPECT_EQ(transportState(), "NO_MEDIA_PRESENT");
}

TEST_F(UpnpRenderer, BoundsEventsThatWaitForASilentSubscriber) {
  // GUPnP keeps a subscription that was cancelled before its first event was answered.
  const EventServer silent;
  const std::string callback = "http://127.0.0.1:" + std::to_string(silent.port()) + "/";
  int count = 0;
  for (; count < 1000; ++count) {
    const std::string response = subscribe("AVTransport", callback);
    if (response.find("200 OK") == std::string::npos) break;
    const auto identifier = response.find("uuid:");
    const std::string sid =
        response.substr(identifier, response.find('\r', identifier) - identifier);
    request(
        {.method = "UNSUBSCRIBE", .path = "/AVTransport/Event", .headers = "SID: " + sid + "\r\n"});
  }
  EXPECT_LT(count, 1000);
  EXPECT_EQ(transportState(), "NO_MEDIA_PRESENT");
}

TEST_F(UpnpRenderer, AnswersQueriesOfVariables) {
  const struct {
    const char* service;
    const char* variable;
    const char* answer;
  } cases[] = {{"AVTransport", "TransportState", "NO_MEDIA_PRESENT"},
               {"AVTransport", "LastChange", "CurrentPlayMode"},
               {"RenderingControl", "Volume", "100"},
               {"ConnectionManager", "SinkProtocolInfo", "http-get:*:video/mp4:*"},
               {"ConnectionManager", "CurrentConnectionIDs", "0"}};
  for (const auto& each : cases) {
    const std::string response =
        soap(each.service, "urn:schemas-upnp-org:control-1-0", "QueryStateVariable",
             std::string("<u:varName>") + each.variable + "</u:varName>");
    EXPECT_THAT(element(response, each.variable), HasSubstr(each.answer)) << each.variable;
  }
}

TEST_F(UpnpRenderer, SendsEventsToTheSubscriberOnlyAndBoundsSubscriptions) {
  for (const char* callback : {"http://192.0.2.1/", "http://example.org/", "https://127.0.0.1/",
                               "127.0.0.1", "", "http://127.0.0.1/><http://192.0.2.1/"}) {
    EXPECT_THAT(subscribe("AVTransport", callback), HasSubstr(" 412 ")) << callback;
  }
  int count = 0;
  while (count < 100 &&
         subscribe("AVTransport", "http://127.0.0.1:9/").find("200 OK") != std::string::npos) {
    ++count;
  }
  EXPECT_EQ(count, 32);
  EXPECT_EQ(transportState(), "NO_MEDIA_PRESENT");
}

}  // namespace
