#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "archive/tag_row.h"
#include "ingest/reading/current_message.h"

namespace keldane {

/// Where a run hands on what it has stored, for somebody who keeps more about the messages than the
/// archive does, such as an index of their words. Nothing here holds the run up or makes it fail:
/// whoever listens finds out by himself what he has missed.
class MessageFeed {
 public:
  virtual ~MessageFeed() = default;

  /// A run begins. On the main thread, the session is free and the database open.
  virtual void begin() = 0;
  /// All rows of a new message are written. `withSource`: a row of its source among them. On the
  /// worker, as all up to `drain`.
  virtual void stored(std::uint32_t id, const CurrentMessage& message, const TagRow& tags,
                      bool withSource) = 0;
  /// The rest of a message that a run before has left half stored is written.
  virtual void completed(std::uint32_t id) = 0;
  /// A message that was known already has got another mailbox.
  virtual void moved(std::uint32_t id, const std::string& mailbox) = 0;
  /// A pass is over: what is still on its way may be waited for until `isCancelled`.
  virtual void drain(const std::function<bool()>& isCancelled) = 0;
  /// The run is over, or abandoned. On the main thread, after the worker. Answers a line for the
  /// run's log; empty when there is nothing to say.
  [[nodiscard]] virtual std::string end() = 0;
};

}  // namespace keldane
