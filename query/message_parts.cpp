#include "query/message_parts.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "base/hex.h"
#include "base/sha256.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kHtmlVersion = "htmlversion.html";

/// A row of the attachment list, by what tells its bytes from others.
struct Row {
  std::string name;
  std::string sha256Hex;
  bool isTaken = false;
};

Result<std::vector<Row>> readRows(ServerSession& session, std::uint32_t id) {
  const std::string sql =
      fmt::format("SELECT filename_fld,SHA2(attach_fld,256) FROM attachments WHERE id={}", id);
  const auto rows = session.query(sql) ? session.storeResult() : nullptr;
  if (!rows) return Failure{session.error()};
  std::vector<Row> found;
  while (rows->next()) {
    found.push_back({toUtf8(rows->cell(0).value_or("")), std::string(rows->cell(1).value_or(""))});
  }
  return found;
}

/// The text without its white space, which the way into the archive changes.
std::string packed(std::string_view text) {
  std::string out;
  std::copy_if(text.begin(), text.end(), std::back_inserter(out),
               [](char c) { return static_cast<unsigned char>(c) > ' '; });
  return out;
}

bool isPlain(const MessagePartInfo& part) { return part.type.empty() || part.type == "text/plain"; }

/// Gathers the parts and finds what each has become.
class PartList {
 public:
  PartList(std::vector<Row> rows, std::optional<std::size_t> wanted)
      : rows_(std::move(rows)), wanted_(wanted) {}

  void addContainer(const mime::PartContainer& container) {
    MessagePartInfo part{container.depth,
                         std::string(container.contentType),
                         "",
                         std::string(container.name),
                         container.source.size(),
                         PartUse::container};
    const bool isMessage = !container.source.empty();
    if (isMessage) part.attachmentNumber = takeRow(container.source);
    if (isMessage) keepBytes(container.source);
    add(std::move(part), "");
    if (isMessage && innermostMessage_ < 0) innermostMessage_ = container.depth;
  }

  void addLeaf(const mime::PartView& view) {
    MessagePartInfo part{view.depth, std::string(view.contentType), std::string(view.charset),
                         std::string(view.name), view.body.size()};
    if (view.depth <= innermostMessage_) innermostMessage_ = -1;
    const bool isInside = innermostMessage_ >= 0;
    if (isInside) part.use = PartUse::insideMessage;
    // A text of the message is its body before it is a row.
    const bool isText = !view.isAttachment && !isInside && (isPlain(part) || isHtml(part));
    if (!isInside && !isText) part.attachmentNumber = takeRow(view.body);
    if (part.attachmentNumber != 0) part.use = PartUse::attachment;
    keepBytes(view.body);
    add(std::move(part), isText ? packed(view.text) : std::string());
  }

  /// Settles the texts, when it is known what the message's body is.
  MessageParts finish(std::string_view plainText) {
    const std::string body = packed(plainText);
    for (std::size_t i = 0; i < found_.parts.size(); ++i) {
      MessagePartInfo& part = found_.parts[i];
      if (texts_[i].empty()) continue;
      if (isPlain(part)) {
        const bool isBody = body.find(texts_[i]) != std::string::npos;
        part.use = isBody ? PartUse::bodyText : PartUse::otherText;
      } else if (const std::size_t number = takeNamed(kHtmlVersion)) {
        part.use = PartUse::html;
        part.attachmentNumber = number;
      } else {
        part.use = PartUse::otherText;
      }
    }
    return std::move(found_);
  }

 private:
  static bool isHtml(const MessagePartInfo& part) { return part.type == "text/html"; }

  void keepBytes(std::string_view bytes) {
    if (wanted_ == found_.parts.size()) found_.bytes = bytes;
  }

  void add(MessagePartInfo part, std::string text) {
    if (innermostMessage_ >= 0 && part.depth <= innermostMessage_) innermostMessage_ = -1;
    found_.parts.push_back(std::move(part));
    texts_.push_back(std::move(text));
  }

  /// Number of the first free row with these bytes; 0: there is none.
  std::size_t takeRow(std::string_view bytes) {
    const bool isAnyFree =
        std::any_of(rows_.begin(), rows_.end(), [](const Row& row) { return !row.isTaken; });
    if (!isAnyFree) return 0;
    const std::string digest = hexText(sha256(bytes));
    return take([&](const Row& row) { return row.sha256Hex == digest; });
  }
  std::size_t takeNamed(std::string_view name) {
    return take([&](const Row& row) { return row.name == name; });
  }
  template <typename Condition>
  std::size_t take(const Condition& condition) {
    const auto row = std::find_if(rows_.begin(), rows_.end(),
                                  [&](const Row& one) { return !one.isTaken && condition(one); });
    if (row == rows_.end()) return 0;
    row->isTaken = true;
    return static_cast<std::size_t>(row - rows_.begin()) + 1;
  }

  std::vector<Row> rows_;
  const std::optional<std::size_t> wanted_;
  MessageParts found_;
  std::vector<std::string> texts_;  ///< of the texts of the message, packed; others empty
  int innermostMessage_ = -1;       ///< depth of the attached message that is being shown
};

}  // namespace

Result<MessageParts> readParts(ServerSession& session, const SourceReading& reading,
                               std::uint32_t id, std::optional<std::size_t> wanted) {
  Result<std::vector<Row>> rows = readRows(session, id);
  if (!rows) return Failure{rows.error()};
  StoredSources sources(session, reading);
  Result<std::string> source = sources.fetch(id);
  if (!source) return Failure{source.error()};
  if (!isSource(*source)) return MessageParts{};
  PartList list(std::move(*rows), wanted);
  mime::MailSource::Options visitors;
  visitors.visitPart = [&list](const mime::PartView& part) { list.addLeaf(part); };
  visitors.visitContainer = [&list](const mime::PartContainer& part) { list.addContainer(part); };
  mime::MailSource message;
  sources.read(id, *source, message, std::move(visitors));
  return list.finish(wholePlainText(message.email()).value_or(""));
}

}  // namespace keldane
