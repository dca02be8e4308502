#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <variant>

#include <fmt/format.h>

#include "base/shown_text.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/index_access.h"
#include "cli/json_text.h"
#include "cli/pager.h"
#include "cli/program.h"
#include "cli/terminal_text.h"
#include "find/word_search.h"

namespace keldane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kUsualLimit = 20;

struct FindOptions {
  std::vector<std::string> words;
  std::string connection;
  std::string database;
  std::optional<unsigned> limit;
  bool byRelevance = false;
  bool count = false;
  bool ids = false;
  bool explain = false;
  bool json = false;
};

/// The query with a mark below the place that cannot be read.
void tellProblem(const std::string& query, const QueryProblem& problem, Program& program) {
  (void)program.fail(problem.message);
  const std::string before = shownLine(std::string_view(query).substr(0, problem.atByte));
  std::fputs((terminalText(shownLine(query)) + "\n" + std::string(utf16Length(before), ' ') + "^\n")
                 .c_str(),
             stderr);
  program.exitStatus = kExitUsage;
}

/// Where the words stand when that is not the body: "in attachment invoice.pdf".
std::string placeText(const HitPlace& place) {
  switch (place.field) {
    case Field::body:
      return {};
    case Field::attachment:
      return "in attachment " + shownLine(place.partName);
    case Field::file:
      return "in an attachment's name";
    case Field::tag:
      return "in the tags";
    case Field::subject:
      return "in the subject";
    case Field::from:
    case Field::to:
      return "in the addresses";
    case Field::type:
    case Field::mailbox:
      break;
  }
  return {};
}

std::string marked(const Snippet& snippet, bool color) {
  if (!color) return terminalText(snippet.text);
  std::string line;
  std::size_t done = 0;
  const std::string_view text = snippet.text;
  for (const auto& [begin, end] : snippet.marks) {
    line += terminalText(text.substr(done, begin - done)) + "\x1B[1m" +
            terminalText(text.substr(begin, end - begin)) + "\x1B[0m";
    done = end;
  }
  return line + terminalText(text.substr(done));
}

/// Shows hits one after the other, reading each message again for its snippet.
class HitPrinter {
 public:
  HitPrinter(IndexAccess& access, const QueryNode& query, const FindOptions& options)
      : access_(access), query_(query), options_(options) {}

  [[nodiscard]] Result<void> print(const std::vector<WordHit>& hits, bool color) {
    for (std::size_t i = 0; i < hits.size(); ++i) {
      if (i % kUsualLimit == 0) {
        const Result<void> loaded = load(hits, i);
        if (!loaded) return loaded;
      }
      const WordHit& hit = hits[i];
      Result<std::optional<ArchivedMessage>> message = take(hit.id);
      if (!message) return Failure{message.error()};
      HitPlace place;
      if (*message)
        place =
            placeOf(query_, access_.reader().read(std::move(**message)), cutter_, &access_.index());
      options_.json ? printJsonHit(hit, place) : printHit(hit, place, color);
    }
    return {};
  }

 private:
  /// As many as a page shows, from this one on.
  [[nodiscard]] Result<void> load(const std::vector<WordHit>& hits, std::size_t from) {
    std::vector<std::uint32_t> ids;
    for (std::size_t i = from; i < std::min(from + kUsualLimit, hits.size()); ++i) {
      ids.push_back(hits[i].id);
    }
    Result<std::vector<ArchivedMessage>> messages = access_.catchUp().load(ids);
    if (!messages) return Failure{messages.error()};
    loaded_.clear();
    for (ArchivedMessage& message : *messages) loaded_[message.id] = std::move(message);
    return {};
  }
  [[nodiscard]] Result<std::optional<ArchivedMessage>> take(std::uint32_t id) {
    const auto found = loaded_.find(id);
    if (found == loaded_.end()) return access_.catchUp().load(id);
    return std::optional<ArchivedMessage>(std::move(found->second));
  }
  static void printHit(const WordHit& hit, const HitPlace& place, bool color) {
    const std::string head = fmt::format("{}  {}  {}  {}", hit.id, hit.date.substr(0, 16),
                                         shownLine(hit.from), shownLine(hit.subject));
    std::string where = placeText(place);
    if (!where.empty()) where = terminalText("[" + where + "] ");
    std::fputs(
        (terminalText(head) + "\n    " + where + marked(place.snippet, color) + "\n").c_str(),
        stdout);
  }
  static void printJsonHit(const WordHit& hit, const HitPlace& place) {
    auto marks = nlohmann::ordered_json::array();
    for (const auto& [begin, end] : place.snippet.marks) marks.push_back({begin, end});
    printJson({{"id", hit.id},
               {"date", isoDate(hit.date)},
               {"from", hit.from},
               {"subject", hit.subject},
               {"mailbox", hit.mailbox},
               {"where", placeText(place)},
               {"snippet", place.snippet.text},
               {"marks", marks}});
  }

  IndexAccess& access_;
  const QueryNode& query_;
  const FindOptions& options_;
  std::map<std::uint32_t, ArchivedMessage> loaded_;
  WordCutter cutter_;
};

[[nodiscard]] Result<void> answer(const FindOptions& options, const QueryNode& query,
                                  IndexAccess& access, Archiver& archiver, const Program& program) {
  WordSearch search(archiver.session(), access.index(), access.outcome().inStep);
  const HitOrder order = options.byRelevance ? HitOrder::byRelevance : HitOrder::newestFirst;
  const Clock::time_point begin = Clock::now();
  if (options.count) {
    const Result<std::size_t> count = search.count(query);
    if (!count) return Failure{count.error()};
    std::fputs(fmt::format("{}\n", *count).c_str(), stdout);
    return {};
  }
  if (options.ids) {
    const Result<std::vector<std::uint32_t>> ids =
        search.ids(query, order, options.limit ? *options.limit : SIZE_MAX);
    if (!ids) return Failure{ids.error()};
    std::string lines;
    for (const std::uint32_t id : *ids) lines += std::to_string(id) + "\n";
    std::fputs(lines.c_str(), stdout);
    return {};
  }
  const Result<std::vector<WordHit>> hits =
      search.find(query, order, options.limit.value_or(kUsualLimit));
  if (!hits) return Failure{hits.error()};
  if (options.explain) {
    const std::chrono::duration<double, std::milli> taken = Clock::now() - begin;
    std::fputs(fmt::format("{}\nThe index and the server answered in {:.1f} ms.\n",
                           terminalText(queryText(query)), taken.count())
                   .c_str(),
               stderr);
  }
  const Pager pager(program.style, !options.json && !hits->empty());
  return HitPrinter(access, query, options).print(*hits, pager.color());
}

void runFind(const FindOptions& options, Program& program) {
  const std::string text = join(options.words, " ");
  const std::string today = localDateTime(program.environment.now()).substr(0, 10);
  const std::variant<QueryNode, QueryProblem> query = readWordQuery(text, today);
  if (const auto* problem = std::get_if<QueryProblem>(&query)) {
    tellProblem(text, *problem, program);
    return;
  }
  Archiver* archiver = program.connected(options.connection, options.database);
  if (archiver == nullptr) {
    program.exitStatus = kExitFailed;
    return;
  }
  const Result<std::unique_ptr<IndexAccess>> access = IndexAccess::open(*archiver, program);
  Result<void> answered = access ? (*access)->update(false, program) : Failure{access.error()};
  if (answered) {
    answered = answer(options, std::get<QueryNode>(query), **access, *archiver, program);
    if (!answered && WordIndex::isDamage(answered.error())) {
      answered = (*access)->update(true, program, std::string((*access)->index().stemLanguage()));
      if (answered)
        answered = answer(options, std::get<QueryNode>(query), **access, *archiver, program);
    }
  }
  if (!answered) program.exitStatus = failIndex(answered.error(), program);
}

}  // namespace

Command findCommand(Program& program) {
  auto options = std::make_shared<FindOptions>();
  return {
      .name = "find",
      .help = "Find messages by any words of them and of their attachments, at once",
      .more =
          "All words must be there; \"words in quotes\" follow each other. Between and before "
          "words: OR, NOT, ( ). wor* is any word that begins so. A word, quotes or brackets may "
          "have a field before them: from: to: subject: body: attachment: file: type: tag: "
          "mailbox: and there are date:2003..2005, date:last-month, size:>1M, has:attachment and "
          "id:12. Case and accents do not matter; keldane-query(7) has all of it. Within one "
          "argument, \"one -two\", a \"-\" "
          "stands "
          "for NOT.",
      .options = {{.names = "WORDS",
                   .target = &options->words,
                   .help = "What to look for",
                   .required = true},
                  {"--limit", numberInto(options->limit, 1, std::numeric_limits<unsigned>::max()),
                   "At most so many messages (20; --ids: all)", "N"},
                  {"--by-relevance", &options->byRelevance, "The best first, not the newest"},
                  {.names = "--count",
                   .target = &options->count,
                   .help = "Only how many there are",
                   .excludes = {"--ids"}},
                  {"--ids", &options->ids, "The ids of all, one a line, for other commands"},
                  {"--explain", &options->explain,
                   "Show how the query was understood, and the time taken"},
                  {"--connection", &options->connection, "Saved connection to use", "NAME"},
                  {"--database", &options->database, "Database to look in", "NAME"},
                  {"--json", &options->json, "Print a JSON object for each message"}},
      .run = [options, &program] { runFind(*options, program); }};
}

}  // namespace keldane
