#pragma once

#include <string_view>

#include <QString>

namespace keldane {

/// Gives the application the words of the system's language, where there is a translation into it,
/// and Qt's own with them. Once, after the application is made.
void loadTranslations();

/// What the core says (the title and text of an alert, of a chooser, of the progress), in the
/// user's language. What it has put into a sentence stays as it is; a text without a translation
/// stays whole.
[[nodiscard]] QString coreWords(std::string_view text);

}  // namespace keldane
