#pragma once

#include <string>
#include <vector>

#include "platform/local_main_queue.h"
#include "platform/progress_panel.h"
#include "query/browse.h"
#include "query/pick_lists.h"
#include "query/result_list.h"
#include "query/retrieve_sheet.h"
#include "query/saved_searches.h"
#include "query/sql_editor.h"
#include "settings/preferences_file.h"
#include "tests/support/fake_environment.h"
#include "tests/support/recording_user_interface.h"
#include "tests/support/scripted_session.h"
#include "tests/support/temporary_folder.h"

namespace keldane {

/// The query rooms wired as in the program, over a session of the test's choice.
struct QueryRigOver {
  explicit QueryRigOver(ServerSession& sessionToUse) : session(sessionToUse) {
    ResultList::Callbacks listCalls;
    listCalls.dateStyle = [this] { return style; };
    listCalls.dbPath = [] { return std::string("mail"); };
    listCalls.storeLog = [this](const std::string& line) { log.push_back(line); };
    list.setCallbacks(std::move(listCalls));
    RetrieveSheet::Callbacks sheetCalls;
    sheetCalls.doConnect = [this] { ++connects; };
    sheetCalls.openDatabase = [this] {
      if (openFails) process.cancelFlag = 1;
    };
    sheetCalls.dbPath = [] { return std::string("mail"); };
    sheetCalls.isArchiving = [this] { return archiving; };
    sheetCalls.settings = [this] { return settings; };
    sheet.setCallbacks(std::move(sheetCalls));
    searches.setCallbacks({.getPrefs = [this] { searches.load(); }});
    Browse::Callbacks browseCalls;
    browseCalls.browseSearchName = [this] { return browseName; };
    browseCalls.setBrowseSearchName = [this](const std::string& name) { browseName = name; };
    browseCalls.savePreferences = [this] { ++saves; };
    browseCalls.settings = [this] { return settings; };
    browse.setCallbacks(std::move(browseCalls));
    settings.limitSearchState = 0;
  }

  ServerSession& session;
  TemporaryFolder folder;
  RecordingUserInterface ui;
  LocalMainQueue queue;
  ProcessState process;
  FakeEnvironment environment;
  ProgressPanel progress{ui, queue};
  PreferencesFile prefs{folder / "prefs.plist"};
  ResultList list{session, progress, ui, process};
  RetrieveSheet sheet{list, process, environment, ui};
  SqlEditor editor{sheet, ui};
  SavedSearches searches{prefs, sheet, ui};
  Browse browse{sheet, searches, list, ui};
  PickLists pickLists{session, progress, ui};
  DateStyle style;
  SearchContext settings;
  std::vector<std::string> log;
  std::string browseName;
  int connects = 0;
  int saves = 0;
  bool openFails = false;
  bool archiving = false;
};

struct ScriptedQuerySession {
  ScriptedSession scripted;
};

struct QueryRig : ScriptedQuerySession, QueryRigOver {
  QueryRig() : QueryRigOver(scripted) {}

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
