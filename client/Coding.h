#pragma once

#include <systemd/sd-bus.h>

#include "client/Value.h"

namespace tvvorlane {

// Encodes and decodes property-list values as D-Bus variants. Negative results are errors of
// sd-bus.

/// Appends a `v`.
int appendVariant(sd_bus_message* message, const tvvorlane_value& value);
/// Appends an `av` with one value, or with none for a null pointer.
int appendValueOrNone(sd_bus_message* message, const tvvorlane_value* value);
/// Appends an `a{sv}`; empty for a null pointer.
int appendDictionary(sd_bus_message* message, const tvvorlane_value* dictionary);

/// Reads an `av` with at most one value.
Reference readValueOrNone(sd_bus_message* message);
/// Reads an `a{sv}`.
Reference readDictionary(sd_bus_message* message);

}  // namespace tvvorlane
