#include "mime/buffers/psdk.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mime/buffers/byte_search.h"

namespace keldane::mime {

namespace {

constexpr int kDefaultAnsi = 1252;
constexpr int kDefaultOem = 65001;
constexpr std::size_t kMaxLang = 256;

// The engine's process-wide values.
std::atomic<int> g_ansiCodePage{0};
std::atomic<int> g_oemCodePage{kDefaultOem};
std::atomic<int> g_badObjects{0};

struct LanguagePage {
  const char* languages;
  int codePage;
};
// Tried before the ".utf8" ending, so that en_US.UTF-8 gives 1252: kept, since the page is only
// asked for when a message does not say its own. Romanian under 1251: kept.
constexpr LanguagePage kLanguages[] = {
    {"cs_ pl_", 1250},
    {"be_ bg_ mk_ ro_ ru_ uk_", 1251},
    {"en_ af_ eu_ ca_ da_ de_ nl_ fi_ fr_ ga_ gd_ hr_ hu_ is_ it_ lb_ nn_ no_ pt_ sk_ sl_ es_ sr_ "
     "sv_",
     1252},
    {"el_", 1253},
    {"ku_ tr_", 1254},
    {"he_ yi_", 1255},
    {"ar_", 1256},
    {"et_ lv_ lt_", 1257},
    {"vi_", 1258},
};

int lastDigit(std::string_view text) {
  const std::size_t at = text.find_last_of("0123456789");
  return at == std::string_view::npos ? 0 : text[at] - '0';
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool endsWithNoCase(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && equalsNoCase(text.substr(text.size() - end.size()), end);
}

int pageOfLanguage(std::string_view lang) {
  const std::string_view prefix = lang.substr(0, 3);
  if (prefix.size() == 3 && prefix[2] == '_') {
    for (const LanguagePage& row : kLanguages) {
      if (containsBytes(row.languages, prefix)) return row.codePage;
    }
  }
  return 0;
}

int pageOfLang(std::string_view lang) {
  if (lang == "C") return kDefaultAnsi;
  if (containsBytesNoCase(lang, "iso8859")) {
    if (containsBytes(lang, "885915")) return 28605;
    if (containsBytes(lang, "885913")) return 28603;
    return 28590 + lastDigit(lang);
  }
  if (containsBytesNoCase(lang, ".cp125")) return 1250 + lastDigit(lang);
  if (endsWithNoCase(lang, "big5")) return 950;
  if (endsWith(lang, "eucJP")) return 20932;
  if (endsWith(lang, "koi8r")) return 20866;
  if (endsWith(lang, "koi8u")) return 21866;
  if (containsBytes(lang, "gbk")) return 936;
  if (const int page = pageOfLanguage(lang)) return page;
  return endsWithNoCase(lang, ".utf8") ? 65001 : kDefaultAnsi;
}

}  // namespace

int Psdk::codePageForLang(const char* lang) {
  if (!lang || std::strlen(lang) >= kMaxLang) return kDefaultAnsi;
  char plain[kMaxLang];
  const char* end = std::remove_copy(lang, lang + std::strlen(lang), plain, '-');
  return pageOfLang({plain, static_cast<std::size_t>(end - plain)});
}

int Psdk::getAnsiCodePage() {
  int page = g_ansiCodePage.load(std::memory_order_relaxed);
  if (page != 0) return page;
  page = codePageForLang(std::getenv("LANG"));
  int unset = 0;
  return g_ansiCodePage.compare_exchange_strong(unset, page) ? page : unset;
}

int Psdk::getOemCodePage() { return g_oemCodePage.load(std::memory_order_relaxed); }

void Psdk::badObjectFound() { g_badObjects.fetch_add(1, std::memory_order_relaxed); }

int Psdk::numBadObjectsFound() { return g_badObjects.load(std::memory_order_relaxed); }

void TnSettings::setAnsiCodePage(int codePage) { g_ansiCodePage.store(codePage); }

void TnSettings::setOemCodePage(int codePage) {
  g_oemCodePage.store(codePage == 0 ? kDefaultOem : codePage);
}

}  // namespace keldane::mime
