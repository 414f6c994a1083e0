#pragma once

#include <functional>
#include <memory>
#include <string>

#include "media/output/SubtitleCues.h"
#include "media/texts/ass/AssRenderer.h"

namespace media {

/// The styled subtitles (ASS and SSA) of one load. Renders them for its pictures and adds the
/// renderings to the SubtitleCues.
///
/// A thread renders, so that a slow rendering delays no picture. It renders at most once for each
/// picture: it skips pictures for which the images of the last rendering are valid, and pictures
/// that arrive while it is busy. It uses at most half of the time of a processor, and its
/// renderings have at most kBytesPerSecond. Without new pictures or events it sleeps.
///
/// Threads: any. The destructor waits up to a second for a running rendering.
class RenderedTexts {
 public:
  using Source = SubtitleCues::Source;
  static constexpr double kBytesPerSecond = 32 << 20;

  /// `changed` is called on the thread after a rendering was added.
  RenderedTexts(std::shared_ptr<SubtitleCues> cues, std::function<void()> changed);
  ~RenderedTexts();
  RenderedTexts(const RenderedTexts&) = delete;
  RenderedTexts& operator=(const RenderedTexts&) = delete;

  /// Begins the document of a text stream. Events of an older one are removed.
  void begin(std::string header);
  /// Adds an event to the document of the text stream, in seconds of the stream.
  void add(double start, double duration, std::string event);
  /// Sets a whole document in UTF-8.
  void setDocument(Source source, std::string document);
  /// Removes the document of a source.
  void remove(Source source);
  /// Adds a font of the media for all documents.
  void addFont(AttachedFont font);

  /// Renders the document of `source` from now on, if it has one.
  void show(Source source);
  void setPicture(const SubtitledPicture& picture);
  /// Requests a rendering for a picture with this stream time.
  void renderAt(double seconds);
  /// Waits up to a minute until the thread has nothing to do, and returns how often it has
  /// rendered. For tests.
  int settledRenderings() const;

 private:
  struct State;
  struct Work;
  struct Input;
  void _put(Input input);
  static void _run(State& state);

  const std::shared_ptr<State> _state;  // the thread may outlive this object
};

}  // namespace media
