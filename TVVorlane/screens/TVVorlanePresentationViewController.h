#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "TVVorlane/screens/TVVorlanePresentationView.h"
#include "platform/ui/controllers/ViewController.h"

class TVVorlanePresentationSession;

/// Shows the view of a presentation session and converts remote events into user events of the
/// session. Main thread.
class TVVorlanePresentationViewController final : public platform::ViewController {
 public:
  explicit TVVorlanePresentationViewController(
      std::shared_ptr<TVVorlanePresentationSession> session);
  std::string className() const override { return "TVVorlanePresentationViewController"; }

  const std::shared_ptr<TVVorlanePresentationSession>& session() const { return _session; }
  const std::shared_ptr<TVVorlanePresentationView>& presentationView() const {
    return _presentationView;
  }
  std::shared_ptr<platform::Object> presentationLayer() const;
  std::uint64_t stopCount() const { return _stopCount; }
  void setStopCount(std::uint64_t count) { _stopCount = count; }

  void showProgress();
  void hideProgress();

  std::shared_ptr<platform::View> preferredFocusedView() override;

 protected:
  void viewDidLoad() override;

 private:
  static void _addRecognizers(TVVorlanePresentationView& view);
  void _swiped(platform::SwipeDirection direction);
  void _pressed(const platform::TapRecognizer& recognizer);

  std::shared_ptr<TVVorlanePresentationSession> _session;
  std::shared_ptr<TVVorlanePresentationView> _presentationView;
  std::uint64_t _stopCount = 0;
};
