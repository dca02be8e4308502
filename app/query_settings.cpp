#include "app/query_settings.h"

#include <memory>
#include <utility>

#include "ingest/reading/natural_date.h"
#include "ingest/reading/strip_plist.h"

namespace keldane {

SourceReading sourceReading(const UserSettings& settings) {
  const auto strip = [](std::string& source) {
    // Tags in a source that is read again are not those of the message that a run is storing.
    MessageTags tags;
    stripPlist(source, tags);
  };
  return {strip, settings.declaredCharsets != 0};
}

ListedTextReader textReader(ServerSession& session, const UserSettings& settings) {
  const auto sources = std::make_shared<StoredSources>(session, sourceReading(settings));
  return [sources](std::uint32_t id, std::string_view date, bool strip) -> Result<std::string> {
    Result<std::string> text = sources->textForReader(id, date, strip);
    if (!text) return Failure{"SQL error: " + text.error()};
    return text;
  };
}

HeaderDate headerDate(const UserSettings& settings, const Environment& environment,
                      std::string listDate) {
  return {std::move(listDate), environment.now(), settings.dateFormat, parseNaturalDate};
}

DateStyle dateStyleOf(const UserSettings& settings) {
  return {settings.dateFormat, settings.separator};
}

SearchContext searchContextOf(const Settings& settings) {
  SearchContext context;
  context.limitSearchState = settings.archive.limitSearchState;
  context.limitSearchSize = settings.archive.limitSearchSize;
  context.sortOrder = settings.user.sortOrder;
  context.sortFieldRow = settings.user.sortFieldRow;
  context.sortFieldCol = settings.user.sortFieldCol;
  return context;
}

}  // namespace keldane
