#include "mime/tno_date_time.h"

#include "mime/buffers/tarnell_sys_time.h"

namespace keldane::mime {

/// A moment as an object of the engine.
class ClsDateTime : public ClsBase {
 public:
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
  ~ClsDateTime() override = default;

  TarnellSysTime time_;
};

TnoDateTime::TnoDateTime(const TarnellSysTime& time) : impl_(new ClsDateTime(time)) {}

TnoDateTime::~TnoDateTime() = default;

std::optional<std::int64_t> TnoDateTime::GetAsDateTime(int local) const {
  TarnellSysTime time;
  impl_->GetAsDateTime(local != 0, time);
  if (time.year == 0 || time.month == 0 || time.day == 0) return std::nullopt;
  return time.toUnixTime();
}

}  // namespace keldane::mime
