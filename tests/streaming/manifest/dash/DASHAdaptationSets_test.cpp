#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/media/MediaSelection.h"
#include "tests/streaming/manifest/dash/DASHTexts.h"

namespace streaming {
namespace {

const std::string kSetTemplate = "<SegmentTemplate media=\"$Number$\" duration=\"2\"/>";

/// An adaptation set with one representation named `id`.
std::string adaptationSet(const std::string& attributes, const std::string& id,
                          const std::string& content = {}) {
  return "<AdaptationSet " + attributes + ">" + content + kSetTemplate + "<Representation id='" +
         id + "'/></AdaptationSet>";
}

std::string property(const std::string& kind, const std::string& scheme, const std::string& value) {
  return "<" + kind + " schemeIdUri='" + scheme + "' value='" + value + "'/>";
}

/// "TRACK(LANGUAGE): REPRESENTATION… " of each track, with the last part of the IDs.
std::string describeTracks(const std::string& sets) {
  const auto presentation = presentationOf(mpd("<Period>" + sets + "</Period>"));
  if (!presentation) return "none";
  std::string actual;
  for (const Track& track : presentation->periods[0].tracks) {
    actual += track.id + "(" + track.language + (track.isMuxedIntoVideo ? " within" : "") + "):";
    for (const auto& each : track.representations)
      actual += ' ' + each->id.substr(each->id.rfind('/') + 1) +
                (each->isKeyFramesOnly ? "*" : "") + (each->includesAudio ? "+" : "");
    actual += '\n';
  }
  return actual;
}

TEST(DASHAdaptationSets, FormTracks) {
  const std::string trick = "http://dashif.org/guidelines/trickmode";
  const std::string switching = "urn:mpeg:dash:adaptation-set-switching:2016";
  const std::string captions = "urn:scte:dash:cc:cea-608:2015";
  const std::string picture = adaptationSet("contentType='video'", "v");
  const struct {
    std::string sets;
    std::string expected;
  } cases[] = {
      // Detection of the media kind.
      {adaptationSet("", "x") + adaptationSet("mimeType='image/jpeg'", "i") +
           adaptationSet("mimeType='application/mp4'", "y") + picture,
       "video(): v\n"},
      {adaptationSet("codecs='opus'", "o") + adaptationSet("codecs='ac-3' lang='en'", "a"),
       "audio:opus(): o\naudio:en:ac-3(en): a\n"},
      {adaptationSet("mimeType='application/x-subrip'", "t"), "none"},
      {"<AdaptationSet>" + kSetTemplate +
           "<Representation id='a' mimeType='video/mp4' codecs='avc1.4d, mp4a.40.2'/>"
           "</AdaptationSet>",
       "video(): a+\naudio( within):\n"},
      {adaptationSet("", "m",
                     "<ContentComponent contentType='video'/>"
                     "<ContentComponent contentType='audio' lang='sv'/>"),
       "video(): m+\naudio(sv within):\n"},
      // Trick mode sets, also before the set they belong to.
      {adaptationSet("contentType='video'", "f", property("EssentialProperty", trick, "2")) +
           adaptationSet("id='1' contentType='video'", "a") +
           adaptationSet("id='2' contentType='video'", "b"),
       "video(): a\nvideo#2(): b f*\n"},
      {adaptationSet("contentType='video'", "f",
                     property("EssentialProperty", "urn:mpeg:dash:guidelines:trickmode", "1")) +
           picture,
       "video(): v f*\n"},
      {adaptationSet("contentType='video'", "f", property("EssentialProperty", trick, "1")),
       "none"},
      // Unknown essential properties.
      {adaptationSet("contentType='video'", "u", property("EssentialProperty", "urn:u", "")) +
           picture,
       "video(): v\n"},
      {"<AdaptationSet contentType='video'>" + kSetTemplate +
           "<Representation id='u'><EssentialProperty schemeIdUri='urn:u'/></Representation>"
           "<Representation id='v'/></AdaptationSet>",
       "video(): v\n"},
      // Sets linked for switching.
      {adaptationSet("id='1' contentType='video' codecs='avc1.1'", "sd") +
           adaptationSet("id='2' contentType='video' codecs='avc1.2'", "hd",
                         property("SupplementalProperty", switching, "1,3")) +
           adaptationSet("id='3' contentType='video' codecs='hev1.2'", "uhd"),
       "video(): sd hd\nvideo#2(): uhd\n"},
      // Duplicate IDs.
      {adaptationSet("contentType='video' id='s'", "v") +
           adaptationSet("contentType='audio' id='s'", "v"),
       "video(): v\naudio(): v#2\n"},
      // CEA-608 captions.
      {adaptationSet("contentType='video'", "v",
                     property("Accessibility", captions, "eng;swe") +
                         property("Accessibility", captions, "CC1=x;CC9=y;CC3=deu")),
       "CC1(eng):\nCC2(swe):\nCC3(deu):\nvideo(): v\n"},
  };
  for (const auto& each : cases) EXPECT_EQ(describeTracks(each.sets), each.expected) << each.sets;
}

TEST(DASHAdaptationSets, RolesMapToCharacteristics) {
  const std::string roles = "urn:mpeg:dash:role:2011";
  const std::string purposes = "urn:tva:metadata:cs:AudioPurposeCS:2007";
  const struct {
    std::string scheme;
    std::string value;
    std::string_view expected;
  } cases[] = {
      {roles, "alternate", platform::kMediaOptionAuxiliary},
      {roles, "supplementary", platform::kMediaOptionAuxiliary},
      {roles, "commentary", platform::kMediaOptionCommentary},
      {roles, "caption", platform::kMediaOptionHardOfHearing},
      {roles, "description", platform::kMediaOptionDescribesVideo},
      {purposes, "1", platform::kMediaOptionDescribesVideo},
      {purposes, "2", platform::kMediaOptionHardOfHearing},
      {"urn:other", "caption", ""},
  };
  for (const auto& each : cases) {
    // The same meaning in Role and in Accessibility is added once.
    const auto presentation =
        presentationOf(mpd("<Period>" +
                           adaptationSet("contentType='audio'", "a",
                                         property("Role", each.scheme, each.value) +
                                             property("Accessibility", each.scheme, each.value)) +
                           "</Period>"));
    ASSERT_NE(presentation, nullptr);
    std::vector<std::string> expected;
    if (!each.expected.empty()) expected.emplace_back(each.expected);
    EXPECT_EQ(presentation->periods[0].tracks[0].characteristics, expected) << each.value;
  }
}

TEST(DASHAdaptationSets, DetectsTextFormats) {
  const struct {
    std::string attributes;
    TextFormat expected;
  } cases[] = {
      {"mimeType='text/vtt'", TextFormat::WebVTT},
      {"mimeType='application/ttml+xml'", TextFormat::TTML},
      {"mimeType='application/mp4' codecs='wvtt'", TextFormat::MP4},
      {"mimeType='application/mp4' codecs='stpp.ttml.im1t'", TextFormat::MP4},
      {"contentType='text' mimeType='application/mp4'", TextFormat::MP4},
  };
  for (const auto& each : cases) {
    const auto presentation =
        presentationOf(mpd("<Period>" + adaptationSet("contentType='video'", "v") +
                           "<AdaptationSet " + each.attributes +
                           "><Representation id='t'><BaseURL>t.file</BaseURL></Representation>"
                           "</AdaptationSet></Period>"));
    ASSERT_EQ(presentation->periods[0].tracks.size(), 2u) << each.attributes;
    const Representation& text = *presentation->periods[0].tracks[1].representations[0];
    EXPECT_EQ(text.textFormat, each.expected) << each.attributes;
    ASSERT_TRUE(text.indexedFile);
    EXPECT_EQ(text.indexedFile->file.urls.at(0), "http://host/dir/t.file");
  }
}

TEST(DASHAdaptationSets, ReadsEncryption) {
  const std::string systems =
      "<ContentProtection schemeIdUri='urn:mpeg:dash:mp4protection:2011' value='cenc' "
      "cenc:default_KID='00000000-0000-0000-0000-00000000000A 0000000000000000000000000000000b'/>"
      "<ContentProtection schemeIdUri='urn:uuid:ABCDEF00-1111-2222-3333-444444444444'/>";
  const auto segments = [](const std::string& system) {
    return "<ContentProtection schemeIdUri='urn:mpeg:dash:sea:2012'><SegmentEncryption "
           "encryptionSystemUri='" +
           system +
           "'/><CryptoPeriod numSegments='2' keyUriTemplate='../key' "
           "IV='0x000102030405060708090a0b0c0d0e0f'/>"
           "<CryptoPeriod startOffset='3' keyUriTemplate='other'/></ContentProtection>";
  };
  const auto presentation = presentationOf(
      mpd("<Period>" + adaptationSet("contentType='video'", "v", systems) +
          adaptationSet("contentType='audio'", "a", segments("urn:mpeg:dash:sea:aes128-cbc:2013")) +
          adaptationSet("contentType='audio'", "x", segments("urn:mpeg:dash:sea:aes128-gcm:2013")) +
          "</Period>"));
  const auto& tracks = presentation->periods[0].tracks;
  ASSERT_EQ(tracks.size(), 2u);
  const auto& protections = tracks[0].representations[0]->protections;
  ASSERT_EQ(protections.size(), 2u);
  EXPECT_EQ(protections[0].scheme, "cenc");
  EXPECT_THAT(protections[0].keyIDs, testing::ElementsAre("0000000000000000000000000000000a",
                                                          "0000000000000000000000000000000b"));
  EXPECT_EQ(protections[1].systemID, "abcdef00-1111-2222-3333-444444444444");
  const SegmentIndex& encrypted = *tracks[1].representations[0]->segments;
  const auto key = encrypted.at(2)->key;
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->url, "http://host/key");
  EXPECT_EQ(key->initialVector->at(15), std::byte{15});
  EXPECT_EQ(encrypted.at(4)->key, nullptr);
  EXPECT_EQ(encrypted.at(8)->key->url, "http://host/dir/other");
}

/// Short elements inherit long texts.
TEST(DASHAdaptationSets, SharesInheritedValues) {
  std::string list = "<SegmentList duration='1'>";
  for (int at = 0; at < 20000; ++at) list += "<SegmentURL media='s'/>";
  list += "</SegmentList>";
  std::string sets = "<AdaptationSet contentType='video'>";
  for (int at = 0; at < 400; ++at) sets += "<Representation id='v'/>";
  sets += "</AdaptationSet>";
  const auto shared = presentationOf(
      mpd("<Period>" + list + sets + "</Period>", "mediaPresentationDuration='PT30000S'"));
  ASSERT_NE(shared, nullptr);
  const auto& representations = shared->periods[0].tracks[0].representations;
  EXPECT_EQ(representations.size(), 400u);
  std::set<std::string> identifiers;
  for (const auto& each : representations) identifiers.insert(each->id);
  EXPECT_EQ(identifiers.size(), 400u);
  EXPECT_EQ(representations.back()->segments->last({})->start, 19999);

  // Long inherited texts: the representations or the texts are dropped.
  const std::string many(1000, 'x');
  std::string pattern;
  while (pattern.size() < 4000) pattern += "$RepresentationID$";
  for (const std::string& inherited :
       {"<SegmentTemplate duration='1' media='" + pattern + "'/>",
        "<SegmentTemplate duration='1' media='" + std::string(100000, 'm') + "'/>"}) {
    EXPECT_EQ(presentationOf(mpd("<Period><AdaptationSet contentType='video'>" + inherited +
                                 "<Representation id='" + many + "'/></AdaptationSet></Period>")),
              nullptr);
  }
  std::string properties;
  for (int at = 0; at < 1000; ++at)
    properties += property("ContentProtection", "urn:x", "") +
                  property("Role", "urn:mpeg:dash:role:2011", "caption");
  const auto bounded = presentationOf(
      mpd("<Period>" +
          adaptationSet("contentType='video' codecs='" + many + many + "'", "v", properties) +
          "</Period>"));
  ASSERT_NE(bounded, nullptr);
  const Track& track = bounded->periods[0].tracks[0];
  EXPECT_LE(track.representations[0]->protections.size(), 32u);
  EXPECT_EQ(track.characteristics.size(), 1u);
  EXPECT_TRUE(track.representations[0]->codecs.empty());
  std::string attributes;
  for (int at = 0; at < 1000; ++at) attributes += " a" + std::to_string(at) + "=''";
  EXPECT_EQ(presentationOf(mpd("<Period" + attributes + "/>")), nullptr);
}

}  // namespace
}  // namespace streaming
