#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What mail programs and services note about a message in its file.
namespace keldane {

/// Why such a message is left out, as the ledger has it.
inline constexpr std::string_view kMarkedDeleted = "its mail program has it marked as deleted";

/// Whether a mail program has marked the message as deleted, which it will take away when it next
/// tidies the folder: by the name of its file in a Maildir.
[[nodiscard]] bool isMarkedDeletedByName(std::string_view path);

/// The same by the header of a message of an mbox. What one program writes in front of all other
/// fields counts only there, since a sender cannot write in front of the servers' fields; of the
/// fields that others write at the end, the last one counts.
[[nodiscard]] bool isMarkedDeletedInMbox(std::string_view message);

/// So many characters of keywords are kept with a message.
inline constexpr std::size_t kMostLabelUnits = 127;

/// The labels of an exported message as keywords, which stand between blanks: "Work, Home office"
/// gives "Work Home_office". Those that find no room are left out; the source has them all.
[[nodiscard]] std::string keywordsOfLabels(std::string_view labels);

}  // namespace keldane
