#include "mime/headers/header_end.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"

namespace keldane::mime {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kCrLf = "\r\n";
constexpr std::string_view kBlankLine = "\r\n\r\n";
constexpr std::string_view kDoubleCr = "\r\r";
constexpr std::string_view kDoubleLf = "\n\n";

/// Stands for each CR LF while bare CRs are repaired. A mail may hold the marker itself, which then
/// turns into a line end; `core` is in every text in which it could come about.
struct Marker {
  std::string_view text;
  std::string_view core;
};
constexpr Marker kPairMarker = {"%_CRLF_%_CRLF_%", "_CRLF_"};
constexpr Marker kBareCrMarker = {"--{CR}--{LF}--", "{CR}--{LF}"};

/// Length of the run without CR and LF at the beginning of eight bytes, 8 when there is neither.
std::size_t plainRun(std::uint64_t bytes) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kTops = 0x8080808080808080ULL;
  const std::uint64_t lf = bytes ^ (kOnes * '\n');
  const std::uint64_t cr = bytes ^ (kOnes * '\r');
  const std::uint64_t hits = (((lf - kOnes) & ~lf) | ((cr - kOnes) & ~cr)) & kTops;
  return static_cast<std::size_t>(std::countr_zero(hits)) / 8;
}

/// Appends `text` with every line end as CR LF.
bool appendWithCrLf(std::string_view text, DataBuffer& out) {
  // Text with longer lines than that, as most is, fits without another allocation.
  constexpr std::size_t kShortLine = 24;
  constexpr std::size_t kPiece = 4096;
  if (!out.ensureBuffer(text.size() + text.size() / kShortLine + 2 * kPiece + 8)) return false;
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p < end) {
    std::uint8_t* const begin = out.reserveTail(2 * kPiece + 8);
    if (!begin) return false;
    std::uint8_t* to = begin;
    const char* const stop = end - p > static_cast<std::ptrdiff_t>(kPiece) ? p + kPiece : end;
    while (p < stop) {
      if constexpr (std::endian::native == std::endian::little) {
        if (end - p >= 8) {
          std::uint64_t eight;
          std::memcpy(&eight, p, sizeof eight);
          std::memcpy(to, &eight, sizeof eight);
          const std::size_t run = plainRun(eight);
          p += run;
          to += run;
          if (run == 8) continue;
        }
      }
      const char c = *p++;
      if (c != '\n' && c != '\r') {
        *to++ = static_cast<std::uint8_t>(c);
        continue;
      }
      *to++ = '\r';
      *to++ = '\n';
      if (c == '\r' && p < end && *p == '\n') ++p;
    }
    out.commitTail(static_cast<std::size_t>(to - begin));
  }
  return true;
}

/// Appends `text` with each `from` replaced, from left to right.
bool appendReplaced(std::string_view text, std::string_view from, std::string_view to,
                    DataBuffer& out) {
  std::size_t done = 0;
  for (std::size_t at = findBytes(text, from); at != kNone; at = findBytes(text, from, done)) {
    if (!out.append(text.substr(done, at - done)) || !out.append(to)) return false;
    done = at + from.size();
  }
  return out.append(text.substr(done));
}

/// Each bare CR becomes CR LF behind the marker, then every other line end does. Without the marker
/// in the text both come to the same as `appendWithCrLf`.
bool appendWithBareCrRepaired(std::string_view text, const Marker& marker, DataBuffer& out) {
  if (!containsBytes(text, marker.core)) return appendWithCrLf(text, out);
  DataBuffer masked;
  DataBuffer repaired;
  DataBuffer unmasked;
  return appendReplaced(text, kCrLf, marker.text, masked) &&
         appendReplaced(masked.view(), "\r", kCrLf, repaired) &&
         appendReplaced(repaired.view(), marker.text, kCrLf, unmasked) &&
         appendWithCrLf(unmasked.view(), out);
}

/// One search, step by step; each step runs only when those before it left the end open.
class EndSearch {
 public:
  EndSearch(std::string_view text, bool noPairs, DataBuffer& repaired, HeaderEnd& end, LogBase& log)
      : text_(text), repaired_(repaired), end_(end), log_(log) {
    end_ = {text, kNone, kBlankLine, noPairs};
    // Mail of bare LF is common; one search tells that all those for CR would fail.
    hasCr_ = text.find('\r') != kNone;
    if (hasCr_) end_.size = findBytes(text, kBlankLine);
    if (noPairs) return;
    if (hasCr_) doubleCr_ = findBytes(text, kDoubleCr);
  }

  bool repairPairs(bool noPairs) {
    if (!noPairs) doubleLf_ = findBytes(text_, kDoubleLf);
    if (doubleCr_ != kNone && doubleCr_ < end_.size) {
      log_.LogInfo("Using double CR for end of MIME header");
      end_.size = doubleCr_;
    }
    if (!end_.found() && doubleLf_ != kNone && hasCr_ &&
        containsBytes(text_.substr(0, doubleLf_), kCrLf)) {
      log_.LogInfo("Double CRLF not found, but found double-LF");
      log_.LogInfo("Also found CRLF.  The MIME contains a mixture of bare-LF's and CRLF's");
      end_.size = doubleLf_;
    }
    end_.noPairs = doubleCr_ == kNone && doubleLf_ == kNone;
    if (!end_.found() || end_.noPairs) return true;
    log_.LogInfo("Converting all line endings to CRLF.");
    const bool ok = doubleCr_ != kNone ? appendWithBareCrRepaired(text_, kPairMarker, repaired_)
                                       : appendWithCrLf(text_, repaired_);
    return ok && searchRepaired(true);
  }

  void preferEarlierDoubleLf() {
    const std::size_t at = findBytes(text_.substr(0, end_.size), kDoubleLf);
    if (at == kNone) return;
    log_.LogInfo("Found LFLF prior to first double CRLF!");
    end_.size = at;
    end_.terminator = kDoubleLf;
  }

  bool findOddTerminator() {
    struct Odd {
      std::string_view terminator;
      std::string_view message;
    };
    static constexpr Odd kOdd[] = {{"\r\n\r\r\n", "Found CRLFCRCRLF."},
                                   {"\r\n\r", "Found CRLFCR."},
                                   {"\n\r\n", "Found LFCRLF."}};
    if (!hasCr_) return false;
    for (const Odd& odd : kOdd) {
      const std::size_t at = findBytes(text_, odd.terminator);
      if (at == kNone) continue;
      log_.LogInfo(odd.message);
      end_.size = at;
      end_.terminator = odd.terminator;
      const std::size_t doubleLf = findBytes(text_.substr(0, at), kDoubleLf);
      if (doubleLf != kNone) {
        log_.LogInfo("Using LFLF instead..");
        end_.size = doubleLf;
        end_.terminator = kDoubleLf;
      }
      return true;
    }
    return false;
  }

  /// The last resort: line ends of all the text made alike until a blank line shows. The copy stays
  /// in use even when none does.
  bool repairAll() {
    if (containsBytes(text_, kDoubleLf)) {
      log_.LogInfo("Found LFLF, converting to CRLF");
      return appendWithCrLf(text_, repaired_) && searchRepaired(true);
    }
    bool noPairs = false;
    if (hasCr_ && containsBytes(text_, "\r\r\n")) {
      log_.LogInfo("Found CRCRLF. Fixing..");
      DataBuffer threeLess;
      if (!appendReplaced(text_, "\r\r\r\n", kCrLf, threeLess) ||
          !appendReplaced(threeLess.view(), "\r\r\n", kCrLf, repaired_)) {
        return false;
      }
    } else if (appendWithBareCrRepaired(text_, kBareCrMarker, repaired_)) {
      noPairs = true;
    } else {
      return false;
    }
    searchRepaired(noPairs);
    if (end_.found() || !hasCr_ || !containsBytes(text_, kDoubleCr)) return true;
    log_.LogInfo("Found CRCR.");
    repaired_.clear();
    return appendReplaced(text_, "\r", kCrLf, repaired_) && searchRepaired(false);
  }

 private:
  bool searchRepaired(bool noPairs) {
    end_ = {repaired_.view(), findBytes(repaired_.view(), kBlankLine), kBlankLine, noPairs};
    return true;
  }

  std::string_view text_;
  DataBuffer& repaired_;
  HeaderEnd& end_;
  LogBase& log_;
  bool hasCr_ = false;
  std::size_t doubleCr_ = kNone;
  std::size_t doubleLf_ = kNone;
};

}  // namespace

bool findEndOfHeader2(std::string_view text, bool fixLineEnds, bool noPairs, DataBuffer& repaired,
                      HeaderEnd& end, LogBase& log) {
  LogContextExitor context(log, "findEndOfHeader2");
  if (text.substr(0, 2) == kCrLf) {
    log.LogInfo("MIME is missing initial header because it begins with CRLF");
    end = {text, 0, kBlankLine, noPairs};
    return true;
  }
  EndSearch search(text, noPairs, repaired, end, log);
  if (fixLineEnds) {
    if (!search.repairPairs(noPairs)) return false;
  } else if (end.found()) {
    search.preferEarlierDoubleLf();
  }
  return end.found() || search.findOddTerminator() || search.repairAll();
}

}  // namespace keldane::mime
