#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/foundation/Token.h"
#include "platform/media/TVSPlayer.h"
#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/player/MediaOptions.h"
#include "platform/ui/player/PlayerTexts.h"

namespace platform {

class OptionPanelView;

/// The panel in which a person chooses sound and subtitles of what plays.
///
/// Workflow: add it as a child, open(), and it takes the arrows, select and menu, or swipes, until
/// menu or the end of the item close it. What is chosen takes effect and is marked; the panel
/// stays. Threads: main. Lifetime: holds the player.
class OptionPanelController final : public ViewController {
 public:
  /// `didClose` is called after every close.
  OptionPanelController(std::shared_ptr<TVSPlayer> player, std::function<void()> didClose);
  ~OptionPanelController() override;
  std::string className() const override { return "OptionPanelController"; }

  void setTexts(const PlayerTexts& texts);
  /// False where the item offers nothing to choose from.
  bool open();
  void close();
  /// While it is open: takes what the item offers now.
  void update();
  bool isOpen() const { return _open; }

  bool handleInput(const InputEvent& event) override;

 protected:
  std::shared_ptr<View> loadView() override;

 private:
  void _moveAcross(int step);
  void _moveAlong(int step);
  void _choose();
  void _show();

  std::shared_ptr<TVSPlayer> _player;
  std::function<void()> _didClose;
  PlayerTexts _texts;
  std::shared_ptr<OptionPanelView> _panel;
  bool _open = false;
  std::vector<MediaOptionList> _lists;
  std::size_t _focusedList = 0;
  std::vector<std::size_t> _focusedChoices;  // of each list
  std::vector<Token> _observers;             // while it is open
};

}  // namespace platform
