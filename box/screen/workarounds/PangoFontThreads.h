#pragma once

namespace box {

/// Fault: Pango searches for fonts on threads made with g_thread_new(), which aborts the process if
/// no thread can be created.
///
/// Library: Pango 1.49.1 to 1.50; later versions keep one thread, made with the first fonts. No
/// upstream report known. Without it: when media processes have used up the task limit of the
/// service, the next text in a new size aborts the box. Test: TextLayout_test.cpp,
/// WorksWithoutAThread. Delete it when Pango 1.50 is no longer supported.
///
/// With these versions a font search without a thread runs on the calling thread. The program
/// defines g_thread_new(), which takes precedence over GLib's. Thread-safe.
void installPangoFontThreads();

}  // namespace box
