#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace box::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
/// OpenGL in software makes so many allocations that a sanitizer takes minutes for them.
inline constexpr bool kSkipsOpenGL = true;
#else
inline constexpr bool kSkipsOpenGL = false;
#endif

/// Pixels in rows, three bytes (red, green, blue) each.
struct Screenshot {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;
};

/// A display server without a display, in a process and a folder of its own. While it exists, the
/// environment of the test leads to it.
class DisplayServer {
 public:
  enum class Kind {
    Sway,          ///< Wayland with a seat, draws without OpenGL; not as root
    WestonPixman,  ///< Wayland without a seat, draws without OpenGL
    WestonGL,      ///< Wayland without a seat
    X11
  };

  explicit DisplayServer(Kind kind);
  ~DisplayServer();
  DisplayServer(const DisplayServer&) = delete;
  DisplayServer& operator=(const DisplayServer&) = delete;

  /// Waits until it accepts connections. Returns false if it is not installed or does not start.
  bool start();
  /// Ends the process without a farewell to its clients.
  void kill();
  /// Nothing if no screenshot can be taken.
  std::optional<Screenshot> screenshot() const;
  /// The messages of the server and of the programs that take screenshots.
  std::string log() const;
  /// Runs a command of the compositor (swaymsg).
  bool command(const std::string& arguments) const;
  /// Adds a keyboard to a compositor until it ends.
  void addKeyboard() const;
  /// Presses keys on another keyboard, one after the other.
  bool press(const std::string& keys) const;

 private:
  std::vector<std::string> _programAndArguments() const;
  std::string _environment() const;
  void _exec() const;
  bool _waitForSocket(int watch) const;
  std::string _screenshotCommand() const;

  const Kind _kind;
  std::filesystem::path _folder;
  std::string _name;  // of the display
  std::filesystem::path _socket;
  pid_t _process = -1;
};

}  // namespace box::test
