#include "ingest/storing/email_columns.h"

#include <memory>

#include "base/text.h"
#include "ingest/storing/statement_text.h"

namespace keldane {
namespace {

struct TypeRoom {
  std::string_view type;
  std::size_t bytes;
};
constexpr TypeRoom kTypeRooms[] = {
    {"tinytext", 0xff}, {"text", 0xffff}, {"mediumtext", 0xffffff}, {"longtext", 0xffffffff}};

ColumnRoom roomOf(std::string_view type, std::string_view collation) {
  constexpr std::string_view kVarchar = "varchar(";
  ColumnRoom room;
  if (type.starts_with(kVarchar)) {
    room.characters = static_cast<std::size_t>(leadingInt(type.substr(kVarchar.size())));
  }
  for (const TypeRoom& known : kTypeRooms) {
    if (type == known.type) room.bytes = known.bytes;
  }
  // "utf8" is what servers of old call the one of three bytes.
  room.fourByteCharacters = !collation.starts_with("utf8_") && !collation.starts_with("utf8mb3_");
  if (!collation.empty() && !collation.starts_with("utf8")) {
    const std::string name(collation);
    room.conversionStart = "CONVERT(";
    room.conversionEnd = " USING " + name.substr(0, name.find('_')) + ") COLLATE " + name;
  }
  return room;
}

}  // namespace

std::string ColumnRoom::asHeld(std::string_view value) const { return cut(upToNul(value)); }

std::string ColumnRoom::cut(std::string_view text) const {
  std::string held;
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    std::size_t end = at + 1;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80) ++end;
    const bool lost = !fourByteCharacters && static_cast<unsigned char>(text[at]) >= 0xf0;
    const std::string_view character = lost ? "?" : text.substr(at, end - at);
    if (count == characters || held.size() + character.size() > bytes) break;
    held += character;
    at = end;
  }
  return held;
}

std::map<std::string, ColumnRoom, std::less<>> readColumnRooms(ServerSession& session,
                                                               std::string_view table) {
  std::map<std::string, ColumnRoom, std::less<>> rooms;
  const bool sent = session.query("SHOW FULL COLUMNS FROM " + std::string(table));
  const std::unique_ptr<ResultRows> rows = sent ? session.storeResult() : nullptr;
  while (rows && rows->next()) {
    rooms[std::string(rows->cell(0).value_or(""))] =
        roomOf(rows->cell(1).value_or(""), rows->cell(2).value_or(""));
  }
  return rooms;
}

EmailColumns readEmailColumns(ServerSession& session) {
  EmailColumns columns;
  const auto rooms = readColumnRooms(session, "email");
  const auto take = [&rooms](std::string_view name, ColumnRoom& room) {
    if (const auto found = rooms.find(name); found != rooms.end()) room = found->second;
  };
  take("from_fld", columns.from);
  take("to_fld", columns.to);
  take("body_fld", columns.body);
  return columns;
}

}  // namespace keldane
