#include "mime/charsets/code_page_sources.h"

#include <algorithm>
#include <iterator>

namespace keldane::mime::code_pages {

namespace {

constexpr Shape kS = Shape::kSingle;
constexpr Shape kD = Shape::kDouble;
constexpr Shape kT = Shape::kStream;
constexpr Origin kIcu = Origin::kIcu;
constexpr Origin kIconv = Origin::kIconv;
constexpr Origin kPage = Origin::kPage;
constexpr unsigned kLow = kAsciiLow;
constexpr unsigned kWindows = kAsciiLow | kC1Undefined;
constexpr unsigned kAsian = kWindows | kPrivateUndefined | kBadLeadTakesTwo;

constexpr char kMacArabic[] =
    "80:00C4 81:00A0 82:00C7 83:00C9 84:00D1 85:00D6 86:00DC 87:00E1 88:00E0 89:00E2 8A:00E4 "
    "8B:06BA 8C:00AB 8D:00E7 8E:00E9 8F:00E8 90-91:00EA 92:00ED 93:2026 94-95:00EE 96:00F1 97:00F3 "
    "98:00BB 99:00F4 9A-9B:00F6 9C:00FA 9D:00F9 9E-9F:00FB A0-A4:0020 A5:066A A6-AB:0026 "
    "AD-AF:002D B0-B9:0660 BA:003A BC-BE:003C C0:274A DB-DF:005B F3:067E F4:0679 F5:0686 F6:06D5 "
    "F7:06A4 F8:06AF F9:0688 FA:0691 FB-FD:007B FE:0698 FF:06D2";
/// What the Macintosh added to the double-byte pages, which are else the Windows ones.
constexpr char kMacSigns[] = "80:005C A0:00A0 FD:00A9 FE:2122 FF:2026";
constexpr char kMacCroatian[] =
    "A9:0160 AE:017D B4:2206 B9:0161 BE:017E C6:0106 C8:010C D0:0110 D8:F8FF D9:00A9 DE:00C6 "
    "DF:00BB E0:2013 E6:0107 E8:010D F0:0111 F9:03C0 FA:00CB FD:00CA FE:00E6";

}  // namespace

constexpr PageSource kPageSources[] = {
    {37, kS, kIcu, "ibm-37_P100-1995", kNone, ""},
    {437, kS, kIcu, "ibm-437_P100-1995", kLow, "E6:00B5"},
    {500, kS, kIcu, "ibm-500_P100-1995", kNone, ""},
    {708, kS, kIcu, "ibm-1089_P100-1995", kLow, ""},
    {709, kS, kPage, "20127", kNone,
     "24:00A4 2C:060C 3B:061B 3F:061F 41-5A:0621 60-72:0640 73-7A:- 7E:203E"},
    {720, kS, kIcu, "ibm-720_P100-1997", kWindows, ""},
    {737, kS, kIcu, "ibm-737_P100-1997", kLow, ""},
    {775, kS, kIcu, "ibm-775_P100-1996", kLow, ""},
    {850, kS, kIcu, "ibm-850_P100-1995", kLow, ""},
    {852, kS, kIcu, "ibm-852_P100-1995", kLow, "AA:00AC"},
    {855, kS, kIcu, "ibm-855_P100-1995", kLow, ""},
    {857, kS, kIcu, "ibm-857_P100-1995", kLow, ""},
    {858, kS, kIcu, "ibm-858_P100-1997", kLow, ""},
    {860, kS, kIcu, "ibm-860_P100-1995", kLow, "E6:00B5"},
    {861, kS, kIcu, "ibm-861_P100-1995", kLow, "E6:00B5"},
    {862, kS, kIcu, "ibm-862_P100-1995", kLow, "E6:00B5"},
    {863, kS, kIcu, "ibm-863_P100-1995", kLow, "E6:00B5"},
    {864, kS, kIcu, "ibm-864_X110-1999", kLow, "25:066A 9F:- D7:FEC1 D8:FEC5 F1:0651"},
    {865, kS, kIcu, "ibm-865_P100-1995", kLow, "E6:00B5"},
    {866, kS, kIcu, "ibm-866_P100-1995", kLow, ""},
    {869, kS, kIcu, "ibm-869_P100-1995", kLow, "88:00B7 EF:0384"},
    {870, kS, kIcu, "ibm-870_P100-1995", kNone, ""},
    {874, kS, kIcu, "windows-874-2000", kWindows | kPrivateUndefined, ""},
    {875, kS, kIcu, "ibm-875_P100-1995", kNone, ""},
    {932, kD, kIcu, "ibm-943_P15A-2003", kWindows | kBadLeadTakesTwo, ""},
    {936, kD, kIcu, "windows-936-2000", kAsian, ""},
    {949, kD, kIcu, "windows-949-2000", kAsian, ""},
    {950, kD, kIcu, "windows-950-2000", kAsian, ""},
    {1026, kS, kIcu, "ibm-1026_P100-1995", kNone, "9A:00AA"},
    {1047, kS, kIcu, "ibm-1047_P100-1995", kNone, ""},
    {1140, kS, kIcu, "ibm-1140_P100-1997", kNone, ""},
    {1141, kS, kIcu, "ibm-1141_P100-1997", kNone, ""},
    {1142, kS, kIcu, "ibm-1142_P100-1997", kNone, ""},
    {1143, kS, kIcu, "ibm-1143_P100-1997", kNone, ""},
    {1144, kS, kIcu, "ibm-1144_P100-1997", kNone, ""},
    {1145, kS, kIcu, "ibm-1145_P100-1997", kNone, ""},
    {1146, kS, kIcu, "ibm-1146_P100-1997", kNone, ""},
    {1147, kS, kIcu, "ibm-1147_P100-1997", kNone, ""},
    {1148, kS, kIcu, "ibm-1148_P100-1997", kNone, ""},
    {1149, kS, kIcu, "ibm-1149_P100-1997", kNone, ""},
    {1250, kS, kIcu, "ibm-5346_P100-1998", kWindows, ""},
    {1251, kS, kIcu, "ibm-5347_P100-1998", kWindows, ""},
    {1252, kS, kIcu, "ibm-5348_P100-1997", kWindows, ""},
    {1253, kS, kIcu, "ibm-5349_P100-1998", kWindows, "AA:-"},
    {1254, kS, kIcu, "ibm-5350_P100-1998", kWindows, ""},
    {1255, kS, kIcu, "ibm-9447_P100-2002", kWindows, ""},
    {1256, kS, kIcu, "ibm-9448_X100-2005", kWindows, ""},
    {1257, kS, kIcu, "ibm-9449_P100-2002", kWindows, ""},
    {1258, kS, kIcu, "ibm-5354_P100-1998", kWindows, ""},
    {1361, kD, kIconv, "JOHAB", kWindows | kPrivateUndefined, ""},
    {10000, kS, kIcu, "macos-0_2-10.2", kLow, ""},
    {10001, kD, kIcu, "ibm-943_P15A-2003", kWindows, kMacSigns},
    {10002, kD, kIcu, "windows-950-2000", kWindows | kPrivateUndefined, kMacSigns},
    {10003, kD, kIcu, "windows-949-2000", kWindows | kPrivateUndefined, ""},
    {10004, kS, kPage, "28596", kNone, kMacArabic},
    {10006, kS, kIcu, "macos-6_2-10.4", kLow, ""},
    {10007, kS, kIcu, "macos-7_3-10.2", kLow, ""},
    {10008, kD, kIcu, "windows-936-2000", kWindows | kPrivateUndefined,
     "80:00FC A0:00A0 FD:00A9 FE:2122 FF:2026"},
    {10010, kS, kPage, "10000", kNone, "AE:0102 AF:0218 BE:0103 BF:0219 DE-DF:021A"},
    {10017, kS, kIcu, "macos-7_3-10.2", kLow, ""},
    {10029, kS, kIcu, "macos-29-10.2", kLow, ""},
    {10079, kS, kPage, "10000", kNone, "A0:00DD DC:00D0 DD:00F0 DE:00DE DF:00FE E0:00FD"},
    {10081, kS, kIcu, "macos-35-10.2", kLow, ""},
    {10082, kS, kPage, "10000", kNone, kMacCroatian},
    {20105, kS, kPage, "20127", kNone, ""},
    {20106, kS, kPage, "20127", kNone,
     "40:00A7 5B:00C4 5C:00D6 5D:00DC 7B:00E4 7C:00F6 7D:00FC 7E:00DF"},
    {20107, kS, kPage, "20127", kNone,
     "24:00A4 5B:00C4 5C:00D6 5D:00C5 7B:00E4 7C:00F6 7D:00E5 7E:203E"},
    {20108, kS, kPage, "20127", kNone, "5B:00C6 5C:00D8 5D:00C5 7B:00E6 7C:00F8 7D:00E5 7E:203E"},
    {20127, kS, kIcu, "US-ASCII", kLow, ""},
    {20261, kD, kIconv, "T.61-8BIT", kC1Undefined, ""},
    {20269, kD, kIconv, "ISO_6937", kC1Undefined, ""},
    {20273, kS, kIcu, "ibm-273_P100-1995", kNone, ""},
    {20277, kS, kIcu, "ibm-277_P100-1995", kNone, ""},
    {20278, kS, kIcu, "ibm-278_P100-1995", kNone, ""},
    {20280, kS, kIcu, "ibm-280_P100-1995", kNone, ""},
    {20284, kS, kIcu, "ibm-284_P100-1995", kNone, ""},
    {20285, kS, kIcu, "ibm-285_P100-1995", kNone, ""},
    {20290, kS, kIcu, "ibm-290_P100-1995", kNone, ""},
    {20297, kS, kIcu, "ibm-297_P100-1995", kNone, ""},
    {20420, kS, kIcu, "ibm-420_X120-1999", kNone, "45:-"},
    {20423, kS, kIconv, "IBM423", kNone, ""},
    {20424, kS, kIcu, "ibm-424_P100-1995", kNone, "B3:00B7 BC:00AF"},
    {20838, kS, kIcu, "ibm-838_P100-1995", kNone, ""},
    {20866, kS, kIcu, "ibm-878_P100-1996", kLow, ""},
    {20871, kS, kIcu, "ibm-871_P100-1995", kNone, ""},
    {20880, kS, kIconv, "IBM880", kNone, ""},
    {20905, kS, kIconv, "IBM905", kNone, ""},
    {20924, kS, kIcu, "ibm-1047_P100-1995", kNone,
     "6A:0160 9D:017E 9F:20AC B7:0152 B8:0153 B9:0178 BB:0161 BE:017D"},
    {20932, kD, kIcu, "euc-jp-2007", kWindows, "8EE0-8EE2:-"},
    {20936, kD, kPage, "936", kOnly94x94, ""},
    {20949, kD, kPage, "949", kOnly94x94, ""},
    {21025, kS, kIcu, "ibm-1025_P100-1995", kNone, ""},
    {21866, kS, kIcu, "ibm-1168_P100-2002", kLow, ""},
    {28591, kS, kIcu, "ISO-8859-1", kLow, ""},
    {28592, kS, kIcu, "ibm-912_P100-1995", kLow, ""},
    {28593, kS, kIcu, "ibm-913_P100-2000", kLow, ""},
    {28594, kS, kIcu, "ibm-914_P100-1995", kLow, ""},
    {28595, kS, kIcu, "ibm-915_P100-1995", kLow, ""},
    {28596, kS, kIcu, "ibm-1089_P100-1995", kLow, ""},
    {28597, kS, kIcu, "ibm-9005_X110-2007", kLow, ""},
    {28598, kS, kIcu, "ibm-5012_P100-1999", kLow, ""},
    {28599, kS, kIcu, "ibm-920_P100-1995", kLow, ""},
    {28600, kS, kIcu, "iso-8859_10-1998", kLow, ""},
    {28601, kS, kIcu, "iso-8859_11-2001", kLow, ""},
    {28603, kS, kIcu, "ibm-921_P100-1995", kLow, ""},
    {28604, kS, kIcu, "iso-8859_14-1998", kLow, ""},
    {28605, kS, kIcu, "ibm-923_P100-1998", kLow, ""},
    {38598, kS, kIcu, "ibm-5012_P100-1999", kLow, ""},
    {50227, kT, kIcu, "ISO_2022,locale=zh,version=0", kNone, ""},
    {50930, kT, kIcu, "ibm-930_P120-1999", kNone, ""},
    {50933, kT, kIcu, "ibm-933_P110-1995", kNone, ""},
    {50935, kT, kIcu, "ibm-935_P110-1999", kNone, ""},
    {50937, kT, kIcu, "ibm-937_P110-1999", kNone, ""},
    {50939, kT, kIcu, "ibm-939_P120-1999", kNone, ""},
    {51932, kD, kIcu, "euc-jp-2007", kWindows | kBadLeadTakesTwo, "8EE0-8EE2:-"},
    {51936, kD, kPage, "936", kOnly94x94 | kBadLeadTakesTwo, ""},
    {51949, kD, kPage, "949", kOnly94x94 | kBadLeadTakesTwo, ""},
    {51950, kT, kIcu, "euc-tw-2014", kNone, ""},
    {52936, kT, kIcu, "HZ", kNone, ""},
    {57002, kT, kIcu, "ISCII,version=0", kNone, ""},
    {57003, kT, kIcu, "ISCII,version=1", kNone, ""},
    {57004, kT, kIcu, "ISCII,version=5", kNone, ""},
    {57005, kT, kIcu, "ISCII,version=6", kNone, ""},
    {57006, kT, kIcu, "ISCII,version=1", kNone, ""},
    {57007, kT, kIcu, "ISCII,version=4", kNone, ""},
    {57008, kT, kIcu, "ISCII,version=7", kNone, ""},
    {57009, kT, kIcu, "ISCII,version=8", kNone, ""},
    {57010, kT, kIcu, "ISCII,version=3", kNone, ""},
    {57011, kT, kIcu, "ISCII,version=2", kNone, ""},
};

constexpr std::size_t kNumPageSources = std::size(kPageSources);

static_assert(std::is_sorted(std::begin(kPageSources), std::end(kPageSources),
                             [](const PageSource& a, const PageSource& b) {
                               return a.codePage < b.codePage;
                             }));

const PageSource* findPageSource(int codePage) {
  const PageSource* row =
      std::lower_bound(std::begin(kPageSources), std::end(kPageSources), codePage,
                       [](const PageSource& r, int wanted) { return r.codePage < wanted; });
  return row != std::end(kPageSources) && row->codePage == codePage ? row : nullptr;
}

}  // namespace keldane::mime::code_pages
