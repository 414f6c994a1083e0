#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "box/relay/ByteRange.h"
#include "box/relay/CurlLoop.h"
#include "box/relay/ItemContext.h"
#include "box/relay/RelayThread.h"
#include "box/relay/ResourceHead.h"
#include "box/relay/TransferMeter.h"
#include "box/relay/UpstreamTransfer.h"

namespace box {

/// What becomes of what was handed over.
enum class BodyFlow {
  More,
  Pause,  ///< it is taken, but there is no room for more as yet
  Abort,  ///< nothing more is wanted
};

class FetchObserver {
 public:
  virtual ~FetchObserver() = default;
  /// Once, before any byte; also with a status that tells of an error.
  virtual BodyFlow fetchGotHead(const ResourceHead& head) = 0;
  virtual BodyFlow fetchGotBytes(std::string_view bytes) = 0;
  /// Last, and once. Of the three, the fetch may be destroyed in this one alone.
  virtual void fetchEnded(std::optional<platform::Error> error) = 0;
};

/// A resource from a server: follows redirects, tries again what may pass, and takes up a body that
/// broke off where it was left, provided that it is still the same. From a server that knows
/// nothing of ranges and sends everything, the part that is wanted is cut out as it comes.
///
/// Threads: the relay's. Destroying it breaks it off.
class Fetch {
 public:
  struct Request {
    std::string url;  ///< http or https
    bool headOnly = false;
    bool acceptsEncodings = false;  ///< the body comes unpacked
    std::string range;              ///< a Range field, or empty
    HeaderFields fields;            ///< others of the engine's
  };

  /// All of these outlive it.
  Fetch(ItemContext& item, CurlLoop& loop, Request request, FetchObserver& observer);
  ~Fetch();
  Fetch(const Fetch&) = delete;
  Fetch& operator=(const Fetch&) = delete;

  void start() { _try(); }
  /// There is room again.
  void resume();

 private:
  struct Attempt {
    /// How it is to go on once this attempt has ended.
    enum class Verdict { None, Redirect, TryAgain, Refuse, Abort, Stalled };

    Attempt(ItemContext& item, const UpstreamTransfer::Request& request)
        : transfer(item, request), header(item.bounds().headerBytes) {}

    UpstreamTransfer transfer;
    HeaderReader header;
    bool hasHead = false;
    bool isHeld = false;  // libcurl keeps bytes for resume()
    std::size_t skippedBytes = 0;
    std::uint64_t bytesBefore = 0;  // of a whole body, that are not wanted
    std::uint64_t countedBytes = 0;
    std::uint64_t passedBytes = 0;
    Verdict verdict = Verdict::None;
    std::optional<platform::Error> refusal;
  };
  using Verdict = Attempt::Verdict;

  static std::size_t _headerCallback(char* bytes, std::size_t, std::size_t size, void* self);
  static std::size_t _bodyCallback(char* bytes, std::size_t, std::size_t size, void* self);
  static int _connectedCallback(void* self, char*, char*, int, int);

  void _try();
  void _attemptEnded(CURLcode code);
  void _redirect(CURL* transfer);
  void _tryAgain(platform::Error otherwise);
  bool _canContinue() const;
  void _end(std::optional<platform::Error> error);

  // What comes of an attempt; false: it is not to go on.
  bool _gotLine(std::string_view line);
  bool _gotHead();
  bool _isUnpacked(ResourceHead& head);
  void _cutOut(ResourceHead& head);
  bool _isTheSame(const ResourceHead& head);
  bool _goesOn(const ResourceHead& head) const;
  std::string_view _wanted(std::string_view bytes);
  std::size_t _gotBytes(std::string_view bytes);
  bool _refuse(platform::URLErrorCode code, const char* reason);

  void _countBytes();
  void _noteByte();
  void _silent();

  ItemContext& _item;
  CurlLoop& _loop;
  Request _request;
  FetchObserver& _observer;
  TransferMeter _meter;
  RelayTimer _timer;  // for the next byte; between attempts for the next one
  std::unique_ptr<Attempt> _attempt;
  double _deadline = 0;
  int _redirects = 0;
  std::size_t _retries = 0;
  bool _isPaused = false;
  std::optional<ResourceHead> _head;  // as it was handed over
  ByteRange _part;                    // of the resource: what the body is
  bool _isCutOut = false;             // by us
  std::uint64_t _passedBytes = 0;
};

}  // namespace box
