#include "media/metadata/Chapters.h"

#include <algorithm>
#include <string>

#include "media/support/GstTime.h"
#include "media/texts/TextFormats.h"

namespace media {
namespace {

constexpr std::size_t kChapterLimit = 1000;
constexpr int kDepthLimit = 8;
/// In seconds; an upper limit of plausible times.
constexpr double kLastStart = 1e9;

std::string titleOf(const GstTocEntry* entry) {
  const GstTagList* const tags = gst_toc_entry_get_tags(entry);
  gchar* title = nullptr;
  if (!tags || !gst_tag_list_get_string(tags, GST_TAG_TITLE, &title)) return {};
  const GstRef<gchar> owned(title);
  return title;
}

void addChapters(GList* entries, int depth, std::vector<platform::MediaChapter>& chapters) {
  for (GList* each = entries; each; each = each->next) {
    const auto* const entry = static_cast<const GstTocEntry*>(each->data);
    const GstTocEntryType type = gst_toc_entry_get_entry_type(entry);
    gint64 start = 0;
    if (type == GST_TOC_ENTRY_TYPE_CHAPTER && chapters.size() < kChapterLimit &&
        gst_toc_entry_get_start_stop_times(entry, &start, nullptr))
      chapters.push_back({secondsOf(start), titleOf(entry)});
    if (depth > 0) addChapters(gst_toc_entry_get_sub_entries(entry), depth - 1, chapters);
    if (type == GST_TOC_ENTRY_TYPE_EDITION && !chapters.empty()) return;
  }
}

/// Reads the "chpl" list, a widespread extension by several vendors.
std::vector<platform::MediaChapter> listedChapters(BoxBytes list) {
  constexpr double kUnitsPerSecond = 1e7;
  BoxReader reader(list);
  if (reader.version() > 0) reader.take(4);
  std::vector<platform::MediaChapter> chapters;
  for (std::uint64_t count = reader.number(1); count > 0; --count) {
    const double start = static_cast<double>(reader.number(8)) / kUnitsPerSecond;
    const BoxBytes title = reader.take(static_cast<std::size_t>(reader.number(1)));
    if (!reader.isGood()) break;
    chapters.push_back(
        {start, utf8Of({reinterpret_cast<const char*>(title.data()), title.size()})});
  }
  return chapters;
}

/// Returns the length of the empty edit at the start of the track, in units of the movie.
std::uint64_t delayOf(const MovieTrack& track) {
  std::uint64_t delay = 0;
  forEachBox(track.content, "edts/elst", [&](BoxBytes list) {
    BoxReader reader(list);
    const std::size_t size = reader.version() == 1 ? 8 : 4;
    if (reader.number32() == 0) return;
    const std::uint64_t duration = reader.number(size);
    const bool isEmpty = reader.isGood() && static_cast<std::int32_t>(reader.number32()) == -1;
    if (isEmpty) delay = duration;
  });
  return delay;
}

/// Adds `count` chapters of `duration` seconds without titles. Returns the end of the last one.
double addTimedChapters(std::vector<platform::MediaChapter>& chapters, double start,
                        std::uint32_t count, double duration) {
  for (; count > 0 && chapters.size() < kChapterLimit; --count) {
    chapters.push_back({start, {}});
    start += duration;
  }
  return start;
}

/// Returns a chapter for each sample of the track. Titles are in the samples and are not read.
std::vector<platform::MediaChapter> timedChapters(const MovieTrack& track, double start) {
  std::vector<platform::MediaChapter> chapters;
  forEachBox(track.content, "mdia/minf/stbl/stts", [&](BoxBytes times) {
    BoxReader reader(times);
    reader.version();
    for (std::uint32_t entries = reader.number32(); entries > 0 && reader.isGood(); --entries) {
      const std::uint32_t count = reader.number32();
      const double duration = static_cast<double>(reader.number32()) / track.timescale;
      start = addTimedChapters(chapters, start, count, duration);
    }
  });
  return chapters;
}

bool refersTo(const MovieTrack& track, std::uint32_t other) {
  bool found = false;
  forEachBox(track.content, "tref/chap", [&](BoxBytes numbers) {
    for (BoxReader reader(numbers); !reader.rest().empty();)
      if (reader.number32() == other) found = true;
  });
  return found;
}

}  // namespace

std::vector<platform::MediaChapter> chaptersOfMovie(BoxBytes movie) {
  std::vector<platform::MediaChapter> chapters;
  forEachBox(movie, "udta/chpl", [&](BoxBytes list) { chapters = listedChapters(list); });
  if (!chapters.empty()) return chapters;
  std::uint32_t timescale = 1;
  forEachBox(movie, boxType("mvhd"), [&](BoxBytes header) {
    BoxReader reader(header);
    reader.take(reader.version() == 1 ? 16 : 8);
    timescale = std::max(reader.number32(), 1U);
  });
  const auto tracks = tracksOf(movie);
  for (const MovieTrack& each : tracks) {
    const bool isText = each.handler == boxType("text") || each.handler == boxType("sbtl");
    if (isText && each.timescale > 0 &&
        std::any_of(tracks.begin(), tracks.end(),
                    [&](const auto& other) { return refersTo(other, each.number); }))
      return timedChapters(each, static_cast<double>(delayOf(each)) / timescale);
  }
  return {};
}

GstRef<GstMessage> tocMessageOf(const std::vector<platform::MediaChapter>& chapters,
                                GstObject* source) {
  const GstRef<GstToc> toc(gst_toc_new(GST_TOC_SCOPE_GLOBAL));
  for (std::size_t index = 0; index < chapters.size(); ++index) {
    GstTocEntry* const entry =
        gst_toc_entry_new(GST_TOC_ENTRY_TYPE_CHAPTER, std::to_string(index + 1).c_str());
    const double start = std::min(chapters[index].start, kLastStart);
    gst_toc_entry_set_start_stop_times(
        entry, static_cast<gint64>(start * static_cast<double>(GST_SECOND)), -1);
    if (const std::string& title = chapters[index].title; !title.empty())
      gst_toc_entry_set_tags(entry, gst_tag_list_new(GST_TAG_TITLE, title.c_str(), nullptr));
    gst_toc_append_entry(toc.get(), entry);
  }
  return GstRef<GstMessage>(gst_message_new_toc(source, toc.get(), FALSE));
}

std::vector<platform::MediaChapter> chaptersOf(const GstToc* toc) {
  std::vector<platform::MediaChapter> chapters;
  addChapters(gst_toc_get_entries(toc), kDepthLimit, chapters);
  std::stable_sort(chapters.begin(), chapters.end(),
                   [](const auto& a, const auto& b) { return a.start < b.start; });
  for (std::size_t index = 0; index < chapters.size(); ++index)
    if (chapters[index].title.empty())
      chapters[index].title = "Chapter " + std::to_string(index + 1);
  return chapters;
}

}  // namespace media
