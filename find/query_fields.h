#pragma once

#include <string_view>
#include <vector>

#include "find/message_terms.h"

namespace keldane {

/// What stands behind the colon of a field.
enum class FieldValue { words, date, size, id, has };

/// A field of the query language, as the reader takes it and the manual page tells it.
struct QueryField {
  std::string_view name;
  FieldValue value = FieldValue::words;
  std::vector<Field> fields;  ///< that words are looked for in
  std::string_view help;
};
[[nodiscard]] const std::vector<QueryField>& queryFields();

/// How the parts of a query are written, for the manual page.
struct QueryForm {
  std::string_view form;
  std::string_view help;
};
[[nodiscard]] const std::vector<QueryForm>& queryForms();

}  // namespace keldane
