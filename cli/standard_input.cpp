#include "cli/standard_input.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"

namespace keldane {
namespace {

constexpr std::size_t kBlock = 65536;
/// A file of this age is known to be whole; this one is.
constexpr std::time_t kRestedSeconds = 60;

std::string readBlock() {
  std::string block(kBlock, '\0');
  block.resize(std::fread(block.data(), 1, block.size(), stdin));
  return block;
}

Failure failure(const std::string& path) {
  return {"standard input cannot be kept in " + path + ": " +
          std::generic_category().message(errno)};
}

}  // namespace

std::string readStandardInput() {
  std::string text;
  for (std::string block = readBlock(); !block.empty(); block = readBlock()) text += block;
  return text;
}

Result<std::unique_ptr<StandardInputFile>> StandardInputFile::receive(const std::string& folder) {
  const std::string beginning = readBlock();
  if (beginning.empty()) return Failure{"standard input holds nothing"};
  if (const Result<void> made = makeFolders(folder); !made) return Failure{made.error()};
  const std::string path =
      folder + "/standard input" + (beginning.starts_with("From ") ? ".mbox" : ".eml");
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) return failure(path);
  if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
    ::close(file);
    return Failure{"another command is archiving its standard input; wait for its end"};
  }
  std::unique_ptr<StandardInputFile> input(new StandardInputFile(path, file));
  if (const Result<void> filled = input->fill(beginning); !filled) return Failure{filled.error()};
  return input;
}

Result<void> StandardInputFile::fill(const std::string& beginning) {
  if (::ftruncate(file_, 0) != 0) return failure(path_);
  for (std::string block = beginning; !block.empty(); block = readBlock()) {
    errno = writeAll(file_, block);
    if (errno != 0) return failure(path_);
  }
  if (std::ferror(stdin) != 0) return failure(path_);
  const timespec rested{std::time(nullptr) - kRestedSeconds, 0};
  const timespec times[] = {rested, rested};
  if (::futimens(file_, times) != 0) return failure(path_);
  return {};
}

StandardInputFile::~StandardInputFile() {
  ::unlink(path_.c_str());
  ::close(file_);
}

}  // namespace keldane
