#pragma once

#include <QAbstractTableModel>
#include <QCoreApplication>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace keldane {

class ResultTable;

/// A column of the result list: its identifier below, and how it stands in the window.
struct ResultColumn {
  std::string_view identifier;
  const char* title;
  int width;  ///< at first, in average characters
};
inline constexpr ResultColumn kResultColumns[] = {
    {"emailDate", QT_TRANSLATE_NOOP("ResultModel", "Date"), 28},
    {"emailFrom", QT_TRANSLATE_NOOP("ResultModel", "From"), 34},
    {"emailTo", QT_TRANSLATE_NOOP("ResultModel", "To"), 28},
    {"emailSubject", QT_TRANSLATE_NOOP("ResultModel", "Subject"), 48},
    {"emailMailbox", QT_TRANSLATE_NOOP("ResultModel", "Mailbox"), 20},
    {"emailAtch", QT_TRANSLATE_NOOP("ResultModel", "Attachments"), 7},
    {"emailID", QT_TRANSLATE_NOOP("ResultModel", "ID"), 9}};
inline constexpr int kSubjectColumn = 3;
inline constexpr int kIdColumn = 6;

/// The rows of the list for a view: a cell is asked for when it is shown, so that a list may have a
/// million rows. Sorting is the list's own.
class ResultModel : public QAbstractTableModel {
  Q_DECLARE_TR_FUNCTIONS(ResultModel)

 public:
  explicit ResultModel(ResultTable& table) : table_(table) {}

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                    int role) const override;
  /// A row can be dragged out; it is a file wherever it is dropped.
  [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
  [[nodiscard]] QStringList mimeTypes() const override;
  [[nodiscard]] QMimeData* mimeData(const QModelIndexList& indexes) const override;
  void sort(int column, Qt::SortOrder order) override;

  /// The rows below have changed.
  void reload();

  /// Writes the selected messages, and answers the paths.
  std::function<std::vector<std::string>()> writeSelected;

 private:
  ResultTable& table_;
};

}  // namespace keldane
