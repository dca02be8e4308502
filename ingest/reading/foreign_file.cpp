#include "ingest/reading/foreign_file.h"

#include <string>

#include "ingest/reading/program_file.h"

namespace keldane {
namespace {

using namespace std::string_view_literals;

struct Signature {
  std::string_view bytes;
  std::size_t at;
  std::string_view kind;
};

constexpr std::string_view kOutlook =
    "Outlook data file: readpst (package pst-utils) makes mbox files of it";
constexpr std::string_view kOutlookForMac =
    "Outlook for Mac archive: drag the folders out of Outlook, which makes mbox files";
constexpr std::string_view kOutlookMessage =
    "Outlook message: msgconvert (package libemail-outlook-message-perl) makes .eml of it";

// None of these can begin a message or an mbox.
constexpr Signature kSignatures[] = {
    {"\x1F\x8B"sv, 0, "gzip archive"},
    {"PK\x03\x04"sv, 0, "zip archive"},
    {"PK\x05\x06"sv, 0, "zip archive"},
    {"BZh"sv, 0, "bzip2 archive"},
    {"\xFD"
     "7zXZ\0"sv,
     0, "xz archive"},
    {"\x28\xB5\x2F\xFD"sv, 0, "zstd archive"},
    {"7z\xBC\xAF\x27\x1C"sv, 0, "7z archive"},
    {"Rar!\x1A\x07"sv, 0, "rar archive"},
    {"ustar"sv, 257, "tar archive"},
    {"%PDF-"sv, 0, "PDF document"},
    {"\x89PNG"sv, 0, "picture"},
    {"\xFF\xD8\xFF"sv, 0, "picture"},
    {"GIF8"sv, 0, "picture"},
    {"SQLite format 3\0"sv, 0, "database"},
    {"!BDN"sv, 0, kOutlook},
    {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, 0, "Office document"},
};

bool endsWith(std::string_view path, std::string_view ending) {
  if (path.size() < ending.size()) return false;
  path.remove_prefix(path.size() - ending.size());
  for (std::size_t i = 0; i < ending.size(); ++i) {
    const char c = path[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != ending[i]) return false;
  }
  return true;
}

}  // namespace

std::string_view outlookFileKind(std::string_view path) {
  return endsWith(path, ".olm") ? kOutlookForMac : kOutlook;
}

std::optional<std::string_view> foreignKind(std::string_view firstBytes, std::string_view path) {
  for (const Signature& signature : kSignatures) {
    if (firstBytes.size() < signature.at ||
        !firstBytes.substr(signature.at).starts_with(signature.bytes)) {
      continue;
    }
    // Outlook packs its files in forms that others use as well; then the name tells.
    if (signature.kind == "zip archive" && endsWith(path, ".olm")) return kOutlookForMac;
    if (signature.kind == "Office document" && endsWith(path, ".msg")) return kOutlookMessage;
    return signature.kind;
  }
  // The old form of tar has no mark, but its fields are filled up with NULs.
  const bool hasNul = firstBytes.find('\0') != std::string_view::npos;
  if (hasNul && endsWith(path, ".tar")) return "tar archive";
  return programFileKind(path, firstBytes);
}

}  // namespace keldane
