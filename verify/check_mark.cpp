#include "verify/check_mark.h"

#include <filesystem>
#include <numeric>

#include <nlohmann/json.hpp>

#include "base/files.h"
#include "find/index_catch_up.h"

namespace keldane {
namespace {

using Json = nlohmann::ordered_json;

Json toJson(const CheckMark& mark) {
  return {{"when", mark.when},
          {"repairs", mark.repairs},
          {"lastId", mark.lastId},
          {"messages", mark.counts.messages},
          {"exact", mark.counts.exact},
          {"bare", mark.counts.bare},
          {"faults", mark.counts.faults},
          {"mended", mark.counts.mended}};
}

std::optional<CheckMark> fromJson(const Json& marks, const char* name) {
  if (!marks.contains(name)) return std::nullopt;
  const Json& json = marks.at(name);
  CheckMark mark;
  json.at("when").get_to(mark.when);
  json.at("repairs").get_to(mark.repairs);
  json.at("lastId").get_to(mark.lastId);
  json.at("messages").get_to(mark.counts.messages);
  json.at("exact").get_to(mark.counts.exact);
  json.at("bare").get_to(mark.counts.bare);
  json.at("faults").get_to(mark.counts.faults);
  json.at("mended").get_to(mark.counts.mended);
  return mark;
}

}  // namespace

std::uint64_t CheckCounts::allFaults() const {
  return std::accumulate(faults.begin(), faults.end(), std::uint64_t{0});
}

std::uint64_t CheckCounts::allMended() const {
  return std::accumulate(mended.begin(), mended.end(), std::uint64_t{0});
}

CheckMarks CheckMarks::load(const std::string& path) {
  const Result<std::string> text = readFile(path);
  if (!text) return {};
  try {
    const Json json = Json::parse(*text);
    return {fromJson(json, "going"), fromJson(json, "last")};
  } catch (const Json::exception&) {
    return {};
  }
}

Result<void> CheckMarks::save(const std::string& path) const {
  Json json = Json::object();
  if (going) json["going"] = toJson(*going);
  if (last) json["last"] = toJson(*last);
  const Result<void> made = makeFolders(std::filesystem::path(path).parent_path());
  return made ? replaceFile(path, json.dump() + "\n") : made;
}

std::string checkMarkPath(const std::string& supportFolder, const std::string& identity) {
  const std::filesystem::path index = indexFolder(supportFolder, identity);
  return supportFolder + "/Checks/" + index.filename().string() + ".json";
}

}  // namespace keldane
