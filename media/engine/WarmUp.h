#pragma once

namespace media {

/// Initialises GStreamer and loads the plugins that most items need, so that the first item starts
/// faster.
///
/// Threads: any; may be called repeatedly. The first call does the work, other calls wait for it.
/// It takes tens of milliseconds, or some seconds if the plugin registry has to be rebuilt, so call
/// it early, and not on the main thread. Pipelines call it on their threads.
void warmUpMedia();

/// Logs the version of GStreamer and the active workarounds. Call it after warmUpMedia().
void logMediaLibrary();

}  // namespace media
