#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/vorlanectl/Arguments.h"
#include "tools/vorlanectl/Command.h"

namespace {

using vorlanectl::Arguments;
using vorlanectl::Option;
using vorlanectl::UsageError;
using Words = std::vector<std::string>;

const std::vector<Option> kOptions{{"--wait", "", ""}, {"--rate", "R", ""}, {"--param", "P", ""}};

TEST(Arguments, SeparateOptionsFromWords) {
  const Arguments arguments(kOptions, {"url", "--rate", "-1.5", "--wait", "-3", "--param=a=b",
                                       "--param", "c", "--", "--rate"});
  EXPECT_EQ(arguments.words(), (Words{"url", "-3", "--rate"}));
  EXPECT_TRUE(arguments.has("--wait"));
  EXPECT_EQ(arguments.number("--rate"), -1.5);
  EXPECT_EQ(arguments.texts("--param"), (Words{"a=b", "c"}));
  EXPECT_EQ(Arguments(kOptions, {}).number("--rate"), std::nullopt);
}

TEST(Arguments, RejectInvalidOptions) {
  EXPECT_THROW(Arguments(kOptions, {"--nope"}), UsageError);
  EXPECT_THROW(Arguments(kOptions, {"--rate"}), UsageError);
  EXPECT_THROW(Arguments(kOptions, {"--wait=1"}), UsageError);
  for (const char* text : {"", "x", "1x", "nan", "inf", "1e999"}) {
    EXPECT_THROW(Arguments(kOptions, {"--rate", text}).number("--rate"), UsageError) << text;
  }
  for (const char* text : {"-1", "4294967296", "1.5", ""}) {
    EXPECT_THROW(Arguments(kOptions, {std::string("--rate=") + text}).count("--rate"), UsageError)
        << text;
  }
  EXPECT_EQ(Arguments(kOptions, {"--rate", "4294967295"}).count("--rate"), 4294967295U);
}

TEST(CommandLine, ExitStatusDependsOnTheError) {
  const testing_support::TemporaryFolder temporary;
  const std::string& folder = temporary.path();
  const std::string nobody = folder + "/nobody.sock";
  const struct {
    Words words;
    int status;
  } cases[] = {{{"--help"}, 0},
               {{"--version"}, 0},
               {{"play", "--help"}, 0},
               {{}, 2},
               {{"nonsense"}, 2},
               {{"--nonsense"}, 2},
               {{"--socket"}, 2},
               {{"play"}, 2},
               {{"play", "a", "b"}, 2},
               {{"get", "x", "--nope"}, 2},
               {{"--socket", nobody, "status"}, 3},
               {{"status", "--socket", nobody}, 3}};
  for (const auto& one : cases) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = vorlanectl::runCommandLine(one.words);
    const std::string output = testing::internal::GetCapturedStdout();
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, one.status) << testing::PrintToString(one.words);
    EXPECT_EQ(output.empty(), status != 0);
    EXPECT_EQ(errors.empty(), status == 0);
    if (status == 3) {
      EXPECT_EQ(errors, "vorlanectl: No box is running: nothing answers at " + nobody + "\n");
    }
  }
  std::filesystem::remove_all(folder);
}

TEST(CommandLine, EveryCommandHasHelp) {
  Words names;
  for (const auto& command : vorlanectl::commands()) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(vorlanectl::runCommandLine({std::string(command.name), "--help"}), 0);
    const std::string help = testing::internal::GetCapturedStdout();
    for (const auto& option : command.options) {
      EXPECT_NE(help.find(option.name), std::string::npos) << command.name << " " << option.name;
    }
    names.emplace_back(command.name);
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

}  // namespace
