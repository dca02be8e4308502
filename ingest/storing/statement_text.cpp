#include "ingest/storing/statement_text.h"

#include <array>
#include <optional>

namespace keldane {
namespace {

/// Capacity that is worth keeping from one statement to the next.
constexpr std::size_t kKeptCapacity = std::size_t{16} * 1024 * 1024;

enum class Treatment : unsigned char { keep, twice, omit };

/// What to do with each byte. The source of a message may have hundreds of megabytes, so this is a
/// table and not a search through a set.
using Treatments = std::array<Treatment, 256>;

Treatments makeTreatments(std::optional<char> omit) {
  Treatments treatments{};
  treatments[static_cast<unsigned char>('\\')] = Treatment::twice;
  treatments[static_cast<unsigned char>('"')] = Treatment::twice;
  if (omit) treatments[static_cast<unsigned char>(*omit)] = Treatment::omit;
  return treatments;
}

void appendQuoted(std::string& text, std::string_view value, const Treatments& treatments) {
  text.reserve(text.size() + value.size() + value.size() / 16 + 64);
  text += '"';
  std::size_t from = 0;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const Treatment treatment = treatments[static_cast<unsigned char>(value[at])];
    if (treatment == Treatment::keep) continue;
    text.append(value, from, at - from);
    if (treatment == Treatment::twice) text.append(2, value[at]);
    from = at + 1;
  }
  text.append(value, from, std::string_view::npos);
  text += '"';
}

}  // namespace

StatementText& StatementText::start(std::string_view sql) {
  if (text_.capacity() > kKeptCapacity) std::string().swap(text_);
  text_.assign(sql);
  return *this;
}

StatementText& StatementText::add(std::string_view sql) {
  text_.append(sql);
  return *this;
}

StatementText& StatementText::addNumber(std::int64_t number) {
  text_.append(std::to_string(number));
  return *this;
}

StatementText& StatementText::addQuoted(std::string_view value, char omit) {
  appendQuoted(text_, value, makeTreatments(omit));
  return *this;
}

StatementText& StatementText::addQuoted(std::string_view value) {
  static const Treatments kTreatments = makeTreatments(std::nullopt);
  appendQuoted(text_, value, kTreatments);
  return *this;
}

}  // namespace keldane
