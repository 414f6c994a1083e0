#include "box/process/Options.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "box/process/Device.h"
#include "box/process/Memory.h"
#include "startup/Log.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

TEST(Options, HaveDefaults) {
  const auto options = box::parseOptions({}, nullptr);
  ASSERT_TRUE(options);
  EXPECT_EQ(options->action, box::Options::Action::Run);
  EXPECT_EQ(options->server.bus, box::DBusServerOptions::Bus::None);
  EXPECT_TRUE(options->server.socketPath.empty());
  EXPECT_TRUE(options->screen.fullscreen);
  EXPECT_FALSE(options->allowFileURLs);
  EXPECT_FALSE(options->logLevel || options->language);
}

TEST(Options, AreParsed) {
  const auto options = box::parseOptions({"--socket",
                                          "/a b/c",
                                          "--bus=system",
                                          "--allow-file-urls",
                                          "--log-level=4",
                                          "--log-component",
                                          "One",
                                          "--log-component=Two=3",
                                          "--windowed",
                                          "1280x720",
                                          "--language",
                                          "pt-BR",
                                          "--text-size=1.25",
                                          "--reduced-motion",
                                          "--on-active",
                                          "a b",
                                          "--on-idle=",
                                          "--sandbox-read=/a",
                                          "--sandbox-read",
                                          "/b",
                                          "--sandbox-write=/dev/c",
                                          "--dump-pipeline=/d",
                                          "--no-sandbox"},
                                         nullptr);
  ASSERT_TRUE(options);
  EXPECT_EQ(options->server.socketPath, "/a b/c");
  EXPECT_EQ(options->server.bus, box::DBusServerOptions::Bus::System);
  EXPECT_TRUE(options->allowFileURLs);
  EXPECT_EQ(options->logLevel, 4);
  EXPECT_THAT(options->logComponents, ElementsAre(Pair("One", 5), Pair("Two", 3)));
  EXPECT_FALSE(options->screen.fullscreen);
  EXPECT_EQ(options->screen.windowedSize, (platform::Size{1280, 720}));
  EXPECT_EQ(options->language, "pt-BR");
  EXPECT_EQ(options->onActive, "a b");
  EXPECT_EQ(options->onIdle, "");
  EXPECT_EQ(options->screen.access.textSize, 1.25);
  EXPECT_TRUE(options->screen.access.reducedMotion);
  EXPECT_FALSE(options->sandbox);
  EXPECT_THAT(options->sandboxReadable, ElementsAre("/a", "/b"));
  EXPECT_THAT(options->sandboxWritable, ElementsAre("/dev/c"));
  EXPECT_EQ(options->pipelineDumpFolder, "/d");
}

TEST(Options, LastOneWins) {
  const auto options = box::parseOptions(
      {"--windowed=640x480", "--fullscreen", "--bus=session", "--bus=none"}, nullptr);
  ASSERT_TRUE(options);
  EXPECT_TRUE(options->screen.fullscreen);
  EXPECT_FALSE(options->screen.windowedSize);
  EXPECT_EQ(options->server.bus, box::DBusServerOptions::Bus::None);
}

TEST(Options, IgnoreWhatFollowsHelpAndVersion) {
  EXPECT_EQ(box::parseOptions({"--help", "--nonsense"}, nullptr)->action,
            box::Options::Action::PrintHelp);
  EXPECT_EQ(box::parseOptions({"--version"}, nullptr)->action, box::Options::Action::PrintVersion);
}

TEST(Options, ReportErrors) {
  const struct {
    std::vector<std::string_view> arguments;
    std::string error;
  } cases[] = {
      {{"--nonsense"}, "unknown option --nonsense"},
      {{"play"}, "unknown option play"},
      {{"--socket"}, "--socket needs a value"},
      {{"--socket="}, "\"\" is not a valid value for --socket"},
      {{"--fullscreen=yes"}, "--fullscreen takes no value"},
      {{"--bus", "both"}, "\"both\" is not a valid value for --bus"},
      {{"--windowed", "1280"}, "\"1280\" is not a valid value for --windowed"},
      {{"--windowed", "1280x"}, "\"1280x\" is not a valid value for --windowed"},
      {{"--windowed", "0x720"}, "\"0x720\" is not a valid value for --windowed"},
      {{"--windowed", "1280x720x2"}, "\"1280x720x2\" is not a valid value for --windowed"},
      {{"--text-size", "1.6"}, "\"1.6\" is not a valid value for --text-size"},
      {{"--text-size", "nan"}, "\"nan\" is not a valid value for --text-size"},
      {{"--sandbox-read", "a"}, "\"a\" is not a valid value for --sandbox-read"},
      {{"--log-level", "-1"}, "\"-1\" is not a valid value for --log-level"},
      {{"--log-level", "loud"}, "\"loud\" is not a valid value for --log-level"},
      {{"--log-component", "=5"}, "\"=5\" is not a valid value for --log-component"},
      {{"--log-component", "One=x"}, "\"One=x\" is not a valid value for --log-component"}};
  for (const auto& one : cases) {
    std::string error;
    EXPECT_FALSE(box::parseOptions(one.arguments, &error)) << one.error;
    EXPECT_EQ(error, one.error);
  }
}

TEST(Device, ReturnsTheLocaleName) {
  const struct {
    const char* text;
    const char* name;
  } cases[] = {{"de", "de"},
               {"pt-BR", "pt_BR"},
               {"de_DE.UTF-8", "de_DE"},
               {"sr_RS@latin", "sr_RS"},
               {"C.UTF-8", "C"},
               {"POSIX", "C"},
               {"", "C"},
               {".UTF-8", "C"}};
  for (const auto& one : cases) EXPECT_EQ(box::localeName(one.text), one.name) << one.text;
}

TEST(Device, ReturnsLanguageNamesInTheUsersLanguage) {
  const struct {
    const char* user;
    const char* tag;
    const char* name;
  } cases[] = {{"C", "pt-BR", "Portuguese (Brazil)"},
               {"de-DE", "en", "Englisch"},
               {"fr", "deu", "Allemand"},
               {"en", "und", ""},
               {"en", "no tag", ""}};
  for (const auto& one : cases)
    EXPECT_EQ(box::Device(one.user).languageName(one.tag), one.name) << one.tag;
}

TEST(Device, IsInternalIfTheMarkerExists) {
  EXPECT_STREQ(box::Device::kInternalMarker, "/etc/tvvorlane/internal");
  const std::string marker = testing::TempDir() + "/internal-" + std::to_string(getpid());
  const box::Device device({}, marker);
  EXPECT_FALSE(device.isInternalBuild());
  { const std::ofstream file(marker); }
  EXPECT_TRUE(device.isInternalBuild());
  std::filesystem::remove(marker);
  EXPECT_FALSE(box::Device({}, marker + "/below/a/file").isInternalBuild());
}

TEST(Log, PrefixesEachLineWithThePriorityForTheJournal) {
  const platform::LogLine line{platform::LogLevel::Warning, "One", "first {\n    second\n} "};
  EXPECT_EQ(startup::formatLogLine(line, false), "first {\n    second\n} \n");
  EXPECT_EQ(startup::formatLogLine(line, true), "<4>first {\n<4>    second\n<4>} \n");
}

TEST(Log, DetectsTheJournalByDeviceAndInode) {
  EXPECT_TRUE(startup::isJournalStream("8:4711", 8, 4711));
  EXPECT_FALSE(startup::isJournalStream("8:4711", 8, 471));
  EXPECT_FALSE(startup::isJournalStream("", 8, 4711));
  EXPECT_FALSE(startup::isJournalStream(nullptr, 8, 4711));
}

TEST(Memory, ParsesSmapsRollup) {
  const auto use = box::memoryUseFromText(
      "5581-7ffd ---p 00000000 00:00 0   [rollup]\n"
      "Rss:                4096 kB\nPss:                1000 kB\nPss_Dirty:  5 kB\n");
  ASSERT_TRUE(use);
  EXPECT_EQ(use->resident, 4096u * 1024);
  EXPECT_EQ(use->proportional, 1000u * 1024);
  EXPECT_FALSE(box::memoryUseFromText("Rss: 4096 kB\n"));
  EXPECT_FALSE(box::memoryUseFromText("Rss: x kB\nPss: 1 kB\n"));
  const auto own = box::memoryUse();
  if (own) {
    EXPECT_GT(own->proportional, 0u);
    EXPECT_LE(own->proportional, own->resident);
  }
}

}  // namespace
