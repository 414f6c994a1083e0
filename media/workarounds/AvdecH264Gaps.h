#pragma once

namespace media {

/// Fault: avdec_h264 loses a picture if libavcodec replaces several missing pictures before it:
/// after lost packets, and after a seek to a recovery point that is no IDR picture. It forgets the
/// packet when libavcodec frees the first replacement, and then refuses memory for the picture.
///
/// Library: libav of GStreamer 1.26.2, with libavcodec 61. With GStreamer 1.22.0 and libavcodec 59
/// replacements are freed after the picture.
/// Without it: a seek in media with open groups of pictures shows a wrong picture, or does not
/// complete. Pictures after lost packets are missing.
/// Test: SeekTargets_test.cpp ("open_groups.mp4").
/// Delete it when that test passes without it.
///
/// How: prefers the decoder of media/elements/libav. It copies pictures, which avdec_h264 need not
/// do: pictures of 1920x1080 take the same processor time, but more memory. Call it after the
/// elements have been registered.
void installAvdecH264Gaps();

}  // namespace media
