#pragma once

#include <QCoreApplication>
#include <QWidget>

class QButtonGroup;
class QFormLayout;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;

namespace keldane {

class KeldaneController;

/// What stands under the list: the head of the message, the buttons that choose between its text,
/// its HTML and its source, the message itself. Every text out of the message is plain text.
class MessagePane : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(MessagePane)

 public:
  MessagePane(KeldaneController& controller, QWidget* parent);

  /// Shows what the viewer below holds.
  void refresh();
  /// One page down. False at the end of the message.
  bool scrollOn();
  void copy();

 private:
  void makeHead();
  QWidget* makeModeButtons();
  void showHead();
  void showMode();

  KeldaneController& controller_;
  QWidget* head_;
  QFormLayout* headLines_ = nullptr;
  QLabel* from_ = nullptr;
  QLabel* to_ = nullptr;
  QLabel* cc_ = nullptr;
  QLabel* date_ = nullptr;
  QLabel* subject_ = nullptr;
  QLabel* tags_ = nullptr;
  QPushButton* textButton_ = nullptr;
  QPushButton* htmlButton_ = nullptr;
  QPushButton* sourceButton_ = nullptr;
  QStackedWidget* body_;
  QPlainTextEdit* text_;
};

}  // namespace keldane
