#include "mime/cls_base.h"

#include "mime/buffers/data_buffer.h"
#include "mime/buffers/psdk.h"
#include "mime/buffers/xstring.h"
#include "mime/charsets/encoding_convert.h"

namespace keldane::mime {

ClsBase::~ClsBase() { stamp_.store(0, std::memory_order_relaxed); }

void ClsBase::decRefCount() {
  if (refCount_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void ClsBase::deleteObject() {
  if (stamp_.exchange(0) != Stamps::kClsBase) {
    Psdk::badObjectFound();
    return;
  }
  decRefCount();
}

void ClsBase::put_VerboseLogging(bool on) {
  // The log's own switch is read all through a call, so it waits for the end of one.
  const CritSecExitor lock(*this);
  verboseLogging_ = on;
  log_.setVerbose(on);
}

bool ClsBase::enterContextBase(const char* name) {
  if (!isValidObject()) {
    Psdk::badObjectFound();
    return false;
  }
  log_.StartCall(name);
  return true;
}

void ClsBase::finishCall(bool ok) {
  lastSuccess_ = ok;
  log_.FinishCall(ok ? "Success." : "Failed.");
}

void ClsBase::logSuccessFailure(bool ok) {
  lastSuccess_ = ok;
  log_.LogOutcome(ok ? "Success." : "Failed.");
}

std::string errorTextOf(const ClsBase* object) noexcept {
  try {
    StringBuffer text;
    if (object) object->get_LastErrorText(text);
    return std::string(text.view());
  } catch (const std::bad_alloc&) {
    return {};
  }
}

bool ClsBase::dbToXString_cp(int codePage, const DataBuffer& db, XString& out, LogBase& log) {
  if (codePage == 65001) return out.setFromUtf8(db.view());
  EncodingConvert convert;
  DataBuffer utf8;
  const bool ok = convert.EncConvert(codePage, 65001, db.view(), utf8, log);
  out.setFromUtf8(utf8.view());
  return ok;
}

}  // namespace keldane::mime
