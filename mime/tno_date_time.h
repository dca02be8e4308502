#pragma once

#include <cstdint>
#include <optional>

#include "mime/cls_base.h"

namespace keldane::mime {

class ClsDateTime;
struct TarnellSysTime;

/// A moment as the engine hands it out.
class TnoDateTime {
 public:
  explicit TnoDateTime(const TarnellSysTime& time);
  ~TnoDateTime();
  TnoDateTime(const TnoDateTime&) = delete;
  TnoDateTime& operator=(const TnoDateTime&) = delete;

  /// Seconds since 1970, UTC, of the moment read as a local value when `local` is 1, else as UTC.
  /// nullopt when it cannot be expressed.
  [[nodiscard]] std::optional<std::int64_t> GetAsDateTime(int local) const;

 private:
  ClsRef<ClsDateTime> impl_;
};

}  // namespace keldane::mime
