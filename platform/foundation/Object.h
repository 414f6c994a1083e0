#pragma once

#include <string>

namespace platform {

/// Base of everything that a log line or a notification names by identity.
///
/// An Object has no value semantics: two of them are equal when they are the same object. It is
/// what lets a Value carry a reference to something that is no property list (a layer, a view
/// controller) inside the process.
///
/// Threads: description() is called where the log line is written; the default one reads only the
/// address.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// Name of the most derived class, without namespace.
  virtual std::string className() const = 0;

  /// `<ClassName: 0x…>`; classes extend it by what tells one of their objects from another.
  virtual std::string description() const;
};

}  // namespace platform
