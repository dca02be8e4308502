#include "query/html_page.h"

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kHead =
    "<meta charset=\"utf-8\">"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "img-src data: cid:; style-src 'unsafe-inline'\">\n";
constexpr std::string_view kMeta = "<meta";
constexpr std::string_view kWithoutMeaning = "<x-meta";

}  // namespace

std::string standalonePage(std::string_view html) {
  std::string page(kHead);
  page.reserve(kHead.size() + html.size() + 64);
  while (const std::optional<std::size_t> at = findNoCase(html, kMeta)) {
    page.append(html.substr(0, *at)).append(kWithoutMeaning);
    html.remove_prefix(*at + kMeta.size());
  }
  return page.append(html);
}

}  // namespace keldane
