#include <cstdio>
#include <memory>

#include <fmt/format.h>

#include "archive/sql_values.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/count_text.h"
#include "cli/index_access.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "find/index_check.h"
#include "verify/check_mark.h"

namespace keldane {
namespace {

std::string oneValue(ServerSession& session, const std::string& sql) {
  return session.query(sql) ? fetchFirstCell(session) : "0";
}

/// Bytes that the archive takes on the server's disk; "0" when the server does not tell.
std::string sizeOf(ServerSession& session, const std::string& database) {
  const std::string quoted = quotedInline(database);
  // The files as they are now, for a login that may see them: one name of MariaDB, one of MySQL 8.
  for (const char* table : {"innodb_sys_tablespaces", "innodb_tablespaces"}) {
    const std::string size =
        oneValue(session, fmt::format("SELECT CAST(COALESCE(SUM(file_size),0) AS UNSIGNED) FROM "
                                      "information_schema.{} WHERE SUBSTRING_INDEX(name,'/',1)={}",
                                      table, quoted));
    if (size != "0") return size;
  }
  // What the server thinks of its tables may be older than the last run until it is told to look.
  for (const char* statement :
       {"SET SESSION information_schema_stats_expiry=0",
        "ANALYZE NO_WRITE_TO_BINLOG TABLE email,attachments,origemail,tags"}) {
    if (session.query(statement)) static_cast<void>(session.storeResult());
  }
  return oneValue(session,
                  "SELECT CAST(COALESCE(SUM(data_length+index_length),0) AS UNSIGNED) FROM "
                  "information_schema.tables WHERE table_schema=" +
                      quoted);
}

/// What is known of how whole the archive is.
struct Proof {
  std::uint64_t exactSources = 0;  ///< of which the very bytes are known
  IndexState index;
  CheckMarks checks;
};

std::optional<Proof> readProof(Archiver& archiver, Program& program) {
  Proof proof;
  ServerSession& session = archiver.session();
  // Of a file that held only a part of its message the bytes are no source. An archive of an older
  // program has no such table.
  proof.exactSources = std::strtoull(
      oneValue(session,
               "SELECT COUNT(*) FROM keldane_fingerprints f JOIN origemail o ON o.id=f.id WHERE "
               "f.source_sha256 IS NOT NULL AND NOT (f.exact_zstd IS NOT NULL AND "
               "COALESCE(f.path,'') LIKE '%partial%')")
          .c_str(),
      nullptr, 10);
  const Result<std::string> identity = archiveIdentity(session);
  const Result<std::unique_ptr<IndexAccess>> access = IndexAccess::open(archiver, program);
  Result<IndexState> index = access ? lookAtIndex(session, (*access)->index(), false)
                                    : Result<IndexState>(Failure{access.error()});
  if (!index || !identity) {
    program.exitStatus = program.failSql(index ? identity.error() : index.error());
    return std::nullopt;
  }
  proof.index = std::move(*index);
  proof.checks = CheckMarks::load(checkMarkPath(supportFolder(archiver.process()), *identity));
  return proof;
}

std::string indexWords(const IndexState& index) {
  if (!index.exists) return "none yet";
  if (!index.damage.empty()) return "of no use, the next find makes it anew: " + index.damage;
  if (index.behind == 0) return "in step";
  return countText(static_cast<long long>(index.behind), "message") + " behind";
}

std::string checkWords(const CheckMarks& checks) {
  std::string words = "never";
  if (checks.last) {
    const CheckCounts& counts = checks.last->counts;
    const std::uint64_t left = counts.allFaults() - counts.allMended();
    words = fmt::format("{}, {}: {}", checks.last->when,
                        countText(static_cast<long long>(counts.messages), "message"),
                        left == 0 ? "all whole" : countText(static_cast<long long>(left), "fault"));
  }
  if (checks.going) {
    words += fmt::format("; one of {} was interrupted", checks.going->when);
  }
  return words;
}

nlohmann::ordered_json checkJson(const std::optional<CheckMark>& mark) {
  if (!mark) return nullptr;
  return {{"when", isoDate(mark->when)},
          {"messages", mark->counts.messages},
          {"exact", mark->counts.exact},
          {"faults", mark->counts.allFaults()},
          {"mended", mark->counts.allMended()}};
}

void runStatus(bool json, Program& program) {
  Archiver* archiver = program.connected();
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  ServerSession& session = archiver->session();
  const ServerConnection& connection = archiver->connections().current();
  const std::string database = archiver->database().dbPath;
  const std::string server = oneValue(session, "SELECT VERSION()");
  const std::string messages = oneValue(session, "SELECT count(id) FROM email");
  const std::string newest = oneValue(session, "SELECT MAX(date_fld) FROM email");
  const std::string bytes = sizeOf(session, database);
  const std::string encryption = session.encryption();
  const std::optional<HostPlace> place = session.place();
  const std::string where = place ? " (" + printable(hostText(*place)) + ")" : std::string();
  if (!json) {
    std::fputs(
        fmt::format("Connection: {}{}\nServer:     {}\nEncryption: {}\nDatabase:   {}\n"
                    "Messages:   {}\nNewest:     {}\nSize:       {:.1f} MB\n",
                    connection.name, where, server, encryption.empty() ? "none" : encryption,
                    database, messages, newest == "0" ? "none" : newest, leadingDouble(bytes) / 1e6)
            .c_str(),
        stdout);
    // What follows reads the table of sources: of a large archive that takes its time.
    std::fflush(stdout);
  }
  const std::optional<Proof> proof = readProof(*archiver, program);
  if (!proof) return;
  if (json) {
    printJson({{"connection", connection.name},
               {"host", connection.host},
               {"socket", connection.socket},
               {"node", place ? hostText(*place) : ""},
               {"server", server},
               {"encryption", encryption},
               {"database", database},
               {"messages", std::strtoull(messages.c_str(), nullptr, 10)},
               {"newest", newest == "0" ? "" : newest},
               {"bytes", std::strtoull(bytes.c_str(), nullptr, 10)},
               {"exactSources", proof->exactSources},
               {"index",
                {{"exists", proof->index.exists},
                 {"damage", proof->index.damage},
                 {"behind", proof->index.behind}}},
               {"verified", checkJson(proof->checks.last)},
               {"verifying", checkJson(proof->checks.going)}});
    return;
  }
  std::fputs(fmt::format("Exact:      {} sources to the byte\nWord index: {}\nVerified:   {}\n",
                         proof->exactSources, printable(indexWords(proof->index)),
                         checkWords(proof->checks))
                 .c_str(),
             stdout);
}

}  // namespace

Command statusCommand(Program& program) {
  auto json = std::make_shared<bool>(false);
  return {.name = "status",
          .help = "Show server, database, number of messages and size, and how whole it is",
          .options = {{"--json", json.get(), "Print one JSON object"}},
          .run = [json, &program] { runStatus(*json, program); }};
}

}  // namespace keldane
