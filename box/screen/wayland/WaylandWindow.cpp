#include "box/screen/wayland/WaylandWindow.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace box {
namespace {

constexpr int kDefaultMillihertz = 60000;
constexpr int kMaximumExtent = 16384;
constexpr const char* kApplicationId = "tvvorlane";

}  // namespace

std::unique_ptr<WaylandWindow> WaylandWindow::open(std::unique_ptr<WaylandConnection> connection,
                                                   const ScreenOptions& options,
                                                   platform::Size size, std::string& reason) {
  if (!connection->canShowWindows(reason)) return nullptr;
  std::unique_ptr<WaylandWindow> window(new WaylandWindow(std::move(connection), size));
  // Usually configures the window. Without an output some compositors do it later.
  if (!window->_createObjects(options) || !window->_connection->roundtrip()) {
    reason = "the Wayland compositor opens no window";
    return nullptr;
  }
  if (!window->_makeRenderer()) {
    reason = "no memory for a window";
    return nullptr;
  }
  window->keepDisplayOn(true);
  return window;
}

WaylandWindow::WaylandWindow(std::unique_ptr<WaylandConnection> connection, platform::Size size)
    : _connection(std::move(connection)),
      _wanted{static_cast<int>(std::lround(size.width)), static_cast<int>(std::lround(size.height)),
              1} {}

WaylandWindow::~WaylandWindow() {
  _connection->input().handler = nullptr;
  // The compositor removes the window only if it receives the request.
  _inhibitor.reset();
  _window.reset();
  _shellSurface.reset();
  _surface.reset();
  _connection->flush();
}

bool WaylandWindow::_createObjects(const ScreenOptions& options) {
  _surface.reset(wl_compositor_create_surface(_connection->compositor()));
  if (!_surface) return false;
  _listenToSurface();
  _shellSurface.reset(xdg_wm_base_get_xdg_surface(_connection->shell(), _surface.get()));
  if (_shellSurface) _window.reset(xdg_surface_get_toplevel(_shellSurface.get()));
  if (!_window) return false;
  _listenToShell();
  xdg_toplevel_set_title(_window.get(), options.title.c_str());
  xdg_toplevel_set_app_id(_window.get(), kApplicationId);
  if (options.fullscreen) xdg_toplevel_set_fullscreen(_window.get(), nullptr);
  if (!_connection->outputs().empty()) _wanted.scale = _connection->outputs().front()->scale;
  wl_surface_commit(_surface.get());
  return true;
}

void WaylandWindow::_listenToShell() {
  static constexpr xdg_surface_listener kSurfaceListener = {
      [](void* self, xdg_surface* surface, std::uint32_t serial) {
        static_cast<WaylandWindow*>(self)->_configured = true;
        xdg_surface_ack_configure(surface, serial);
      }};
  static constexpr auto listener = [] {
    xdg_toplevel_listener events{};
    events.configure = [](void* self, xdg_toplevel*, int width, int height, wl_array*) {
      Extent& wanted = static_cast<WaylandWindow*>(self)->_wanted;
      // Zero: the window may choose.
      if (width > 0) wanted.width = std::min(width, kMaximumExtent);
      if (height > 0) wanted.height = std::min(height, kMaximumExtent);
    };
    events.close = [](void* self, xdg_toplevel*) {
      static_cast<WaylandWindow*>(self)->_closed = true;
    };
    return events;
  };
  static constexpr xdg_toplevel_listener kWindowListener = listener();
  xdg_surface_add_listener(_shellSurface.get(), &kSurfaceListener, this);
  xdg_toplevel_add_listener(_window.get(), &kWindowListener, this);
}

void WaylandWindow::_listenToSurface() {
  static constexpr auto listener = [] {
    wl_surface_listener events{};
    events.enter = [](void* self, wl_surface*, wl_output* output) {
      static_cast<WaylandWindow*>(self)->_setOutput(output);
    };
    events.leave = [](void*, wl_surface*, wl_output*) {};
    return events;
  };
  static constexpr wl_surface_listener kListener = listener();
  wl_surface_add_listener(_surface.get(), &kListener, this);
}

void WaylandWindow::_setOutput(wl_output* output) {
  _output = output;
  for (const auto& known : _connection->outputs()) {
    if (known->output.get() == output) _wanted.scale = known->scale;
  }
}

platform::Size WaylandWindow::size() const {
  return {static_cast<double>(_wanted.width), static_cast<double>(_wanted.height)};
}

platform::Duration WaylandWindow::refreshInterval() const {
  int millihertz = 0;
  for (const auto& known : _connection->outputs()) {
    if (millihertz <= 0 || known->output.get() == _output) millihertz = known->millihertz;
  }
  return std::chrono::nanoseconds(std::chrono::seconds(1000)) /
         (millihertz > 0 ? millihertz : kDefaultMillihertz);
}

void WaylandWindow::keepDisplayOn(bool keepsOn) {
  zwp_idle_inhibit_manager_v1* const manager = _connection->idleInhibitManager();
  const bool inhibits = keepsOn && manager;
  if (!inhibits) _inhibitor.reset();
  if (inhibits && !_inhibitor) {
    _inhibitor.reset(zwp_idle_inhibit_manager_v1_create_inhibitor(manager, _surface.get()));
  }
}

bool WaylandWindow::owns(const SDL_Event&) const { return false; }

bool WaylandWindow::isResized() const { return _configured && _wanted != _drawn; }

void WaylandWindow::replaceRenderer() {
  if (!_makeRenderer()) {
    TVSLogWarning(TVSSystemLog, "Screen: no memory for a window of %d x %d pixels",
                  _wanted.width * _wanted.scale, _wanted.height * _wanted.scale);
    _wanted = _drawn;
  }
}

bool WaylandWindow::_makeRenderer() {
  const int width = _wanted.width * _wanted.scale;
  const int height = _wanted.height * _wanted.scale;
  auto buffer = WaylandBuffer::make(_connection->memory(), width, height);
  if (!buffer) return false;
  SurfacePtr target(SDL_CreateRGBSurfaceWithFormatFrom(buffer->pixels(), width, height, 32,
                                                       4 * width, SDL_PIXELFORMAT_ARGB8888));
  RendererPtr renderer(target ? SDL_CreateSoftwareRenderer(target.get()) : nullptr);
  if (!renderer) return false;
  _renderer = std::move(renderer);
  _target = std::move(target);
  _buffers = {};
  _buffer = 0;
  _buffers[0] = std::move(buffer);
  _drawn = _wanted;
  _connection->input().windowHeight = _wanted.height;
  return true;
}

void WaylandWindow::present() {
  SDL_RenderPresent(_renderer.get());  // draws what is queued
  if (!_configured) return;
  _requestFrame();
  wl_surface_set_buffer_scale(_surface.get(), _drawn.scale);
  _buffers[_buffer]->attach(_surface.get());
  wl_surface_damage_buffer(_surface.get(), 0, 0, _target->w, _target->h);
  wl_surface_commit(_surface.get());
  _connection->flush();
  _selectBuffer();
}

void WaylandWindow::_requestFrame() {
  static constexpr wl_callback_listener kListener = {[](void* self, wl_callback*, std::uint32_t) {
    static_cast<WaylandWindow*>(self)->_frame.reset();
  }};
  _frame.reset(wl_surface_frame(_surface.get()));
  if (_frame) wl_callback_add_listener(_frame.get(), &kListener, this);
}

void WaylandWindow::_selectBuffer() {
  const auto isFree = [](const auto& buffer) { return buffer && buffer->isFree(); };
  const auto isUnused = [](const auto& buffer) { return !buffer; };
  auto next = std::find_if(_buffers.begin(), _buffers.end(), isFree);
  if (next == _buffers.end()) {
    next = std::find_if(_buffers.begin(), _buffers.end(), isUnused);
    if (next != _buffers.end())
      *next = WaylandBuffer::make(_connection->memory(), _target->w, _target->h);
  }
  // Without a free buffer, one that is shown is drawn to, which may be visible as tearing.
  if (next != _buffers.end() && *next) {
    _buffer = static_cast<std::size_t>(next - _buffers.begin());
  } else if (const std::size_t oldest = (_buffer + 1) % kMaximumBuffers; _buffers[oldest]) {
    _buffer = oldest;
  }
  _target->pixels = _buffers[_buffer]->pixels();
}

}  // namespace box
