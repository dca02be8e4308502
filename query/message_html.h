#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "mime/tno_email.h"

namespace keldane {

/// The lines above a message in its HTML view, as plain texts.
struct HeaderBlock {
  std::string from;
  std::string to;  ///< addresses parted by ", "
  std::string cc;
  std::string subject;
  std::string date;
};

/// What the date of the block depends on.
struct HeaderDate {
  std::string listDate;  ///< stands when the message has no date that can be read
  std::int64_t now = 0;
  int dateFormat = 0;  ///< as in DateStyle; only for a date that the engine could not read
  /// Reads a date as people write it; empty: none is read.
  std::function<std::optional<std::int64_t>(std::string_view text, std::int64_t now)> parseDate;
};

[[nodiscard]] HeaderBlock readHeaderBlock(mime::TnoEmail& email, const HeaderDate& date);

/// The block as HTML. The texts are a stranger's, so they are escaped and stay texts.
[[nodiscard]] std::string headerBlockHtml(const HeaderBlock& block);

/// A text that shows as itself within HTML, in an element or an attribute.
[[nodiscard]] std::string escapeMarkup(std::string_view text);

/// A message's HTML, with whatever stands above it, as a page to be opened by a browser: it says
/// first that it is UTF-8, and then that nothing in it is run or fetched from elsewhere. The
/// message's own META elements, which could say otherwise or lead to another page, are elements
/// without a meaning there; the rest stands as it came.
[[nodiscard]] std::string standalonePage(std::string_view html);

/// The same for the view of a message, which decides itself what is fetched: pictures may be asked
/// for, and nothing else. Elements that name another page, a base or a host to prepare for have no
/// meaning there either. `style` stands ahead of the message's own.
[[nodiscard]] std::string viewedPage(std::string_view html, std::string_view style);
/// Whether the HTML sets colours of its own, so that others would not go with them.
[[nodiscard]] bool setsColours(std::string_view html);

}  // namespace keldane
