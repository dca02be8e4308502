#include "query/attachment_list.h"

#include <cstdio>
#include <cstdlib>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/base64.h"
#include "base/shown_text.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kTitle = "ATTACHMENTS:\n";
constexpr int kLeastBinaryBytes = 2;

}  // namespace

void AttachmentFields::clear() {
  attachFields.clear();
  attachCount = 0;
}

int AttachmentFields::loadAttachmentRows(ServerSession& session) {
  const auto rows = session.useResult();
  if (!rows) {
    std::fputs(fmt::format("SQL error: {}\n", session.error()).c_str(), stderr);
    return 1;
  }
  if (!rows->next()) return 1;
  do {
    const std::size_t columns = rows->fieldCount();
    for (std::size_t column = 0; column < columns; ++column) {
      const std::string_view value = rows->cell(column).value_or(std::string_view());
      std::string& field = attachFields.emplace_back();
      if (column > 0 && column + 1 == columns &&
          leadingInt(rows->cell(column - 1).value_or("0")) >= kLeastBinaryBytes) {
        encodeBase64Lines(value, field);
        encodedBytes += field.size();
      } else if (isValidUtf8(value)) {
        field = value;
      }
    }
    ++attachCount;
  } while (rows->next());
  // A link that is cut ends the rows as the last one does.
  if (session.error().empty()) return 0;
  std::fputs(fmt::format("SQL error: {}\n", session.error()).c_str(), stderr);
  return 1;
}

AttachmentStrip makeAttachmentStrip(const std::vector<std::string>& names, bool htmlShowing,
                                    const std::string& folder) {
  AttachmentStrip strip;
  strip.text = kTitle;
  // The only attachment of a message shown as HTML is that HTML.
  if (names.empty() || (names.size() == 1 && htmlShowing)) return strip;
  for (std::size_t index = 0; index < names.size(); ++index) {
    std::string name = names[index];
    if (htmlShowing && name.ends_with(".html")) continue;
    removeAll(name, "\n");
    const std::string shown = shownLine(name);
    strip.text += '\n';
    strip.links.push_back({strip.text.size(), shown.size(),
                           fmt::format("{}{}{}{}{}", folder, folder.ends_with('/') ? "" : "/",
                                       index, kLinkMark, safeFileName(name))});
    strip.text.append(shown).append("\n\n");
  }
  if (names.size() >= 2) strip.text += "\n\n";
  strip.isShown = true;
  return strip;
}

Result<std::vector<AttachmentInfo>> listAttachments(ServerSession& session, std::uint32_t id) {
  const std::string sql = fmt::format(
      "SELECT type_fld,filename_fld,LENGTH(attach_fld) FROM attachments WHERE id={}", id);
  if (!session.query(sql)) return Failure{"SQL error: " + session.error()};
  const auto rows = session.storeResult();
  if (!rows) return Failure{"SQL error: " + session.error()};
  const auto text = [&rows](std::size_t column) {
    return toUtf8(rows->cell(column).value_or(std::string_view()));
  };
  std::vector<AttachmentInfo> found;
  while (rows->next()) {
    found.push_back(
        {unescapeInline(text(1)), text(0), std::strtoull(text(2).c_str(), nullptr, 10)});
  }
  return found;
}

}  // namespace keldane
