#include "query/message_html.h"

#include <algorithm>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "base/text.h"
#include "platform/environment.h"

namespace keldane {
namespace {

/// A date nearer to now than this is the engine's stand-in for one that it could not read.
constexpr std::int64_t kStandInSeconds = 5;

// The nesting of the two is uneven; the layout of the block follows from it.
constexpr const char* kBlockWithCc =
    "<div style='padding-bottom: 20px;'><div style='background-color:#eeee'><div><b>From:</b> "
    "{}</div><div><b>To:</b> {}</div><b>Cc:</b> {}</div><div><b>Subject:</b> "
    "{}</div><div><b>Date:</b> {}</div></div></div>";
constexpr const char* kBlockWithoutCc =
    "<div style='padding-bottom: 20px;'><div style='background-color:#eeee'><div><b>From:</b> "
    "{}</div><div><b>To:</b> {}<div><b>Subject:</b> {}</div><div><b>Date:</b> "
    "{}</div></div></div>";

constexpr std::string_view kHead =
    "<meta charset=\"utf-8\">"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "img-src data: cid:; style-src 'unsafe-inline'\">\n";
constexpr std::string_view kViewedHead =
    "<!DOCTYPE html><meta charset=\"utf-8\">"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "img-src data: cid: http: https:; style-src 'unsafe-inline'; form-action 'none'; "
    "base-uri 'none'\">\n";

/// Elements of these names get another, which none has.
std::string withoutMeaning(std::string_view html, std::span<const std::string_view> names) {
  std::string text;
  text.reserve(html.size() + 64);
  for (std::size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<')) {
    text.append(html.substr(0, at + 1));
    html.remove_prefix(at + 1);
    const bool isNamed = std::any_of(names.begin(), names.end(), [&](std::string_view name) {
      return compareNoCase(html.substr(0, name.size()), name) == 0;
    });
    if (isNamed) text += "x-";
  }
  return text.append(html);
}

void appendAddress(std::string& list, const std::optional<std::string>& address) {
  if (!address) return;
  if (!list.empty()) list += ", ";
  list += *address;
}

/// "YYYY-MM-DD HH:MM:SS" in the order of the list's dates, always with "-".
std::string inOrder(const std::string& date, int dateFormat) {
  constexpr std::size_t kDateTimeLength = 19;
  if (date.size() != kDateTimeLength) return date;
  const std::string year = date.substr(0, 4);
  const std::string month = date.substr(5, 2);
  const std::string day = date.substr(8, 2);
  const std::string time = date.substr(10);
  if (dateFormat == 1) return month + "-" + day + "-" + year + time;
  if (dateFormat == 2) return day + "-" + month + "-" + year + time;
  return date;
}

std::string shownDate(mime::TnoEmail& email, const HeaderDate& date) {
  const auto sent = email.GetDt();
  const std::optional<std::int64_t> moment = sent ? sent->GetAsDateTime(1) : std::nullopt;
  if (moment && *moment <= date.now - kStandInSeconds) return localDateTime(*moment);
  const std::optional<std::string> field = email.GetHeaderField("Date");
  if (field && date.parseDate) {
    if (const auto parsed = date.parseDate(*field, date.now)) {
      return inOrder(localDateTime(*parsed), date.dateFormat);
    }
  }
  return date.listDate;
}

}  // namespace

HeaderBlock readHeaderBlock(mime::TnoEmail& email, const HeaderDate& date) {
  HeaderBlock block;
  block.date = shownDate(email, date);
  const int numTo = email.NumTo();
  for (int i = 0; i < numTo; ++i) appendAddress(block.to, email.GetToAddr(i));
  const int numCC = email.NumCC();
  for (int i = 0; i < numCC; ++i) appendAddress(block.cc, email.GetCcAddr(i));
  block.from = email.FromAddress().value_or("");
  block.subject = email.Subject().value_or("");
  return block;
}

std::string headerBlockHtml(const HeaderBlock& block) {
  const std::string from = escapeMarkup(block.from);
  const std::string to = escapeMarkup(block.to);
  const std::string subject = escapeMarkup(block.subject);
  const std::string date = escapeMarkup(block.date);
  if (block.cc.empty()) {
    return fmt::format(fmt::runtime(kBlockWithoutCc), from, to, subject, date);
  }
  return fmt::format(fmt::runtime(kBlockWithCc), from, to, escapeMarkup(block.cc), subject, date);
}

std::string escapeMarkup(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string standalonePage(std::string_view html) {
  constexpr std::string_view kNames[] = {"meta"};
  return std::string(kHead) + withoutMeaning(html, kNames);
}

std::string viewedPage(std::string_view html, std::string_view style) {
  // The engine moves a marquee by a script of its own, which with scripts forbidden never lets the
  // page go: no other was shown after it.
  constexpr std::string_view kNames[] = {"meta", "link", "base", "marquee"};
  std::string page(kViewedHead);
  if (!style.empty()) page.append("<style>").append(style).append("</style>\n");
  return page + withoutMeaning(html, kNames);
}

bool setsColours(std::string_view html) {
  // "bgcolor" and "background-color" hold it too.
  return findNoCase(html, "color").has_value() || findNoCase(html, "background").has_value();
}

}  // namespace keldane
