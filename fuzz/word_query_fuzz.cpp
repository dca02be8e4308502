// A query as somebody types it: it is understood, or the place that cannot be read lies in it; and
// what was understood reads again.
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "find/word_query.h"
#include "fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keldane;
  constexpr std::string_view kToday = "2024-02-29";
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto query = readWordQuery(text, kToday);
  if (const auto* problem = std::get_if<QueryProblem>(&query)) {
    KELDANE_CHECK(problem->atByte <= size && !problem->message.empty());
    return 0;
  }
  const std::string understood = queryText(std::get<QueryNode>(query));
  KELDANE_CHECK(!understood.empty());
  const bool isAscii = text.find_first_not_of(
                           "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 "
                           "\"()*:-<>.=") == std::string_view::npos;
  if (!isAscii || understood.size() > 4000) return 0;
  const auto again = readWordQuery(understood, kToday);
  KELDANE_CHECK(std::holds_alternative<QueryNode>(again));
  return 0;
}
