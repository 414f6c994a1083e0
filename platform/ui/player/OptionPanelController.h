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

/// A panel for the selection of audio and subtitles.
///
/// Usage: add it as a child and call open(). It handles the arrow keys, Select, Menu and swipes.
/// Menu or the end of the item closes it. A selection takes effect at once and leaves the panel
/// open. Threads: main. Lifetime: owns a reference to the player.
class OptionPanelController final : public ViewController {
 public:
  OptionPanelController(std::shared_ptr<TVSPlayer> player, std::function<void()> didClose);
  ~OptionPanelController() override;
  std::string className() const override { return "OptionPanelController"; }

  void setTexts(const PlayerTexts& texts);
  /// False if the item has no options.
  bool open();
  void close();
  /// Reloads the options of the item if the panel is open.
  void update();
  bool isOpen() const { return _open; }

  bool handleInput(const InputEvent& event) override;

 protected:
  std::shared_ptr<View> loadView() override;

 private:
  void _moveBetweenLists(int step);
  void _moveInList(int step);
  void _choose();
  void _updatePanel();

  std::shared_ptr<TVSPlayer> _player;
  std::function<void()> _didClose;
  PlayerTexts _texts;
  std::shared_ptr<OptionPanelView> _panel;
  bool _open = false;
  std::vector<MediaOptionList> _lists;
  std::size_t _focusedList = 0;
  std::vector<std::size_t> _focusedChoices;  // one for each list
  std::vector<Token> _observers;             // while the panel is open
};

}  // namespace platform
