#include <gtest/gtest.h>
#include <libsoup/soup.h>

#include "box/media/WarmUp.h"
#include "box/media/workarounds/Workarounds.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

void hear() {}

// A task that looks like a download of the demuxers is freed with its cancellable; another task
// leaves the cancellable to its owner.
TEST(AdaptiveTaskLeak, DownloadsReleaseTheirCancellable) {
  box::warmUpMedia();
  if (!box::Workarounds::shared().isNeeded("AdaptiveTaskLeak")) GTEST_SKIP();
  SoupSession* const session = soup_session_new();
  for (const bool isDownload : {false, true}) {
    SCOPED_TRACE(isDownload);
    SoupMessage* const message =
        soup_message_new("GET", TestMedia::shared().url("clip.mp4").c_str());
    gpointer cancellable = g_cancellable_new();
    g_object_add_weak_pointer(G_OBJECT(cancellable), &cancellable);
    GTask* const task = g_task_new(nullptr, G_CANCELLABLE(cancellable), nullptr, nullptr);
    if (isDownload) g_signal_connect(message, "restarted", G_CALLBACK(hear), task);
    bool answered = false;
    soup_session_send_async(
        session, message, G_PRIORITY_DEFAULT, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
          GInputStream* body = soup_session_send_finish(SOUP_SESSION(source), result, nullptr);
          g_clear_object(&body);
          *static_cast<bool*>(data) = true;
        },
        &answered);
    while (!answered) g_main_context_iteration(nullptr, TRUE);
    g_task_return_boolean(task, TRUE);
    while (g_main_context_iteration(nullptr, FALSE)) continue;
    g_object_unref(task);
    EXPECT_EQ(cancellable == nullptr, isDownload);
    if (cancellable) g_object_unref(cancellable);
    g_object_unref(message);
  }
  g_object_unref(session);
}

}  // namespace
}  // namespace testing_media
