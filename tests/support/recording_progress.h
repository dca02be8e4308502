#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/progress.h"

namespace keldane {

/// Writes the stages down, "end" for the end of one.
class RecordingProgress : public Progress {
 public:
  void stage(std::string_view title) override {
    stages.emplace_back(title.empty() ? "end" : title);
  }

  std::vector<std::string> stages;
};

}  // namespace keldane
