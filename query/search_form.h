#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace keldane {

/// The six date menus; each "All" or a value.
struct DateMenus {
  std::string beginMo = "All";
  std::string beginDa = "All";
  std::string beginYr = "All";
  std::string endMo = "All";
  std::string endDa = "All";
  std::string endYr = "All";
  bool operator==(const DateMenus&) const = default;
};

/// Kinds of attachments, in the order of their checks.
enum class AttachType { graphics, docs, audio, video, compressed };
inline constexpr std::size_t kAttachTypes = 5;
inline constexpr std::size_t kSearchRows = 8;

/// A group of attachment types: what its line of the legend says, the name first, and the
/// extensions that it looks for.
struct AttachTypeGroup {
  std::string_view name;
  std::string_view extensions;  ///< between ", "
};
inline constexpr std::array<AttachTypeGroup, kAttachTypes> kAttachTypeGroups = {{
    {"Graphic Types", "jpg, jpeg, png, gif, tiff, tif, ai, svg, webp, icns, ico, psd, bmp, eps"},
    {"Document Types", "doc, docx, rtf, txt, pdf, pages"},
    {"Sound Types", "wav, mp3, aac, aiff, aif, m4a, mp2, au, ogg, oga, rm"},
    {"Video Types", "mp4, mpg, webm, mov, moov, avi, m4v, flv, mpeg, ogv, swf, wmv"},
    {"Compressed Types", "zip, gzip, dmg, rar, tar, tgz"},
}};

/// The text of `attchTypesTextField`: a line for each group and a blank line behind it. A face
/// shows the groups' names in its highlight colour.
[[nodiscard]] std::string attachTypeLegend();

/// The controls of the search form. Menus hold the title of their selected item. An operator title
/// means OR when it begins with "OR", else AND; it negates when it ends with "NOT".
struct SearchForm {
  std::array<std::string, kSearchRows> fieldButton = {"From",
                                                      "To",
                                                      "Subject",
                                                      "Mailbox",
                                                      "Body Text",
                                                      "Attachment Name",
                                                      "Attachment Contents",
                                                      "Raw Headings"};
  std::array<std::string, kSearchRows> searchTextField;
  /// [0] to [7] join the rows; [8] joins the attachment types.
  std::array<std::string, kSearchRows + 1> opsButton = {"AND", "OR",  "AND", "AND", "AND",
                                                        "AND", "AND", "AND", "AND"};
  std::string entireMsgTextField;
  DateMenus dates;
  bool onlyAttachCheck = false;
  std::array<bool, kAttachTypes> typeCheck{};
  std::string searchCatButton = "None";
  std::string searchKeywordsTextField;
  std::string searchNotesTextField;
  bool priorityCheck = false;
  std::string searchPriorityButton = "None";
  std::string tagsAndButton = "AND";
  std::string catAndButton = "AND";
  std::string keywordsAndButton = "AND";
  std::string priorityAndButton = "AND";
  bool withTagsCheck = false;
  bool withoutTagsCheck = false;
  std::vector<std::string> mailboxesButton;
  std::vector<std::string> keywordsButton;
  std::string beginSqlTextField;
  std::string whereTextField;
  std::string searchNameTextField;
  std::string savedSearchTextField;
};

/// The form as it is when nothing is asked for; the operator of the first row, the tag block's
/// first operator and the notes keep what they have.
void resetRetrieve(SearchForm& form);
void resetTagSearch(SearchForm& form);

/// Date shortcuts over a local day written "YYYY-MM-DD".
void doDay(DateMenus& dates, const std::string& today);
void doWeek(DateMenus& dates, const std::string& today, const std::string& sixDaysAgo);
void doMonth(DateMenus& dates, const std::string& today);
void doYear(DateMenus& dates, const std::string& today);

}  // namespace keldane
