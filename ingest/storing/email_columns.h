#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "archive/server_session.h"

namespace keldane {

/// What a column of text keeps of a value.
struct ColumnRoom {
  std::size_t characters = static_cast<std::size_t>(-1);
  std::size_t bytes = static_cast<std::size_t>(-1);
  bool fourByteCharacters = true;  ///< false: each of them is stored as "?"
  /// Around a literal that is compared with the column, where its text is not UTF-8: the server
  /// changes the literal as it did the value, and refuses to compare many that are unchanged.
  std::string conversionStart{};
  std::string conversionEnd{};

  /// The value as it comes back from the column, but for that conversion.
  [[nodiscard]] std::string cut(std::string_view value) const;
  /// The same of one that was sent up to its first NUL.
  [[nodiscard]] std::string asHeld(std::string_view value) const;
};

/// The columns of a table by their names. Asks the server, with one statement; empty when it does
/// not tell.
[[nodiscard]] std::map<std::string, ColumnRoom, std::less<>> readColumnRooms(
    ServerSession& session, std::string_view table);

/// The columns of `email` by which a message is told from others. Asked for as it was sent, a value
/// that its column could not hold would be found by no question, and the message archived again by
/// every run.
struct EmailColumns {
  ColumnRoom from{.characters = 255};
  ColumnRoom to;
  ColumnRoom body;
};

/// Asks the server, with one statement. What it does not tell is as in a new archive.
[[nodiscard]] EmailColumns readEmailColumns(ServerSession& session);

}  // namespace keldane
