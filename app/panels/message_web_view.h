#pragma once

#include <string>

namespace keldane {

/// The control that shows a message's HTML. What it is given was written by strangers and goes in
/// as it came, so the view is the place that forbids: no scripts, no plug-ins, no storage, no forms
/// sent, no link followed within the view, and nothing loaded from anywhere, be it a picture, a
/// style, a font or a frame. No other part cleans the text, and none may be relied on to.
class MessageWebView {
 public:
  virtual ~MessageWebView() = default;
  /// Shows a text in UTF-8, whatever it says of its own charset, with no base URL: a reference to
  /// another part of the message stays unresolved.
  virtual void loadHtml(const std::string& html) = 0;
  /// Shows a file of this machine, under the same rules.
  virtual void loadFile(const std::string& path) = 0;
};

}  // namespace keldane
