#include "ingest/reading/program_file.h"

#include "base/text.h"

namespace keldane {
namespace {

struct ProgramFile {
  std::string_view pattern;  ///< of the name; one star at most
  std::string_view kind;
};

constexpr std::string_view kIndex = "index of a mail program";
constexpr std::string_view kState = "state of a mail program";
constexpr std::string_view kFilters = "filters of a mail program";

constexpr ProgramFile kProgramFiles[] = {
    {"*.msf", kIndex},
    {"*.ev-summary", kIndex},
    {"*.ev-summary-meta", kIndex},
    {"*.ibex.index", kIndex},
    {"*.ibex.index.data", kIndex},
    {"*.cmeta", kState},
    {".*.index", kIndex},
    {".*.index.ids", kIndex},
    {".*.index.sorted", kIndex},
    {"table_of_contents", "table of contents of a mailbox"},
    {".mh_sequences", "sequences of an MH folder"},
    {".xmhcache", kIndex},
    {".claws_*", kIndex},
    {"*.glass", kIndex},
    {"iamglass", kIndex},
    {"flintlock", "lock of an index"},
    {".sylpheed_*", kIndex},
    {"maildirfolder", "mark of a Maildir folder"},
    {"maildirsize", "size of a Maildir"},
    {"subscriptions", "list of subscribed folders"},
    {".subscriptions", "list of subscribed folders"},
    {".mailboxlist", "list of subscribed folders"},
    {"dovecot*", "index of a mail server"},
    {"courierimap*", "index of a mail server"},
    {"courierpop3*", "index of a mail server"},
    {".mbsyncstate*", kState},
    {".uidvalidity", kState},
    {".isyncuidmap.db", kState},
    {"popstate.dat", kState},
    {"folders.db*", kIndex},
    {"folderTree.json", kState},
    {"folderCache.json", kState},
    {"virtualFolders.dat", "saved searches of a mail program"},
    {"msgFilterRules.dat", kFilters},
    {"filterlog.html", kFilters},
    {"junklog.html", kFilters},
    {"feeds.json*", "list of feeds"},
    {"feeditems.json*", "list of feeds"},
    {"feeds.rdf", "list of feeds"},
    {"feeditems.rdf", "list of feeds"},
};

/// Every file of a run comes by here.
bool matches(std::string_view name, std::string_view pattern) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return name == pattern;
  return name.size() + 1 >= pattern.size() && name.starts_with(pattern.substr(0, star)) &&
         name.ends_with(pattern.substr(star + 1));
}

}  // namespace

std::optional<std::string_view> programFileKind(std::string_view path) {
  const std::string_view name = lastPathComponent(path);
  for (const ProgramFile& file : kProgramFiles) {
    if (matches(name, file.pattern)) return file.kind;
  }
  return std::nullopt;
}

std::optional<std::string_view> programFileKind(std::string_view path,
                                                std::string_view firstBytes) {
  // An mbox may be called "subscriptions".
  if (firstBytes.starts_with("From ")) return std::nullopt;
  return programFileKind(path);
}

}  // namespace keldane
