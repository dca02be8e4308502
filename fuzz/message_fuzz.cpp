// A whole message: loaded, written anew, loaded again, and everything asked of it.
#include <cstdint>
#include <string_view>

#include "fuzz/memory_watch.h"
#include "mime/tno_email.h"
#include "mime/tno_mime.h"

namespace {

void askEverything(keldane::mime::TnoEmail& email) {
  (void)email.Subject();
  (void)email.From();
  (void)email.FromAddress();
  (void)email.GetHeaderField("received");
  for (int i = 0; i < email.NumTo(); ++i) {
    (void)email.GetTo(i);
    (void)email.GetToAddr(i);
  }
  for (int i = 0; i < email.NumCC(); ++i) {
    (void)email.GetCC(i);
    (void)email.GetCcAddr(i);
  }
  if (const auto date = email.GetDt()) {
    (void)date->GetAsDateTime(0);
    (void)date->GetAsDateTime(1);
  }
  if (email.HasPlainTextBody()) (void)email.GetPlainTextBody();
  if (email.HasHtmlBody()) (void)email.GetHtmlBody();
  const int attachments = email.NumAttachments();
  for (int i = 0; i <= attachments && i < 50; ++i) {
    (void)email.GetAttachmentFilename(i);
    (void)email.GetAttachmentContentType(i);
    (void)email.GetAttachmentData(i);
    const auto charset = email.GetAttachmentAttr(i, "content-type", "charset");
    (void)email.GetAttachmentString(i, charset.value_or(""));
  }
  const int related = email.NumRelatedItems();
  for (int i = 0; i <= related && i < 50; ++i) {
    (void)email.GetRelatedFilename(i);
    (void)email.GetRelatedContentType(i);
    (void)email.GetRelatedData(i);
    (void)email.GetRelatedString(i, "windows-1252");
  }
  (void)email.GetMime();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  {
    const MemoryWatch memory;
    keldane::mime::TnoEmail direct;
    if (direct.SetFromMimeText(text)) askEverything(direct);
    memory.check(size);
  }
  const MemoryWatch memory;
  keldane::mime::TnoMime mime;
  mime.LoadMime(text);
  (void)mime.GetHeaderField("date");
  (void)mime.describeTree();
  keldane::mime::TnoEmail chained;
  if (chained.SetFromMimeText(mime.GetMime().value_or(""))) askEverything(chained);
  memory.check(size);
  return 0;
}
