#include <gtest/gtest.h>
#include <libsoup/soup.h>

#include "box/media/WarmUp.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

// Without the workaround, this ends the process.
TEST(SoupStreamClose, ARequestCanBeCancelledWhileItsAnswerArrives) {
  box::warmUpMedia();
  SoupSession* const session = soup_session_new();
  SoupMessage* const message = soup_message_new("GET", TestMedia::shared().url("clip.mp4").c_str());
  struct Asked {
    GCancellable* cancellable = g_cancellable_new();
    bool answered = false;
    bool refused = false;
  } asked;
  soup_session_send_async(
      session, message, G_PRIORITY_DEFAULT, asked.cancellable,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto& told = *static_cast<Asked*>(data);
        g_cancellable_cancel(told.cancellable);
        GError* error = nullptr;
        EXPECT_EQ(soup_session_send_finish(SOUP_SESSION(source), result, &error), nullptr);
        told.refused = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
        g_clear_error(&error);
        told.answered = true;
      },
      &asked);
  while (!asked.answered) g_main_context_iteration(nullptr, TRUE);
  while (g_main_context_iteration(nullptr, FALSE)) continue;
  EXPECT_TRUE(asked.refused);
  EXPECT_EQ(soup_message_get_status(message), 200u);
  g_object_unref(asked.cancellable);
  g_object_unref(message);
  g_object_unref(session);
}

}  // namespace
}  // namespace testing_media
