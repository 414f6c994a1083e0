#include "box/screen/workarounds/XServerExit.h"

#include <atomic>
#include <chrono>

#include <SDL.h>
#include <dlfcn.h>
#include <poll.h>

// The library's names. libX11 is loaded by SDL only.
struct _XDisplay;  // NOLINT(bugprone-reserved-identifier)
union _XEvent;     // NOLINT(bugprone-reserved-identifier)

namespace box {
namespace {

using XDisplay = _XDisplay;
using XOpen = XDisplay* (*)(const char* name);
using XErrorHandler = int (*)(XDisplay* display, void* event);
using XSetErrorHandler = XErrorHandler (*)(XErrorHandler handler);
using XServerErrorHandler = int (*)(XDisplay* display);
using XSetServerErrorHandler = XServerErrorHandler (*)(XServerErrorHandler handler);
using XExitHandler = void (*)(XDisplay* display, void* data);
using XSetExitHandler = void (*)(XDisplay* display, XExitHandler handler, void* data);
using XPredicate = int (*)(XDisplay* display, _XEvent* event, char* data);
using XFindEvent = int (*)(XDisplay* display, _XEvent* event, XPredicate predicate, char* data);
using XDescriptor = int (*)(XDisplay* display);
using XUnlock = void (*)(XDisplay* display);

constexpr std::chrono::seconds kXEventTimeout{2};

std::atomic<bool> installedXServerExit = false;
/// Whether the last X server has ended.
std::atomic<bool> lostXServer = false;

template <typename Function>
Function xFunction(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// The default of each handler ends the process.
int ignoreXError(XDisplay*, void*) { return 0; }
int ignoreXServerError(XDisplay*) { return 0; }

void reportLostXServer(XDisplay* display, void*) {
  lostXServer = true;
  // libX11 has locked the display for this thread, since it expects the process to end.
  if (const auto unlock = xFunction<XUnlock>("XUnlockDisplay")) unlock(display);
  SDL_Event event{};
  event.type = SDL_QUIT;
  SDL_PushEvent(&event);
}

void watchXServer(XDisplay* display) {
  const auto setErrorHandler = xFunction<XSetErrorHandler>("XSetErrorHandler");
  const auto setServerErrorHandler = xFunction<XSetServerErrorHandler>("XSetIOErrorHandler");
  const auto setExitHandler = xFunction<XSetExitHandler>("XSetIOErrorExitHandler");
  if (!setErrorHandler || !setServerErrorHandler || !setExitHandler) return;
  setErrorHandler(ignoreXError);
  setServerErrorHandler(ignoreXServerError);
  setExitHandler(display, reportLostXServer, nullptr);
  lostXServer = false;
}

/// XIfEvent() that also returns when the server has ended, or after a timeout. SDL uses the event
/// only as a sign that a window is shown or hidden.
void waitForXEvent(XDisplay* display, _XEvent* event, XPredicate predicate, char* data,
                   XFindEvent find, int descriptor) {
  using std::chrono::milliseconds;
  using Clock = std::chrono::steady_clock;
  const auto limit = Clock::now() + kXEventTimeout;
  while (!lostXServer && find(display, event, predicate, data) == 0) {
    const auto left = std::chrono::ceil<milliseconds>(limit - Clock::now());
    pollfd ready{descriptor, POLLIN, 0};
    if (left <= milliseconds(0) || poll(&ready, 1, static_cast<int>(left.count())) == 0) return;
  }
}

}  // namespace

void installXServerExit() { installedXServerExit = true; }

}  // namespace box

extern "C" [[gnu::visibility("default")]] _XDisplay* XOpenDisplay(const char* name) {
  const auto open = box::xFunction<box::XOpen>("XOpenDisplay");
  _XDisplay* const display = open ? open(name) : nullptr;
  if (display && box::installedXServerExit) box::watchXServer(display);
  return display;
}

extern "C" [[gnu::visibility("default")]] int XIfEvent(_XDisplay* display, _XEvent* event,
                                                       box::XPredicate predicate, char* data) {
  const auto find = box::xFunction<box::XFindEvent>("XCheckIfEvent");
  const auto descriptor = box::xFunction<box::XDescriptor>("XConnectionNumber");
  if (box::installedXServerExit && find && descriptor) {
    box::waitForXEvent(display, event, predicate, data, find, descriptor(display));
    return 0;
  }
  const auto wait = box::xFunction<box::XFindEvent>("XIfEvent");
  return wait ? wait(display, event, predicate, data) : 0;
}
