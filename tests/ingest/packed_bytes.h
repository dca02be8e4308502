#pragma once

#include <string>
#include <utility>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

namespace keldane {

using PackedFiles = std::vector<std::pair<std::string, std::string>>;

/// The files packed as the format and the filters say, as another program would.
inline std::string pack(const char* format, const std::vector<const char*>& filters,
                        const PackedFiles& files, const char* password = nullptr) {
  std::string bytes(64U << 20U, '\0');
  std::size_t used = 0;
  archive* out = archive_write_new();
  EXPECT_EQ(archive_write_set_format_by_name(out, format), ARCHIVE_OK);
  for (const char* filter : filters)
    EXPECT_EQ(archive_write_add_filter_by_name(out, filter), ARCHIVE_OK);
  if (password != nullptr) {
    EXPECT_EQ(archive_write_set_options(out, "zip:encryption=traditional"), ARCHIVE_OK);
    archive_write_set_passphrase(out, password);
  }
  EXPECT_EQ(archive_write_open_memory(out, bytes.data(), bytes.size(), &used), ARCHIVE_OK);
  for (const auto& [name, content] : files) {
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname(entry, name.c_str());
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_entry_set_perm(entry, 0644);
    archive_entry_set_size(entry, static_cast<la_int64_t>(content.size()));
    EXPECT_EQ(archive_write_header(out, entry), ARCHIVE_OK);
    EXPECT_EQ(archive_write_data(out, content.data(), content.size()),
              static_cast<la_ssize_t>(content.size()));
    archive_entry_free(entry);
  }
  archive_write_close(out);
  archive_write_free(out);
  bytes.resize(used);
  return bytes;
}

}  // namespace keldane
