#include "archive/fingerprints.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

#include <fmt/format.h>
#include <zstd.h>

#include "archive/content_digest.h"
#include "archive/sql_values.h"
#include "base/hex.h"

namespace keldane {
namespace {

using mime::SourceEncoding;

/// Goes up by one whenever the engine or the digest comes to read a message differently: rows of
/// another number are made again when they are needed.
constexpr int kReading = 1;

constexpr const char* kCreate =
    "CREATE TABLE IF NOT EXISTS keldane_fingerprints (id INTEGER UNSIGNED PRIMARY KEY NOT "
    "NULL,source_sha256 BINARY(32),content_sha256 BINARY(32),reading SMALLINT UNSIGNED NOT NULL "
    "DEFAULT 0,size_bytes BIGINT UNSIGNED,encoding TINYINT UNSIGNED,line_ends TINYINT "
    "UNSIGNED,path BLOB,offset_bytes BIGINT UNSIGNED,exact_zstd LONGBLOB)";

constexpr const char* kProbe = "SELECT id FROM keldane_fingerprints LIMIT 0";

/// Bytes of any kind as a value; a missing one is NULL.
std::string bytesSql(std::string_view bytes) {
  return bytes.empty() ? "NULL" : "UNHEX(" + quotedInline(hexText(bytes)) + ")";
}

std::string compressed(const std::string& bytes) {
  std::string out(ZSTD_compressBound(bytes.size()), '\0');
  const std::size_t size =
      ZSTD_compress(out.data(), out.size(), bytes.data(), bytes.size(), ZSTD_CLEVEL_DEFAULT);
  if (ZSTD_isError(size) != 0) throw std::bad_alloc();
  out.resize(size);
  return out;
}

/// A source is kept as text, which has no NULs.
bool equalButForNuls(std::string_view stored, std::string_view original) {
  while (true) {
    const std::string_view run = original.substr(0, original.find('\0'));
    if (!stored.starts_with(run)) return false;
    stored.remove_prefix(run.size());
    original.remove_prefix(run.size());
    if (original.empty()) return stored.empty();
    original.remove_prefix(1);
  }
}

/// Whether UTF-8 text can have been read as ISO Latin 1, and does not read the same in both ways.
bool mayBeLatin1(std::string_view text) {
  bool beyondAscii = false;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0xc3) return false;
    beyondAscii = beyondAscii || byte >= 0x80;
  }
  return beyondAscii;
}

std::uint32_t idOf(const ResultRows& rows) {
  return static_cast<std::uint32_t>(
      std::strtoul(std::string(rows.cell(0).value_or("0")).c_str(), nullptr, 10));
}

std::optional<int> numberOf(std::optional<std::string_view> cell) {
  if (!cell) return std::nullopt;
  return std::atoi(std::string(*cell).c_str());
}

}  // namespace

bool Fingerprints::open() {
  // Asked for first: the making of a table stops every writer, even of one that is there.
  available_ = context_.session.query(kProbe);
  if (available_) {
    static_cast<void>(context_.session.storeResult());
  } else if (!context_.readsOnly) {
    available_ = context_.session.query(kCreate);
  }
  return available_;
}

bool Fingerprints::write(std::uint32_t id, const Fingerprint& fingerprint) {
  std::string sql = fmt::format(
      "REPLACE INTO keldane_fingerprints (id,source_sha256,content_sha256,reading,size_bytes,"
      "encoding,line_ends,path,offset_bytes,exact_zstd) VALUES({},{},{},{},{},{},{},{},{},",
      id, bytesSql(fingerprint.sourceSha256), bytesSql(fingerprint.contentSha256),
      readingOf(fingerprint.encoding), fingerprint.sizeBytes,
      static_cast<int>(fingerprint.encoding), fingerprint.lineEnds, bytesSql(fingerprint.path),
      fingerprint.offsetBytes ? std::to_string(*fingerprint.offsetBytes) : "NULL");
  ServerSession& session = context_.session;
  if (fingerprint.exactBytes == nullptr) return session.query(sql += "NULL)");
  const std::string packed = compressed(*fingerprint.exactBytes);
  const std::unique_ptr<Statement> statement = session.makeStatement();
  const BoundValue value[] = {{packed, BindType::blob}};
  return statement && runStatement(*statement, sql += "?)", value) == Ran::done &&
         statement->close();
}

void Fingerprints::remove(std::uint32_t id) {
  if (!available_) return;
  static_cast<void>(
      context_.session.query(fmt::format("DELETE FROM keldane_fingerprints WHERE id={}", id)));
}

/// Adds to a row, or makes one, what has been learnt from the stored source.
void Fingerprints::note(std::uint32_t id, const Content& content) {
  if (!available_ || context_.readsOnly) return;
  // When it is refused, the next look learns it again.
  static_cast<void>(context_.session.query(
      fmt::format("INSERT INTO keldane_fingerprints (id,content_sha256,reading,encoding) "
                  "VALUES({},{},{},{}) ON DUPLICATE KEY UPDATE content_sha256="
                  "VALUES(content_sha256),reading=VALUES(reading),encoding=VALUES(encoding)",
                  id, bytesSql(content.sha256), readingOf(content.encoding),
                  static_cast<int>(content.encoding))));
}

int Fingerprints::readingOf(SourceEncoding encoding) const {
  return fingerprintReading(encoding, !context_.declaredCharsets || context_.declaredCharsets());
}

/// The digest of a row is one that can be compared with those made now.
std::string Fingerprints::knownSql() const {
  return fmt::format("COALESCE(content_sha256 IS NOT NULL AND reading IN ({},{}),0)",
                     readingOf(SourceEncoding::utf8), readingOf(SourceEncoding::latin1));
}

// Looking for a message.

Fingerprints::Look Fingerprints::find(const std::string& condition, const SoughtMessage& sought,
                                      std::uint32_t first) {
  constexpr Look kRefused{Match::refused, 0};
  ServerSession& session = context_.session;
  const std::string known = knownSql();
  const std::string same = fmt::format("COALESCE(source_sha256={} OR (content_sha256={} AND {}),0)",
                                       bytesSql(sought.fingerprint.sourceSha256),
                                       bytesSql(sought.fingerprint.contentSha256), known);
  // Those that are known to be different stay on the server: there may be thousands.
  const bool sent = session.query(
      available_ ? fmt::format("SELECT email.id,{1},encoding FROM email LEFT JOIN "
                               "keldane_fingerprints ON keldane_fingerprints.id=email.id WHERE {0} "
                               "AND ({1} OR NOT {2})",
                               condition, same, known)
                 : "SELECT id,0,NULL FROM email WHERE " + condition);
  const std::unique_ptr<ResultRows> rows = sent ? session.storeResult() : nullptr;
  if (!rows) return kRefused;
  std::vector<std::pair<std::uint32_t, std::optional<int>>> others;
  std::uint32_t found = 0;
  while (rows->next()) {
    const std::uint32_t id = idOf(*rows);
    if (rows->cell(1) == "1") {
      if (found == 0 || id == first) found = id;
    } else {
      others.insert(id == first ? others.begin() : others.end(), {id, numberOf(rows->cell(2))});
    }
  }
  if (found != 0) return {Match::same, found};
  bool firstIsUnknown = false;
  for (const auto& [id, encoding] : others) {
    const Match match = compareSource(id, encoding, sought);
    if (match == Match::same) return {match, id};
    if (match == Match::refused) return kRefused;
    if (match == Match::unknown && id == first) firstIsUnknown = true;
  }
  if (firstIsUnknown) return {Match::unknown, first};
  return {};
}

Fingerprints::Match Fingerprints::compareSource(std::uint32_t id, std::optional<int> encoding,
                                                const SoughtMessage& sought) {
  std::string source;
  const Match read = readSource(id, source);
  if (read != Match::same) return read;
  if (equalButForNuls(source, sought.original)) {
    if (available_ && !context_.readsOnly) static_cast<void>(write(id, sought.fingerprint));
    return Match::same;
  }
  const std::vector<Content> contents = contentsOf(std::move(source), encoding);
  for (const Content& content : contents) {
    if (content.sha256 != sought.fingerprint.contentSha256) continue;
    note(id, content);
    return Match::same;
  }
  if (contents.size() == 1) note(id, contents.front());
  return Match::different;
}

/// `same` when there is a source, `unknown` when there is none.
Fingerprints::Match Fingerprints::readSource(std::uint32_t id, std::string& source) {
  ServerSession& session = context_.session;
  const bool sent = session.query(fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id));
  const std::unique_ptr<ResultRows> rows = sent ? session.storeResult() : nullptr;
  if (!rows) return Match::refused;
  if (!rows->next()) return Match::unknown;
  source = rows->cell(0).value_or("");
  return Match::same;
}

std::vector<Fingerprints::Content> Fingerprints::contentsOf(std::string source,
                                                            std::optional<int> encoding) {
  if (context_.stripPlist) context_.stripPlist(source);
  std::vector<SourceEncoding> ways;
  const bool asLatin1 = encoding == static_cast<int>(SourceEncoding::latin1);
  if (!asLatin1) ways.push_back(SourceEncoding::utf8);
  if (asLatin1 || (!encoding && mayBeLatin1(source))) ways.push_back(SourceEncoding::latin1);
  std::vector<Content> contents;
  for (const SourceEncoding way : ways) {
    ContentDigest digest;
    mime::MailSource::Options options;
    options.encoding = way;
    options.declaredCharsets = !context_.declaredCharsets || context_.declaredCharsets();
    bool anyPart = false;
    options.visitPart = [&](const mime::PartView& part) {
      anyPart = true;
      digest.addPart(part);
    };
    // What cannot be read is like nothing.
    if (!source_.load(source, options) || !anyPart) continue;
    std::string sha256 = digest.finish(source_.email().Subject().value_or(""));
    if (contents.empty() || contents.front().sha256 != sha256) {
      contents.push_back({way, std::move(sha256)});
    }
  }
  source_.clear();
  return contents;
}

// Two stored messages.

Fingerprints::Match Fingerprints::compare(const Stored& one, const Stored& other) {
  if (!one.sourceSha256.empty() && one.sourceSha256 == other.sourceSha256) return Match::same;
  if (!one.comparable && !other.comparable) return compareRows(one.id, other.id);
  for (const Content& left : one.contents) {
    for (const Content& right : other.contents) {
      if (left.sha256 == right.sha256) return Match::same;
    }
  }
  return Match::different;
}

std::optional<Fingerprints::Stored> Fingerprints::load(std::uint32_t id) {
  ServerSession& session = context_.session;
  Stored stored;
  stored.id = id;
  std::optional<int> encoding;
  if (available_) {
    const bool sent = session.query(
        fmt::format("SELECT source_sha256,content_sha256,encoding,{} FROM keldane_fingerprints "
                    "WHERE id={}",
                    knownSql(), id));
    const std::unique_ptr<ResultRows> rows = sent ? session.storeResult() : nullptr;
    if (!rows) return std::nullopt;
    if (rows->next()) {
      stored.sourceSha256 = rows->cell(0).value_or("");
      encoding = numberOf(rows->cell(2));
      if (rows->cell(3) == "1") {
        stored.contents.push_back({SourceEncoding::utf8, std::string(rows->cell(1).value_or(""))});
        return stored;
      }
    }
  }
  std::string source;
  const Match read = readSource(id, source);
  if (read == Match::refused) return std::nullopt;
  stored.comparable = read == Match::same;
  if (stored.comparable) stored.contents = contentsOf(std::move(source), encoding);
  if (stored.contents.size() == 1) note(id, stored.contents.front());
  return stored;
}

Fingerprints::Match Fingerprints::compareRows(std::uint32_t one, std::uint32_t other) {
  const bool sent = context_.session.query(fmt::format(
      "SELECT COUNT(*) FROM email AS a,email AS b WHERE a.id={} AND b.id={} AND BINARY "
      "a.subj_fld=b.subj_fld AND BINARY a.body_fld=b.body_fld AND a.numAttach=b.numAttach AND "
      "BINARY a.attachNames=b.attachNames",
      one, other));
  const std::unique_ptr<ResultRows> rows = sent ? context_.session.storeResult() : nullptr;
  if (!rows || !rows->next()) return Match::refused;
  return rows->cell(0) == "1" ? Match::same : Match::different;
}

int fingerprintReading(SourceEncoding encoding, bool declaredCharsets) {
  const int way = encoding == SourceEncoding::utf8 ? 0 : declaredCharsets ? 2 : 1;
  return 3 * kReading + way;
}

Result<std::string> unpackedBytes(std::string_view packed, std::uint64_t sizeBytes) {
  constexpr const char* kDamaged = "the kept bytes of a source are damaged";
  // The size in the row may be any number: no more is taken than the packed bytes say themselves.
  if (ZSTD_getFrameContentSize(packed.data(), packed.size()) != sizeBytes) return Failure{kDamaged};
  std::string bytes(sizeBytes, '\0');
  const std::size_t size =
      ZSTD_decompress(bytes.data(), bytes.size(), packed.data(), packed.size());
  if (ZSTD_isError(size) != 0 || size != sizeBytes) return Failure{kDamaged};
  return bytes;
}

}  // namespace keldane
