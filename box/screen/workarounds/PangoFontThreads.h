#pragma once

namespace box {

/// Fault: Pango searches for fonts on threads that it makes with g_thread_new(), which ends the
/// process when the system has no thread left.
///
/// Library: Pango 1.49.1 to 1.50; later ones keep one thread, made with the first fonts. No
/// upstream report known. Without it: where media take all tasks that the service may have, the
/// next text in a new size ends the box. Test: TextLayout_test.cpp, IsSetWithoutAThread. Delete it
/// when Pango 1.50 is no longer supported.
///
/// With these versions a search that gets no thread runs on the thread that asked for it. The
/// program defines g_thread_new(), which Pango then calls instead of GLib's. Any thread.
void installPangoFontThreads();

}  // namespace box
