#pragma once

#include <memory>
#include <string>

#include <glib-object.h>

namespace upnp {

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
/// Owns one reference of a GObject.
template <class Object>
using ObjectRef = std::unique_ptr<Object, ObjectUnref>;

struct TextFree {
  void operator()(char* text) const { g_free(text); }
};
using OwnedText = std::unique_ptr<char, TextFree>;

/// An empty string for null.
inline std::string textOf(const char* text) { return text ? std::string(text) : std::string(); }

struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
using OwnedError = std::unique_ptr<GError, ErrorFree>;

}  // namespace upnp
