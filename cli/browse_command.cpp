#include <memory>

#include "app/query_settings.h"
#include "cli/commands.h"
#include "cli/message_rows.h"
#include "cli/program.h"
#include "cli/search_options.h"
#include "query/saved_searches.h"

namespace keldane {
namespace {

struct BrowseOptions {
  RowOptions rows;
  std::string limit;
  bool bySize = false;
};

void runBrowse(BrowseOptions options, Program& program) {
  SearchContext checked;
  if (const Result<void> limited = applyLimit(options.limit, checked); !limited) {
    (void)program.fail(limited.error());
    program.exitStatus = kExitUsage;
    return;
  }
  Archiver* archiver = program.connected(options.rows.connection, options.rows.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  SearchContext context = searchContextOf(archiver->settings());
  static_cast<void>(applyLimit(options.limit, context));  // has been checked
  ListRequest request;
  if (options.bySize) {
    request.statement = makeSizeSQL(context);
  } else {
    const std::vector<SavedSearch> searches = readSavedSearches(archiver->preferences());
    const std::string& name = archiver->settings().archive.browseNameString;
    const std::string* saved = name.empty() ? nullptr : findSearch(searches, name);
    if (saved != nullptr) {
      options.rows.withoutLimit = "the limit stands in the saved search that browse runs";
    }
    const SearchSql whole = makeSearchSQL({}, context);
    request.statement = saved != nullptr ? *saved : whole.beginSql + whole.whereSql;
  }
  program.exitStatus = showList(*archiver, request, options.rows, program);
}

}  // namespace

Command browseCommand(Program& program) {
  auto options = std::make_shared<BrowseOptions>();
  Command command = {
      .name = "browse",
      .help =
          "List the whole archive, or run the saved search set with `keldane searches "
          "set-browse`; the limit and the order are those of the settings",
      .options = {{"--size", &options->bySize, "List by size, the largest first"},
                  {"--limit", &options->limit, "At most so many, but for a saved search",
                   kLimitWords}},
      .run = [options, &program] { runBrowse(*options, program); }};
  options->rows.addTo(command);
  return command;
}

}  // namespace keldane
