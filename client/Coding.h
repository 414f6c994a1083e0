#pragma once

#include <systemd/sd-bus.h>

#include "client/Value.h"

namespace tvvorlane {

// Property-list values as variants, both ways. Negative results are those of sd-bus.

/// A `v`.
int appendVariant(sd_bus_message* message, const tvvorlane_value& value);
/// An `av` of one value, or of none for a null pointer.
int appendValueOrNone(sd_bus_message* message, const tvvorlane_value* value);
/// An `a{sv}`; empty for a null pointer.
int appendDictionary(sd_bus_message* message, const tvvorlane_value* dictionary);

/// An `av` of one value, or of none.
Reference readValueOrNone(sd_bus_message* message);
/// An `a{sv}`.
Reference readDictionary(sd_bus_message* message);

}  // namespace tvvorlane
