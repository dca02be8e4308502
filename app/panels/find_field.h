#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/archiver.h"
#include "app/panels/progress_panel.h"
#include "app/panels/result_table.h"
#include "app/user_interface.h"
#include "find/attachment_text.h"
#include "find/index_catch_up.h"
#include "find/message_terms.h"
#include "find/word_index.h"
#include "find/word_query.h"

namespace keldane {

/// The field "Find": asks the word index while the user types, and shows in the result list what it
/// answers. The list before comes back when the search is given up. Main thread; does nothing while
/// an archive run has the session.
class FindField {
 public:
  struct Context {
    Archiver& archiver;
    ResultTable& table;
    ProgressPanel& progress;
    UserInterface& ui;
    Environment& environment;
  };

  explicit FindField(Context context);
  ~FindField();
  FindField(const FindField&) = delete;
  FindField& operator=(const FindField&) = delete;

  /// The user turns to the field: brings the index in step with the archive, which takes long when
  /// there is none yet. False when there is none to ask; `message` tells why.
  bool begin();
  /// The text has changed: shows the first of what it finds, the newest first. An empty text brings
  /// the former list back. The last word may be unfinished.
  void type(const std::string& text);
  /// Makes all that is found the list, in which later searches may run.
  void keep();
  /// Gives the search up: the former list comes back.
  void giveUp();
  /// Words to be marked in a message, of the last text.
  [[nodiscard]] const std::vector<std::string>& words() const { return words_; }
  /// Lets go of the index, which one at a time can write: another archive is opened, or a run
  /// begins.
  void forgetIndex();

  std::string text;
  std::string message;  ///< what the user should know, as a sentence; empty: nothing

 private:
  struct Index;
  [[nodiscard]] Index* index();
  void tell(const std::string& what);

  Context context_;
  std::unique_ptr<Index> index_;
  std::optional<KeptList> former_;
  std::optional<QueryNode> query_;
  std::vector<std::string> words_;
};

}  // namespace keldane
