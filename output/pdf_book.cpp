#include "output/pdf_book.h"

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/Pl_String.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include "base/shown_text.h"
#include "base/text.h"

namespace keldane {
namespace {

/// A table of places has ten digits for each.
constexpr std::uint64_t kMostBytes = 9'999'999'999;
/// Embedded files that one leaf of their tree names.
constexpr std::size_t kLeafFiles = 64;
constexpr std::size_t kTitleUnits = 120;
constexpr double kFootFromBottom = 36;
constexpr double kFootFromRight = 72;
constexpr int kFootPoints = 9;
/// What the file systems of some machines do not take.
constexpr std::string_view kNotEverywhere = "\\:*?\"<>|";
constexpr const char* kFont = "/KeldaneFoot";

std::string textString(const std::string& text) {
  return QPDFObjectHandle::newUnicodeString(text).unparse();
}

std::string reference(int number) { return fmt::format("{} 0 R", number); }

std::string references(const std::vector<int>& numbers) {
  std::string text = "[";
  for (const int number : numbers) text.append(" ").append(reference(number));
  return text + " ]";
}

std::string deflated(std::string_view bytes) {
  std::string packed;
  Pl_String end("packed", nullptr, packed);
  Pl_Flate flate("deflate", &end, Pl_Flate::a_deflate);
  flate.write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  flate.finish();
  return packed;
}

/// Width of digits, blanks and slashes in Helvetica, in points.
double widthOf(std::string_view text) {
  double width = 0;
  for (const char c : text) width += c == ' ' || c == '/' ? 0.278 : 0.556;
  return width * kFootPoints;
}

/// Whether a click can do no more than lead to the web or to a letter.
bool isHarmless(QPDFObjectHandle mark) {
  if (!mark.isDictionary() || !mark.getKey("/Subtype").isNameAndEquals("/Link")) return false;
  QPDFObjectHandle action = mark.getKey("/A");
  if (!action.isDictionary() || !action.getKey("/S").isNameAndEquals("/URI") ||
      action.hasKey("/Next") || mark.hasKey("/AA") || !action.getKey("/URI").isString()) {
    return false;
  }
  const std::string target = action.getKey("/URI").getStringValue();
  constexpr std::array<std::string_view, 3> kSchemes = {"http:", "https:", "mailto:"};
  for (const std::string_view scheme : kSchemes) {
    if (compareNoCase(std::string_view(target).substr(0, scheme.size()), scheme) == 0) return true;
  }
  return false;
}

/// Leaves nothing on a page but what is drawn there and its links.
void strip(QPDFObjectHandle page) {
  static const std::set<std::string> kKept = {"/Type",     "/Parent",    "/MediaBox", "/CropBox",
                                              "/Contents", "/Resources", "/Rotate",   "/Annots"};
  for (const std::string& key : page.getKeys()) {
    if (kKept.count(key) == 0) page.removeKey(key);
  }
  QPDFObjectHandle marks = page.getKey("/Annots");
  page.removeKey("/Annots");
  if (!marks.isArray()) return;
  QPDFObjectHandle kept = QPDFObjectHandle::newArray();
  for (QPDFObjectHandle mark : marks.getArrayAsVector()) {
    if (!isHarmless(mark)) continue;
    mark.removeKey("/P");
    mark.removeKey("/StructParent");
    kept.appendItem(mark);
  }
  if (kept.getArrayNItems() > 0) page.replaceKey("/Annots", kept);
}

/// Draws the page's number among its message's in the middle of the foot, and that among all at the
/// right, unless it is 0.
void drawFoot(QPDF& pdf, QPDFPageObjectHelper page, const std::string& number, int through) {
  QPDFObjectHandle resources = page.getAttribute("/Resources", true);
  if (!resources.isDictionary()) {
    resources = QPDFObjectHandle::newDictionary();
    page.getObjectHandle().replaceKey("/Resources", resources);
  }
  QPDFObjectHandle fonts = resources.getKey("/Font");
  fonts = fonts.isDictionary() ? fonts.shallowCopy() : QPDFObjectHandle::newDictionary();
  fonts.replaceKey(kFont, QPDFObjectHandle::parse("<< /Type /Font /Subtype /Type1 /BaseFont "
                                                  "/Helvetica /Encoding /WinAnsiEncoding >>"));
  resources.replaceKey("/Font", fonts);
  const QPDFObjectHandle::Rectangle box = page.getMediaBox().getArrayAsRectangle();
  const auto words = [&](const std::string& text, double x) {
    return fmt::format("BT {} {} Tf {:.2f} {:.2f} Td ({}) Tj ET\n", kFont, kFootPoints, x,
                       box.lly + kFootFromBottom, text);
  };
  std::string foot = "\nQ q 0.35 g\n" + words(number, (box.llx + box.urx - widthOf(number)) / 2);
  if (through > 0) {
    const std::string text = std::to_string(through);
    foot += words(text, box.urx - kFootFromRight - widthOf(text));
  }
  // The page's own drawing may leave its scale behind.
  page.addPageContents(QPDFObjectHandle::newStream(&pdf, "q\n"), true);
  page.addPageContents(QPDFObjectHandle::newStream(&pdf, foot + "Q\n"), false);
}

}  // namespace

/// Takes objects over from the PDF of a message, with all that they name, under new numbers.
class PdfBook::Copy {
 public:
  explicit Copy(PdfBook& book) : book_(book) {}

  /// The number that the object has, or will have, here.
  int numberOf(QPDFObjectHandle object) {
    const auto [at, isNew] = numbers_.try_emplace(object.getObjGen(), 0);
    if (isNew) {
      at->second = book_.reserve();
      waiting_.push_back(object);
    }
    return at->second;
  }
  /// Writes what has been named and not yet written.
  void writeAll() {
    while (!waiting_.empty()) {
      QPDFObjectHandle object = waiting_.front();
      waiting_.pop_front();
      const int number = numberOf(object);
      if (object.isStream()) {
        writeStream(number, object);
      } else {
        book_.putObject(number, textOf(object, true));
      }
    }
  }

 private:
  // Depth and form are those of our own layout, not of a stranger's file.
  std::string textOf(QPDFObjectHandle value, bool isResolved = false) {
    if (value.isIndirect() && !isResolved) return reference(numberOf(value));
    std::string text;
    if (value.isArray()) {
      for (const QPDFObjectHandle& item : value.getArrayAsVector()) text += textOf(item) + " ";
      return "[ " + text + "]";
    }
    if (!value.isDictionary()) return value.unparseResolved();
    for (const std::string& key : value.getKeys()) {
      text += QPDFObjectHandle::newName(key).unparse() + " ";
      // Pages stand under the tree of the book.
      text += (key == "/Parent" ? reference(section) : textOf(value.getKey(key))) + " ";
    }
    return "<< " + text + ">>";
  }

  void writeStream(int number, QPDFObjectHandle stream) {
    const std::shared_ptr<Buffer> bytes = stream.getRawStreamData();
    QPDFObjectHandle head = stream.getDict().shallowCopy();
    head.replaceKey("/Length",
                    QPDFObjectHandle::newInteger(static_cast<long long>(bytes->getSize())));
    book_.begin(number);
    book_.put(textOf(head, true) + "\nstream\n");
    book_.put({reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize()});
    book_.put("\nendstream\nendobj\n");
  }

  PdfBook& book_;
  std::map<QPDFObjGen, int> numbers_;
  std::deque<QPDFObjectHandle> waiting_;

 public:
  int section = 0;  ///< the node that the pages stand under
};

PdfBook::PdfBook(OutputFile& file, bool numbersThrough)
    : file_(file), numbersThrough_(numbersThrough) {
  catalog_ = reserve();
  pages_ = reserve();
  outlines_ = reserve();
  // Bytes above ASCII tell those who carry the file that it is no text.
  put("%PDF-1.7\n%\xE2\xE3\xCF\xD3\n");
}

int PdfBook::reserve() {
  offsets_.push_back(0);
  return static_cast<int>(offsets_.size() - 1);
}

void PdfBook::begin(int number) {
  offsets_[static_cast<std::size_t>(number)] = written_;
  put(fmt::format("{} 0 obj\n", number));
}

void PdfBook::put(std::string_view text) {
  file_.write(text);
  written_ += text.size();
}

void PdfBook::putObject(int number, std::string_view text) {
  begin(number);
  put(text);
  put("\nendobj\n");
}

Result<void> PdfBook::addMessage(const std::string& pdf, const std::string& title) {
  try {
    const int next = reserve();
    putOutline(next);
    outlineBefore_ = std::exchange(outline_, next);
    if (firstOutline_ == 0) firstOutline_ = outline_;
    outlineTitle_ = std::string(utf16Prefix(shownLine(title), kTitleUnits));
    if (Result<void> laid = putPages(pdf); !laid) return laid;
  } catch (const std::exception& error) {
    return Failure{std::string("the pages that were laid out cannot be read: ") + error.what()};
  }
  if (written_ > kMostBytes) {
    return Failure{"a PDF holds no more than 9 GB; export fewer messages at a time"};
  }
  return {};
}

Result<void> PdfBook::putPages(const std::string& pdf) {
  QPDF source;
  source.setSuppressWarnings(true);
  source.processMemoryFile("pages", pdf.data(), pdf.size());
  QPDFPageDocumentHelper helper(source);
  helper.pushInheritedAttributesToPage();
  std::vector<QPDFPageObjectHelper> pages = helper.getAllPages();
  if (pages.empty()) return Failure{"no page came of the message"};
  Copy copy(*this);
  copy.section = reserve();
  std::vector<int> numbers;
  for (QPDFPageObjectHelper& page : pages) {
    strip(page.getObjectHandle());
    ++pageCount_;
    drawFoot(source, page, fmt::format("{} / {}", numbers.size() + 1, pages.size()),
             numbersThrough_ ? pageCount_ : 0);
    numbers.push_back(copy.numberOf(page.getObjectHandle()));
  }
  copy.writeAll();
  putObject(copy.section, fmt::format("<< /Type /Pages /Parent {} /Kids {} /Count {} >>",
                                      reference(pages_), references(numbers), numbers.size()));
  sections_.push_back(copy.section);
  firstPage_ = numbers.front();
  return {};
}

/// Writes the entry of the message before, now that the one behind it has its number.
void PdfBook::putOutline(int next) {
  if (outline_ == 0) return;
  std::string text =
      fmt::format("<< /Title {} /Parent {} /Dest [ {} /Fit ]", textString(outlineTitle_),
                  reference(outlines_), reference(firstPage_));
  if (outlineBefore_ != 0) text += " /Prev " + reference(outlineBefore_);
  if (next != 0) text += " /Next " + reference(next);
  putObject(outline_, text + " >>");
}

void PdfBook::addFile(const std::string& name, const std::string& type, const std::string& note,
                      std::string_view bytes) {
  const std::string packed = deflated(bytes);
  const int stream = reserve();
  begin(stream);
  const std::string subtype = type.find('/') == std::string::npos
                                  ? "/application/octet-stream"
                                  : "/" + std::string(utf16Prefix(shownLine(type), kTitleUnits));
  put(
      fmt::format("<< /Type /EmbeddedFile /Subtype {} /Filter /FlateDecode /Length {} /Params << "
                  "/Size {} >> >>\nstream\n",
                  QPDFObjectHandle::newName(subtype).unparse(), packed.size(), bytes.size()));
  put(packed);
  put("\nendstream\nendobj\n");
  // Readers save it under this name.
  const std::string safe = safeFileName(shownLine(name));
  std::string plain = safe;
  for (char& c : plain) {
    if (static_cast<unsigned char>(c) > 126 || kNotEverywhere.find(c) != std::string_view::npos) {
      c = '_';
    }
  }
  const int number = reserve();
  putObject(number,
            fmt::format("<< /Type /Filespec /F {} /UF {} /Desc {} /EF << /F {} /UF {} >> >>",
                        QPDFObjectHandle::newString(plain).unparse(), textString(safe),
                        textString(shownLine(note)), reference(stream), reference(stream)));
  files_.push_back(number);
  if (files_.size() == kLeafFiles) putNames();
}

/// Writes a leaf of the tree of embedded files. The keys are numbers of one length, so that they
/// come in their order by themselves.
void PdfBook::putNames() {
  if (files_.empty()) return;
  const auto key = [this] { return fmt::format("({:09})", fileCount_); };
  std::string names;
  const std::string first = fmt::format("({:09})", fileCount_ + 1);
  for (const int file : files_) {
    ++fileCount_;
    names += key() + " " + reference(file) + " ";
  }
  const int leaf = reserve();
  putObject(leaf, fmt::format("<< /Limits [ {} {} ] /Names [ {}] >>", first, key(), names));
  names_.push_back(leaf);
  files_.clear();
}

Result<void> PdfBook::finish(const std::string& title) {
  putOutline(0);
  putNames();
  const int lists = static_cast<int>(sections_.size());
  putObject(pages_, fmt::format("<< /Type /Pages /Kids {} /Count {} >>", references(sections_),
                                pageCount_));
  std::string outlines = "<< /Type /Outlines";
  if (outline_ != 0) {
    outlines += fmt::format(" /First {} /Last {} /Count {}", reference(firstOutline_),
                            reference(outline_), lists);
  }
  putObject(outlines_, outlines + " >>");
  std::string catalog = fmt::format(
      "<< /Type /Catalog /Pages {} /Outlines {} /ViewerPreferences << /DisplayDocTitle true >>",
      reference(pages_), reference(outlines_));
  if (!names_.empty()) {
    catalog += " /Names << /EmbeddedFiles << /Kids " + references(names_) + " >> >>";
  }
  if (lists > 1) catalog += " /PageMode /UseOutlines";
  putObject(catalog_, catalog + " >>");
  const int info = reserve();
  putObject(info, fmt::format("<< /Title {} /Producer (Keldane Pro) >>",
                              textString(std::string(utf16Prefix(shownLine(title), kTitleUnits)))));
  const std::uint64_t table = written_;
  put(fmt::format("xref\n0 {}\n0000000000 65535 f \n", offsets_.size()));
  for (std::size_t number = 1; number < offsets_.size(); ++number) {
    put(fmt::format("{:010} 00000 n \n", offsets_[number]));
  }
  put(fmt::format("trailer\n<< /Size {} /Root {} /Info {} >>\nstartxref\n{}\n%%EOF\n",
                  offsets_.size(), reference(catalog_), reference(info), table));
  if (table > kMostBytes) {
    return Failure{"a PDF holds no more than 9 GB; export fewer messages at a time"};
  }
  return {};
}

}  // namespace keldane
