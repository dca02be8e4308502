#include "tests/support/temporary_folder.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace keldane {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::temp_directory_path() / "keldane-test-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  // Resolved, so that a path which a program has worked out can be compared with it.
  path_ = fs::canonical(name).string();
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::operator/(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

std::string TemporaryFolder::write(std::string_view name, std::string_view bytes) const {
  const fs::path path = *this / name;
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  EXPECT_TRUE(file) << path;
  // A run waits for files that have just been written.
  fs::last_write_time(path, fs::last_write_time(path) - std::chrono::hours(1));
  return path.string();
}

std::string TemporaryFolder::writeScript(std::string_view name, std::string_view body) const {
  const std::string path = write(name, "#!/bin/sh\n" + std::string(body));
  fs::permissions(path, fs::perms::owner_all);
  return path;
}

std::string TemporaryFolder::read(std::string_view name) const {
  std::ifstream file(*this / name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

int statusWithFileLimit(std::size_t bytes, const std::function<int()>& act, bool killed) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGXFSZ, killed ? SIG_DFL : SIG_IGN);
    const rlimit limit{bytes, bytes};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::_exit(act());
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

unsigned TemporaryFolder::modeOf(std::string_view name) const {
  return static_cast<unsigned>(fs::symlink_status(*this / name).permissions());
}

}  // namespace keldane
