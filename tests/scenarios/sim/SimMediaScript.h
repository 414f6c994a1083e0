#pragma once

#include "platform/foundation/Dictionary.h"
#include "sim/MediaLibrary.h"

/// Reads the script of a `media` step. Throws scenarios::Failure.
///
/// Keys: "duration", "loadDelay" and "seekDelay" in seconds; "sound": audio only; "options": two
/// sound tracks to select from; "live": length of the seekable window; "dates": position 0 has a
/// date; "stalls": [[position, length]]; "failure": [position, code]; "loadFailure": code;
/// "requests": [{"url", "kind" ("resource" or "key"), "position" (missing: during the load),
/// "keyFailure" (code)}]. Codes are those of URL errors.
sim::MediaScript simMediaScript(const platform::Dictionary& fields);
