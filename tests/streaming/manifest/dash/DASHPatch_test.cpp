#include <gtest/gtest.h>

#include "tests/streaming/manifest/dash/DASHTexts.h"

namespace streaming {
namespace {

const std::string kPatchedManifest = mpd(
    "<PatchLocation>patch.mpp</PatchLocation><BaseURL>b/</BaseURL>"
    "<Period id='1' start='PT0S'><AdaptationSet id='7' contentType='video'>"
    "<SegmentTemplate media='$Time$'><SegmentTimeline><S t='0' d='2'/><S d='3'/></SegmentTimeline>"
    "</SegmentTemplate><Representation id='a/b'/></AdaptationSet></Period>",
    "id='m' publishTime='A' type='dynamic' minimumUpdatePeriod='PT2S' "
    "availabilityStartTime='1970-01-01T00:00:00Z'");

/// Null: the patch is rejected. Patches have another URL than the manifest.
std::shared_ptr<const Presentation> patched(const std::shared_ptr<const Presentation>& previous,
                                            const std::string& operations,
                                            const std::string& original = "A") {
  const auto result = readDASH(
      "<Patch xmlns='urn:mpeg:dash:schema:mpd-patch:2020' mpdId='m' "
      "originalPublishTime='" +
          original + "' publishTime='B'>" + operations + "</Patch>",
      {"http://elsewhere/patch.mpp", {}, false}, previous);
  const auto* presentation = std::get_if<std::shared_ptr<const Presentation>>(&result);
  return presentation ? *presentation : nullptr;
}

TEST(DASHPatch, AppliesOperations) {
  const std::string set = "/MPD/Period[@id='1']/AdaptationSet[@id=\"7\"]";
  const std::string runs = set + "/SegmentTemplate/SegmentTimeline";
  const auto add = [](const std::string& selector, const std::string& more,
                      const std::string& content) {
    return "<add sel='" + selector + "' " + more + ">" + content + "</add>";
  };
  const auto quoted = [](std::string selector) {
    for (std::size_t at = 0; (at = selector.find('\'', at)) != selector.npos;)
      selector.replace(at, 1, "&apos;");
    return selector;
  };
  const struct {
    std::string operations;
    std::string expected;  ///< the segments; empty: the patch is rejected
  } cases[] = {
      {"", "0+2 b/0\n2+3 b/2\n"},
      {add(quoted(runs), "", "<S d='4'/><S d='5'/>"), "0+2 b/0\n2+3 b/2\n5+4 b/5\n9+5 b/9\n"},
      {add(quoted(runs), "pos='prepend'", "<S d='4'/><S t='4' d='1' r='1'/>") + "<remove sel='" +
           quoted(runs) + "/S[3]'/>",
       "0+4 b/0\n4+1 b/4\n5+1 b/5\n6+3 b/6\n"},
      {add(quoted(runs) + "/S[1]", "pos='after'", "<S d='1'/><S d='2'/>"),
       "0+2 b/0\n2+1 b/2\n3+2 b/3\n5+3 b/5\n"},
      {add(quoted(runs) + "/S[last()]", "pos='before'", "<S d='1'/>"),
       "0+2 b/0\n2+1 b/2\n3+3 b/3\n"},
      {"<replace sel='" + quoted(runs) + "/S[@t=&quot;0&quot;]/@t'>1</replace>",
       "1+2 b/1\n3+3 b/3\n"},
      {add(quoted(runs) + "/S[2]", "type='@r'", "1"), "0+2 b/0\n2+3 b/2\n5+3 b/5\n"},
      {"<replace sel='" + quoted(runs) + "/S[2]'><S d='9'/></replace>", "0+2 b/0\n2+9 b/2\n"},
      {"<replace sel='/MPD/BaseURL/text()'>c/</replace>", "0+2 c/0\n2+3 c/2\n"},
      {"<remove sel='" + quoted(runs) + "/S[@t=&apos;0&apos;]/@t'/>", "0+2 b/0\n2+3 b/2\n"},
      {"<p:replace sel='/q:MPD/BaseURL'><BaseURL>http://cdn/</BaseURL></p:replace>",
       "0+2 http://cdn/0\n2+3 http://cdn/2\n"},
      {"<remove sel='" + quoted(runs) + "/S[3]'/>", ""},
      {"<remove sel='/MPD'/>", ""},
      {"<remove sel='/'/>", ""},
      {"<add sel='/MPD' pos='after'><MPD/></add>", ""},
      {"<remove sel='/MPD/Period'/>", ""},
      {"<remove sel='//S'/>", ""},
      {"<remove sel='/MPD/Period[@id=1]'/>", ""},
      {"<remove sel='/MPD/Period[position()=1]'/>", ""},
      {"<remove sel='/MPD/Period['/>", ""},
      {"<remove/>", ""},
      {"<move sel='/MPD/BaseURL'/>", ""},
  };
  const auto previous = presentationOf(kPatchedManifest);
  ASSERT_NE(previous, nullptr);
  EXPECT_EQ(previous->reload->patchURL, "http://host/dir/patch.mpp");
  for (const auto& each : cases) {
    const auto presentation = patched(previous, each.operations);
    ASSERT_EQ(presentation == nullptr, each.expected.empty()) << each.operations;
    if (!presentation) continue;
    const auto& segments = presentation->periods[0].tracks[0].representations[0]->segments;
    EXPECT_EQ(segmentTextOf(*segments), each.expected) << each.operations;
    EXPECT_EQ(presentation->reload->patchURL, "http://host/dir/patch.mpp");
  }
}

TEST(DASHPatch, AppliesOnlyToTheVersionItWasMadeFor) {
  const auto first = presentationOf(kPatchedManifest);
  EXPECT_EQ(patched(nullptr, ""), nullptr);
  EXPECT_EQ(patched(first, "", "B"), nullptr);
  const std::string more =
      "<add sel='/MPD/Period/AdaptationSet/SegmentTemplate/SegmentTimeline'><S d='1'/></add>";
  const auto second = patched(first, more);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(patched(second, more, "A"), nullptr);
  const auto third = patched(second, more, "B");
  ASSERT_NE(third, nullptr);
  const auto segmentsIn = [](const Presentation& presentation) {
    return presentation.periods[0].tracks[0].representations[0]->segments;
  };
  EXPECT_EQ(segmentsIn(*first)->last({})->end(), 5);
  EXPECT_EQ(segmentsIn(*second)->last({})->end(), 6);
  EXPECT_EQ(segmentsIn(*third)->last({})->end(), 7);
}

}  // namespace
}  // namespace streaming
