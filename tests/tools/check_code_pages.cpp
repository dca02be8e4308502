// Compares every code page table with a second source and fails on a difference that is not listed
// here with its reason. Prints the lists of docs/code-pages.md.
#include <iconv.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mime/charsets/charset_names.h"
#include "mime/charsets/code_pages.h"

namespace {

using keldane::mime::code_pages::DoublePage;
using keldane::mime::code_pages::kNumPageSources;
using keldane::mime::code_pages::kPageSources;
using keldane::mime::code_pages::Origin;
using keldane::mime::code_pages::Page;
using keldane::mime::code_pages::PageSource;
using keldane::mime::code_pages::Shape;
namespace cp = keldane::mime::code_pages;
namespace names = keldane::mime::charset_names;

/// Bytes as one number to the character; what is undefined is absent.
using Table = std::map<std::uint32_t, std::uint32_t>;

/// What may differ as a class.
enum Rule : unsigned {
  kNothing = 0,
  /// Theirs has a control or the private use area where ours is undefined.
  kFills = 1,
  /// Theirs is undefined: a smaller page.
  kLacks = 2,
  /// Theirs has full-width katakana for half-width.
  kWideKatakana = 4,
};

struct Second {
  int codePage;
  std::string iconvName;
  /// The number of differences; it must be met exactly.
  int expected = 0;
  unsigned rules = kNothing;
  /// Those that no rule covers: "A1:00AF/203E" is ours and theirs, "-" undefined.
  const char* accepted = "";
  const char* reason = "";
};

constexpr char kUserDefined[] = "theirs has private characters or controls for undefined bytes";
constexpr char kRfc1345[] = "theirs follows RFC 1345, ours IBM's own table";
constexpr char kOldCurrency[] = "theirs is the page before the euro";
constexpr char kEucJp[] =
    "theirs has no vendor characters and maps six signs as Unix systems do, ours as Windows does";
constexpr char kEucJpSigns[] =
    "A1C1:FF5E/301C A1C2:2225/2016 A1DD:FF0D/2212 A1F1:FFE0/00A2 A1F2:FFE1/00A3 A2CC:FFE2/00AC";
constexpr char kEucCn[] = "ours is part of 936, which has more signs and maps two otherwise";
constexpr char kEucKr[] = "theirs has controls for undefined bytes and a later postal sign";

/// The pages that iconv has under another name than that of their number, or otherwise.
const Second kSeconds[] = {
    {708, "ASMO-708"},
    {709, "ASMO_449"},
    {870, "IBM870", 1, kNothing, "B0:02D9/00B7", kRfc1345},
    {874, "CP874"},
    {932, "CP932"},
    {875, "CP875", 3, kNothing, "6A:007C/- 74:00A0/2207 DD:0387/00B7",
     "theirs has other signs, ours IBM's own table"},
    {950, "CP950", 409, kFills, "", kUserDefined},
    {1026, "IBM1026", 2, kNothing, "9D:00B8/02DB BC:00AF/2014", kRfc1345},
    {10000, "MACINTOSH", 2, kNothing, "C6:2206/0394 F0:F8FF/E01E",
     "theirs has a Greek letter for the increment sign and another private code for the logo"},
    {10007, "MAC-CYRILLIC", 1, kNothing, "FF:20AC/00A4", kOldCurrency},
    {10017, "MACUK", 1, kNothing, "FF:20AC/00A4", kOldCurrency},
    {10029, "MAC-CENTRALEUROPE"},
    {20105, "ISO646-US"},
    {20106, "DIN_66003"},
    {20107, "SEN_850200_B"},
    {20108, "NS_4551-1"},
    {20127, "US-ASCII"},
    {20278, "IBM278", 2, kNothing, "71:005C/00C9 E0:00C9/005C", kRfc1345},
    {20285, "IBM285", 1, kNothing, "A1:00AF/203E", kRfc1345},
    {20290, "IBM290", 98, kLacks | kWideKatakana, "6A:-/00A6",
     "theirs has full-width katakana and no small letters"},
    {20424, "IBM424", 2, kNothing, "78:2017/21D4 8F:00B1/-", kRfc1345},
    {20838, "CP9030"},
    {20866, "KOI8-R"},
    {20871, "IBM871", 2, kNothing, "4A:00DE/00FE C0:00FE/00DE", kRfc1345},
    {20932, "EUC-JP", 514, kFills | kLacks, kEucJpSigns, kEucJp},
    {20936, "EUC-CN", 35, kLacks, "A1A4:00B7/30FB A1AA:2014/2015", kEucCn},
    {20949, "EUC-KR", 33, kFills, "A2E8:-/327E", kEucKr},
    {21866, "KOI8-U"},
    {38598, "ISO-8859-8"},
    {51932, "EUC-JP", 514, kFills | kLacks, kEucJpSigns, kEucJp},
    {51936, "EUC-CN", 35, kLacks, "A1A4:00B7/30FB A1AA:2014/2015", kEucCn},
    {51949, "EUC-KR", 33, kFills, "A2E8:-/327E", kEucKr},
};

Table ourTable(const Page& page) {
  Table table;
  table[0] = 0;
  const auto& single = page.single ? page.single->toUnicode : page.twoByte->single;
  for (std::uint32_t b = 1; b < 256; ++b) {
    if (single[b] != 0) table[b] = single[b];
  }
  if (page.single) return table;
  for (std::uint32_t i = 0; i < page.twoByte->pairs.size(); ++i) {
    if (page.twoByte->pairs[i] != 0) table[i] = page.twoByte->pairs[i];
  }
  for (std::uint32_t i = 0; i < page.twoByte->triples.size(); ++i) {
    if (page.twoByte->triples[i] != 0) table[0x8F0000U | i] = page.twoByte->triples[i];
  }
  return table;
}

class SecondTable {
 public:
  explicit SecondTable(const std::string& name) : handle_(iconv_open("UTF-32BE", name.c_str())) {}
  ~SecondTable() {
    if (usable()) iconv_close(handle_);
  }
  SecondTable(const SecondTable&) = delete;
  SecondTable& operator=(const SecondTable&) = delete;

  [[nodiscard]] bool usable() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  Table read(bool pairs, bool triples) const {
    Table table;
    for (std::uint32_t b = 0; b < 256; ++b) put(table, b, 1);
    for (std::uint32_t lead = 0x80; pairs && lead < 0x100; ++lead) {
      if (table.count(lead) != 0) continue;
      for (std::uint32_t trail = 0x20; trail < 0x100; ++trail) put(table, lead << 8 | trail, 2);
    }
    for (std::uint32_t i = 0xA1A1; triples && i < 0xFEFF; ++i) {
      if ((i & 0xFF) >= 0xA1 && (i & 0xFF) < 0xFF) put(table, 0x8F0000U | i, 3);
    }
    return table;
  }

 private:
  void put(Table& table, std::uint32_t bytes, std::size_t n) const {
    char in[3];
    for (std::size_t i = 0; i < n; ++i) in[i] = static_cast<char>(bytes >> 8 * (n - 1 - i));
    unsigned char out[16] = {};
    char* from = in;
    char* to = reinterpret_cast<char*>(out);
    std::size_t room = sizeof out;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    constexpr auto kFailed = static_cast<std::size_t>(-1);
    if (iconv(handle_, &from, &n, &to, &room) == kFailed || n != 0) return;
    if (iconv(handle_, nullptr, nullptr, &to, &room) == kFailed || room != sizeof out - 4) return;
    table[bytes] = std::uint32_t{out[1]} << 16 | std::uint32_t{out[2]} << 8 | out[3];
  }

  iconv_t handle_;
};

/// The row of a page, or one that wants no difference to iconv's charset of the page's number.
Second secondOf(const PageSource& source) {
  for (const Second& second : kSeconds) {
    if (second.codePage == source.codePage) return second;
  }
  Second same{source.codePage, ""};
  if (source.origin == Origin::kIconv) return same;
  const std::pair<const char*, int> names[] = {
      {"IBM%03d", 0}, {"CP%d", 0}, {"IBM%d", 20000}, {"ISO-8859-%d", 28590}};
  for (const auto& [pattern, less] : names) {
    char name[32];
    std::snprintf(name, sizeof name, pattern, source.codePage - less);
    if (same.iconvName.empty() && SecondTable(name).usable()) same.iconvName = name;
  }
  return same;
}

struct Difference {
  std::uint32_t bytes;
  /// 0 is "undefined".
  std::uint32_t ours;
  std::uint32_t theirs;
};

std::uint32_t charOf(const Table& table, std::uint32_t bytes) {
  const auto found = table.find(bytes);
  return found == table.end() ? 0 : found->second;
}

std::vector<Difference> differences(const Table& ours, const Table& theirs) {
  Table all = ours;
  all.insert(theirs.begin(), theirs.end());
  std::vector<Difference> found;
  for (const auto& [bytes, c] : all) {
    const Difference one{bytes, charOf(ours, bytes), charOf(theirs, bytes)};
    if (one.ours != one.theirs) found.push_back(one);
  }
  return found;
}

std::string textOf(const Difference& one) {
  const auto hex = [](std::uint32_t c) {
    char text[12] = "-";
    if (c != 0) std::snprintf(text, sizeof text, "%04X", c);
    return std::string(text);
  };
  char text[40];
  std::snprintf(text, sizeof text, "%02X:%s/%s", one.bytes, hex(one.ours).c_str(),
                hex(one.theirs).c_str());
  return text;
}

bool isAccepted(const Second& second, const Difference& one) {
  const auto within = [](std::uint32_t c, std::uint32_t first, std::uint32_t last) {
    return c >= first && c <= last;
  };
  if ((second.rules & kFills) != 0 && one.ours == 0 &&
      (within(one.theirs, 0x80, 0x9F) || within(one.theirs, 0xE000, 0xF8FF))) {
    return true;
  }
  if ((second.rules & kLacks) != 0 && one.theirs == 0) return true;
  if ((second.rules & kWideKatakana) != 0 && within(one.ours, 0xFF61, 0xFF9F) &&
      within(one.theirs, 0x3001, 0x30FF)) {
    return true;
  }
  const auto padded = [](std::string_view text) {
    std::string out(1, ' ');
    return out.append(text).append(1, ' ');
  };
  return padded(second.accepted).find(padded(textOf(one))) != std::string::npos;
}

/// Every character must be written as bytes that read back as the same character.
int brokenRoundTrips(const Page& page, const Table& ours) {
  const auto& reverse = page.single ? page.single->fromUnicode : page.twoByte->fromUnicode;
  int broken = 0;
  for (const auto& [bytes, c] : ours) {
    if (c == 0) continue;
    const auto back = ours.find(reverse.find(static_cast<char16_t>(c)));
    if (back == ours.end() || back->second != c) ++broken;
  }
  return broken;
}

struct Outcome {
  std::string second = "none";
  int differing = 0;
  int unexpected = 0;
  std::string reason;
};

Outcome compare(const PageSource& source, const Table& ours) {
  Outcome outcome;
  const Second second = secondOf(source);
  if (second.iconvName.empty()) return outcome;
  const SecondTable table(second.iconvName);
  if (!table.usable()) {
    outcome.second = second.iconvName + " (not on this machine)";
    return outcome;
  }
  outcome.second = second.iconvName;
  outcome.reason = second.reason;
  const bool isEucJp = second.iconvName == "EUC-JP";
  const std::vector<Difference> found =
      differences(ours, table.read(source.shape == Shape::kDouble, isEucJp));
  outcome.differing = static_cast<int>(found.size());
  for (const Difference& one : found) {
    if (isAccepted(second, one)) continue;
    ++outcome.unexpected;
    std::fprintf(stderr, "    not expected: %s\n", textOf(one).c_str());
  }
  if (outcome.unexpected == 0 && outcome.differing != second.expected) {
    std::fprintf(stderr, "    expected %d differences\n", second.expected);
    outcome.unexpected = 1;
  }
  return outcome;
}

std::string originOf(const PageSource& source) {
  if (source.origin == Origin::kIcu) return std::string("ICU ") + source.name;
  if (source.origin == Origin::kIconv) return std::string("iconv ") + source.name;
  return std::string("page ") + source.name;
}

std::string correctionsOf(const PageSource& source) {
  std::string text;
  const auto add = [&text](bool wanted, const char* what) {
    if (wanted) text.append(text.empty() ? "" : ", ").append(what);
  };
  add((source.flags & cp::kC1Undefined) != 0, "controls 80 to 9F undefined");
  add((source.flags & cp::kPrivateUndefined) != 0, "private use undefined");
  add((source.flags & cp::kOnly94x94) != 0, "both bytes from A1");
  add(source.corrections[0] != '\0', "single entries");
  return text;
}

void printRow(const PageSource& source, const Outcome& outcome) {
  const std::string name(names::findCanonicalName(source.codePage));
  std::printf("| %d | %s | %s | %s | %s | %d | %s |\n", source.codePage, name.c_str(),
              originOf(source).c_str(), correctionsOf(source).c_str(), outcome.second.c_str(),
              outcome.differing, outcome.reason.c_str());
}

/// The pages that have a name but no row, less those that need no table.
void printWithoutSource() {
  constexpr int kByRule[] = {1200,  1201,  12000, 12001, 50220, 50221,
                             50222, 50225, 55000, 65000, 65001};
  std::map<int, std::string> left;
  for (const auto& row : names::exactNames()) {
    if (row.codePage < 100 && row.codePage != 37) continue;
    if (cp::findPageSource(row.codePage)) continue;
    left[row.codePage] = names::findCanonicalName(row.codePage);
  }
  for (const int page : kByRule) left.erase(page);
  for (const auto& [page, name] : left) std::printf("- %d %s\n", page, name.c_str());
}

}  // namespace

int main() {
  int failures = 0;
  for (std::size_t i = 0; i < kNumPageSources; ++i) {
    const PageSource& source = kPageSources[i];
    const Page* page = keldane::mime::code_pages::find(source.codePage);
    Outcome outcome;
    if (source.shape == Shape::kStream) {
      outcome.second = "not compared";
    } else if (!page) {
      outcome.second = "the page's own source is not on this machine";
    } else {
      const Table ours = ourTable(*page);
      outcome = compare(source, ours);
      const int broken = brokenRoundTrips(*page, ours);
      if (broken != 0) std::fprintf(stderr, "    %d characters do not come back\n", broken);
      failures += broken + outcome.unexpected;
    }
    printRow(source, outcome);
  }
  printWithoutSource();
  return failures == 0 ? 0 : 1;
}
