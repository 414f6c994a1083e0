#include "TVVorlane/TVVorlanePresentationSession.h"

#include "TVVorlane/screens/TVVorlanePresentationView.h"
#include "tests/TVVorlane/Support.h"

namespace {

class TVVorlanePresentationSessionTest : public SessionTest {
 protected:
  void start(const Dictionary& options = {{"sessionID", 4000000000U}, {"hasAudio", true}}) {
    session->setDelegate(delegate);
    session->startWithOptions(options, completions.recorder());
  }

  /// The layer of the session, as the type that a Value holds.
  std::shared_ptr<platform::Object> layer() { return box.layers().made().at(0); }
  bool layerIsOpen() { return box.layers().made().at(0)->isOpen(); }

  std::shared_ptr<TVVorlanePresentationSession> session =
      std::make_shared<TVVorlanePresentationSession>();
  std::optional<platform::Error> error;
};

TEST_F(TVVorlanePresentationSessionTest, StartShowsTheView) {
  start();
  ASSERT_NE(session->presentationView(), nullptr);
  EXPECT_EQ(session->presentationView()->bounds(), platform::kScreenBounds);
  EXPECT_EQ(completions.count(), 0U);
  box.run();
  ASSERT_EQ(completions.count(), 1U);
  EXPECT_EQ(completions.errors[0], std::nullopt);
  EXPECT_EQ(session->sessionID(), 4000000000U);
  EXPECT_EQ(session->sessionType(), TVVorlaneSessionType::kPresentation);
  EXPECT_EQ(rootController()->presentationSession(), session);
  EXPECT_TRUE(delegate->take().empty());
  ASSERT_EQ(box.layers().made().size(), 1U);
  EXPECT_EQ(completions.outInfos[0], (Dictionary{{"presentationLayer", layer()}}));
  EXPECT_EQ(session->presentationView()->presentationLayer(), layer());
  EXPECT_TRUE(session->description().ends_with("> ID: 4000000000"));
}

TEST_F(TVVorlanePresentationSessionTest, StartsWithoutLayers) {
  box.layers().setOffered(false);
  start();
  box.run();
  ASSERT_EQ(completions.count(), 1U);
  EXPECT_EQ(completions.errors[0], std::nullopt);
  EXPECT_EQ(completions.outInfos[0], std::nullopt);
  EXPECT_EQ(session->presentationView()->presentationLayer(), nullptr);
  EXPECT_TRUE(session->stopWithOptions({}, nullptr));
}

TEST_F(TVVorlanePresentationSessionTest, InvalidStartCreatesNothing) {
  start({{"sessionID", 2}, {"volume", "loud"}});
  ASSERT_EQ(completions.count(), 1U);
  EXPECT_EQ(completions.errors[0], platform::Error::status(-6756));
  EXPECT_EQ(completions.outInfos[0], std::nullopt);
  EXPECT_EQ(session->presentationView(), nullptr);
  EXPECT_TRUE(box.layers().made().empty());
  EXPECT_TRUE(manager().activeSessions().empty());
}

TEST_F(TVVorlanePresentationSessionTest, Actions) {
  start();
  box.run();
  const auto view = session->presentationView();
  std::optional<Dictionary> outInfo;
  const auto perform = [&](const std::string& action, const platform::Value& options) {
    return session->performAction(action, options, &outInfo, &error);
  };
  EXPECT_TRUE(perform("TVVorlanePresentationShowProgressAction", {}));
  EXPECT_TRUE(view->showProgress());
  EXPECT_TRUE(perform("unknown", Dictionary()));
  EXPECT_TRUE(view->showProgress());
  EXPECT_TRUE(perform("TVVorlanePresentationHideProgressAction", Dictionary()));
  EXPECT_FALSE(view->showProgress());
  EXPECT_EQ(error, std::nullopt);

  EXPECT_FALSE(perform("TVVorlanePresentationShowProgressAction", Dictionary{{"url", 1}}));
  EXPECT_EQ(error, platform::Error::status(-6756));
  EXPECT_FALSE(view->showProgress());
  EXPECT_EQ(outInfo, std::nullopt);

  error.reset();
  EXPECT_TRUE(session->getProperty("volume", {}, &error).isNone());
  EXPECT_FALSE(session->setProperty("volume", {}, 1, &error));
  EXPECT_EQ(error, std::nullopt);

  session->stopWithOptions({}, nullptr);
  EXPECT_TRUE(perform("TVVorlanePresentationShowProgressAction", {}));
}

TEST_F(TVVorlanePresentationSessionTest, Stops) {
  start();
  box.run();
  EXPECT_FALSE(session->stopWithOptions(Dictionary{{"url", 1}}, &error));
  EXPECT_EQ(error, platform::Error::status(-6756));
  EXPECT_NE(session->presentationView(), nullptr);
  EXPECT_TRUE(layerIsOpen());
  EXPECT_EQ(manager().presentationSessionWithID({}), session);

  EXPECT_TRUE(session->stopWithOptions(Dictionary{{"sessionID", 1}}, nullptr));
  EXPECT_EQ(session->presentationView(), nullptr);
  EXPECT_FALSE(layerIsOpen()) << "closed while the view is still fading out";
  EXPECT_EQ(manager().presentationSessionWithID({}), nullptr);
  EXPECT_TRUE(delegate->take().empty());
}

TEST_F(TVVorlanePresentationSessionTest, UserStopIsReportedBeforeTheDeactivation) {
  start();
  box.run();
  std::optional<bool> deactivated;
  delegate->heard = [&](auto& from, const auto&) { deactivated = from.deactivated(); };
  session->userStop();
  EXPECT_EQ(deactivated, false);
  EXPECT_TRUE(session->deactivated());
}

TEST_F(TVVorlanePresentationSessionTest, FailedPresentationIsReported) {
  box.screen().setOpening(sim::Screen::Opening::Refuses);
  start();
  box.run();
  ASSERT_EQ(completions.count(), 1U);
  EXPECT_EQ(completions.errors[0]->code, -6700);
  EXPECT_EQ(completions.outInfos[0], (Dictionary{{"presentationLayer", layer()}}));
  EXPECT_EQ(delegate->take(), Texts{"userStop {sessionID=4000000000, userExit=true}"});
}

}  // namespace
