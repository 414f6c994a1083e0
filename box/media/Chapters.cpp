#include "box/media/Chapters.h"

#include <algorithm>
#include <string>

#include "box/media/GstRef.h"

namespace box {
namespace {

constexpr std::size_t kChapterLimit = 1000;
constexpr int kDepthLimit = 8;

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
      chapters.push_back(
          {static_cast<double>(start) / static_cast<double>(GST_SECOND), titleOf(entry)});
    if (depth > 0) addChapters(gst_toc_entry_get_sub_entries(entry), depth - 1, chapters);
    if (type == GST_TOC_ENTRY_TYPE_EDITION && !chapters.empty()) return;
  }
}

}  // namespace

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

}  // namespace box
