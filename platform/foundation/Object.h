#pragma once

#include <string>

namespace platform {

/// Base class of objects that have an identity in log lines and notifications.
///
/// Two Objects are equal only if they are the same object. A Value of kind Object carries a
/// reference to an object that is not a property list (a layer, a view controller).
///
/// Threads: description() is called on the thread that logs. The default implementation reads only
/// the address.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// Name of the most derived class without its namespace.
  virtual std::string className() const = 0;

  /// `<ClassName: 0x…>`. Subclasses may add properties that identify the object.
  virtual std::string description() const;
};

}  // namespace platform
