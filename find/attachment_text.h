#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"
#include "platform/limited_tool.h"

namespace keldane {

/// Longest text that is kept of one attachment, in bytes.
inline constexpr std::size_t kMaxAttachmentTextBytes = std::size_t{4} << 20U;

/// What an attachment is, by its name, its type and its first bytes.
enum class DocumentKind { none, pdf, word, sheet, rtf, officeZip };
[[nodiscard]] DocumentKind documentKind(std::string_view contentType, std::string_view name,
                                        std::string_view bytes);

/// Takes the text out of documents that hang on messages. Programs of the system do it as processes
/// of their own, with limits on time, memory and output, on a file whose name is ours in a private
/// folder: nothing that stands in a message gets onto a command line. Any thread, one at a time.
class AttachmentText {
 public:
  using Run = std::function<Result<LimitedOutcome>(const LimitedCall&)>;

  /// `temporaryFolder`: with a trailing slash. `run`: see `runLimited`; a test gives its own.
  explicit AttachmentText(std::string temporaryFolder, Run run = runLimited);

  struct Extracted {
    std::string text;    ///< UTF-8
    std::string remark;  ///< what was left out; empty when nothing was
  };
  /// The text; nullopt for a kind that has none to give. Fails with the reason, as a sentence
  /// without the attachment's name.
  [[nodiscard]] Result<std::optional<Extracted>> extract(std::string_view contentType,
                                                         std::string_view name,
                                                         std::string_view bytes);

 private:
  [[nodiscard]] Result<std::optional<Extracted>> extractByProgram(DocumentKind kind,
                                                                  std::string_view bytes);

  std::string temporaryFolder_;
  Run run_;
};

}  // namespace keldane
