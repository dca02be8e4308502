#pragma once

#include <string>

namespace keldane {

/// Where the store step writes its lines.
class StoreLog {
 public:
  virtual ~StoreLog() = default;
  virtual void write(const std::string& line) = 0;
};

}  // namespace keldane
