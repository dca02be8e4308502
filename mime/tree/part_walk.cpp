#include "mime/tree/part_walk.h"

#include <string>
#include <vector>

#include "mime/buffers/byte_search.h"
#include "mime/charsets/unlabelled_text.h"
#include "mime/coding/uu.h"
#include "mime/email/attachment_text.h"
#include "mime/headers/type_table.h"
#include "mime/tree/mime_message.h"

namespace keldane::mime {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool isText(std::string_view type) {
  return type.starts_with("text/") || type.starts_with("message/") || containsBytes(type, "xml") ||
         containsBytes(type, "json");
}

class Walker {
 public:
  Walker(const PartVisitor& visit, const ContainerVisitor& enter, LogBase& log)
      : visit_(visit), enter_(enter), log_(log) {}

  bool walk(MimeMessage2& entity, int nesting) {
    const int count = entity.getNumParts();
    if (count == 0) return leaf(entity, nesting);
    enter(entity, {});
    ++depth_;
    for (int i = 0; i < count; ++i) {
      MimeMessage2* part = entity.getPart(i);
      if (part && !walk(*part, nesting)) return false;
    }
    --depth_;
    return true;
  }

 private:
  bool leaf(MimeMessage2& entity, int nesting);
  bool openMessage(MimeMessage2& entity, int nesting, bool& isOpened);
  void enter(MimeMessage2& entity, std::string_view source);
  void showText(PartView& part);
  void showFile(std::string_view uuencoded);

  const PartVisitor& visit_;
  const ContainerVisitor& enter_;
  LogBase& log_;
  int depth_ = 0;
};

std::string_view nameOf(MimeMessage2& entity) {
  const std::string_view name = entity.getMimeFilename().view();
  return name.empty() ? entity.getContentType().name().view() : name;
}

void Walker::enter(MimeMessage2& entity, std::string_view source) {
  if (!enter_) return;
  enter_({entity.getContentType().contentType().view(), nameOf(entity), source, depth_});
}

bool Walker::leaf(MimeMessage2& entity, int nesting) {
  PartView part;
  part.contentType = entity.getContentType().contentType().view();
  if (part.contentType == "message/rfc822" || part.contentType == "message/global") {
    bool isOpened = false;
    if (!openMessage(entity, nesting, isOpened)) return false;
    if (isOpened) return true;
  }
  part.contentId = entity.getContentId().view();
  part.depth = depth_;
  part.isAttachment = entity.isAttachment(log_);
  part.name = nameOf(entity);
  part.body = entity.getMimeBodyDb().view();
  part.charset = entity.getCharset().nameView();
  if (part.isAttachment) {
    StringBuffer charset;
    (void)entity.getHeader().getSubFieldUtf8("content-type", "charset", charset, log_);
    part.charset = charset.view();
    std::string text;
    if (isText(part.contentType)) {
      readAttachmentText(entity.getMimeBodyDb(), part.charset, text, log_);
      mendUtf8(text);
      part.text = text;
    }
    visit_(part);
    return true;
  }
  const bool isTypeless = part.contentType.empty() && part.body.find('\0') == kNone;
  if (!isTypeless && !isText(part.contentType)) {
    visit_(part);
    return true;
  }
  DataBuffer mended;
  if (!isValidUtf8(part.body)) {
    if (!appendAllAsUtf8(0, part.body, mended, log_)) return false;
    part.body = mended.view();
  }
  part.text = part.body;
  showText(part);
  return true;
}

/// A message of which nothing can be made is a leaf like any other.
bool Walker::openMessage(MimeMessage2& entity, int nesting, bool& isOpened) {
  if (nesting >= kMaxMessageNesting) return true;
  MimeMessage2 message;
  {
    DataBuffer text;
    entity.extractMimeBody(text);
    const bool isUtf8 = isValidUtf8(text.view());
    const bool ok = isUtf8 ? message.loadMimeComplete(text.view(), log_, true)
                           : message.loadFileBytes(text.view(), log_);
    isOpened = ok && (message.getNumParts() != 0 || !message.getMimeBodyDb().isEmpty());
    if (!isOpened) return entity.bodyDb_rw().takeData(text);
    enter(entity, text.view());
  }
  ++depth_;
  const bool isWalked = walk(message, nesting + 1);
  --depth_;
  return isWalked;
}

void Walker::showText(PartView& part) {
  const std::string_view all = part.text;
  std::size_t begin = Uu::findBegin(all);
  if (begin == kNone) {
    visit_(part);
    return;
  }
  std::vector<std::string_view> files;
  std::string text;
  std::size_t done = 0;
  while (begin != kNone) {
    const std::size_t size = Uu::sizeOfFile(all.substr(begin));
    if (size != 0) {
      text.append(all.substr(done, begin - done));
      files.push_back(all.substr(begin, size));
      done = begin + size;
    }
    const std::size_t from = size != 0 ? done : begin + 1;
    const std::size_t next = Uu::findBegin(all.substr(from));
    begin = next == kNone ? kNone : from + next;
  }
  text.append(all.substr(done));
  part.text = part.body = text;
  visit_(part);
  for (const std::string_view file : files) showFile(file);
}

void Walker::showFile(std::string_view uuencoded) {
  DataBuffer bytes;
  StringBuffer name;
  (void)Uu::uu_decode2(uuencoded, bytes, name);
  PartView part;
  part.contentType = TypeTable::typeForFilename(name.view());
  part.name = name.view();
  part.body = bytes.view();
  part.depth = depth_ + 1;
  visit_(part);
}

}  // namespace

bool walkParts(MimeMessage2& root, const PartVisitor& visit, const ContainerVisitor& enter,
               LogBase& log) {
  return Walker(visit, enter, log).walk(root, 0);
}

}  // namespace keldane::mime
