#pragma once

#include "app/panels/pick_lists.h"
#include "app/panels/retrieve_sheet.h"
#include "app/panels/saved_searches_panel.h"
#include "app/panels/sql_editor.h"
#include "tests/app/panels_rig.h"

namespace keldane {

/// The panels of the search, wired as in the program, over a session of the test's choice.
struct SearchPanelsOver : PanelsOver {
  explicit SearchPanelsOver(ServerSession& sessionToUse) : PanelsOver(sessionToUse) {
    settings.archive.limitSearchState = 0;
    searches.savePreferences = [this] { save(); };
  }
  void save() { static_cast<void>(settings.savePreferences()); }

  RetrieveSheet sheet{{list, database, prefs, settings, process, environment, ui,
                       [this] { ++connects; },
                       [this] {
                         if (openFails) process.cancelFlag = 1;
                       },
                       [this] { return archiving; }, [this] { save(); }}};
  SqlEditor editor{sheet, ui};
  SavedSearchesPanel searches{prefs, settings, sheet, ui};
  PickLists pickLists{session, progress, ui};
  int connects = 0;
  bool openFails = false;
  bool archiving = false;
};

struct SearchPanels : OwnScript, SearchPanelsOver {
  SearchPanels() : SearchPanelsOver(scripted) {}

  void failOn(const std::string& sql, const std::string& error, int times = -1) {
    scripted.failOn("query " + sql, error, times);
  }
  void answerOn(const std::string& sql, std::vector<ScriptedSession::Row> rows) {
    scripted.answerOn("query " + sql, std::move(rows));
  }
  /// What matching statements find: one row for each id, all of one sender.
  void findIds(const std::string& pattern, const std::vector<int>& ids) {
    std::vector<ScriptedSession::Row> rows;
    for (const int id : ids) {
      rows.push_back({std::to_string(id), "2021-03-04 05:06:07", "a", "b", "c", "In", "0"});
    }
    answerOn(pattern, std::move(rows));
  }
};

}  // namespace keldane
