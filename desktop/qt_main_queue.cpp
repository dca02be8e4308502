#include "desktop/qt_main_queue.h"

#include <utility>

#include <QThread>
#include <QTimer>

namespace keldane {

void QtMainQueue::post(std::function<void()> task) {
  QMetaObject::invokeMethod(&mainThread_, std::move(task), Qt::QueuedConnection);
}

void QtMainQueue::postAfter(std::chrono::nanoseconds delay, std::function<void()> task) {
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(delay);
  // A timer belongs to the thread that starts it.
  post([this, wait, task = std::move(task)] { QTimer::singleShot(wait, &mainThread_, task); });
}

void QtMainQueue::callAndWait(std::function<void()> task) {
  if (QThread::currentThread() == mainThread_.thread()) {
    task();
    return;
  }
  QMetaObject::invokeMethod(&mainThread_, std::move(task), Qt::BlockingQueuedConnection);
}

}  // namespace keldane
