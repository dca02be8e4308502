#include "desktop/form_binding.h"

#include <algorithm>
#include <utility>

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>

#include "desktop/qt_text.h"

namespace keldane {

void nameControl(QWidget& control, const char* name, const QString& words) {
  control.setObjectName(QString::fromLatin1(name));
  if (!words.isEmpty()) control.setAccessibleName(words);
}

void FormBinding::bind(QLineEdit& field, const char* name, std::string& value) {
  nameControl(field, name);
  bind(
      [&field, &value] {
        if (plainText(field.text()) != value) field.setText(qtText(value));
      },
      [&field, &value] { value = plainText(field.text()); });
}

void FormBinding::bind(QPlainTextEdit& field, const char* name, std::string& value) {
  nameControl(field, name);
  bind(
      [&field, &value] {
        if (plainText(field.toPlainText()) != value) field.setPlainText(qtText(value));
      },
      [&field, &value] { value = plainText(field.toPlainText()); });
}

void FormBinding::bind(QComboBox& menu, const char* name, std::string& value) {
  nameControl(menu, name);
  // An item's own title stands behind the words that are shown, which may be translated.
  bind(
      [&menu, &value] {
        const QString title = qtText(value);
        int at = menu.findData(title);
        if (at < 0) at = menu.findText(title);
        if (at < 0) {
          menu.addItem(title, title);
          at = menu.count() - 1;
        }
        menu.setCurrentIndex(at);
      },
      [&menu, &value] {
        const QString title = menu.currentData().toString();
        value = plainText(title.isEmpty() ? menu.currentText() : title);
      });
}

void FormBinding::bindIndex(QComboBox& menu, const char* name, std::size_t& value) {
  nameControl(menu, name);
  bind([&menu, &value] { menu.setCurrentIndex(static_cast<int>(value)); },
       [&menu, &value] { value = static_cast<std::size_t>(std::max(0, menu.currentIndex())); });
}

void FormBinding::bindIndex(QComboBox& menu, const char* name, int& value) {
  nameControl(menu, name);
  bind([&menu, &value] { menu.setCurrentIndex(value); },
       [&menu, &value] { value = std::max(0, menu.currentIndex()); });
}

void FormBinding::bind(QAbstractButton& check, const char* name, bool& value) {
  nameControl(check, name);
  bind([&check, &value] { check.setChecked(value); },
       [&check, &value] { value = check.isChecked(); });
}

void FormBinding::bind(QAbstractButton& check, const char* name, int& value) {
  nameControl(check, name);
  bind([&check, &value] { check.setChecked(value != 0); },
       [&check, &value] { value = check.isChecked() ? 1 : 0; });
}

void FormBinding::bind(std::function<void()> show, std::function<void()> take) {
  entries_.push_back({std::move(show), std::move(take)});
}

void FormBinding::show() const {
  for (const Entry& entry : entries_) {
    if (entry.show) entry.show();
  }
}

void FormBinding::take() const {
  for (const Entry& entry : entries_) {
    if (entry.take) entry.take();
  }
}

}  // namespace keldane
