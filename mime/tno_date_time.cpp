#include "mime/tno_date_time.h"

#include "mime/cls_date_time.h"

namespace keldane::mime {

TnoDateTime::TnoDateTime(const TarnellSysTime& time) : impl_(new ClsDateTime(time)) {}

TnoDateTime::~TnoDateTime() = default;

std::optional<std::int64_t> TnoDateTime::GetAsDateTime(int local) const {
  TarnellSysTime time;
  impl_->GetAsDateTime(local != 0, time);
  if (time.year == 0 || time.month == 0 || time.day == 0) return std::nullopt;
  return time.toUnixTime();
}

}  // namespace keldane::mime
