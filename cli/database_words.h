#pragma once

#include <string>
#include <string_view>

namespace keldane {

/// What the database server or its client library has said, as one sentence that tells what to do.
/// `text` may begin with the words that the operations put in front ("SQL error: ").
[[nodiscard]] std::string databaseSentence(std::string_view text);

}  // namespace keldane
