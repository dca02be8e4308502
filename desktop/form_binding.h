#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <QString>

class QAbstractButton;
class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QWidget;

namespace keldane {

/// Ties the controls of a panel to the values of its form: `show` copies the values into the
/// controls, `take` the controls into the values. A panel's operations read and write the form
/// alone, so that a window calls `take` before each and `show` in its `refresh`.
///
/// Each control gets its given name and, for those who hear the window, the words that name it.
/// The values must outlive the binding.
class FormBinding {
 public:
  void bind(QLineEdit& field, const char* name, std::string& value);
  void bind(QPlainTextEdit& field, const char* name, std::string& value);
  /// A menu whose value is the title of its selected item. A title that it lacks is added.
  void bind(QComboBox& menu, const char* name, std::string& value);
  /// A menu whose value is the index of its selected item.
  void bindIndex(QComboBox& menu, const char* name, std::size_t& value);
  void bindIndex(QComboBox& menu, const char* name, int& value);
  void bind(QAbstractButton& check, const char* name, bool& value);
  /// The same for a setting that is 0 or 1.
  void bind(QAbstractButton& check, const char* name, int& value);
  /// A value that is shown or taken in a way of its own.
  void bind(std::function<void()> show, std::function<void()> take);

  void show() const;
  void take() const;

 private:
  struct Entry {
    std::function<void()> show;
    std::function<void()> take;
  };
  std::vector<Entry> entries_;
};

/// Gives a control its given name and what a screen reader calls it. Without words they are taken
/// from the control's own text or from the label that has it as its buddy.
void nameControl(QWidget& control, const char* name, const QString& words = {});

}  // namespace keldane
