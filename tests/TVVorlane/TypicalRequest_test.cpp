// The road of a typical request: a sender plays a video, steers it, adds a second one, and stops.

#include <regex>

#include <gmock/gmock.h>

#include "TVVorlane/TVVorlaneAppDelegate.h"
#include "tests/TVVorlane/Support.h"

using namespace std::chrono_literals;
using platform::Dictionary;
using platform::Value;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class TypicalRequest : public SessionTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(box.launch(applicationOf(app)));
    box.clearLog();
  }
  TVVorlaneReceiverDelegate& receiver() { return *app->receiverDelegate(); }
  void set(const char* property, const Value& value) {
    EXPECT_EQ(box.call([&] { return receiver().vorlaneUISetProperty(property, {}, value); }), 0);
    box.run();
  }
  Dictionary playbackInfo() {
    return *box.call([&] { return receiver().vorlaneUIGetProperty("playbackInfo", {}, nullptr); })
                .asDictionary();
  }
  /// Whole lines since the last time, without the addresses.
  Texts takeLog() {
    Texts lines;
    for (const auto& line : box.log())
      lines.push_back(std::regex_replace(line, std::regex("0x[0-9a-f]+"), "0x"));
    box.clearLog();
    return lines;
  }
  static std::string fromQueue(const std::string& text) {
    return "#T:[0x] #Notice #TVVLCommunication : " + text + " ";
  }
  static std::string posted(const std::string& event) {
    return "#T:[Main] #Notice #TVVLCommunication : PostEvent: " + event + " ";
  }
  static std::string ofSession(const std::string& text) {
    return "#T:[Main] #Notice #TVVLSession : " + text + " ";
  }
  static std::string ofManager(const std::string& text) {
    return "#T:[Main] #Notice #TVVLSessionManager : " + text + " ";
  }

  const std::string kSession = "<TVVorlaneURLSession: 0x> ID: 7";
  const std::string kRoot = "<TVVorlaneMediaViewController: 0x>";
  std::shared_ptr<TVVorlaneAppDelegate> app = std::make_shared<TVVorlaneAppDelegate>();
};

TEST_F(TypicalRequest, FromStartToStop) {
  // Start: the call returns when the video is on screen.
  Dictionary out{{"stale", 1}};
  const Dictionary params{
      {"Content-Location", kVideoURL}, {"sessionID", 7}, {"uuid", "U1"}, {"Start-Position", 0.1}};
  EXPECT_EQ(box.call([&] { return receiver().vorlaneUIStartVideo(params, &out); }), 0);
  EXPECT_THAT(out, IsEmpty());
  EXPECT_TRUE(box.screen().isOpen());
  EXPECT_EQ(manager().stateMachine().currentState(), "Foreground");
  EXPECT_TRUE(app->playbackActive());
  EXPECT_EQ(playbackInfo(), (Dictionary{{"readyToPlay", 0}, {"uuid", "U1"}}));
  box.advance(100ms);
  EXPECT_THAT(
      takeLog(),
      ElementsAre(
          fromQueue("vorlaneUIStartVideo: {\n    \"Content-Location\" = "
                    "\"http://sender/video.mp4\";\n    sessionID = 7;\n    uuid = U1;\n    "
                    "\"Start-Position\" = 0.1;\n}"),
          ofManager("Register session " + kSession),
          "#T:[Main] #Notice #TVSSystemLog : Waking device for Vorlane playback ",
          posted("loading"), ofManager("Request presentation for media view controller"),
          ofManager("Complete presentation for media view controller with result (success: 1 "
                    "error: (null))"),
          ofSession("Media View Controller ready for display " + kRoot),
          ofManager("mediaViewControllerDidBecomeReady:  " + kRoot),
          fromQueue("vorlaneUIGetProperty: playbackInfo"), posted("playing")));
  const auto playing = box.receiverServiceClient().lastEvent("playing");
  ASSERT_TRUE(playing);
  EXPECT_EQ(playing->info.get("position"), Value(10));
  EXPECT_EQ(playing->info.get("duration"), Value(100));
  EXPECT_EQ(playing->info.get("rate"), Value(1));
  EXPECT_EQ(playing->info.get("uuid"), Value("U1"));
  EXPECT_THAT(takeEventTexts(box), ElementsAre("loading", "playing"));

  // Reads follow the time.
  box.advance(5s);
  EXPECT_EQ(playbackInfo().get("position"), Value(15));
  takeLog();

  // Seek, rate, pause.
  set("position", 30);
  EXPECT_EQ(playbackInfo().get("position"), Value(30));
  set("rate", 2);
  box.advance(5s);
  EXPECT_EQ(playbackInfo().get("position"), Value(40));
  EXPECT_EQ(playbackInfo().get("rate"), Value(2));
  set("rate", 0);
  box.advance(1min);
  EXPECT_EQ(playbackInfo().get("position"), Value(40));
  EXPECT_EQ(playbackInfo().get("rate"), Value(0));
  EXPECT_THAT(takeEventTexts(box), ElementsAre("paused"));
  const auto read = fromQueue("vorlaneUIGetProperty: playbackInfo");
  EXPECT_THAT(takeLog(),
              ElementsAre(fromQueue("vorlaneUISetProperty (position): 30"),
                          ofSession("Vorlane set position to 30.000000 of 100.000000 (30.000000)"),
                          read, fromQueue("vorlaneUISetProperty (rate): 2"),
                          ofSession("Vorlane set rate to 2.000000"), read, read,
                          fromQueue("vorlaneUISetProperty (rate): 0"),
                          ofSession("Vorlane set rate to 0.000000"), posted("paused"), read, read));

  // A second item.
  const Dictionary insert{{"sessionID", 7},
                          {"item", Dictionary{{"Content-Location", kNextURL}, {"uuid", "U2"}}}};
  EXPECT_EQ(
      box.call([&] { return receiver().vorlaneUIPerform("playlistInsert", insert, nullptr); }), 0);
  EXPECT_THAT(takeLog(),
              ElementsAre(fromQueue("vorlaneUIPerform (playlistInsert): {\n    sessionID = 7;\n    "
                                    "item = {\n        \"Content-Location\" = "
                                    "\"http://sender/next.mp4\";\n        uuid = U2;\n    };\n}")));
  set("rate", 2);
  takeLog();
  box.advance(30s);
  box.advance(200ms);
  EXPECT_THAT(takeLog(),
              ElementsAre(ofSession("Vorlane-Playlist HIT END : U1"), posted("itemPlayedToEnd"),
                          ofSession("Vorlane-Playlist ITEM REMOVED : U1"), posted("itemRemoved"),
                          ofSession("Vorlane-Playlist ITEM CHANGED : U2"),
                          posted("currentItemChanged"), posted("loading"), posted("playing")));
  EXPECT_THAT(takeEventTexts(box),
              ElementsAre("playing", "itemPlayedToEnd {uuid=U1}", "itemRemoved {uuid=U1}",
                          "currentItemChanged {uuid=U2}", "loading", "playing"));
  EXPECT_EQ(playbackInfo().get("uuid"), Value("U2"));
  EXPECT_EQ(playbackInfo().get("rate"), Value(2));
  takeLog();

  // The end.
  box.advance(50s);
  EXPECT_THAT(takeLog(),
              ElementsAre(ofSession("Vorlane-Playlist HIT END : U2"), posted("itemPlayedToEnd"),
                          ofSession("Vorlane-Playlist ended"), posted("ended"), posted("stopped")));
  EXPECT_THAT(takeEventTexts(box), ElementsAre("itemPlayedToEnd {uuid=U2}", "ended",
                                               "stopped {sessionID=7, reason=ended}"));
  EXPECT_TRUE(box.screen().isOpen());

  // Stop.
  EXPECT_EQ(box.call([&] { return receiver().vorlaneUIStopVideo({{"sessionID", 7}}); }), 0);
  EXPECT_FALSE(app->playbackActive());
  box.advance(1s);
  EXPECT_THAT(takeLog(), ElementsAre(fromQueue("vorlaneUIStopVideo: {\n    sessionID = 7;\n}"),
                                     ofManager("Deregister session " + kSession + " immediately 1"),
                                     ofSession("No more active sessions, dismiss."),
                                     ofSession("End presentation for session with options: {\n}"),
                                     ofManager("mediaViewControllerDidDismiss:  " + kRoot)));
  EXPECT_THAT(takeEventTexts(box), IsEmpty());
  EXPECT_EQ(manager().stateMachine().currentState(), "Background");
  EXPECT_FALSE(box.screen().isOpen());
  EXPECT_THAT(box.mediaLibrary().engines(), IsEmpty());
  // Nothing is left that would wake the process.
  EXPECT_FALSE(box.mainQueue().nextDeadline());
}

TEST_F(TypicalRequest, BadMediaEndAsStoppedAndTheNextOnePlays) {
  using platform::Error;
  using platform::URLErrorCode;
  const auto failure = [](URLErrorCode code) {
    return Error{
        std::string(platform::kURLErrorDomain), static_cast<std::int64_t>(code), {}, {}, {}};
  };
  box.mediaLibrary().add("http://sender/silent",
                         {.loadDelay = 15, .loadFailure = failure(URLErrorCode::TimedOut)});
  box.mediaLibrary().add("http://sender/breaks",
                         {.failure = {{5, failure(URLErrorCode::NetworkConnectionLost)}}});
  const std::pair<std::string, std::int64_t> cases[] = {
      {"http://sender/missing", -1100}, {"http://sender/silent", -1001},
      {"http://sender/breaks", -1005},  {"", -1100},
      {"no url at all", -1100},         {"http://sender/" + std::string(65536, 'x'), -1100}};
  std::uint32_t sessionID = 100;
  for (const auto& [url, code] : cases) {
    const std::string shown = url.substr(0, 40);
    ++sessionID;
    const auto params = videoOptions(sessionID, {{"Content-Location", url}});
    EXPECT_EQ(box.call([&] { return receiver().vorlaneUIStartVideo(params, nullptr); }), 0)
        << shown;
    box.advance(20s);
    const auto info = playbackInfo();
    EXPECT_EQ(info.get("readyToPlay"), Value(0)) << shown;
    EXPECT_EQ(info.get("code"), Value(code)) << shown;
    EXPECT_EQ(info.get("domain"), Value(platform::kURLErrorDomain)) << shown;
    const auto log =
        box.call([&] { return receiver().vorlaneUIGetProperty("playbackErrorLog", {}, nullptr); });
    ASSERT_TRUE(log.asArray()) << shown;
    EXPECT_EQ(log.asArray()->size(), 1u) << shown;
    EXPECT_EQ(takeEventTexts(box).back(),
              "stopped {sessionID=" + std::to_string(sessionID) + ", reason=ended}")
        << shown;
    EXPECT_EQ(box.call([&] {
      return receiver().vorlaneUIStopVideo({{"sessionID", sessionID}});
    }),
              0);
    box.advance(1s);
  }
  EXPECT_EQ(box.call([&] { return receiver().vorlaneUIStartVideo(videoOptions(7), nullptr); }), 0);
  box.advance(1s);
  EXPECT_THAT(takeEventTexts(box), ElementsAre("loading", "playing"));
}

}  // namespace
