#include "output/pdf_export.h"

#include <gmock/gmock.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include "base/files.h"
#include "tests/output/output_rig.h"

namespace keldane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using PdfExport = OutputRig;

/// A layout of two pages of which the first would do more than show itself.
std::string twoPages(const std::string& text) {
  const auto link = [](const std::string& action) {
    return "<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /A " + action + " >> ";
  };
  const std::string marks =
      link("<< /S /URI /URI (https://keep.example/) >>") +
      link("<< /S /URI /URI (JavaScript:alert\\(1\\)) >>") + link("<< /S /JavaScript /JS (x) >>") +
      link("<< /S /Launch /F (/bin/sh) >>") +
      link("<< /S /URI /URI (http://a.example/) /Next << /S /Launch /F (x) >> >>");
  const std::string objects[] = {
      "<< /Type /Catalog /Pages 2 0 R /OpenAction << /S /JavaScript /JS (x) >> >>",
      "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 /MediaBox [0 0 595 842] >>",
      "<< /Type /Page /Parent 2 0 R /Contents 5 0 R /AA << /O << /S /Launch /F (x) >> >> /Annots "
      "[" +
          marks + "] >>",
      "<< /Type /Page /Parent 2 0 R /Contents 5 0 R >>",
      "<< /Length " + std::to_string(text.size()) + " >>\nstream\n" + text + "\nendstream"};
  std::string pdf = "%PDF-1.4\n";
  std::string table;
  for (std::size_t i = 0; i < std::size(objects); ++i) {
    table += fmt::format("{:010} 00000 n \n", pdf.size());
    pdf += fmt::format("{} 0 obj\n{}\nendobj\n", i + 1, objects[i]);
  }
  return fmt::format(
      "{0}xref\n0 6\n0000000000 65535 f \n{1}trailer\n<< /Size 6 /Root 1 0 R >>\nstartxref\n{2}\n"
      "%%EOF\n",
      pdf, table, pdf.size());
}

Result<std::string> layOut(const ListedMessage& message) {
  return twoPages("% message " + std::to_string(message.id));
}

std::string contentsOf(QPDFPageObjectHelper page) {
  std::string text;
  for (QPDFObjectHandle stream : page.getPageContents()) {
    const auto bytes = stream.getStreamData();
    text.append(reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize());
  }
  return text;
}

std::string bytesOf(QPDFEFStreamObjectHelper stream) {
  const auto bytes = stream.getObjectHandle().getStreamData();
  return {reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize()};
}

TEST_F(PdfExport, HoldsPagesContentsAndFilesOfEveryMessage) {
  const std::string bytes("\0\x01 endstream \xFF", 14);
  for (const int id : {1, 2, 3}) {
    addMessage(id, "2023-01-02 03:04:05", "ann@example.org", "Über (1) \xE2\x80\xAEx", "body");
  }
  addAttachment(1, "application/pdf", "../../\xE2\x80\xAE/evil\n(1).pdf", bytes);
  addAttachment(1, "text/html", "htmlversion1.html", "<p>own</p>");
  for (int file = 0; file < 70; ++file) addAttachment(3, "", fmt::format("{}.txt", file), "");
  const std::string path = folder.path() + "/all.pdf";
  const auto report = exportPdf(context, ids({1, 99, 2, 3}), layOut, path);
  ASSERT_TRUE(report) << report.error();
  EXPECT_EQ(report->messages, 3U);

  QPDF pdf;
  pdf.processFile(path.c_str());
  auto pages = QPDFPageDocumentHelper(pdf).getAllPages();
  ASSERT_EQ(pages.size(), 6U);
  EXPECT_THAT(contentsOf(pages[3]), HasSubstr("% message 2"));
  EXPECT_THAT(contentsOf(pages[3]), HasSubstr("(2 / 2)"));
  EXPECT_THAT(contentsOf(pages[3]), HasSubstr("(4)"));
  auto contents = QPDFOutlineDocumentHelper(pdf).getTopLevelOutlines();
  ASSERT_EQ(contents.size(), 3U);
  EXPECT_EQ(contents[0].getTitle(), "Über (1) \xEF\xBF\xBDx");
  EXPECT_EQ(contents[2].getDestPage().getObjGen(), pages[4].getObjectHandle().getObjGen());

  auto files = QPDFEmbeddedFileDocumentHelper(pdf).getEmbeddedFiles();
  ASSERT_EQ(files.size(), 71U);
  auto& first = *files.begin()->second;
  EXPECT_EQ(bytesOf(first.getEmbeddedFileStream()), bytes);
  EXPECT_EQ(first.getFilename().find('/'), std::string::npos) << first.getFilename();
  EXPECT_EQ(first.getFilename().find('\n'), std::string::npos);
  EXPECT_EQ(files.rbegin()->second->getFilename(), "69.txt");
  EXPECT_THAT(pdf.getWarnings(), IsEmpty());
}

TEST_F(PdfExport, TakesNoActionOverButLinksToTheWeb) {
  addMessage(1, "2023-01-02 03:04:05", "ann@example.org", "Links", "body");
  const std::string path = folder.path() + "/one.pdf";
  ASSERT_TRUE(exportPdf(context, ids({1}), layOut, path));
  QPDF pdf;
  pdf.processFile(path.c_str());
  EXPECT_FALSE(pdf.getRoot().hasKey("/OpenAction"));
  std::vector<std::string> targets;
  for (QPDFObjectHandle object : pdf.getAllObjects()) {
    if (!object.isDictionary()) continue;
    EXPECT_FALSE(object.hasKey("/AA"));
    if (!object.hasKey("/Annots")) continue;
    for (QPDFObjectHandle mark : object.getKey("/Annots").aitems()) {
      targets.push_back(mark.getKey("/A").unparseResolved());
    }
  }
  EXPECT_THAT(targets, ElementsAre("<< /S /URI /URI (https://keep.example/) >>"));
}

TEST_F(PdfExport, LeavesWhatLayThereWhenAMessageFails) {
  addMessage(1, "2023-01-02 03:04:05", "ann@example.org", "First", "body");
  addMessage(2, "2023-01-03 03:04:05", "ann@example.org", "Second/../x", "body");
  folder.write("kept.pdf", "before");
  const auto broken = [](const ListedMessage& message) -> Result<std::string> {
    if (message.id == 2) return std::string("no PDF");
    return layOut(message);
  };
  const std::string path = folder.path() + "/kept.pdf";
  const auto report = exportPdf(context, ids({1, 2}), broken, path);
  ASSERT_FALSE(report);
  EXPECT_THAT(report.error(), HasSubstr("message 2: "));
  EXPECT_EQ(*readFile(path), "before");

  ASSERT_TRUE(exportPdfFolder(context, ids({1, 2}), layOut, folder.path() + "/each"));
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path() + "/each")) {
    names.push_back(entry.path().filename());
  }
  EXPECT_THAT(names, UnorderedElementsAre("2023-01-02 03.04 ann@example.org First 1.pdf",
                                          "2023-01-03 03.04 ann@example.org Second_.._x 2.pdf"));
}

}  // namespace
}  // namespace keldane
