#include "cli/last_list.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/archiver.h"
#include "base/files.h"
#include "base/text.h"

namespace keldane {

LastList::LastList(Archiver& archiver) : archiver_(archiver) {}

std::string LastList::path() const {
  return supportFolder(archiver_.process()) + "/last-list.json";
}

std::string LastList::archiveName() const {
  const ServerConnection& server = archiver_.connections().current();
  return fmt::format("{} on {}:{} {}", archiver_.database().dbPath, server.host, server.port,
                     server.socket);
}

Result<void> LastList::save(const std::vector<Emailrow>& rows) {
  const Result<void> folder = makeFolders(supportFolder(archiver_.process()));
  if (!folder) return folder;
  nlohmann::ordered_json list = {{"archive", archiveName()},
                                 {"ids", nlohmann::ordered_json::array()}};
  for (const Emailrow& row : rows) list["ids"].push_back(row.emailID);
  return replaceFile(
      path(), list.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace), 0600);
}

Result<std::vector<std::string>> LastList::read() const {
  if (!fileExists(path())) return Failure{"there is no last list yet; search or list first"};
  const Result<std::string> bytes = readFile(path());
  if (!bytes) return Failure{bytes.error()};
  const nlohmann::json list = nlohmann::json::parse(*bytes, nullptr, false);
  const bool good = list.is_object() && list.contains("archive") && list["archive"].is_string() &&
                    list.contains("ids") && list["ids"].is_array();
  if (!good) return Failure{"the file of the last list is damaged: " + path()};
  if (list["archive"].get<std::string>() != toUtf8(archiveName())) {
    return Failure{"the last list is of another archive: " +
                   printable(list["archive"].get<std::string>())};
  }
  std::vector<std::string> ids;
  for (const nlohmann::json& id : list["ids"]) {
    if (!id.is_number_unsigned()) {
      return Failure{"the file of the last list is damaged: " + path()};
    }
    ids.push_back(fmt::format("{}", id.get<std::uint64_t>()));
  }
  if (ids.empty()) return Failure{"the last list is empty"};
  return ids;
}

}  // namespace keldane
