#pragma once

namespace media {

/// Brings the media library up: initialises it and loads the plugins that nearly every item needs,
/// so that the first play does not wait for them.
///
/// Any thread, any number of times; the first call does the work and the others wait for it. Takes
/// tens of milliseconds, or a few seconds when the list of plugins has to be made anew, so it is
/// called off the main thread at start. Engines wait for it on threads of their own.
void warmUpMedia();

/// Logs the library's version and the workarounds for it. After warmUpMedia().
void logMediaLibrary();

}  // namespace media
