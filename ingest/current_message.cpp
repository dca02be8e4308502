#include "ingest/current_message.h"

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

void CurrentMessage::clearForNextMessage() {
  for (std::string* field : {&msgDate, &msgFrom, &msgTo, &msgSubject, &msgBody, &msgOriginal,
                             &msgHeadings, &msgHtml, &msgAttachNames, &msgAttachText}) {
    empty(*field);
  }
  msgParts.clear();
  hasHtmlPart = false;
  tags = {};  // a rule's category is not for the message behind it
  contentSha256.clear();
}

}  // namespace keldane
