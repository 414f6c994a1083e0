#include "box/relay/RelayServer.h"

#include <utility>

#include "box/relay/EngineResponse.h"
#include "box/relay/Exchange.h"
#include "box/relay/LoopbackPeer.h"
#include "platform/foundation/TVSLogger.h"

namespace box {
namespace {

constexpr const char* kAdmission = "relay-admission";

/// Asked once a connection.
bool isAdmitted(SoupServerMessage* message) {
  GSocket* const socket = soup_server_message_get_socket(message);
  if (!socket) return false;
  enum : gsize { Refused = 1, Admitted = 2 };
  auto admission = reinterpret_cast<gsize>(g_object_get_data(G_OBJECT(socket), kAdmission));
  if (admission == 0) {
    admission = isPeerOfThisProcess(g_socket_get_fd(socket)) ? Admitted : Refused;
    g_object_set_data(G_OBJECT(socket), kAdmission, reinterpret_cast<gpointer>(admission));
    if (admission == Refused)
      TVSLogNotice(TVSSystemLog, "A connection to the relay is refused: it is another process's");
  }
  return admission == Admitted;
}

/// Path and query as they came.
std::string targetOf(SoupServerMessage* message) {
  GUri* const uri = soup_server_message_get_uri(message);
  std::string target = g_uri_get_path(uri);
  if (const char* query = g_uri_get_query(uri)) target.append("?").append(query);
  return target;
}

Exchange::Request requestOf(SoupServerMessage* message, RelayPath path) {
  Exchange::Request request;
  request.form = path.kind == RelayPath::Kind::Key ? Delivery::Form::Key : Delivery::Form::Body;
  request.path = std::move(path);
  request.headOnly = g_strcmp0(soup_server_message_get_method(message), "HEAD") == 0;
  SoupMessageHeaders* const fields = soup_server_message_get_request_headers(message);
  if (const char* range = soup_message_headers_get_one(fields, "Range")) request.range = range;
  // Stations that are asked tell what they play, within the stream.
  if (const char* wanted = soup_message_headers_get_one(fields, "icy-metadata"))
    request.fields.emplace_back("Icy-MetaData", wanted);
  return request;
}

}  // namespace

void ItemTable::add(std::shared_ptr<ItemContext> item) {
  const std::lock_guard lock(_mutex);
  _items[item->token()] = std::move(item);
}

void ItemTable::remove(const std::string& token) {
  std::shared_ptr<ItemContext> removed;
  const std::lock_guard lock(_mutex);
  const auto found = _items.find(token);
  if (found == _items.end()) return;
  removed = std::move(found->second);
  _items.erase(found);
}

std::shared_ptr<ItemContext> ItemTable::find(const std::string& token) const {
  const std::lock_guard lock(_mutex);
  const auto found = _items.find(token);
  return found == _items.end() ? nullptr : found->second;
}

std::map<std::string, std::shared_ptr<ItemContext>> ItemTable::clear() {
  const std::lock_guard lock(_mutex);
  return std::exchange(_items, {});
}

RelayServer::RelayServer(int listener, GMainContext* context, std::shared_ptr<ItemTable> items)
    : _items(std::move(items)),
      _transfers(context),
      _server(soup_server_new("raw-paths", TRUE, nullptr)) {
  soup_server_add_early_handler(_server, nullptr, &RelayServer::_admit, this, nullptr);
  soup_server_add_handler(_server, nullptr, &RelayServer::_handle, this, nullptr);
  GError* error = nullptr;
  GSocket* const socket = g_socket_new_from_fd(listener, &error);
  if (socket) {
    soup_server_listen_socket(_server, socket, static_cast<SoupServerListenOptions>(0), &error);
    g_object_unref(socket);
  }
  if (!error) return;
  TVSLogError(TVSSystemLog, "The relay cannot listen: %@", error->message);
  g_error_free(error);
}

RelayServer::~RelayServer() {
  soup_server_disconnect(_server);
  g_object_unref(_server);
}

// Before a body is read, which nobody here has a use for.
void RelayServer::_admit(SoupServer*, SoupServerMessage* message, const char*, GHashTable*, void*) {
  const char* const method = soup_server_message_get_method(message);
  if (!isAdmitted(message))
    soup_server_message_set_status(message, SOUP_STATUS_FORBIDDEN, nullptr);
  else if (g_strcmp0(method, "GET") != 0 && g_strcmp0(method, "HEAD") != 0)
    soup_server_message_set_status(message, SOUP_STATUS_METHOD_NOT_ALLOWED, nullptr);
}

void RelayServer::_handle(SoupServer*, SoupServerMessage* message, const char*, GHashTable*,
                          void* self) {
  auto& server = *static_cast<RelayServer*>(self);
  auto path = RelayPath::parse(targetOf(message));
  const auto item = path ? server._items->find(path->token) : nullptr;
  if (!item || item->isShut()) {
    soup_server_message_set_status(message, SOUP_STATUS_NOT_FOUND, nullptr);
    return;
  }
  auto response = EngineResponse::make(message, item->bounds().waitingBytes);
  Exchange::start(item, server._transfers, requestOf(message, std::move(*path)),
                  std::move(response));
}

}  // namespace box
