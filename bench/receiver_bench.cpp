// Measures receiver calls inside the process, and the two context switches that are their minimum.
//
// The benchmarks run on a separate thread in place of the receiver queue. The main thread runs the
// main queue as in the product.

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include "TVVorlane/TVVorlaneReceiverDelegate.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/log/TVSLogger.h"
#include "sim/Box.h"

namespace {

sim::Box* box = nullptr;
std::shared_ptr<TVVorlaneReceiverDelegate> delegate;

/// A session for posting events.
class SilentSession final : public TVVorlaneSession {
 public:
  std::string className() const override { return "SilentSession"; }
  std::uint32_t sessionID() const override { return 1; }
  std::int64_t sessionType() const override { return TVVorlaneSessionType::kStreamingAudio; }
  void startWithOptions(const platform::Dictionary&, StartCompletion) override {}
  bool stopWithOptions(const platform::Value&, std::optional<platform::Error>*) override {
    return true;
  }
  void userStop() override {}
};

/// A round trip between two threads through an atomic: the minimum of a synchronous hop.
void BareContextSwitches(benchmark::State& state) {
  std::atomic<int> turn{0};
  std::thread other([&] {
    for (;;) {
      turn.wait(0);
      const int now = turn.load();
      if (now == 2) return;
      turn.store(0);
      turn.notify_one();
    }
  });
  for (auto _ : state) {
    turn.store(1);
    turn.notify_one();
    turn.wait(1);
  }
  turn.store(2);
  turn.notify_one();
  other.join();
}
BENCHMARK(BareContextSwitches)->UseRealTime();

void ReceiverCallHop(benchmark::State& state) {
  for (auto _ : state) {
    VorlaneReceiverUIDelegate::Status status = 0;
    benchmark::DoNotOptimize(delegate->vorlaneUIGetProperty("playbackInfo", {}, &status));
  }
}
BENCHMARK(ReceiverCallHop)->UseRealTime();

platform::Value valueOfKind(int index) {
  // The kinds alternate.
  return index % 2 ? platform::Value(std::string("text")) : platform::Value(index);
}

platform::Dictionary dictionaryOfEveryKey() {
  const char* const strings[] = {
      "buyParams", "Content-Location",   "host",         "itemType",        "mediaKindOverride",
      "path",      "purchasedMediaKind", "streamerGUID", "X-Transmit-Date", "value",
      "url",       "userAgent",          "uuid",         "Player-GUID"};
  const char* const numbers[] = {"allowP2P",       "dsid",
                                 "itemID",         "playbackRestrictions",
                                 "Start-Position", "rate",
                                 "tlsPSKEnabled",  "videoCacheClear",
                                 "audioOnly",      "actionAtItemEnd",
                                 "enableTrack",    "muted",
                                 "streamType",     "volume",
                                 "fpSessionID"};
  const char* const data[] = {"appID",    "assetID",  "remoteContext", "tlsPSKClientIdentity",
                              "tlsPSK",   "mz_at",    "PD-Info",       "PIC-Request",
                              "PIC-Data", "Play-Info"};
  const char* const dates[] = {"Start-Date", "Start-Estimated-Date", "date"};
  const char* const arrays[] = {
      "cookies",           "outOfBandAlternateTracks", "timedMetadataArray",
      "playbackAccessLog", "playbackErrorLog",         "selectedMediaArray"};
  const char* const dictionaries[] = {"errorInfo",      "purchaseBundle", "forwardEndTime",
                                      "reverseEndTime", "metaData",       "item",
                                      "serverInfo"};
  platform::Dictionary result;
  for (const char* key : strings) result.set(key, "text");
  for (const char* key : numbers) result.set(key, 1);
  for (const char* key : data) result.set(key, platform::Bytes(16));
  for (const char* key : dates) result.set(key, platform::Date{});
  for (const char* key : arrays) result.set(key, platform::Array{valueOfKind(1)});
  for (const char* key : dictionaries)
    result.set(key, platform::Dictionary{{"key", valueOfKind(0)}});
  return result;
}

void ValidateEveryKey(benchmark::State& state) {
  const platform::Value params = dictionaryOfEveryKey();
  if (params.asDictionary()->size() != 55) state.SkipWithError("a key is missing");
  for (auto _ : state)
    benchmark::DoNotOptimize(TVVorlaneUtilities::validateParameters(params, nullptr));
}
BENCHMARK(ValidateEveryKey);

platform::Dictionary nestedWithData() {
  platform::Dictionary inner{{"artworkData", platform::Bytes(1 << 20)}, {"title", "A title"}};
  for (int depth = 0; depth < 6; ++depth)
    inner = platform::Dictionary{{"metaData", inner}, {"depth", depth}};
  return inner;
}

void AbbreviatedDescription(benchmark::State& state) {
  const platform::Value value = nestedWithData();
  for (auto _ : state)
    benchmark::DoNotOptimize(TVVorlaneUtilities::dataAbbreviatedDescription(value));
}
BENCHMARK(AbbreviatedDescription);

void FullDescription(benchmark::State& state) {
  const platform::Value value = nestedWithData();
  for (auto _ : state) benchmark::DoNotOptimize(value.description());
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(FullDescription);

void EventPosting(benchmark::State& state) {
  constexpr int kBatch = 1000;
  SilentSession session;
  const platform::Dictionary info{{"sessionID", 1}, {"reason", "ended"}};
  while (state.KeepRunningBatch(kBatch)) {
    box->mainQueue().sync([&] {
      for (int i = 0; i < kBatch; ++i) delegate->session(session, "stopped", info);
    });
    // Waits until the receiver queue has sent the events.
    delegate->receiverQueue()->sync([] {});
    state.PauseTiming();
    box->receiverServiceClient().takeEvents();
    state.ResumeTiming();
  }
}
BENCHMARK(EventPosting)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  sim::BoxOptions options;
  options.logLevel = 3;
  sim::Box memoryBox(options);
  box = &memoryBox;
  delegate = TVVorlaneReceiverDelegate::make();
  std::thread receiver([] {
    benchmark::RunSpecifiedBenchmarks();
    box->mainQueue().stop();
  });
  box->mainQueue().run();
  receiver.join();
  delegate.reset();
  return 0;
}
