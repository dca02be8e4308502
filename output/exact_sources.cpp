#include "output/exact_sources.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

#include <fmt/format.h>

#include "archive/fingerprints.h"
#include "archive/source_origin.h"
#include "base/sha256.h"
#include "base/text.h"
#include "output/rebuilt_message.h"

namespace keldane {
namespace {

enum Column : std::size_t { kSource, kSha256, kSize, kEncoding, kLineEnds, kPath, kExact };

std::uint64_t numberOf(const ResultRows& row, std::size_t column) {
  return std::strtoull(std::string(row.cell(column).value_or("0")).c_str(), nullptr, 10);
}

/// The message out of a file that says in its first line how long it is, and has a property list
/// behind it.
void cutToMessage(std::string& bytes) {
  const std::size_t lineEnd = bytes.find('\n');
  if (lineEnd == std::string::npos || std::isdigit(static_cast<unsigned char>(bytes[0])) == 0) {
    return;
  }
  const std::uint64_t length = std::strtoull(bytes.c_str(), nullptr, 10);
  if (length == 0 || length > bytes.size() - lineEnd - 1) return;
  bytes.resize(lineEnd + 1 + length);
  bytes.erase(0, lineEnd + 1);
}

/// The origin of a row as far as it is known; nullopt when nothing is noted of the bytes.
std::optional<SourceOrigin> originOf(const ResultRows& row) {
  if (!row.cell(kSha256) || !row.cell(kSize)) return std::nullopt;
  SourceOrigin origin;
  origin.sha256 = *row.cell(kSha256);
  origin.sizeBytes = numberOf(row, kSize);
  const bool isLatin1 =
      numberOf(row, kEncoding) == static_cast<std::uint64_t>(mime::SourceEncoding::latin1);
  origin.encoding = isLatin1 ? mime::SourceEncoding::latin1 : mime::SourceEncoding::utf8;
  origin.lineEnds = static_cast<LineEnds>(numberOf(row, kLineEnds));
  origin.path = row.cell(kPath).value_or("");
  if (const auto packed = row.cell(kExact)) {
    Result<std::string> bytes = unpackedBytes(*packed, origin.sizeBytes);
    if (bytes) origin.exactBytes = std::move(*bytes);
  }
  return origin;
}

bool isProved(const std::string& bytes, const SourceOrigin& origin) {
  return bytes.size() == origin.sizeBytes && sha256(bytes) == origin.sha256;
}

std::string withoutNuls(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
  return text;
}

/// Whether the text holds more than the file did: parts that lay beside it.
bool isAssembled(const std::string& text, const SourceOrigin& origin) {
  if (!origin.exactBytes || origin.path.find("partial") == std::string::npos) return false;
  std::string own = *origin.exactBytes;
  static_cast<void>(takeText(own, origin.encoding));
  return withoutNuls(std::move(own)) != withoutNuls(text);
}

CarriedSource carry(std::string text, const std::optional<SourceOrigin>& origin,
                    const OutputContext& context) {
  const bool hasCountLine = origin && origin->path.ends_with(".emlx");
  if (origin && isAssembled(text, *origin)) {
    if (context.stripPlist) context.stripPlist(text);
    return {std::move(text), SourceState::assembled};
  }
  if (origin) {
    std::string bytes = restoredBytes(text, *origin);
    if (isProved(bytes, *origin)) {
      if (hasCountLine) cutToMessage(bytes);
      return {std::move(bytes), SourceState::exact};
    }
  }
  if (context.stripPlist) context.stripPlist(text);
  return {std::move(text), SourceState::asText};
}

}  // namespace

Result<std::unique_ptr<ResultRows>> ExactSources::queryOrigin(std::uint32_t id) {
  if (!hasFingerprints_) {
    // An archive that nothing has been added to of late has no such table.
    hasFingerprints_ =
        queryRows(context_.session, "SELECT id FROM keldane_fingerprints LIMIT 1").has_value();
  }
  return queryRows(
      context_.session,
      *hasFingerprints_
          ? fmt::format("SELECT orig_fld,source_sha256,size_bytes,encoding,line_ends,path,"
                        "exact_zstd FROM origemail LEFT JOIN keldane_fingerprints ON "
                        "keldane_fingerprints.id=origemail.id WHERE origemail.id={}",
                        id)
          : fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id));
}

Result<std::optional<CarriedSource>> ExactSources::read(std::uint32_t id) {
  std::string text;
  std::optional<SourceOrigin> known;
  {
    const auto rows = queryOrigin(id);
    if (!rows) return Failure{rows.error()};
    if ((*rows)->next()) {
      text = (*rows)->cell(kSource).value_or("");
      known = originOf(**rows);
    }
  }
  if (!text.empty() || (known && known->exactBytes)) {
    return std::optional<CarriedSource>(carry(std::move(text), known, context_));
  }
  Result<std::optional<std::string>> rebuilt = rebuiltMessage(context_.session, id);
  if (!rebuilt) return Failure{rebuilt.error()};
  if (!*rebuilt) return std::optional<CarriedSource>();
  return std::optional<CarriedSource>({std::move(**rebuilt), SourceState::rebuilt});
}

Result<void> countSource(std::uint32_t id, SourceState state, bool requireExact,
                         SourceCounts& counts) {
  if (requireExact && state != SourceState::exact) {
    const char* const why = state == SourceState::asText ? "only its text is known, not its bytes"
                            : state == SourceState::assembled ? "its file held only a part of it"
                                                              : "the archive has no source of it";
    return Failure{fmt::format("message {} cannot be given back to the byte: {}", id, why)};
  }
  switch (state) {
    case SourceState::exact:
      ++counts.exact;
      break;
    case SourceState::asText:
      ++counts.asText;
      break;
    case SourceState::assembled:
      ++counts.assembled;
      break;
    case SourceState::rebuilt:
      ++counts.rebuilt;
      break;
  }
  return {};
}

}  // namespace keldane
