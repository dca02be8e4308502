#include "find/attachment_text.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <stdlib.h>

#include "base/files.h"
#include "base/text.h"
#include "find/html_text.h"
#include "find/office_zip.h"

namespace keldane {
namespace {

constexpr std::string_view kZipBegins = "PK\x03\x04";
constexpr std::string_view kOleBegins = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
/// How the containers of newer office files with a password name their content, in UTF-16.
constexpr std::string_view kSealed{"E\0n\0c\0r\0y\0p\0t\0e\0d\0P\0a\0c\0k\0a\0g\0e\0", 32};
/// Where a PDF may begin behind foreign bytes.
constexpr std::size_t kPdfHeaderBytes = 1024;
constexpr const char* kFileName = "document";

std::string lowerEnding(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || name.size() - dot > 6) return {};
  std::string ending(name.substr(dot + 1));
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return ending;
}

template <std::size_t n>
bool isOneOf(const std::array<std::string_view, n>& all, std::string_view one) {
  return std::find(all.begin(), all.end(), one) != all.end();
}

constexpr std::array<std::string_view, 21> kZipEndings = {
    "docx", "docm", "dotx", "dotm", "xlsx", "xlsm", "xltx", "xltm", "pptx", "pptm", "ppsx",
    "potx", "odt",  "ott",  "ods",  "ots",  "odp",  "otp",  "odg",  "odf",  "sxw"};
constexpr std::array<std::string_view, 3> kSheetEndings = {"xls", "xlt", "xlw"};
constexpr std::array<std::string_view, 2> kWordEndings = {"doc", "dot"};

/// RTF with a "?" behind a numbered character as \'3f: the program takes all up to the next blank
/// for the replacement.
std::string withHexReplacements(std::string_view rtf) {
  std::string out;
  bool isNumber = false;  // within "\\u" and its digits
  for (std::size_t i = 0; i < rtf.size(); ++i) {
    const char c = rtf[i];
    const bool isDigit = (c >= '0' && c <= '9') || c == '-';
    if (isNumber && c == '?') {
      out += "\\'3f";
      isNumber = false;
      // Which loses a blank there, too.
      if (rtf.substr(i + 1).starts_with(' ')) {
        out += "\\~";
        ++i;
      }
      continue;
    }
    out += c;
    isNumber = isNumber ? isDigit : c == 'u' && i > 0 && rtf[i - 1] == '\\';
  }
  return out;
}

/// A folder with one file for a program to read, gone with the object.
class PrivateFile {
 public:
  [[nodiscard]] Result<void> write(const std::string& temporaryFolder, std::string_view bytes) {
    std::string pattern = temporaryFolder + "keldane-text-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) return Failure{"no temporary folder can be made"};
    folder_ = pattern;
    return replaceFile(folder_ + "/" + kFileName, bytes);
  }
  ~PrivateFile() {
    std::error_code ignored;  // the system clears its temporary folder anyway
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  PrivateFile() = default;
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;
  [[nodiscard]] const std::string& folder() const { return folder_; }

 private:
  std::string folder_;
};

std::pair<std::string, std::vector<std::string>> programFor(DocumentKind kind) {
  switch (kind) {
    case DocumentKind::pdf:
      return {"pdftotext", {"-q", "-enc", "UTF-8", kFileName, "-"}};
    case DocumentKind::word:
      return {"catdoc", {"-w", "-d", "utf-8", kFileName}};
    case DocumentKind::sheet:
      return {"xls2csv", {"-d", "utf-8", kFileName}};
    default:
      return {"unrtf", {"--quiet", "--nopict", "--html", kFileName}};
  }
}

}  // namespace

DocumentKind documentKind(std::string_view contentType, std::string_view name,
                          std::string_view bytes) {
  const std::string ending = lowerEnding(name);
  if (bytes.substr(0, kPdfHeaderBytes).find("%PDF-") != std::string_view::npos) {
    return DocumentKind::pdf;
  }
  if (bytes.starts_with("{\\rtf")) return DocumentKind::rtf;
  if (bytes.starts_with(kZipBegins)) {
    const bool isOffice = contentType.find("opendocument") != std::string_view::npos ||
                          contentType.find("openxmlformats") != std::string_view::npos;
    return isOffice || isOneOf(kZipEndings, ending) ? DocumentKind::officeZip : DocumentKind::none;
  }
  const bool isSheet =
      isOneOf(kSheetEndings, ending) || contentType.find("excel") != std::string_view::npos;
  const bool isWord =
      isOneOf(kWordEndings, ending) || contentType.find("msword") != std::string_view::npos;
  if (bytes.starts_with(kOleBegins)) {
    if (isOneOf(kZipEndings, ending)) return DocumentKind::officeZip;
    if (isSheet) return DocumentKind::sheet;
    return isWord ? DocumentKind::word : DocumentKind::none;
  }
  // What only calls itself a document is tried all the same, so that a damaged one is told of.
  if (ending == "pdf" || contentType == "application/pdf") return DocumentKind::pdf;
  if (isOneOf(kZipEndings, ending)) return DocumentKind::officeZip;
  if (isWord) return DocumentKind::word;
  return isSheet ? DocumentKind::sheet : DocumentKind::none;
}

AttachmentText::AttachmentText(std::string temporaryFolder, Run run)
    : temporaryFolder_(std::move(temporaryFolder)), run_(std::move(run)) {}

Result<std::optional<AttachmentText::Extracted>> AttachmentText::extract(
    std::string_view contentType, std::string_view name, std::string_view bytes) {
  const DocumentKind kind = documentKind(contentType, name, bytes);
  if (kind == DocumentKind::none) return std::optional<Extracted>();
  if (bytes.starts_with(kOleBegins) && bytes.find(kSealed) != std::string_view::npos) {
    return Failure{"the file has a password"};
  }
  if (kind != DocumentKind::officeZip) return extractByProgram(kind, bytes);
  Result<std::string> text = officeZipText(bytes, kMaxAttachmentTextBytes);
  if (!text) return Failure{text.error()};
  repairUtf8(*text);
  return std::optional<Extracted>(Extracted{std::move(*text), {}});
}

Result<std::optional<AttachmentText::Extracted>> AttachmentText::extractByProgram(
    DocumentKind kind, std::string_view bytes) {
  PrivateFile file;
  const std::string readable =
      kind == DocumentKind::rtf ? withHexReplacements(bytes) : std::string(bytes);
  const Result<void> written = file.write(temporaryFolder_, readable);
  if (!written) return Failure{written.error()};
  LimitedCall call;
  std::tie(call.program, call.arguments) = programFor(kind);
  call.folder = file.folder();
  call.outputBytes = kMaxAttachmentTextBytes;
  Result<LimitedOutcome> outcome = run_(call);
  if (!outcome) return Failure{outcome.error()};
  Extracted extracted{std::move(outcome->output), {}};
  if (outcome->isCut) extracted.remark = "only its first 4 MB of text are indexed";
  repairUtf8(extracted.text);
  if (kind == DocumentKind::rtf) extracted.text = markupText(extracted.text);
  return std::optional<Extracted>(std::move(extracted));
}

}  // namespace keldane
