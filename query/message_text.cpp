#include "query/message_text.h"

#include <cstdlib>

#include <fmt/format.h>

#include "base/text.h"
#include "query/quoted_reply.h"

namespace keldane {
namespace {

enum Column : std::size_t { kId, kDate, kFrom, kTo, kSubject, kMailbox, kBody };

/// A value that is not UTF-8 is left out.
std::string_view utf8OrNothing(const ResultRows& row, std::size_t column) {
  const std::string_view value = row.cell(column).value_or(std::string_view());
  return isValidUtf8(value) ? value : std::string_view();
}

constexpr float kStep = 1.0F / 1024.0F;
constexpr float kMostKB = 1023.0F;

}  // namespace

std::string messageRowSql(std::uint32_t id) {
  return fmt::format(
      "SELECT id,date_fld,from_fld,to_fld,subj_fld,mailbox,body_fld,numAttach FROM email WHERE "
      "id={}",
      id);
}

std::string formatMessageText(const ResultRows& row, std::string_view listDate, bool stripQuoted,
                              const std::optional<std::string>& wholeBody) {
  const std::string_view body =
      wholeBody ? std::string_view(*wholeBody) : utf8OrNothing(row, kBody);
  std::string text;
  text.reserve(body.size() + 1024);
  text.append("ID: ").append(utf8OrNothing(row, kId));
  text.append("\nDATE: ").append(listDate);
  text.append("\nFROM: ").append(toUtf8(row.cell(kFrom).value_or(std::string_view())));
  text.append("\nTO: ").append(utf8OrNothing(row, kTo));
  text.append("\nSUBJECT: ").append(utf8OrNothing(row, kSubject));
  text.append("\nMAILBOX: ").append(utf8OrNothing(row, kMailbox));
  text.append("\n\n").append(body);
  if (stripQuoted && !body.empty()) {
    const std::size_t reply = findQuotedReply(text);
    if (reply != std::string::npos) text.resize(reply);
  }
  return text;
}

std::string formatSizeText(std::string_view lengthBytes) {
  if (lengthBytes.empty() || lengthBytes == "0") return {};
  float size = std::strtof(std::string(lengthBytes).c_str(), nullptr) * kStep;
  const char* unit = "KB";
  if (size > kMostKB) {
    size *= kStep;
    unit = "MB";
  }
  return fmt::format("size: {:.1f} {}", size, unit);
}

}  // namespace keldane
