#pragma once

#include <cstdint>
#include <string>

#include "output/export_frame.h"

namespace keldane {

struct SqlDumpRequest {
  std::string path;
  std::string databaseName;   ///< blanks in it are left out
  std::uint32_t firstId = 1;  ///< the messages get this id and those behind it
  bool hasRawSource = true;   ///< sources, and the headings that come of them, go along
};

/// `exportSQL`: the messages as a script that makes a database, or adds to one, under new ids. One
/// statement a row; memory is that of one message. Fails before anything is written when the name
/// is none that may stand in a statement without quotes. Of a failing query the statements before
/// stay.
[[nodiscard]] Result<OutputReport> exportSQL(const OutputContext& context, const MessageList& list,
                                             const SqlDumpRequest& request);

}  // namespace keldane
