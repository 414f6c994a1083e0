#pragma once

#include <memory>

#include "media/encryption/SenderContentKeys.h"
#include "media/output/PositionClock.h"
#include "media/pipeline/CommandMailbox.h"
#include "media/pipeline/PipelineSetup.h"
#include "media/pipeline/StatisticsRecord.h"
#include "media/pipeline/playback/FailureLog.h"
#include "media/pipeline/playback/ItemFacts.h"
#include "platform/foundation/queues/Clock.h"
#include "streaming/playback/ReadGate.h"

namespace media {

/// The data of a load that the pipeline's thread shares with other threads.
struct LoadContext {
  LoadContext(const platform::Clock& loadClock, PipelineSetup loadSetup);

  const platform::Clock& clock;
  const PipelineSetup setup;
  const std::shared_ptr<SenderContentKeys> contentKeys;  ///< null for a file
  const std::shared_ptr<CommandMailbox> mailbox = std::make_shared<CommandMailbox>();
  /// Closed to end the reads that measure the media.
  const std::shared_ptr<streaming::ReadGate> measuring = std::make_shared<streaming::ReadGate>();
  PositionClock position;
  ItemFacts facts;
  FailureLog failures;
  StatisticsRecord statistics;
};

}  // namespace media
