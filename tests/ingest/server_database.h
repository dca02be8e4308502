#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "archive/archive_database.h"
#include "platform/process_state.h"
#include "tests/support/test_server.h"

namespace keldane {

/// A database with the archive's tables on the test server, made for one test.
class ServerDatabase {
 public:
  ServerDatabase()
      : name(TestServer::shared().freshDatabase("store")), session(TestServer::shared().connect()) {
    Progress progress;
    ArchiveDatabase database(*session, progress, process_);
    database.dbPath = name;
    EXPECT_TRUE(database.openDatabase().empty());
  }

  /// All cells of the answer, between "|", rows between line ends.
  std::string cells(const std::string& sql) const {
    if (!session->query(sql)) return "error: " + session->error();
    const auto rows = session->storeResult();
    std::string text;
    while (rows && rows->next()) {
      if (!text.empty()) text += '\n';
      for (std::size_t i = 0; i < rows->fieldCount(); ++i) {
        if (i > 0) text += '|';
        text += rows->cell(i).value_or("NULL");
      }
    }
    return text;
  }
  std::uint32_t greatestId() const {
    const std::string id = cells("SELECT COALESCE(MAX(id),0) FROM email");
    EXPECT_EQ(id.find_first_not_of("0123456789"), std::string::npos) << id;
    return static_cast<std::uint32_t>(std::strtoul(id.c_str(), nullptr, 10));
  }

  const std::string name;
  const std::unique_ptr<ServerSession> session;

 private:
  ProcessState process_;
};

}  // namespace keldane
