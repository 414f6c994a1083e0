#include "media/encryption/ClearKeyDecryptor.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <gst/base/gstbasetransform.h>
#include <openssl/crypto.h>

#include "media/encryption/CommonEncryption.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

using platform::Bytes;

constexpr const char* kElementName = "vorlaneclearkey";
constexpr const char* kContextType = "vorlane.content-keys";
constexpr const char* kContextField = "keys";
constexpr const char* kEncryptedType = "application/x-cenc";
constexpr const char* kMediaTypeField = "original-media-type";
// The caps fields that encryption adds.
constexpr const char* kEncryptionFields[] = {kMediaTypeField, "protection-system", "cipher-mode"};
// The two system ids of Clear Key come first, because demuxers look for elements of a given system.
// The third structure accepts media of other systems or of none.
constexpr const char* kSinkCaps =
    "application/x-cenc, protection-system=(string)1077efec-c0b2-4d02-ace3-3c1e52e2fb4b; "
    "application/x-cenc, protection-system=(string)e2719d58-a985-b3c9-781a-b030af78d30e; "
    "application/x-cenc";
// Longer than the time-out of requests to the sender, so that theirs is reported.
constexpr auto kKeyTimeout = std::chrono::seconds(35);

/// Holds the current key of a decryptor and requests the next one.
class KeyRing : public std::enable_shared_from_this<KeyRing> {
 public:
  enum class Outcome { Key, NoKey, Released };

  void setKeys(std::shared_ptr<ContentKeys> keys) {
    const std::lock_guard lock(_mutex);
    _keys.swap(keys);
  }
  /// While released, keyFor() does not wait.
  void setReleased(bool released) {
    const std::lock_guard lock(_mutex);
    _released = released;
    _changed.notify_all();
  }

  std::pair<Outcome, Bytes> keyFor(const Bytes& keyID) {
    std::unique_lock lock(_mutex);
    if (!_key.empty() && _keyID == keyID) return {Outcome::Key, _key};
    if (!_keys) return {Outcome::NoKey, {}};
    const std::uint64_t number = ++_requestNumber;
    _result.reset();
    const auto keys = _keys;
    lock.unlock();
    keys->requestKey(keyID, [weak = weak_from_this(), number](const std::optional<Bytes>& key) {
      if (const auto self = weak.lock()) self->_settle(number, key);
    });
    lock.lock();
    _changed.wait_for(lock, kKeyTimeout, [this] { return _result || _released; });
    if (!_result) return {_released ? Outcome::Released : Outcome::NoKey, {}};
    if (!*_result) return {Outcome::NoKey, {}};
    _keyID = keyID;
    _key = **_result;
    return {Outcome::Key, _key};
  }

 private:
  void _settle(std::uint64_t number, const std::optional<Bytes>& key) {
    const std::lock_guard lock(_mutex);
    if (number != _requestNumber) return;
    _result = key;
    _changed.notify_all();
  }

  std::mutex _mutex;  // guards the members below
  std::condition_variable _changed;
  std::shared_ptr<ContentKeys> _keys;
  std::uint64_t _requestNumber = 0;
  std::optional<std::optional<Bytes>> _result;
  bool _released = false;
  Bytes _keyID;
  Bytes _key;
};

struct Decryptor {
  GstBaseTransform parent;
  std::shared_ptr<KeyRing> ring;
};

struct DecryptorClass {
  GstBaseTransformClass parent;
};

GstBaseTransformClass* parentClass = nullptr;

Decryptor& decryptor(gpointer instance) { return *static_cast<Decryptor*>(instance); }

GType boxedKeysType() {
  using Shared = std::shared_ptr<ContentKeys>;
  static const GType type = g_boxed_type_register_static(
      "VorlaneContentKeys",
      [](gpointer keys) -> gpointer { return new Shared(*static_cast<Shared*>(keys)); },
      [](gpointer keys) { delete static_cast<Shared*>(keys); });
  return type;
}

Bytes bytesIn(const GstStructure* details, const char* field) {
  const GValue* const value = gst_structure_get_value(details, field);
  GstBuffer* const buffer =
      value && GST_VALUE_HOLDS_BUFFER(value) ? gst_value_get_buffer(value) : nullptr;
  if (!buffer) return {};
  Bytes bytes(gst_buffer_get_size(buffer));
  gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
  return bytes;
}

std::uint32_t numberIn(const GstStructure* details, const char* field) {
  guint number = 0;
  gst_structure_get_uint(details, field, &number);
  return number;
}

/// A part has two bytes of clear length and four bytes of encrypted length, big-endian.
bool readParts(const GstStructure* details, std::vector<SampleProtection::Part>& parts) {
  constexpr std::size_t kPartSize = 6;
  const std::size_t count = numberIn(details, "subsample_count");
  const Bytes map = bytesIn(details, "subsamples");
  if (map.size() / kPartSize < count) return false;
  const auto number = [&map](std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (; size > 0; --size) value = value << 8 | std::to_integer<std::uint32_t>(map[at++]);
    return value;
  };
  for (std::size_t at = 0; at < count * kPartSize; at += kPartSize)
    parts.push_back({number(at, 2), number(at + 2, 4)});
  return true;
}

std::optional<SampleProtection> protectionOf(const GstStructure* details) {
  SampleProtection protection;
  const char* const mode = gst_structure_get_string(details, "cipher-mode");
  if (mode && std::strcmp(mode, "cbcs") == 0)
    protection.scheme = SampleProtection::Scheme::CBCS;
  else if (mode && std::strcmp(mode, "cenc") != 0)
    return std::nullopt;
  Bytes initialVector = bytesIn(details, "iv");
  if (initialVector.empty()) initialVector = bytesIn(details, "constant_iv");
  if (initialVector.size() != 8 && initialVector.size() != 16) return std::nullopt;
  std::copy(initialVector.begin(), initialVector.end(), protection.initialVector.begin());
  protection.encryptedBlocks = numberIn(details, "crypt_byte_block");
  protection.clearBlocks = numberIn(details, "skip_byte_block");
  if (!readParts(details, protection.parts)) return std::nullopt;
  return protection;
}

GstFlowReturn fail(Decryptor& self, GstStreamError code, const char* text) {
  // Demuxers of adaptive streams intercept errors of their children and retry without limit. With
  // the pipeline as the source the error is not intercepted.
  GstObject* source = GST_OBJECT(gst_object_ref(&self));
  while (GstObject* const parent = gst_object_get_parent(source)) {
    gst_object_unref(source);
    source = parent;
  }
  const GstRef<GError> error(g_error_new_literal(GST_STREAM_ERROR, code, text));
  gst_element_post_message(GST_ELEMENT(&self), gst_message_new_error(source, error.get(), nullptr));
  gst_object_unref(source);
  return GST_FLOW_ERROR;
}

GstFlowReturn decryptInPlace(GstBaseTransform* transform, GstBuffer* buffer) {
  Decryptor& self = decryptor(transform);
  GstProtectionMeta* const meta = gst_buffer_get_protection_meta(buffer);
  if (!meta) return GST_FLOW_OK;  // not encrypted yet
  gboolean isEncrypted = TRUE;
  gst_structure_get_boolean(meta->info, "encrypted", &isEncrypted);
  if (!isEncrypted) return GST_FLOW_OK;

  const auto protection = protectionOf(meta->info);
  const Bytes keyID = bytesIn(meta->info, "kid");
  if (!protection || keyID.empty())
    return fail(self, GST_STREAM_ERROR_DECRYPT, "The encryption is of an unknown kind.");
  const auto [outcome, key] = self.ring->keyFor(keyID);
  if (outcome == KeyRing::Outcome::Released) return GST_FLOW_FLUSHING;
  if (outcome == KeyRing::Outcome::NoKey)
    return fail(self, GST_STREAM_ERROR_DECRYPT_NOKEY, "There is no key for the media.");

  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READWRITE))
    return fail(self, GST_STREAM_ERROR_DECRYPT, "A sample cannot be written.");
  const bool done =
      decryptSample({reinterpret_cast<std::byte*>(map.data), map.size}, key, *protection);
  gst_buffer_unmap(buffer, &map);
  if (!done) return fail(self, GST_STREAM_ERROR_DECRYPT, "A sample cannot be decrypted.");
  gst_buffer_remove_meta(buffer, reinterpret_cast<GstMeta*>(meta));
  return GST_FLOW_OK;
}

/// Converts the caps of encrypted media to those of clear media, or back.
void convertCaps(GstStructure* media, bool encrypted) {
  if (encrypted) {
    gst_structure_set(media, kMediaTypeField, G_TYPE_STRING, gst_structure_get_name(media),
                      nullptr);
    gst_structure_set_name(media, kEncryptedType);
    return;
  }
  if (const char* type = gst_structure_get_string(media, kMediaTypeField))
    gst_structure_set_name(media, std::string(type).c_str());
  for (const char* field : kEncryptionFields) gst_structure_remove_field(media, field);
}

GstCaps* transformCaps(GstBaseTransform*, GstPadDirection direction, GstCaps* caps,
                       GstCaps* filter) {
  // Without an original media type the output may have any caps.
  const auto isOpen = [direction](const GstStructure* media) {
    return direction == GST_PAD_SINK && !gst_structure_has_field(media, kMediaTypeField);
  };
  GstCaps* result = nullptr;
  if (direction == GST_PAD_SRC && gst_caps_is_any(caps)) {
    result = gst_caps_new_empty_simple(kEncryptedType);
  } else {
    result = gst_caps_new_empty();
    for (guint index = 0; index < gst_caps_get_size(caps); ++index) {
      const GstStructure* const media = gst_caps_get_structure(caps, index);
      if (isOpen(media)) {
        gst_caps_replace(&result, GST_CAPS_ANY);
        break;
      }
      GstStructure* const converted = gst_structure_copy(media);
      convertCaps(converted, direction == GST_PAD_SRC);
      gst_caps_append_structure(result, converted);
    }
  }
  if (!filter) return result;
  const GstRef<GstCaps> unfiltered(result);
  return gst_caps_intersect_full(filter, unfiltered.get(), GST_CAPS_INTERSECT_FIRST);
}

gboolean handleSinkEvent(GstBaseTransform* transform, GstEvent* event) {
  const GstEventType type = GST_EVENT_TYPE(event);
  if (type == GST_EVENT_FLUSH_START) decryptor(transform).ring->setReleased(true);
  if (type == GST_EVENT_FLUSH_STOP) decryptor(transform).ring->setReleased(false);
  return parentClass->sink_event(transform, event);
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  // Before the base class deactivates the pads, which waits for the streaming thread.
  if (change == GST_STATE_CHANGE_READY_TO_PAUSED) decryptor(element).ring->setReleased(false);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) decryptor(element).ring->setReleased(true);
  return GST_ELEMENT_CLASS(parentClass)->change_state(element, change);
}

void setContext(GstElement* element, GstContext* context) {
  if (std::strcmp(gst_context_get_context_type(context), kContextType) == 0) {
    const GValue* const value =
        gst_structure_get_value(gst_context_get_structure(context), kContextField);
    if (value && G_VALUE_HOLDS(value, boxedKeysType())) {
      decryptor(element).ring->setKeys(
          *static_cast<std::shared_ptr<ContentKeys>*>(g_value_get_boxed(value)));
    }
  }
  GST_ELEMENT_CLASS(parentClass)->set_context(element, context);
}

void finalize(GObject* object) {
  Decryptor& self = decryptor(object);
  self.ring->setReleased(true);  // synchronizes with the last access of the streaming thread
  self.ring.~shared_ptr();
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initialiseInstance(GTypeInstance* instance, gpointer) {
  Decryptor& self = decryptor(instance);
  new (&self.ring) std::shared_ptr<KeyRing>(std::make_shared<KeyRing>());
  gst_base_transform_set_in_place(&self.parent, TRUE);
}

void initialiseClass(gpointer type, gpointer) {
  parentClass = static_cast<GstBaseTransformClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = finalize;
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  element->change_state = changeState;
  element->set_context = setContext;
  GstBaseTransformClass* const transform = GST_BASE_TRANSFORM_CLASS(type);
  transform->transform_caps = transformCaps;
  transform->transform_ip = decryptInPlace;
  transform->sink_event = handleSinkEvent;

  const GstRef<GstCaps> encrypted(gst_caps_from_string(kSinkCaps));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, encrypted.get()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_CAPS_ANY));
  gst_element_class_set_static_metadata(element, "Clear Key decryptor",
                                        GST_ELEMENT_FACTORY_KLASS_DECRYPTOR,
                                        "Decrypts media with common encryption", "TVVorlane");
}

GType decryptorType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_BASE_TRANSFORM, "VorlaneClearKeyDecryptor", sizeof(DecryptorClass), initialiseClass,
      sizeof(Decryptor), initialiseInstance, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

void registerClearKeyDecryptor() {
  // Reads OpenSSL's configuration, which the first key would do otherwise. It creates the error
  // state of the calling thread. A pooled thread that outlives OpenSSL's exit handler never frees
  // its own.
  OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CONFIG, nullptr);
  gst_element_register(nullptr, kElementName, GST_RANK_PRIMARY + 100, decryptorType());
}

void setContentKeys(GstElement* pipeline, std::shared_ptr<ContentKeys> keys) {
  GstContext* const context = gst_context_new(kContextType, TRUE);
  gst_structure_set(gst_context_writable_structure(context), kContextField, boxedKeysType(), &keys,
                    nullptr);
  gst_element_set_context(pipeline, context);
  gst_context_unref(context);
}

}  // namespace media
