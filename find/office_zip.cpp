#include "find/office_zip.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>

#include <archive.h>
#include <archive_entry.h>

#include "find/html_text.h"

namespace keldane {
namespace {

constexpr std::size_t kMaxUnpackedBytes = std::size_t{64} << 20U;
constexpr int kMaxEntries = 10000;

/// Where the documents keep what a person reads.
constexpr std::array<std::string_view, 12> kTextFiles = {"content.xml",
                                                         "word/document",
                                                         "word/header",
                                                         "word/footer",
                                                         "word/footnotes",
                                                         "word/endnotes",
                                                         "word/comments",
                                                         "xl/sharedStrings",
                                                         "xl/worksheets/sheet",
                                                         "ppt/slides/slide",
                                                         "ppt/notesSlides/notesSlide",
                                                         "ppt/comments"};

bool holdsText(std::string_view path) {
  return path.ends_with(".xml") &&
         std::any_of(kTextFiles.begin(), kTextFiles.end(),
                     [&](std::string_view beginning) { return path.starts_with(beginning); });
}

struct CloseArchive {
  void operator()(archive* zip) const { archive_read_free(zip); }
};

/// slide2 before slide10.
std::pair<std::size_t, std::string> readingOrder(const std::string& path) {
  return {path.size(), path};
}

Result<std::string> unpack(archive* zip, std::size_t& left) {
  std::string xml;
  std::array<char, 65536> chunk;
  while (true) {
    const la_ssize_t got = archive_read_data(zip, chunk.data(), chunk.size());
    if (got < 0) return Failure{"the file is damaged or has a password"};
    if (got == 0) return xml;
    const std::size_t taken = std::min(left, static_cast<std::size_t>(got));
    xml.append(chunk.data(), taken);
    left -= taken;
    if (left == 0) return xml;
  }
}

}  // namespace

Result<std::string> officeZipText(std::string_view bytes, std::size_t maxBytes) {
  const std::unique_ptr<archive, CloseArchive> zip(archive_read_new());
  if (!zip) return Failure{"there is not enough memory"};
  archive_read_support_format_zip(zip.get());
  if (archive_read_open_memory(zip.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) {
    return Failure{"the file is no zip that can be read"};
  }
  std::map<std::pair<std::size_t, std::string>, std::string> texts;
  std::size_t left = kMaxUnpackedBytes;
  archive_entry* entry = nullptr;
  for (int i = 0; i < kMaxEntries && left > 0; ++i) {
    const int state = archive_read_next_header(zip.get(), &entry);
    if (state == ARCHIVE_EOF) break;
    if (state != ARCHIVE_OK && state != ARCHIVE_WARN) return Failure{"the file is damaged"};
    const char* name = archive_entry_pathname(entry);
    if (name == nullptr || !holdsText(name)) continue;
    if (archive_entry_is_encrypted(entry) != 0) return Failure{"the file has a password"};
    Result<std::string> xml = unpack(zip.get(), left);
    if (!xml) return xml;
    if (xml->find('<') > 3) return Failure{"the file has a password"};
    texts[readingOrder(name)] = markupText(*xml, Markup::document, maxBytes);
  }
  if (texts.empty()) return Failure{"the file is damaged or no document"};
  std::string text;
  for (const auto& [order, piece] : texts) {
    if (text.size() >= maxBytes) break;
    text.append(piece, 0, maxBytes - text.size()) += '\n';
  }
  return text;
}

}  // namespace keldane
