#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "archive/archive_database.h"
#include "archive/fingerprints.h"
#include "archive/sql_values.h"
#include "output/export_frame.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_server.h"

namespace keldane {

struct CountingProgress : Progress {
  void step(int count, std::string_view /*detail*/) override { last = count; }
  [[nodiscard]] bool cancelled() const override { return last >= cancelAfter; }
  int last = 0;
  int cancelAfter = 1 << 30;
};

/// An empty archive on the test server, and a folder for what leaves it.
class OutputRig : public testing::Test {
 protected:
  OutputRig() {
    ArchiveDatabase archive(*session, progress, process);
    archive.dbPath = database = TestServer::shared().freshDatabase("output");
    EXPECT_TRUE(archive.openDatabase().empty() && archive.isOpen());
    progress.last = 0;
    EXPECT_TRUE(Fingerprints({*session}).open());
  }

  void run(const std::string& sql) {
    ASSERT_TRUE(session->query(sql)) << sql << ": " << session->error();
  }
  /// A row of `email` with these values; the others are short.
  void addMessage(int id, const std::string& date, const std::string& from,
                  const std::string& subject, const std::string& body,
                  const std::string& mailto = "ann@example.com") {
    run(
        fmt::format("INSERT INTO email VALUES({},{},'b@example.org, c@example.org',{},{},'In',{},"
                    "{},0,'','','h')",
                    id, quotedInline(from), quotedInline(subject), quotedInline(date),
                    quotedInline(mailto), quotedInline(body)));
  }
  void addSource(int id, const std::string& source) {
    run(fmt::format("INSERT INTO origemail VALUES({},{})", id, quotedInline(source)));
  }
  void addAttachment(int id, const std::string& type, const std::string& name,
                     const std::string& bytes) {
    std::string hex;
    for (const char c : bytes) hex += fmt::format("{:02X}", static_cast<unsigned char>(c));
    run(fmt::format("INSERT INTO attachments VALUES({},{},{},0,UNHEX('{}'))", id,
                    quotedInline(type), quotedInline(name), hex));
  }
  MessageList ids(std::vector<std::uint32_t> given) {
    return listOfIds(*session, std::move(given));
  }

  std::unique_ptr<ServerSession> session = TestServer::shared().connect();
  ProcessState process;
  std::string database;
  TemporaryFolder folder;
  CountingProgress progress;
  OutputContext context{*session, progress, [](std::string& source) {
                          // Stands for the additions of a mail client.
                          if (source.starts_with("9\n")) source.erase(0, 2);
                        }};
};

}  // namespace keldane
