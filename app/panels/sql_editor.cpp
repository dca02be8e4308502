#include "app/panels/sql_editor.h"

namespace keldane {

void SqlEditor::editSqlString() {
  sheet_.makeSearchSQLOrEmpty();
  sheet_.form.beginSqlTextField = sheet_.beginSql;
  sheet_.form.whereTextField = sheet_.whereSql;
  ui_.changed("beginSqlTextField");
  ui_.changed("whereTextField");
  ui_.showPanel("SQLPanel");
}

void SqlEditor::makeSQLString() {
  ui_.closePanel("SQLPanel");
  if (sheet_.panel.visible) sheet_.closePanel();
  sheet_.whereSql = sheet_.form.whereTextField;
  sheet_.run(sheet_.beginSql + sheet_.whereSql);
}

}  // namespace keldane
