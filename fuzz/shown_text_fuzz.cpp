// Foreign text on its way to a terminal, a page or the name of a file: it must not steer any of
// them.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/shown_text.h"
#include "base/text.h"
#include "cli/terminal_text.h"
#include "fuzz/check.h"
#include "query/attachments.h"
#include "query/message_html.h"
#include "query/quoted_reply.h"

namespace {

using namespace keldane;

bool hasControl(std::string_view text, std::string_view allowed) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
    if (byte == 0xC2 && next >= 0x80 && next < 0xA0) return true;
    const bool control = byte < 0x20 || byte == 0x7F;
    if (control && allowed.find(text[i]) == std::string_view::npos) return true;
  }
  return false;
}

std::size_t tagsOf(std::string_view html) {
  std::size_t tags = 0;
  for (const char c : html) tags += c == '<' || c == '>' ? 1 : 0;
  return tags;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongestFileName = 255;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string shown = terminalText(text);
  KELDANE_CHECK(!hasControl(shown, "\n\t") && isValidUtf8(shown));
  KELDANE_CHECK(!hasControl(printable(text), "") && isValidUtf8(printable(text)));

  const std::string name = safeFileName(text);
  KELDANE_CHECK(!name.empty() && name != "." && name != "..");
  KELDANE_CHECK(name.find('/') == std::string::npos && !hasControl(name, ""));
  const std::vector<std::string> names = {text, "a" + text + ".html", text + "-KD-" + text};
  for (const bool html : {false, true}) {
    for (const AttachmentStrip::Link& link : makeAttachmentStrip(names, html, "/folder").links) {
      const std::string_view file = std::string_view(link.path).substr(sizeof "/folder/" - 1);
      KELDANE_CHECK(link.path.starts_with("/folder/") && file.find('/') == std::string_view::npos);
      KELDANE_CHECK(file.size() <= kLongestFileName);
    }
  }

  const HeaderBlock hostile{text, text, text, text, text};
  const HeaderBlock tame{"a", "a", "a", "a", "a"};
  if (!text.empty()) {
    KELDANE_CHECK(tagsOf(headerBlockHtml(hostile)) == tagsOf(headerBlockHtml(tame)));
  }
  const std::size_t reply = findQuotedReply(text);
  KELDANE_CHECK(reply == std::string::npos || reply < text.size());
  return 0;
}
