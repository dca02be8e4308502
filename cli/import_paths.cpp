#include "cli/import_paths.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "cli/program.h"

namespace keldane {

std::vector<std::string> importPaths(const std::vector<std::string>& paths,
                                     std::unique_ptr<StandardInputFile>& input, Program& program) {
  std::vector<std::string> absolute;
  for (const std::string& path : paths) {
    if (path == "-") {
      if (input != nullptr) continue;
      auto received = StandardInputFile::receive(supportFolder(program.archiver().process()));
      if (!received) {
        program.exitStatus = program.fail(received.error());
        return {};
      }
      input = std::move(*received);
      absolute.push_back(input->path());
      continue;
    }
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
      program.exitStatus = program.fail(fmt::format("no such file or folder: {}", path));
      return {};
    }
    absolute.push_back(std::filesystem::absolute(path, error).lexically_normal().string());
    if (absolute.back().size() > 1 && absolute.back().back() == '/') absolute.back().pop_back();
  }
  return absolute;
}

}  // namespace keldane
