#pragma once

#include <string>
#include <string_view>

/// The form of an mbox file whose sources are had back to the byte. Any reader of mbox files finds
/// its messages: a separator line, the source, and an empty line.
///
/// In the source each line of "From " behind any number of ">" has one more of them. A source that
/// begins with a separator line of its own has that one; for any other a line is made whose sender
/// is "keldane-export". Behind its date each separator line says " remote from keldane-export",
/// then ".own" when it belongs to the source, and ".unended" when the source has no line end at its
/// end: one was added, so that the empty line is one.
namespace keldane {

/// The message of a source; `date` is that of a separator line.
[[nodiscard]] std::string mboxrdMessage(std::string_view source, std::string_view date);

/// Whether a separator line, whole or without its "From ", is one of such a file.
[[nodiscard]] bool isMboxrdSeparator(std::string_view line);

/// Makes a message of such a file the source that it was made of. It begins with its separator
/// line, whole or without its "From "; the empty line behind it is there with `hasEmptyLine`. False
/// when it is of another file: nothing has changed then.
[[nodiscard]] bool restoreMboxrd(std::string& message, bool hasEmptyLine);

}  // namespace keldane
