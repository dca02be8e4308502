#pragma once

#include "mime/buffers/tarnell_sys_time.h"
#include "mime/cls_base.h"

namespace keldane::mime {

/// A moment as an object of the engine.
class ClsDateTime : public ClsBase {
 public:
  ClsDateTime() = default;
  explicit ClsDateTime(const TarnellSysTime& time) : time_(time) {}

  /// A copy, as local time when `local`, else as UTC.
  void GetAsDateTime(bool local, TarnellSysTime& out) const {
    CritSecExitor lock(*this);
    out = time_;
    if (local) {
      out.toLocalSysTime();
    } else {
      out.toGmtSysTime();
    }
  }

 private:
  friend class TnoDateTime;
  ~ClsDateTime() override = default;

  TarnellSysTime time_;
};

}  // namespace keldane::mime
