#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "output/export_frame.h"

namespace keldane {

class Program;

/// What a PDF is made of, and where it goes.
struct PdfOrder {
  std::string path;  ///< a file; a folder, or a name that ends with "/", for one file a message
  bool asText = false;
  std::string connection;  ///< empty: the usual one
  std::string database;    ///< empty: the usual one
};

/// Has the window program lay the messages out, without a screen. Fails with what it says, or with
/// what to install where there is none.
[[nodiscard]] Result<OutputReport> exportPdfByWindow(const PdfOrder& order,
                                                     const std::vector<std::uint32_t>& ids,
                                                     Progress& progress, Program& program);

}  // namespace keldane
