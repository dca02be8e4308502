#pragma once

#include <optional>
#include <string_view>

namespace keldane {

/// What a file is that a mail program keeps beside the mail for itself: an index, a list, a cache.
/// Its name tells; but nothing that begins like an mbox is taken for one, whatever it is called.
[[nodiscard]] std::optional<std::string_view> programFileKind(std::string_view path,
                                                              std::string_view firstBytes);
/// The same by the name alone, for those who only count.
[[nodiscard]] std::optional<std::string_view> programFileKind(std::string_view path);

}  // namespace keldane
