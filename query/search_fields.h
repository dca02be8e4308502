#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// All that a search can ask for, each with its name in the terminal, its title in the window and
/// its column in the archive. Menus, statements, options and their help all come from here.
namespace keldane {

inline constexpr std::size_t kSearchRows = 8;
inline constexpr std::size_t kTagFields = 4;
inline constexpr std::size_t kAttachTypes = 5;

struct SearchField {
  std::string_view name;    ///< in conditions of the terminal, `--and subject=...`
  std::string_view title;   ///< in the menus of the form
  std::string_view column;  ///< of `email`
  /// What help calls it among the places of a phrase for the entire message; empty where such a
  /// phrase is not looked for, because it would be found too often.
  std::string_view phrasePlace;
};
/// In the order of the form's rows.
inline constexpr std::array<SearchField, kSearchRows> kSearchFields = {{
    {"from", "From", "from_fld", "sender"},
    {"to", "To", "to_fld", "recipients"},
    {"subject", "Subject", "subj_fld", "subject"},
    {"mailbox", "Mailbox", "mailbox", "mailbox"},
    {"body", "Body Text", "body_fld", "body"},
    {"attachment-name", "Attachment Name", "attachNames", "names of attachments"},
    {"attachment-contents", "Attachment Contents", "attachText", ""},
    {"raw-headings", "Raw Headings", "headings", ""},
}};

/// A field of the tags. Its place in the table is a `TagField`.
struct TagSearchField {
  std::string_view name;    ///< of its option in the terminal
  std::string_view column;  ///< of `tags`
  std::string_view help;
};
enum class TagField : std::size_t { category, keywords, notes, priority };
inline constexpr std::array<TagSearchField, kTagFields> kTagSearchFields = {{
    {"category", "cat_fld", "Tagged with this category"},
    {"keywords", "key_fld", "Tagged with these keywords, side by side in their order"},
    {"notes", "notes_fld", "Tagged with notes that hold this"},
    {"priority", "priority_fld", "Tagged with this priority"},
}};
[[nodiscard]] std::string_view columnOf(TagField field);

/// What lists are sorted by, with the place of its button in the settings and its text in a
/// statement.
struct SortColumn {
  std::string_view name;
  int row;
  int column;
  std::string_view order;
};
inline constexpr std::array<SortColumn, 5> kSortColumns = {{
    {"id", 0, 0, "id "},
    {"from", 0, 1, "UPPER(from_fld) "},
    {"date", 1, 0, "date_fld "},
    {"subject", 1, 1, "UPPER(subj_fld) "},
    {"mailbox", 1, 2, "UPPER(mailbox) "},
}};

/// A group of attachment types: its name in the terminal, what its line of the legend says, the
/// title first, and the extensions that it looks for.
struct AttachTypeGroup {
  std::string_view name;
  std::string_view title;
  std::string_view extensions;  ///< between ", "
};
/// In the order of their checks.
inline constexpr std::array<AttachTypeGroup, kAttachTypes> kAttachTypeGroups = {{
    {"graphics", "Graphic Types",
     "jpg, jpeg, png, gif, tiff, tif, ai, svg, webp, icns, ico, psd, bmp, eps"},
    {"documents", "Document Types", "doc, docx, rtf, txt, pdf, pages"},
    {"sound", "Sound Types", "wav, mp3, aac, aiff, aif, m4a, mp2, au, ogg, oga, rm"},
    {"video", "Video Types", "mp4, mpg, webm, mov, moov, avi, m4v, flv, mpeg, ogv, swf, wmv"},
    {"compressed", "Compressed Types", "zip, gzip, dmg, rar, tar, tgz"},
}};

/// The text of `attchTypesTextField`: a line for each group and a blank line behind it. A face
/// shows the groups' titles in its highlight colour.
[[nodiscard]] std::string attachTypeLegend();

/// Titles of the form's field menus as they stand at first.
[[nodiscard]] std::array<std::string, kSearchRows> searchFieldTitles();
/// Column of `email` behind a title of the field menus; empty for any other text.
[[nodiscard]] std::string_view columnForField(std::string_view title);
/// The places of a phrase for the entire message, as a sentence lists them: "a, b or c".
[[nodiscard]] std::string phrasePlaces();

/// The names of a table's entries between `separator`, the last one behind `last`.
template <typename Table>
[[nodiscard]] std::string namesOf(const Table& table, std::string_view separator,
                                  std::string_view last) {
  std::string text;
  for (std::size_t i = 0; i < table.size(); ++i) {
    if (i != 0) text += i + 1 < table.size() ? separator : last;
    text += table[i].name;
  }
  return text;
}

}  // namespace keldane
