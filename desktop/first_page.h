#pragma once

#include <QCoreApplication>
#include <QWidget>
#include <functional>

class QLabel;

namespace keldane {

/// Stands in place of the list while the archive is empty: what one can begin with.
class FirstPage : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(FirstPage)

 public:
  explicit FirstPage(QWidget* parent);

  /// Without a connection the page says so.
  void setConnected(bool connected);

  std::function<void()> archiveMyMail;
  std::function<void()> openFiles;
  std::function<void()> connectToServer;

 private:
  QLabel* title_;
  QLabel* text_;
};

}  // namespace keldane
