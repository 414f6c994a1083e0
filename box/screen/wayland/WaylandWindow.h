#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "box/screen/drawing/RenderSurface.h"
#include "box/screen/drawing/ScreenOptions.h"
#include "box/screen/wayland/WaylandBuffer.h"
#include "box/screen/wayland/WaylandConnection.h"

namespace box {

/// A window on a Wayland compositor that needs neither OpenGL nor input devices, both of which SDL
/// requires on Wayland. SDL's software renderer draws directly into the buffers of the window.
///
/// A frame is drawn when the compositor asks for one, so nothing is drawn while the window is
/// hidden. Thread: the screen's.
class WaylandWindow final : public RenderSurface {
 public:
  /// Returns null and sets `reason` on failure. `size`: of a window that is not fullscreen.
  static std::unique_ptr<WaylandWindow> open(std::unique_ptr<WaylandConnection> connection,
                                             const ScreenOptions& options, platform::Size size,
                                             std::string& reason);
  ~WaylandWindow() override;

  /// The handler is called during dispatch() and flush().
  void setInputHandler(std::function<void(const RemoteEvent& event)> handler) {
    _connection->input().handler = std::move(handler);
  }

  SDL_Renderer* renderer() const override { return _renderer.get(); }
  void present() override;
  platform::Size size() const override;
  platform::Duration refreshInterval() const override;
  bool followsDisplay() const override { return true; }
  void keepDisplayOn(bool keepsOn) override;
  bool owns(const SDL_Event& event) const override;
  bool isReady() const override { return _configured && !_frame; }
  bool isClosed() const override { return _closed; }
  bool isResized() const override;
  void replaceRenderer() override;
  bool dispatch() override { return _connection->dispatch(); }
  int flush() override { return _connection->flush(); }

 private:
  struct Extent {
    int width = 0;
    int height = 0;
    int scale = 1;
    bool operator==(const Extent&) const = default;
  };
  static constexpr std::size_t kMaximumBuffers = 4;

  WaylandWindow(std::unique_ptr<WaylandConnection> connection, platform::Size size);
  bool _createObjects(const ScreenOptions& options);
  void _listenToShell();
  void _listenToSurface();
  void _requestFrame();
  void _setOutput(wl_output* output);
  bool _makeRenderer();
  void _selectBuffer();

  const std::unique_ptr<WaylandConnection> _connection;
  WaylandPtr<wl_surface> _surface;
  WaylandPtr<xdg_surface> _shellSurface;
  WaylandPtr<xdg_toplevel> _window;
  WaylandPtr<zwp_idle_inhibitor_v1> _inhibitor;
  WaylandPtr<wl_callback> _frame;  // pending
  const wl_output* _output = nullptr;
  bool _configured = false;
  bool _closed = false;
  Extent _wanted;
  Extent _drawn;  // size of the buffers
  std::array<std::unique_ptr<WaylandBuffer>, kMaximumBuffers> _buffers;
  std::size_t _buffer = 0;  // the one that is drawn to
  SurfacePtr _target;
  RendererPtr _renderer;
};

}  // namespace box
