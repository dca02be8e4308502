#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "app/panels/progress_panel.h"
#include "app/user_interface.h"
#include "ingest/sources/mail_finder.h"
#include "platform/environment.h"
#include "platform/process_state.h"
#include "settings/settings.h"

namespace keldane {

/// One row of `foldersTableView`.
struct FolderRow {
  std::string folderName;
  std::string folderPath;
  bool found = true;  ///< false: not there at the moment
};

/// One row of `foundTableView`, in `foundMailSheet`.
struct FoundRow {
  bool foundCheck = false;
  FoundMail mail;
  bool isKept = false;  ///< a source already, or one lies in it or around it
};

/// The table "Folders" of the settings window: folders and files of mail that every run archives,
/// with its buttons Add, Remove and Find. A change is kept at once. Main thread.
class FolderTable {
 public:
  struct Context {
    Settings& settings;
    ProcessState& process;
    Environment& environment;
    ProgressPanel& progress;
    UserInterface& ui;
  };

  explicit FolderTable(Context context) : context_(context) {}

  [[nodiscard]] std::vector<FolderRow> folderRows() const;
  /// Add: asks for folders and files. What cannot be kept is told, and the others are.
  void addFolders();
  /// Remove: the selected rows. Their mail stays where it is, and in the archive.
  void removeFolders();
  /// Find: looks for mail on this machine and opens the sheet with what there is, in which all that
  /// can be kept and is not yet is checked.
  void findMail();
  void didClickFoundCheck(std::size_t row);
  /// The sheet's two buttons.
  void addFound();
  void cancelFound();

  std::vector<std::size_t> selectedRows;  ///< of `foldersTableView`, in any order

  [[nodiscard]] const std::vector<FoundRow>& foundRows() const { return foundRows_; }

 private:
  /// A name that is given, and taken already, gives way.
  void add(const std::vector<MailFolder>& wanted);
  void tell(const std::vector<std::string>& failures);

  Context context_;
  std::vector<FoundRow> foundRows_;
};

}  // namespace keldane
