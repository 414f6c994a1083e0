#pragma once

#include <memory>

#include <idle-inhibit-unstable-v1-client-protocol.h>
#include <wayland-client.h>
#include <xdg-shell-client-protocol.h>
#include <xkbcommon/xkbcommon.h>

namespace box {

struct WaylandDeleter {
  void operator()(wl_display* display) const { wl_display_disconnect(display); }
  void operator()(wl_registry* registry) const { wl_registry_destroy(registry); }
  void operator()(wl_callback* callback) const { wl_callback_destroy(callback); }
  void operator()(wl_compositor* compositor) const { wl_compositor_destroy(compositor); }
  void operator()(wl_shm* memory) const { wl_shm_destroy(memory); }
  void operator()(wl_buffer* buffer) const { wl_buffer_destroy(buffer); }
  void operator()(wl_shm_pool* pool) const { wl_shm_pool_destroy(pool); }
  void operator()(wl_surface* surface) const { wl_surface_destroy(surface); }
  void operator()(wl_output* output) const { wl_output_destroy(output); }
  void operator()(wl_seat* seat) const { wl_seat_destroy(seat); }
  void operator()(wl_keyboard* keyboard) const { wl_keyboard_destroy(keyboard); }
  void operator()(wl_pointer* pointer) const { wl_pointer_destroy(pointer); }
  void operator()(wl_touch* touch) const { wl_touch_destroy(touch); }
  void operator()(xdg_wm_base* shell) const { xdg_wm_base_destroy(shell); }
  void operator()(xdg_surface* surface) const { xdg_surface_destroy(surface); }
  void operator()(xdg_toplevel* window) const { xdg_toplevel_destroy(window); }
  void operator()(zwp_idle_inhibit_manager_v1* manager) const {
    zwp_idle_inhibit_manager_v1_destroy(manager);
  }
  void operator()(zwp_idle_inhibitor_v1* inhibitor) const {
    zwp_idle_inhibitor_v1_destroy(inhibitor);
  }
  void operator()(xkb_context* context) const { xkb_context_unref(context); }
  void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
  void operator()(xkb_state* state) const { xkb_state_unref(state); }
};

/// An owned object of Wayland or xkbcommon. Destroy a Wayland object before its display.
template <typename Object>
using WaylandPtr = std::unique_ptr<Object, WaylandDeleter>;

}  // namespace box
