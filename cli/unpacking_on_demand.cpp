// The functions of libarchive that the program calls, which load the library when one is first
// needed. With all that it brings along it takes more than a tenth of the time of a short command,
// and few commands unpack anything.
#include <cstdarg>
#include <cstdio>
#include <type_traits>

#include <archive.h>
#include <archive_entry.h>
#include <dlfcn.h>

namespace {

/// The library's function of this name; null where there is none, and once it is told why.
template <typename Function>
Function* loaded(const char* name, Function* /*typeOf*/) {
  static void* const library = [] {
    void* opened = ::dlopen("libarchive.so.13", RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr) std::fprintf(stderr, "keldane: %s\n", ::dlerror());
    return opened;
  }();
  if (library == nullptr) return nullptr;
  return reinterpret_cast<Function*>(::dlsym(library, name));
}

template <typename Answer, typename... Parameters>
Answer call(const char* name, Answer (*own)(Parameters...), std::type_identity_t<Answer> otherwise,
            std::type_identity_t<Parameters>... arguments) {
  auto* const real = loaded(name, own);
  return real == nullptr ? otherwise : real(arguments...);
}

}  // namespace

extern "C" {

archive* archive_read_new() { return call("archive_read_new", &archive_read_new, nullptr); }

int archive_read_free(archive* packed) {
  return call("archive_read_free", &archive_read_free, ARCHIVE_FATAL, packed);
}

int archive_read_support_filter_bzip2(archive* packed) {
  return call("archive_read_support_filter_bzip2", &archive_read_support_filter_bzip2,
              ARCHIVE_FATAL, packed);
}

int archive_read_support_filter_gzip(archive* packed) {
  return call("archive_read_support_filter_gzip", &archive_read_support_filter_gzip, ARCHIVE_FATAL,
              packed);
}

int archive_read_support_filter_xz(archive* packed) {
  return call("archive_read_support_filter_xz", &archive_read_support_filter_xz, ARCHIVE_FATAL,
              packed);
}

int archive_read_support_filter_zstd(archive* packed) {
  return call("archive_read_support_filter_zstd", &archive_read_support_filter_zstd, ARCHIVE_FATAL,
              packed);
}

int archive_read_support_format_raw(archive* packed) {
  return call("archive_read_support_format_raw", &archive_read_support_format_raw, ARCHIVE_FATAL,
              packed);
}

int archive_read_support_format_tar(archive* packed) {
  return call("archive_read_support_format_tar", &archive_read_support_format_tar, ARCHIVE_FATAL,
              packed);
}

int archive_read_support_format_zip(archive* packed) {
  return call("archive_read_support_format_zip", &archive_read_support_format_zip, ARCHIVE_FATAL,
              packed);
}

int archive_read_open(archive* packed, void* data, archive_open_callback* opens,
                      archive_read_callback* reads, archive_close_callback* closes) {
  return call("archive_read_open", &archive_read_open, ARCHIVE_FATAL, packed, data, opens, reads,
              closes);
}

int archive_read_open_filename(archive* packed, const char* path, size_t blockBytes) {
  return call("archive_read_open_filename", &archive_read_open_filename, ARCHIVE_FATAL, packed,
              path, blockBytes);
}

int archive_read_open_memory(archive* packed, const void* bytes, size_t count) {
  return call("archive_read_open_memory", &archive_read_open_memory, ARCHIVE_FATAL, packed, bytes,
              count);
}

int archive_read_next_header(archive* packed, archive_entry** entry) {
  return call("archive_read_next_header", &archive_read_next_header, ARCHIVE_FATAL, packed, entry);
}

la_ssize_t archive_read_data(archive* packed, void* bytes, size_t most) {
  return call("archive_read_data", &archive_read_data, ARCHIVE_FATAL, packed, bytes, most);
}

int archive_filter_count(archive* packed) {
  return call("archive_filter_count", &archive_filter_count, 0, packed);
}

int archive_format(archive* packed) { return call("archive_format", &archive_format, 0, packed); }

const char* archive_error_string(archive* packed) {
  return call("archive_error_string", &archive_error_string, nullptr, packed);
}

__LA_MODE_T archive_entry_filetype(archive_entry* entry) {
  return call("archive_entry_filetype", &archive_entry_filetype, 0, entry);
}

const char* archive_entry_hardlink(archive_entry* entry) {
  return call("archive_entry_hardlink", &archive_entry_hardlink, nullptr, entry);
}

const char* archive_entry_pathname(archive_entry* entry) {
  return call("archive_entry_pathname", &archive_entry_pathname, nullptr, entry);
}

const char* archive_entry_pathname_utf8(archive_entry* entry) {
  return call("archive_entry_pathname_utf8", &archive_entry_pathname_utf8, nullptr, entry);
}

int archive_entry_is_data_encrypted(archive_entry* entry) {
  return call("archive_entry_is_data_encrypted", &archive_entry_is_data_encrypted, 0, entry);
}

int archive_entry_is_encrypted(archive_entry* entry) {
  return call("archive_entry_is_encrypted", &archive_entry_is_encrypted, 0, entry);
}

void archive_set_error(archive* packed, int number, const char* format, ...) {
  char text[1024];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  auto* const real = loaded("archive_set_error", &archive_set_error);
  if (real != nullptr) real(packed, number, "%s", text);
}

}  // extern "C"
