#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace keldane {

/// First title of the menus of categories: the one that chooses nothing.
inline constexpr const char* kNoCategoryTitle = "None";

/// A pop-up of tag categories: its titles, and which is selected.
struct CategoryMenu {
  std::vector<std::string> titles = {kNoCategoryTitle};
  std::size_t selected = 0;

  /// The text that goes into the category's field.
  [[nodiscard]] std::string category() const {
    const std::string& title = titles.at(selected);
    return title == kNoCategoryTitle ? std::string() : title;
  }
  void fill(const std::vector<std::string>& categories) {
    *this = {};
    for (const std::string& category : categories) {
      if (category != kNoCategoryTitle) titles.push_back(category);
    }
  }
};

}  // namespace keldane
