#pragma once

class QComboBox;

namespace keldane {

class FormBinding;
struct CategoryMenu;

/// Ties a pop-up of categories to its titles, which may grow, and to the one that is selected.
void bindCategories(FormBinding& form, QComboBox& box, const char* name, CategoryMenu& menu);

/// Adds the priorities in the order of their values.
void addPriorities(QComboBox& box);

}  // namespace keldane
