#include "TVVorlane/TVVorlaneInfoSession.h"

#include "tests/TVVorlane/Support.h"

namespace Type = TVVorlaneSessionType;

namespace {

class TVVorlaneInfoSessionTest : public SessionTest {
 protected:
  std::shared_ptr<TVVorlaneInfoSession> start(const Dictionary& options) {
    return startSession<TVVorlaneInfoSession>(options);
  }
  std::shared_ptr<TVVorlaneInfoSession> startPin() {
    return start({{"TVVorlaneInfoSessionCommand", "showPIN"}, {"pin", "1234"}});
  }
};

TEST_F(TVVorlaneInfoSessionTest, TypeAndTextsDependOnTheCommand) {
  struct Case {
    Dictionary options;
    std::int64_t type;
    std::optional<std::string> title;
    std::optional<std::string> message;
  };
  const Case cases[] = {
      {{{"TVVorlaneInfoSessionCommand", "showPIN"}, {"pin", "0042"}},
       Type::kPin,
       "Enter this code on your device",
       "0042"},
      {{{"TVVorlaneInfoSessionCommand", "showPIN"}, {"pin", 417}},
       Type::kPin,
       "Enter this code on your device",
       "417"},
      {{{"TVVorlaneInfoSessionCommand", "showPIN"}},
       Type::kPin,
       "Enter this code on your device",
       {}},
      {{{"TVVorlaneInfoSessionCommand", "incompatibleSender"}, {"pin", "1"}},
       Type::kDialog,
       "Unable to Connect",
       "This device could not be verified.\nUpdate its software and try again."},
      {{{"TVVorlaneInfoSessionCommand", "other"}, {"pin", "1"}}, Type::kDialog, {}, {}},
      {{}, Type::kDialog, {}, {}},
  };
  std::uint32_t number = 0x7FFFFFFF;
  for (const auto& expected : cases) {
    const auto session = start(expected.options);
    EXPECT_EQ(session->sessionID(), number++);
    EXPECT_EQ(session->sessionType(), expected.type);
    EXPECT_EQ(session->titleString(), expected.title);
    EXPECT_EQ(session->messageString(), expected.message);
    EXPECT_EQ(session->commandKey(), expected.options.string("TVVorlaneInfoSessionCommand"));
  }
  box.run();
  EXPECT_EQ(completions.count(), std::size(cases));
  EXPECT_TRUE(delegate->take().empty());
}

TEST_F(TVVorlaneInfoSessionTest, TextsAreLocalized) {
  box.device().setLanguage("de_DE.UTF-8");
  EXPECT_EQ(startPin()->titleString(), "Gib diesen Code auf deinem Gerät ein");
}

TEST_F(TVVorlaneInfoSessionTest, InvalidStartUsesNoSessionID) {
  const auto invalid = start({{"TVVorlaneInfoSessionCommand", "showPIN"}, {"rate", "1"}});
  ASSERT_EQ(completions.count(), 1U);
  EXPECT_EQ(completions.outInfos[0], std::nullopt);
  EXPECT_EQ(completions.errors[0], platform::Error::status(-6756));
  EXPECT_TRUE(manager().activeSessions().empty());
  EXPECT_EQ(invalid->commandKey(), std::nullopt);
  box.advance(31s);
  EXPECT_EQ(box.logCount("timed out"), 0U);
  EXPECT_EQ(startPin()->sessionID(), 0x7FFFFFFFU);
}

TEST_F(TVVorlaneInfoSessionTest, TimesOutAfterThirtySeconds) {
  for (const char* command : {"showPIN", "incompatibleSender", "other"}) {
    box.clearLog();
    const auto session = start({{"TVVorlaneInfoSessionCommand", command}});
    box.advance(29'999ms);
    EXPECT_EQ(manager().activeSessions().size(), 1U) << command;
    box.advance(1ms);
    EXPECT_TRUE(manager().activeSessions().empty()) << command;
    EXPECT_EQ(box.logCount("#T:[Main] #Notice #TVVLSession : Info dialog session " +
                           session->description() + " timed out "),
              1U);
    box.advance(60s);
    EXPECT_EQ(box.logCount("timed out"), 1U);
    EXPECT_EQ(manager().stateMachine().currentState(), "Background");
  }
  EXPECT_TRUE(delegate->take().empty());
}

TEST_F(TVVorlaneInfoSessionTest, StopEndsTheSessionAndItsTimer) {
  const auto session = startPin();
  box.run();
  ASSERT_EQ(rootController()->pinInfoSession(), session);

  std::optional<platform::Error> error;
  const auto refused = startPin();
  EXPECT_FALSE(refused->stopWithOptions(Dictionary{{"url", 1}}, &error));
  EXPECT_EQ(error, platform::Error::status(-6756));
  EXPECT_EQ(manager().activeSessions().size(), 2U);

  error.reset();
  EXPECT_TRUE(session->stopWithOptions(Dictionary(), &error));
  EXPECT_TRUE(session->stopWithOptions({}, &error));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_EQ(manager().activeSessions().size(), 1U);
  EXPECT_EQ(box.logCount("Deregister session " + session->description() + " immediately 1 "), 2U);
  box.advance(60s);
  // A rejected stop does not cancel the timeout.
  EXPECT_EQ(box.logCount("timed out"), 1U);
  EXPECT_TRUE(manager().activeSessions().empty());
  EXPECT_TRUE(delegate->take().empty());
}

TEST_F(TVVorlaneInfoSessionTest, SupportsNoPropertiesAndActions) {
  const auto session = startPin();
  std::optional<platform::Error> error;
  std::optional<Dictionary> outInfo;
  EXPECT_TRUE(session->getProperty("rate", {}, &error).isNone());
  EXPECT_FALSE(session->setProperty("rate", {}, 1, &error));
  EXPECT_FALSE(session->performAction("showPIN", {}, &outInfo, &error));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_EQ(outInfo, std::nullopt);
  const auto text = session->description();
  EXPECT_TRUE(text.starts_with("<TVVorlaneInfoSession: 0x")) << text;
  EXPECT_TRUE(text.ends_with("> ID: 2147483647")) << text;
}

}  // namespace
