#pragma once

#include <memory>
#include <string>

#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/views/ActivityIndicatorView.h"
#include "platform/ui/views/LayerView.h"
#include "platform/ui/views/View.h"

/// View of a mirrored screen: a black background, a content view whose layer the receiver service
/// draws into, and a spinner that replaces the content while the stream stalls. Main thread.
class TVVorlanePresentationView final : public platform::View {
 public:
  explicit TVVorlanePresentationView(platform::Rect frame);
  std::string className() const override { return "TVVorlanePresentationView"; }

  /// Null if the box supports no layers.
  std::shared_ptr<platform::Object> presentationLayer() const;
  /// Ends drawing into the layer.
  void closeLayer();
  bool showProgress() const { return _showProgress; }
  void setShowProgress(bool show);

  /// The controller that handles remote events while the view is shown, or null.
  std::shared_ptr<platform::ViewController> controller() const { return _controller.lock(); }
  void setController(std::weak_ptr<platform::ViewController> controller) {
    _controller = std::move(controller);
  }

  bool canBecomeFocused() const override { return true; }

  const std::shared_ptr<platform::LayerView>& contentView() const { return _contentView; }
  const std::shared_ptr<platform::View>& coverView() const { return _coverView; }
  const std::shared_ptr<platform::ActivityIndicatorView>& spinnerView() const {
    return _spinnerView;
  }

 protected:
  void layoutSubviews() override;

 private:
  std::shared_ptr<platform::LayerView> _contentView;
  std::shared_ptr<platform::View> _coverView;
  std::shared_ptr<platform::ActivityIndicatorView> _spinnerView;
  bool _showProgress = false;
  std::weak_ptr<platform::ViewController> _controller;
};
