#pragma once

#include <QCoreApplication>
#include <QFont>
#include <QWidget>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/panels/message_web_view.h"

class QFormLayout;
class QLabel;
class QLineEdit;
class QPainter;
class QPlainTextEdit;
class QPrinter;
class QPushButton;
class QStackedWidget;

namespace keldane {

class AttachmentList;
class AttachmentTable;
class HtmlView;
class MessageViewer;
class UserInterface;

/// What stands under the list: the head of the message, the buttons that choose between its text,
/// its HTML and its source, the message itself, its attachments. Every text out of the message is
/// plain text but the HTML, which has a view of its own, made when it is first needed.
class MessagePane : public QWidget, public MessageWebView {
  Q_DECLARE_TR_FUNCTIONS(MessagePane)

 public:
  /// What it shows, and what its button for the source does. All must outlive it.
  struct Shown {
    MessageViewer& viewer;
    AttachmentList& attachments;
    UserInterface& ui;
    std::function<void()> showSource;
  };

  MessagePane(Shown shown, QWidget* parent);
  ~MessagePane() override;

  void loadHtml(const std::string& html) override;
  void loadFile(const std::string& path) override;

  /// Shows what the viewer below holds.
  void refresh();
  void refreshAttachments();
  /// One page down. False at the end of the message.
  bool scrollOn();
  /// Draws the HTML that is shown on paper.
  [[nodiscard]] bool printHtml(QPrinter& printer, QPainter& painter);
  void copy();
  void focusText();
  /// This filter sees what is pressed in the message.
  void watchKeys(QObject* keys);
  /// Marks these words in the messages that are shown from now on.
  void markWords(const std::vector<std::string>& words);
  void setTextFont(const QFont& font);
  void zoom(double factor);
  void setDark(bool dark);

 private:
  void makeHead();
  QWidget* makeModeButtons();
  void showHead();
  void showMode();
  HtmlView& htmlView();
  void makePictureBar();
  void showPictureBar();
  void showMarks();

  const Shown shown_;
  QWidget* head_;
  QFormLayout* headLines_ = nullptr;
  QLineEdit* from_ = nullptr;
  QLineEdit* to_ = nullptr;
  QLineEdit* cc_ = nullptr;
  QLineEdit* date_ = nullptr;
  QLineEdit* subject_ = nullptr;
  QLineEdit* tags_ = nullptr;
  QPushButton* textButton_ = nullptr;
  QPushButton* htmlButton_ = nullptr;
  QPushButton* sourceButton_ = nullptr;
  QStackedWidget* body_;
  QPlainTextEdit* text_;
  QWidget* pictureBar_;
  QLabel* pictureLabel_ = nullptr;
  AttachmentTable* attachments_;
  QWidget* htmlPage_;
  QLabel* htmlProblem_;
  HtmlView* html_ = nullptr;
  std::uint32_t attachmentsOf_ = 0;
  bool attachmentsWithHtml_ = false;
  bool dark_ = false;
  double zoom_ = 1;
  QFont textFont_;
  std::vector<std::string> marked_;
};

}  // namespace keldane
