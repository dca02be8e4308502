#include "app/panels/link_question.h"

#include <algorithm>
#include <string_view>

#include "base/shown_text.h"
#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kOpened[] = {"http", "https", "mailto"};
constexpr std::size_t kMostShown = 1000;

bool isOpened(std::string_view target) {
  const std::string_view scheme = target.substr(0, target.find(':'));
  return std::any_of(std::begin(kOpened), std::end(kOpened),
                     [&](std::string_view one) { return compareNoCase(one, scheme) == 0; });
}

}  // namespace

bool mayOpenLink(const std::string& target, UserInterface& ui) {
  const std::string shown = shownLine(target.substr(0, kMostShown));
  if (!isOpened(target)) {
    ui.alert({"This link is not opened",
              "It leads to something other than a web page or an e-mail address:\n\n" + shown});
    return false;
  }
  return ui.alert({"Open this link?",
                   "It leads to:\n\n" + shown,
                   AlertStyle::informational,
                   {"Open", "Cancel"}}) == kFirstButton;
}

}  // namespace keldane
