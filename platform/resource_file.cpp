#include "platform/resource_file.h"

#include "base/files.h"

namespace keldane {

std::string resourceFile(std::string_view program, std::string_view name) {
  const std::size_t slash = program.rfind('/');
  const std::string folder =
      slash == std::string_view::npos ? "." : std::string(program.substr(0, slash));
  for (const std::string& place :
       {folder + "/../Resources", folder + "/../share/keldane", std::string(KELDANE_SHARE_FOLDER),
        std::string(KELDANE_SOURCE_RESOURCES)}) {
    std::string path = place + "/";
    path += name;
    if (fileExists(path)) return path;
  }
  return {};
}

}  // namespace keldane
