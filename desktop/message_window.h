#pragma once

#include <QCoreApplication>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "app/panels/open_message.h"

namespace keldane {

class MessagePane;

/// A message in a window of its own, which goes with the list: N and P show the next and the
/// previous there. Deletes itself when it is closed.
class MessageWindow : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(MessageWindow)

 public:
  MessageWindow(std::unique_ptr<OpenMessage> message, UserInterface& ui);
  ~MessageWindow() override;

  void show(Emailrow message);
  void zoom(int steps);
  MessagePane& pane() { return *pane_; }

  /// The message so many rows behind this one in the list; none: there is none.
  std::function<std::optional<Emailrow>(std::uint32_t id, int rows)> neighbour;

 private:
  void step(int rows);
  void showSource();
  void addShortcut(const QKeySequence& keys, std::function<void()> run);

  std::unique_ptr<OpenMessage> message_;
  UserInterface& ui_;
  MessagePane* pane_;
  int zoomSteps_ = 0;
};

}  // namespace keldane
