#include "mime/tno_mime.h"

#include <new>
#include <utility>

#include "mime/buffers/xstring.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/cls_mime.h"

namespace keldane::mime {

/// Holds the object, and the flag that tells how the last call ended: false until it has.
class TnMime : public TnMultiByteBase {
 public:
  ClsMime& object() { return *object_; }

  /// `self`: null when there was no memory even for the object.
  template <typename Call>
  static bool run(const std::unique_ptr<TnMime>& self, const Call& call) {
    if (!self) return false;
    ClsMime& mime = *self->object_;
    mime.put_LastMethodSuccess(false);
    bool ok = false;
    // The one place where the standard library's strings come in, and so its exceptions.
    try {
      ok = call(mime);
    } catch (const std::bad_alloc&) {
      ok = false;
    }
    mime.put_LastMethodSuccess(ok);
    return ok;
  }

 private:
  ClsRef<ClsMime> object_{new ClsMime};
};

TnoMime::TnoMime() : impl_(makeOrNull<TnMime>()) {}
TnoMime::~TnoMime() = default;

bool TnoMime::LoadMime(std::string_view text) {
  return TnMime::run(impl_, [text](ClsMime& mime) { return mime.LoadMimeUtf8(text); });
}

bool TnoMime::LoadMimeBytes(std::string_view bytes) {
  return TnMime::run(impl_, [bytes](ClsMime& mime) { return mime.LoadMimeBytes(bytes); });
}

bool TnoMime::takeLeaves(const PartVisitor& visit) {
  return TnMime::run(impl_, [&visit](ClsMime& mime) { return mime.takeLeaves(visit); });
}

bool TnoMime::takeMimeText(StringBuffer& out) {
  return TnMime::run(impl_, [&out](ClsMime& mime) { return mime.GetMime(out); });
}

std::optional<std::string> TnoMime::GetMime() {
  std::optional<std::string> result;
  const bool ok = TnMime::run(impl_, [&result](ClsMime& mime) {
    StringBuffer text;
    if (!mime.GetMime(text)) return false;
    result.emplace(text.view());
    return true;
  });
  return ok ? std::move(result) : std::nullopt;
}

std::optional<std::string> TnoMime::GetHeaderField(std::string_view name) {
  std::optional<std::string> result;
  const bool ok = TnMime::run(impl_, [&result, name](ClsMime& mime) {
    XString value;
    if (!mime.GetHeaderField(name, value)) return false;
    mendUtf8(result.emplace(value.utf8View()));
    return true;
  });
  return ok ? std::move(result) : std::nullopt;
}

bool TnoMime::beyondLimits() const { return impl_->object().isBeyondLimits(); }

std::string TnoMime::describeTree() {
  std::string result;
  (void)TnMime::run(impl_, [&result](ClsMime& mime) {
    StringBuffer text;
    if (!mime.describeTree(text)) return false;
    result = text.view();
    return true;
  });
  return result;
}

bool TnoMime::LastMethodSuccess() const { return impl_ && impl_->object().get_LastMethodSuccess(); }

std::string TnoMime::LastErrorText() const {
  return errorTextOf(impl_ ? &impl_->object() : nullptr);
}

void TnoMime::setVerboseLogging(bool on) {
  if (impl_) impl_->object().put_VerboseLogging(on);
}

}  // namespace keldane::mime
