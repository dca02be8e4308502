#include "desktop/reading_keys.h"

#include <QKeyEvent>
#include <QWheelEvent>

namespace keldane {

bool ReadingKeys::press(int key) const {
  switch (key) {
    case Qt::Key_Space:
      readOn();
      return true;
    case Qt::Key_N:
    case Qt::Key_J:
      step(1);
      return true;
    case Qt::Key_P:
    case Qt::Key_K:
      step(-1);
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      if (open) open();
      return static_cast<bool>(open);
    case Qt::Key_Escape:
      if (leave) leave();
      return static_cast<bool>(leave);
    default:
      return false;
  }
}

bool ReadingKeys::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    const bool isPlain = (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (isPlain && press(key->key())) return true;
  } else if (event->type() == QEvent::Wheel) {
    const auto* wheel = static_cast<QWheelEvent*>(event);
    const int turned = wheel->angleDelta().y();
    if ((wheel->modifiers() & Qt::ControlModifier) != 0) {
      if (turned != 0) zoom(turned > 0 ? 1 : -1);
      return true;
    }
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace keldane
