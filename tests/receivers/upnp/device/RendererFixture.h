#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <glib.h>
#include <gmock/gmock.h>

#include "receivers/upnp/device/Renderer.h"
#include "tests/box/services/dbus/DBusServerFixture.h"
#include "tests/receivers/upnp/device/Http.h"
#include "tests/receivers/upnp/device/MainLoop.h"

/// A renderer on the loopback interface, and the D-Bus server of a box. The test thread runs the
/// renderer; requests of controllers block on another thread.
class RendererFixture : public testing_dbus::DBusServerFixture {
 protected:
  RendererFixture() {
    // The receiver queue may outlive this fixture.
    delegate->whileCalled = [started = _started, calls = delegate.get()] {
      if (calls->calls().back() == "start video") {
        const std::lock_guard lock(started->mutex);
        started->uuid = calls->lastArgument().asDictionary()->string("uuid").value_or("");
      }
      g_main_context_wakeup(nullptr);
    };
    openServer();
    startRenderer();
  }

  void startRenderer() {
    upnp::Options rendererOptions;
    rendererOptions.interfaces = {"lo"};
    rendererOptions.name = "Living <room> " + std::string(60, 'x');
    rendererOptions.socket = options.socketPath;
    rendererOptions.stateFolder = folder + "/state";
    renderer = std::make_unique<upnp::Renderer>(rendererOptions);
    ASSERT_TRUE(renderer->start());
    ASSERT_TRUE(iterateUntil([&] { return renderer->port() != 0; }));
  }

  /// GUPnP names the description of the device after its UUID.
  std::string description() {
    char* uuid = nullptr;
    g_file_get_contents((folder + "/state/uuid").c_str(), &uuid, nullptr, nullptr);
    const std::string path = "/" + std::string(upnp::OwnedText(uuid).get()) + ".xml";
    return request({.method = "GET", .path = path});
  }
  std::string request(const HttpRequest& one) {
    return whileRunning([&] { return exchange(renderer->port(), one); });
  }
  /// Calls an action with the arguments as XML elements.
  std::string call(const std::string& service, const std::string& action,
                   const std::string& arguments) {
    return soap(service, "urn:schemas-upnp-org:service:" + service + ":1", action, arguments);
  }
  std::string soap(const std::string& service, const std::string& type, const std::string& action,
                   const std::string& arguments) {
    return request(
        {.method = "POST",
         .path = "/" + service + "/Control",
         .headers = "Content-Type: text/xml; charset=\"utf-8\"\r\nSOAPAction: \"" + type + "#" +
                    action + "\"\r\n",
         .body = "<?xml version=\"1.0\"?>"
                 "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\""
                 " s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body><u:" +
                 action + " xmlns:u=\"" + type + "\">" + arguments + "</u:" + action +
                 "></s:Body></s:Envelope>"});
  }
  std::string transport(const std::string& action, const std::string& arguments = {}) {
    return call("AVTransport", action, "<InstanceID>0</InstanceID>" + arguments);
  }
  static std::string element(const std::string& response, const std::string& name) {
    const auto begin = response.find("<" + name + ">");
    const auto end = response.find("</" + name + ">");
    if (begin == std::string::npos || end == std::string::npos) return {};
    return response.substr(begin + name.size() + 2, end - begin - name.size() - 2);
  }
  std::string transportState() {
    return element(transport("GetTransportInfo"), "CurrentTransportState");
  }
  std::string subscribe(const std::string& service, const std::string& callback) {
    return request({.method = "SUBSCRIBE",
                    .path = "/" + service + "/Event",
                    .headers = "CALLBACK: <" + callback +
                               ">\r\nNT: upnp:event\r\n"
                               "TIMEOUT: Second-300\r\n"});
  }
  std::string setUri(const std::string& uri) {
    return transport("SetAVTransportURI",
                     "<CurrentURI>" + uri + "</CurrentURI><CurrentURIMetaData/>");
  }
  /// Waits for a call of the renderer.
  bool boxIsCalled(const std::string& call) {
    return iterateUntil([&] {
      const auto calls = delegate->calls();
      return std::find(calls.begin(), calls.end(), call) != calls.end();
    });
  }

  /// The UUID of the item that the renderer has started last.
  std::string startedUuid() const {
    const std::lock_guard lock(_started->mutex);
    return _started->uuid;
  }
  bool stateBecomes(const std::string& state) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (transportState() != state) {
      if (std::chrono::steady_clock::now() > end) return false;
    }
    return true;
  }

  std::unique_ptr<upnp::Renderer> renderer;

 private:
  struct Started {
    std::mutex mutex;
    std::string uuid;
  };
  const std::shared_ptr<Started> _started = std::make_shared<Started>();
};
