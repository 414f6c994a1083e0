#include "TVVorlane/screens/TVVorlanePresentationView.h"

#include "platform/services/Platform.h"

TVVorlanePresentationView::TVVorlanePresentationView(platform::Rect frame)
    : View(frame),
      _contentView(std::make_shared<platform::LayerView>(frame.bounds())),
      _coverView(std::make_shared<platform::View>(frame.bounds())),
      _spinnerView(std::make_shared<platform::ActivityIndicatorView>(
          platform::ActivityIndicatorView::kLargeStyle)) {
  setBackgroundColor(platform::kBlack);
  _contentView->setLayer(platform::Platform::current().makeLayer());
  addSubview(_contentView);
}

std::shared_ptr<platform::Object> TVVorlanePresentationView::presentationLayer() const {
  return _contentView->layer();
}

void TVVorlanePresentationView::closeLayer() {
  if (const auto& layer = _contentView->layer()) layer->close();
}

void TVVorlanePresentationView::layoutSubviews() {
  _contentView->setFrame(bounds());
  _coverView->setFrame(bounds());
  _spinnerView->centerIn(bounds());
}

void TVVorlanePresentationView::setShowProgress(bool show) {
  if (show == _showProgress) return;
  _contentView->setHidden(show);
  if (show) {
    addSubview(_coverView);
    addSubview(_spinnerView);
    _spinnerView->startAnimating();
  } else {
    _coverView->removeFromSuperview();
    _spinnerView->removeFromSuperview();
    _spinnerView->stopAnimating();
  }
  _showProgress = show;
}
