#pragma once

#include <array>
#include <string_view>

/// The statements that make an archive and bring an old one up to date, in the order in which they
/// are sent.
namespace keldane::schema {

inline constexpr std::string_view kCreateEmail =
    "CREATE TABLE IF NOT EXISTS email (id INTEGER UNSIGNED PRIMARY KEY NOT NULL "
    "AUTO_INCREMENT,from_fld VARCHAR(255) NOT NULL DEFAULT '',"
    "to_fld MEDIUMTEXT NOT NULL,subj_fld MEDIUMTEXT NOT NULL,"
    "date_fld DATETIME NOT NULL,mailbox VARCHAR(255) NOT NULL DEFAULT '',"
    "mailto VARCHAR(127) NOT NULL DEFAULT '',body_fld LONGTEXT NOT NULL,"
    "numAttach INTEGER NOT NULL DEFAULT 0,attachNames MEDIUMTEXT NOT NULL,"
    "attachText LONGTEXT NOT NULL)";

inline constexpr std::string_view kAddHeadings =
    "ALTER TABLE email ADD headings MEDIUMTEXT NOT NULL";

inline constexpr std::string_view kEnlargeMailbox =
    "ALTER TABLE email MODIFY mailbox VARCHAR(255) NOT NULL";

inline constexpr std::string_view kEnlargeTo =
    "ALTER TABLE email MODIFY to_fld MEDIUMTEXT NOT NULL";

inline constexpr std::string_view kCreateAttachments =
    "CREATE TABLE IF NOT EXISTS attachments (id INT UNSIGNED NOT NULL,"
    "type_fld VARCHAR(127) NOT NULL DEFAULT '',"
    "filename_fld VARCHAR(127) NOT NULL DEFAULT '',encode_fld INT default 0,"
    "attach_fld LONGBLOB NOT NULL,INDEX idIndex (id))";

inline constexpr std::string_view kCreateOrigemail =
    "CREATE TABLE IF NOT EXISTS origemail (id INTEGER UNSIGNED PRIMARY KEY,"
    "orig_fld LONGBLOB NOT NULL)";

inline constexpr std::string_view kCreateTags =
    "CREATE TABLE IF NOT EXISTS tags (id INTEGER UNSIGNED PRIMARY KEY,"
    "cat_fld VARCHAR(127) NOT NULL DEFAULT '',"
    "key_fld VARCHAR(127) NOT NULL DEFAULT '',priority_fld INT DEFAULT 0,"
    "notes_fld MEDIUMTEXT NOT NULL)";

inline constexpr std::string_view kCreateSettings =
    "CREATE TABLE IF NOT EXISTS settings (attachState INT DEFAULT 1,"
    "htmlState INT DEFAULT 1,origState INT DEFAULT 1,trashState INT DEFAULT 0,"
    "allmbState INT DEFAULT 0,largeAttachState INT DEFAULT 0,"
    "attachSize VARCHAR(16) DEFAULT '1.6',updatesState INT DEFAULT 1,"
    "browseNameString VARCHAR(127) DEFAULT '',indexDateState INT DEFAULT 1,"
    "indexFromState INT DEFAULT 0,indexToState INT DEFAULT 0,"
    "indexSubjectState INT DEFAULT 0,indexBodyState INT DEFAULT 0,"
    "indexAttachNameState INT DEFAULT 0,indexAttachConState INT DEFAULT 0,"
    "mailboxesState INT DEFAULT 0,postbox INT DEFAULT 0)";

inline constexpr std::string_view kCreateAccounts =
    "CREATE TABLE IF NOT EXISTS accounts (account VARCHAR(127) DEFAULT '')";

inline constexpr std::string_view kCreateMailboxes =
    "CREATE TABLE IF NOT EXISTS mailboxes (mailbox VARCHAR(255) DEFAULT '')";

inline constexpr std::string_view kEnlargeMailboxName =
    "ALTER TABLE mailboxes MODIFY mailbox VARCHAR(255) DEFAULT ''";

inline constexpr std::string_view kCreateCategories =
    "CREATE TABLE IF NOT EXISTS categories (category VARCHAR(127) DEFAULT '')";

/// Each fails on an archive that has the column.
inline constexpr std::array<std::string_view, 11> kAddSettingsColumns = {
    "ALTER TABLE settings ADD mailboxesState INT DEFAULT 0",
    "ALTER TABLE settings ADD postbox INT DEFAULT 0",
    "ALTER TABLE settings ADD importFolderState INT DEFAULT 0",
    "ALTER TABLE settings ADD importFolderPath VARCHAR(127) DEFAULT ''",
    "ALTER TABLE settings ADD skipDupsState INT DEFAULT 0",
    "ALTER TABLE settings ADD indexHeadingsState INT DEFAULT 0",
    "ALTER TABLE settings ADD deleteFolderState INT DEFAULT 0",
    "ALTER TABLE settings ADD limitSearchState INT DEFAULT 1",
    "ALTER TABLE settings ADD limitSearchSize VARCHAR(16) DEFAULT '1000'",
    "ALTER TABLE settings ADD junkState INT DEFAULT 0",
    "ALTER TABLE settings ADD appearanceState INT DEFAULT 0",
};

struct IndexStep {
  std::string_view title;
  std::string_view sql;
  bool sent = true;
};

/// A server that wants a length for a text column refuses; nothing depends on any of them.
inline constexpr std::array<IndexStep, 8> kIndexSteps = {{
    {"Indexing Date field...", "CREATE INDEX IF NOT EXISTS dateIndex ON email (date_fld)"},
    {"Indexing From field...", "CREATE INDEX IF NOT EXISTS FromIndex ON email (from_fld)"},
    {"Indexing Mailbox field...", "CREATE INDEX IF NOT EXISTS mailboxIndex ON email (mailbox)"},
    {"Indexing To field...", "CREATE INDEX IF NOT EXISTS toIndex ON email (to_fld)"},
    {"Indexing Subject field...",
     "CREATE FULLTEXT INDEX IF NOT EXISTS subjIndex ON email (subj_fld)"},
    {"Indexing Body Text field...",
     "CREATE FULLTEXT INDEX IF NOT EXISTS bodyIndex ON email (body_fld)"},
    {"Indexing Attach Name field...",
     "CREATE FULLTEXT INDEX IF NOT EXISTS attachNameIndex ON email (attachNames)", false},
    {"Creating composite indes...",
     "ALTER TABLE email ADD INDEX coverindex (from_fld(100),to_fld(100),date_fld,id)"},
}};

/// What `showSchema` tells: a summary, older than the schema itself.
inline constexpr const char* kSchemaText =
    "eemail table\n\tid\t\tINT\n\tfrom_fld\tVARCHAR\n\tto_fld\tVARCHAR\n"
    "\tsubj_fld\tMEDIUMTEXT\n\tdate_fld\tDATETIME\n\tmailbox\tVARCHAR\n\tmailto\tVARCHAR\n"
    "\tbody_fld\tLONGTEXT\n\tnumAttach\tINT\n\tattachNames\tMEDIUMTEXT\n"
    "\tattachText\tMEDIUMTEXT\n\theadings\tMEDIUMTEXT\n\nattachments table\n"
    "\tid\t\t\tINT\n\ttype_fld\t\tVARCHAR\n\tfilename_fld\tVARCHAR\n\tencode_fld\tINT\n"
    "\tattach_fld\t\tLONGBLOB\n\norigemail table\n\tid\t\tINT\n\torig_fld\tLONGBLOB\n\n"
    "tags table\n\tid\t\t\tINT\n\tcat_fld\t\tVARCHAR\n\tkey_fld\t\tVARCHAR\n"
    "\tpriority_fld\tINT\n\tnotes_fld\t\tMEDIUMTEXT\n";

}  // namespace keldane::schema
