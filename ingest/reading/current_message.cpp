#include "ingest/reading/current_message.h"

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kKeptCapacity = 1U << 20U;

/// Keeps a buffer of ordinary size for the next message; that of a huge one is given back, which
/// assigning an empty text would not do.
void empty(std::string& text) {
  text.clear();
  if (text.capacity() > kKeptCapacity) text.shrink_to_fit();
}

}  // namespace

std::string_view CurrentMessage::body() const {
  const std::string_view text = bodyIsHtmlPart ? msgParts.front().data : msgBody;
  return bodyIsTrimmed ? trimWhitespace(text) : text;
}

void CurrentMessage::clearForNextMessage() {
  for (std::string* field : {&msgDate, &msgFrom, &msgTo, &msgSubject, &msgBody, &msgOriginal,
                             &msgHeadings, &msgAttachNames, &msgAttachText}) {
    empty(*field);
  }
  msgParts.clear();
  hasHtmlPart = false;
  bodyIsHtmlPart = false;
  bodyIsTrimmed = false;
  tags = {};  // a rule's category is not for the message behind it
  contentSha256.clear();
}

}  // namespace keldane
