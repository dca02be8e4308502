#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// Files that are known not to be mail, so that nobody has to guess why nothing came of them.
namespace keldane {

/// So much of a file's beginning is looked at.
inline constexpr std::size_t kLookedAtBytes = 512;

/// What a file is by its first bytes, and for some by its name: an archive, a document, the store
/// of another mail program or what one keeps beside its mail; with what to do about it where
/// something can be done. Nothing when it may be mail.
[[nodiscard]] std::optional<std::string_view> foreignKind(std::string_view firstBytes,
                                                          std::string_view path);

/// What a file that is called like a store of Outlook is, and what to do about it.
[[nodiscard]] std::string_view outlookFileKind(std::string_view path);

}  // namespace keldane
