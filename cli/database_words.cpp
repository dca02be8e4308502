#include "cli/database_words.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "archive/server_session.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kConnecting = "Failed to connect to server: Error: ";
constexpr std::array<std::string_view, 3> kPrefixes = {"SQL error: ", "SQL Error: ", kConnecting};

std::string_view withoutPrefixes(std::string_view text) {
  for (const std::string_view prefix : kPrefixes) {
    if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
  }
  return trimWhitespace(text);
}

/// What stands in the first pair of quotes behind `opening`.
std::string quotedBehind(std::string_view text, std::string_view opening) {
  const std::size_t at = text.find(opening);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = text.substr(at + opening.size());
  return std::string(rest.substr(0, rest.rfind('\'')));
}

bool contains(std::string_view text, std::string_view words) {
  return text.find(words) != std::string_view::npos;
}

struct Known {
  std::string_view words;
  std::string_view sentence;  ///< {} takes the server's own words
};

constexpr std::array<Known, 6> kKnown = {{
    {"Access denied",
     "the database server does not let this user in ({}); `keldane connections add NAME` gives "
     "another user or password"},
    {"Can't connect",
     "the database server does not answer ({}); is it running, and are host, port and socket "
     "right? `keldane connections list` shows them"},
    {"Unknown database", "{}; `keldane status` and `keldane connections list` show what there is"},
    {"is full", "the database server has no room left ({}); free some of its disk"},
    {"read-only", "the database server takes nothing in at the moment ({})"},
    {"max_allowed_packet",
     "the statement is longer than the database server takes ({}); ask for less at a time, or "
     "raise its max_allowed_packet"},
}};

}  // namespace

std::string databaseSentence(std::string_view text) {
  const std::string words = printable(withoutPrefixes(text));
  for (const Known& known : kKnown) {
    if (contains(words, known.words)) return fmt::format(fmt::runtime(known.sentence), words);
  }
  if (isLostConnection(words)) {
    return fmt::format("the database server has gone away ({}); run the command again", words);
  }
  if (contains(words, "error in your SQL syntax")) {
    const std::string place = quotedBehind(words, "near '");
    if (place.empty()) return "the database does not understand the end of the statement";
    return fmt::format("the database does not understand the statement near \"{}\"", place);
  }
  if (words.starts_with("Table '") && words.ends_with("doesn't exist")) {
    return "the database holds no archive yet; `keldane archive PATH` fills one";
  }
  // No statement has been sent yet: a folder, a program or the disk is in the way.
  if (text.starts_with(kConnecting)) return "the archive cannot be opened: " + words;
  return "the database refused the statement: " + words;
}

}  // namespace keldane
