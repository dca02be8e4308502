#include "output/rebuilt_message.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/base64.h"
#include "base/shown_text.h"
#include "base/text.h"
#include "output/export_frame.h"
#include "output/mail_dates.h"

namespace keldane {
namespace {

constexpr std::string_view kBoundary = "=_keldane-rebuilt-part";  // "=_" is in no Base64 or QP text

/// A header field in one line: a line end in a value would begin another field.
std::string fieldLine(std::string_view name, std::string_view value) {
  return value.empty() ? std::string() : fmt::format("{}: {}\n", name, printable(value));
}

std::string partHead(const StoredAttachment& attachment) {
  std::string type = printable(attachment.type);
  if (type.find('/') == std::string::npos) type = "application/octet-stream";
  std::string name = safeFileName(attachment.name);
  replaceAll(name, "\\", "_");
  replaceAll(name, "\"", "_");
  return fmt::format(
      "--{}\nContent-Type: {}; name=\"{}\"\nContent-Transfer-Encoding: base64\n"
      "Content-Disposition: attachment; filename=\"{}\"\n\n",
      kBoundary, type, name, name);
}

}  // namespace

Result<std::optional<std::string>> rebuiltMessage(ServerSession& session, std::uint32_t id) {
  const auto rows = queryRows(
      session,
      fmt::format("SELECT date_fld,from_fld,to_fld,subj_fld,body_fld FROM email WHERE id={}", id));
  if (!rows) return Failure{rows.error()};
  if (!(*rows)->next()) return std::optional<std::string>();
  std::string text = fieldLine("From", textOf(**rows, 1)) + fieldLine("To", textOf(**rows, 2)) +
                     fieldLine("Subject", textOf(**rows, 3));
  if (const auto date = parseServerDate(textOf(**rows, 0)))
    text += "Date: " + headerDate(*date) + "\n";
  text += "MIME-Version: 1.0\n";
  std::string body = textOf(**rows, 4);
  body.resize(std::min(body.size(), body.find(kAttachmentsMark)));
  normalizeLineEnds(body);
  std::string parts;
  const auto count =
      readAttachments(session, id, [&parts](const StoredAttachment& attachment) -> Result<void> {
        parts += partHead(attachment);
        encodeBase64Lines(attachment.bytes, parts);
        if (!parts.ends_with('\n')) parts += '\n';
        return {};
      });
  if (!count) return Failure{count.error()};
  const std::string plain =
      "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n" + body + "\n";
  if (*count == 0) return std::optional<std::string>(text + plain);
  text +=
      fmt::format("Content-Type: multipart/mixed; boundary=\"{}\"\n\n--{}\n", kBoundary, kBoundary);
  text += plain + parts + fmt::format("--{}--\n", kBoundary);
  return std::optional<std::string>(std::move(text));
}

}  // namespace keldane
