#pragma once

#include <QObject>
#include <functional>

namespace keldane {

/// The keys of one who reads: N and J to the next message, P and K back, Space down and on, Enter
/// opens; Ctrl and the wheel change the size. An event filter for a list and a text.
class ReadingKeys : public QObject {
 public:
  using QObject::QObject;

  std::function<void(int rows)> step;
  std::function<void()> readOn;
  std::function<void()> open;   ///< empty: there is nothing to open
  std::function<void()> leave;  ///< Esc; empty: it is for others
  std::function<void(int steps)> zoom;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  [[nodiscard]] bool press(int key) const;
};

}  // namespace keldane
