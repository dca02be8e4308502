#pragma once

#include <QObject>

#include "platform/main_queue.h"

namespace keldane {

/// The main queue of the window program: Qt's event loop runs it. Made on the main thread, after
/// the application.
class QtMainQueue : public MainQueue {
 public:
  void post(std::function<void()> task) override;
  void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override;
  void callAndWait(std::function<void()> task) override;

 private:
  QObject mainThread_;
};

}  // namespace keldane
