#pragma once

#include <gst/gst.h>

namespace box {

/// Fault: the class GstSoupSession does not call the method finalize of its parent.
///
/// Library: soup of GStreamer 1.22.0. No upstream report known.
/// Without it: each load over HTTP leaks two small blocks, and with them the pages of the heap that
///   they lie in.
/// Test: SoupSessionLeak_test.cpp.
/// Delete it when no supported system has GStreamer 1.22, or when souphttpsrc is not used.
///
/// How: replaces the method finalize of the class, once it exists: the first source that starts
/// registers it. For this reason it is on for the tested version alone.
void installSoupSessionLeak(GstElement* playbin);

}  // namespace box
