#include "desktop/result_model.h"

#include <iterator>

#include <QMimeData>
#include <QUrl>

#include "app/panels/result_table.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

constexpr std::string_view kAttachments = "emailAtch";

bool isNumber(std::string_view identifier) {
  return identifier == kAttachments || identifier == "emailID";
}

}  // namespace

int ResultModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(table_.numberOfRows());
}

int ResultModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(std::size(kResultColumns));
}

QVariant ResultModel::data(const QModelIndex& index, int role) const {
  const std::string_view identifier = kResultColumns[index.column()].identifier;
  if (role == Qt::TextAlignmentRole && isNumber(identifier)) {
    return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  }
  if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
  const auto cell =
      table_.objectValueForTableColumn(identifier, static_cast<std::size_t>(index.row()));
  if (!cell) return {};
  if (identifier == kAttachments && *cell == "0") return QString();
  return messageLine(*cell);
}

QVariant ResultModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  const ResultColumn& column = kResultColumns[section];
  if (role == Qt::DisplayRole) {
    return column.identifier == kAttachments ? tr("Att.") : tr(column.title);
  }
  if (role == Qt::ToolTipRole || role == Qt::AccessibleTextRole) return tr(column.title);
  return {};
}

Qt::ItemFlags ResultModel::flags(const QModelIndex& index) const {
  return QAbstractTableModel::flags(index) | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

QStringList ResultModel::mimeTypes() const { return {QStringLiteral("text/uri-list")}; }

QMimeData* ResultModel::mimeData(const QModelIndexList& /*indexes*/) const {
  QList<QUrl> files;
  if (writeSelected) {
    for (const std::string& path : writeSelected()) files += QUrl::fromLocalFile(userPath(path));
  }
  if (files.isEmpty()) return nullptr;
  auto* dragged = new QMimeData;
  dragged->setUrls(files);
  return dragged;
}

/// A click on the head of the column sorted by reverses the list, as the list has it.
void ResultModel::sort(int column, Qt::SortOrder /*order*/) {
  if (column < 0) return;
  table_.didClickTableColumn(std::string(kResultColumns[column].identifier));
}

void ResultModel::reload() {
  beginResetModel();
  endResetModel();
}

}  // namespace keldane
