#include "mime/charsets/charset_names.h"

#include <algorithm>
#include <iterator>

namespace keldane::mime::charset_names {

namespace {

struct PageRow {
  int codePage;
  std::string_view canonical;
  /// Every name that leads to the page, parted by blanks; empty for pages that have a number only.
  std::string_view names;
};

/// Sorted by code page.
constexpr PageRow kPages[] = {
    // Binary encodings. A charset label that names one of them is "valid" and cannot be converted.
    {1, "base64", "base64"},
    {2, "qp", "qp"},
    {3, "hex", "hex"},
    {4, "url", "url"},
    {7, "base32", "base32"},
    {8, "uu", "uu"},
    {10, "modbase64", "modbase64"},
    {11, "url_rfc1738", ""},
    {12, "url_rfc2396", ""},
    {13, "url_rfc3986", ""},
    {14, "url_oauth", ""},
    {17, "base58", "base58"},
    {18, "fingerprint", "fingerprint thumbprint"},
    {19, "decimal", "decimal"},
    {20, "base64url", "base64url"},
    {21, "eda", "eda"},
    {22, "json", "json"},
    {23, "declist", "declist"},
    {24, "base64_mime", ""},
    {25, "hexlower", ""},
    {26, "ascii85", "ascii85"},
    // Charsets.
    {37, "ibm037",
     "csibm037 cp037 ebcdic ebcdic-cp-ca ebcdic-cp-nl ebcdic-cp-us ebcdic-cp-wt "
     "ibm037"},
    {437, "ibm437", "cspc8codepage437 cp437 ibm437"},
    {500, "ibm500", "csibm500 cp500 ebcdic-cp-be ebcdic-cp-ch ibm500"},
    {708, "asmo-708", "asmo-708"},
    {709, "asmo-449+", "asmo-449 asmo-449+"},
    {720, "dos-720", "dos-720"},
    {737, "ibm737", "ibm737"},
    {775, "ibm775", "ibm775"},
    {850, "ibm850", "cp850 ibm850"},
    {852, "ibm852", "cp852 ibm852"},
    {855, "ibm855", "cp855 ibm855"},
    {857, "ibm857", "cp857 ibm857"},
    {858, "ibm00858", "ccsid00858 cp00858 cp858 ibm00858"},
    {860, "ibm860", "cp860 ibm860"},
    {861, "ibm861", "cp861 ibm861"},
    {862, "ibm862", "cp862 dos-862 ibm862"},
    {863, "ibm863", "cp863 ibm863"},
    {864, "ibm864", "cp864 ibm864"},
    {865, "ibm865", "cp865 ibm865"},
    {866, "ibm866", "cp866 ibm866"},
    {869, "ibm869", "cp869 ibm869"},
    {870, "ibm870", "csibm870 cp870 ebcdic-cp-roece ebcdic-cp-yu ibm870"},
    {874, "windows-874", "dos-874 iso-8859-11 tis-620 windows-874"},
    {875, "cp875", "cp875"},
    {932, "shift_jis",
     "csshiftjis cswindows31j japanese ms-kanji shiftjis shift-jis sjis windows-31j "
     "x-ms-cp932 x-sjis"},
    {936, "gb2312",
     "csgb2312 csgb231280 csiso58gb231280 chinese cn-gb gb2312 gb18030 gb18030-2000 "
     "gb2312-80 gbk gb-2312-80 iso-ir-58"},
    {949, "ks_c_5601-1987",
     "csksc56011987 iso-ir-149 ks-c-5601-1987 korean ks-c-5601 ks-c5601 ksc5601 "
     "ksc-5601 ks-c-5601-1989"},
    {950, "big5", "big5 big5-hkscs csbig5 cn-big5 x-x-big5"},
    {1026, "ibm1026", "csibm1026 cp1026 ibm1026"},
    {1047, "ibm01047", "ibm01047"},
    {1140, "ibm01140", "ccsid01140 cp01140 ebcdic-us-37+euro ibm01140"},
    {1141, "ibm01141", "ccsid01141 cp01141 ebcdic-de-273+euro ibm01141"},
    {1142, "ibm01142", "ccsid01142 cp01142 ebcdic-dk-277+euro ebcdic-no-277+euro ibm01142"},
    {1143, "ibm01143", "ccsid01143 cp01143 ebcdic-fi-278+euro ebcdic-se-278+euro ibm01143"},
    {1144, "ibm01144", "ccsid01144 cp01144 ebcdic-it-280+euro ibm01144"},
    {1145, "ibm01145", "ccsid01145 cp01145 ebcdic-es-284+euro ibm01145"},
    {1146, "ibm01146", "ccsid01146 cp01146 ebcdic-gb-285+euro ibm01146"},
    {1147, "ibm01147", "ccsid01147 cp01147 ebcdic-fr-297+euro ibm01147"},
    {1148, "ibm01148", "ccsid01148 cp01148 ibm01148"},
    {1149, "ibm01149", "ccsid01149 cp01149 ebcdic-is-871+euro ibm01149"},
    {1200, "unicode", "iso-10646-ucs-2 utf-16 utf16 ucs-2 ucs2 unicode utf-16le utf16le"},
    {1201, "unicodefffe", "unicodefffe utf-16be utf16be"},
    {1250, "windows-1250", "cp1250 windows-1250 x-cp1250"},
    {1251, "windows-1251", "cp1251 windows-1251 x-cp1251"},
    {1252, "windows-1252", "cp1252 windows-1252 x-ansi"},
    {1253, "windows-1253", "cp1253 windows-1253"},
    {1254, "windows-1254", "cp1254 windows-1254"},
    {1255, "windows-1255", "cp1255 windows-1255"},
    {1256, "windows-1256", "cp1256 windows-1256"},
    {1257, "windows-1257", "cp1257 windows-1257"},
    {1258, "windows-1258", "cp1258 windows-1258"},
    {1361, "johab", "johab"},
    {10000, "macintosh", "macintosh macroman"},
    {10001, "x-mac-japanese", "macjapanese x-mac-japanese"},
    {10002, "x-mac-chinesetrad", "macchinesetrad x-mac-chinesetrad"},
    {10003, "x-mac-korean", "mackorean x-mac-korean"},
    {10004, "x-mac-arabic", "macarabic x-mac-arabic"},
    {10005, "x-mac-hebrew", "machebrew x-mac-hebrew"},
    {10006, "x-mac-greek", "macgreek x-mac-greek"},
    {10007, "x-mac-cyrillic", "maccyrillic x-mac-cyrillic"},
    {10008, "x-mac-chinesesimp", "macchinesesimp x-mac-chinesesimp"},
    {10010, "x-mac-romanian", "x-mac-romanian"},
    {10017, "x-mac-ukrainian", "x-mac-ukrainian"},
    {10021, "x-mac-thai", "x-mac-thai"},
    {10029, "x-mac-ce", "maccentraleurope x-mac-ce"},
    {10079, "x-mac-icelandic", "macicelandic x-mac-icelandic"},
    {10081, "x-mac-turkish", "macturkish x-mac-turkish"},
    {10082, "x-mac-croatian", "x-mac-croatian"},
    {12000, "utf-32", "utf-32"},
    {12001, "utf-32be", "utf-32be"},
    {20000, "x-chinese-cns", "x-chinese-cns"},
    {20001, "x-cp20001", "x-cp20001"},
    {20002, "x-chinese-eten", "x-chinese-eten"},
    {20003, "x-cp20003", "x-cp20003"},
    {20004, "x-cp20004", "x-cp20004"},
    {20005, "x-cp20005", "x-cp20005"},
    {20105, "x-ia5", "irv x-ia5"},
    {20106, "x-ia5-german", "din-66003 german x-ia5-german"},
    {20107, "x-ia5-swedish", "sen-850200-b swedish x-ia5-swedish"},
    {20108, "x-ia5-norwegian", "norwegian ns-4551-1 x-ia5-norwegian"},
    {20127, "us-ascii",
     "ansi-x3.4-1968 ansi-x3.4-1986 ascii csascii cp367 iso-ir-6 iso646-us "
     "iso-646.irv:1991 ibm367 us-ascii us"},
    {20261, "x-cp20261", "x-cp20261"},
    {20269, "x-cp20269", "x-cp20269"},
    {20273, "ibm273", "csibm273 cp273 ibm273"},
    {20277, "ibm277", "csibm277 ebcdic-cp-dk ebcdic-cp-no ibm277"},
    {20278, "ibm278", "csibm278 cp278 ebcdic-cp-fi ebcdic-cp-se ibm278"},
    {20280, "ibm280", "csibm280 cp280 ebcdic-cp-it ibm280"},
    {20284, "ibm284", "csibm284 cp284 ebcdic-cp-es ibm284"},
    {20285, "ibm285", "csibm285 cp285 ebcdic-cp-gb ibm285"},
    {20290, "ibm290", "csibm290 cp290 ebcdic-jp-kana ibm290"},
    {20297, "ibm297", "csibm297 cp297 ebcdic-cp-fr ibm297"},
    {20420, "ibm420", "csibm420 cp420 ebcdic-cp-ar1 ibm420"},
    {20423, "ibm423", "csibm423 cp423 ebcdic-cp-gr ibm423"},
    {20424, "ibm424", "csibm424 cp424 ebcdic-cp-he ibm424"},
    {20833, "x-ebcdic-koreanextended", "x-ebcdic-koreanextended"},
    {20838, "ibm-thai", "csibmthai ibm-thai"},
    {20866, "koi8-r", "cskoi8r koi8-r koi koi8 koi8r"},
    {20871, "ibm871", "csibm871 cp871 ebcdic-cp-is ibm871"},
    {20880, "ibm880", "csibm880 cp880 ebcdic-cyrillic ibm880"},
    {20905, "ibm905", "csibm905 cp905 ebcdic-cp-tr ibm905"},
    {20924, "ibm00924", "ccsid00924 cp00924 ebcdic-latin9--euro ibm00924"},
    {20932, "euc-jp", ""},
    {20936, "x-cp20936", "x-cp20936"},
    {20949, "x-cp20949", "x-cp20949"},
    {21025, "cp1025", "cp1025"},
    {21027, "x-cp21027", "x-cp21027"},
    {21866, "koi8-u", "koi8-u koi8-ru"},
    {28591, "iso-8859-1",
     "csisolatin1 cp819 iso-8859-1 iso-ir-100 iso-8859-1:1987 ibm819 l1 latin1 "
     "latin-1"},
    {28592, "iso-8859-2", "csisolatin2 iso-8859-2 iso-ir-101 iso-8859-2:1987 l2 latin2 latin-2"},
    {28593, "iso-8859-3", "csisolatin3 iso-8859-3 iso-ir-109 iso-8859-3:1988 l3 latin3 latin-3"},
    {28594, "iso-8859-4", "csisolatin4 iso-8859-4 iso-ir-110 iso-8859-4:1988 l4 latin4 latin-4"},
    {28595, "iso-8859-5", "csisolatincyrillic cyrillic iso-8859-5 iso-ir-144 iso-8859-5:1988"},
    {28596, "iso-8859-6", "arabic csisolatinarabic ecma-114 iso-8859-6 iso-ir-127 iso-8859-6:1987"},
    {28597, "iso-8859-7",
     "csisolatingreek ecma-118 elot-928 greek greek8 iso-8859-7 iso-ir-126 "
     "iso-8859-7:1987"},
    {28598, "iso-8859-8",
     "csisolatinhebrew iso-8859-8 visual iso-ir-138 iso-8859-8:1988 hebrew logical"},
    {28599, "iso-8859-9", "csisolatin5 iso-8859-9 iso-ir-148 iso-8859-9:1989 l5 latin5 latin-5"},
    {28600, "iso-8859-10", ""},
    {28601, "iso-8859-11", ""},
    {28603, "iso-8859-13", "iso-8859-13"},
    {28604, "iso-8859-14", ""},
    {28605, "iso-8859-15", "csisolatin9 iso-8859-15 l9 latin9 latin-9"},
    {29001, "x-europa", "x-europa"},
    {38598, "iso-8859-8-i", "iso-8859-8-i"},
    {50000, "x-user-defined", "x-user-defined"},
    {50220, "iso-2022-jp", "csiso2022jp iso-2022-jp"},
    {50221, "iso-2022-jp-1", "iso-2022-jp-1"},
    {50222, "iso-2022-jp-2", "iso-2022-jp-2"},
    {50225, "iso-2022-kr", "csiso2022kr iso-2022-kr iso-2022-kr-7 iso-2022-kr-7bit"},
    {50227, "x-cp50227", "cp50227 x-cp50227"},
    {50930, "cp930", "cp930"},
    {50931, "x-ebcdic-japaneseanduscanada", "x-ebcdic-japaneseanduscanada"},
    {50933, "cp933", "cp933"},
    {50935, "cp935", "cp935"},
    {50937, "cp937", "cp937"},
    {50939, "cp939", "cp939"},
    {51932, "euc-jp", "cseucpkdfmtjapanese euc-jp iso-2022-jpeuc x-euc x-euc-jp"},
    {51936, "euc-cn", "euc-cn x-euc-cn"},
    {51949, "euc-kr", "cseuckr euc-kr iso-2022-kr-8 iso-2022-kr-8bit"},
    {51950, "euc-tw", "euc-tw"},
    {52936, "hz-gb-2312", "hz-gb-2312"},
    {55000, "gsm", "gsm"},
    {55001, "gsm-spanish", "gsm-spanish"},
    {55002, "gsm-portuguese", "gsm-portuguese"},
    {55003, "gsm-turkish", "gsm-turkish"},
    {55004, "gsm-greek", "gsm-greek"},
    {57002, "x-iscii-de", "x-iscii-de"},
    {57003, "x-iscii-be", "x-iscii-be"},
    {57004, "x-iscii-ta", "x-iscii-ta"},
    {57005, "x-iscii-te", "x-iscii-te"},
    {57006, "x-iscii-as", "x-iscii-as"},
    {57007, "x-iscii-or", "x-iscii-or"},
    {57008, "x-iscii-ka", "x-iscii-ka"},
    {57009, "x-iscii-ma", "x-iscii-ma"},
    {57010, "x-iscii-gu", "x-iscii-gu"},
    {57011, "x-iscii-pa", "x-iscii-pa"},
    {65000, "utf-7",
     "csunicode11utf7 utf-7 unicode-1-1-utf-7 unicode-2-0-utf-7 x-unicode-1-1-utf-7 "
     "x-unicode-2-0-utf-7"},
    {65001, "utf-8",
     "utf-8 utf8 unicode-1-1-utf-8 unicode-2-0-utf-8 x-unicode-1-1-utf-8 "
     "x-unicode-2-0-utf-8"},
    {65005, "utf-32", ""},
    {65006, "utf-32be", ""},
};

static_assert(std::is_sorted(std::begin(kPages), std::end(kPages),
                             [](const PageRow& a, const PageRow& b) {
                               return a.codePage < b.codePage;
                             }));

constexpr auto sortedNames() {
  std::array<NamedPage, kNumExactNames> table{};
  std::size_t filled = 0;
  for (const PageRow& row : kPages) {
    std::string_view rest = row.names;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(' '), rest.size());
      table[filled++] = {rest.substr(0, end), row.codePage};
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  std::sort(table.begin(), table.end(),
            [](const NamedPage& a, const NamedPage& b) { return a.name < b.name; });
  return table;
}

constexpr std::array<NamedPage, kNumExactNames> kNames = sortedNames();

/// Where the names of a first letter begin; the last entry closes the list.
constexpr auto kFirstOfLetter = [] {
  std::array<std::size_t, 27> first{};
  for (std::size_t letter = 0; letter < first.size(); ++letter) {
    std::size_t i = 0;
    while (i < kNames.size() && static_cast<std::size_t>(kNames[i].name[0] - 'a') < letter) ++i;
    first[letter] = i;
  }
  return first;
}();

}  // namespace

const std::array<NamedPage, kNumExactNames>& exactNames() { return kNames; }

int findPage(std::string_view name) {
  if (name.empty() || name[0] < 'a' || name[0] > 'x') return 0;
  for (const std::string_view beginning : kHexLowerBeginnings) {
    if (name.substr(0, beginning.size()) == beginning) return kHexLower;
  }
  const auto letter = static_cast<std::size_t>(name[0] - 'a');
  const auto* const begin = kNames.data() + kFirstOfLetter[letter];
  const auto* const end = kNames.data() + kFirstOfLetter[letter + 1];
  const auto* const found = std::lower_bound(
      begin, end, name, [](const NamedPage& row, std::string_view n) { return row.name < n; });
  return found != end && found->name == name ? found->codePage : 0;
}

std::string_view findCanonicalName(int codePage) {
  const PageRow* const row =
      std::lower_bound(std::begin(kPages), std::end(kPages), codePage,
                       [](const PageRow& r, int wanted) { return r.codePage < wanted; });
  const bool found = row != std::end(kPages) && row->codePage == codePage;
  return found ? row->canonical : std::string_view();
}

}  // namespace keldane::mime::charset_names
