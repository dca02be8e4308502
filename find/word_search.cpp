#include "find/word_search.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include <fmt/format.h>

#include "find/beginning_source.h"
#include "find/index_guard.h"

namespace keldane {
namespace {

using Kind = QueryNode::Kind;

/// Words that one `wor*` may stand for, in one field, when each has its weight.
constexpr Xapian::termcount kMaxExpansion = 20000;
constexpr std::size_t kIdsAtOnce = 1000;
constexpr int kMostTries = 5;

Xapian::valueno slot(IndexSlot of) { return static_cast<Xapian::valueno>(of); }

std::string term(Field field, const std::string& word) { return fieldPrefix(field) + word; }

Xapian::Query wordsIn(Field field, const QueryNode& node, const WordIndex& index) {
  std::vector<std::string> terms;
  for (const std::string& word : node.words) {
    terms.push_back(term(field, index.stemmed(field, word)));
  }
  if (terms.size() == 1) return Xapian::Query(terms[0]);
  const Xapian::Query phrase(Xapian::Query::OP_PHRASE, terms.begin(), terms.end(),
                             static_cast<Xapian::termcount>(terms.size()));
  if (node.pairs.empty()) return phrase;
  // Few messages have the pairs, so that the places of few are looked at.
  terms.clear();
  for (const std::string& pair : node.pairs) terms.push_back(term(field, pair));
  return Xapian::Query(Xapian::Query::OP_FILTER, phrase,
                       Xapian::Query(Xapian::Query::OP_AND, terms.begin(), terms.end()));
}

Xapian::Query beginningIn(Field field, const std::string& word, const WordIndex& index) {
  const Xapian::Query beginning(Xapian::Query::OP_WILDCARD, term(field, word), kMaxExpansion);
  const std::string stem = index.stemmed(field, word);
  if (stem == word) return beginning;
  // A stem may be shorter than the beginning that was asked for.
  return Xapian::Query(Xapian::Query::OP_OR, beginning, Xapian::Query(term(field, stem)));
}

/// The same in all fields of the node, without weights.
Xapian::Query plainBeginnings(const QueryNode& node, const WordIndex& index) {
  const std::string& word = node.words[0];
  std::vector<std::string> beginnings;
  std::vector<Xapian::Query> queries;
  for (const Field field : node.fields) {
    beginnings.push_back(term(field, word));
    const std::string stem = index.stemmed(field, word);
    if (stem != word) queries.emplace_back(term(field, stem));
  }
  queries.emplace_back((new BeginningSource(std::move(beginnings)))->release());
  return Xapian::Query(Xapian::Query::OP_OR, queries.begin(), queries.end());
}

Xapian::Query inFields(const QueryNode& node, const WordIndex& index, HitOrder order) {
  if (node.kind == Kind::beginning && order == HitOrder::newestFirst) {
    return plainBeginnings(node, index);
  }
  std::vector<Xapian::Query> queries;
  for (const Field field : node.fields) {
    queries.push_back(node.kind == Kind::words ? wordsIn(field, node, index)
                                               : beginningIn(field, node.words[0], index));
  }
  return Xapian::Query(Xapian::Query::OP_OR, queries.begin(), queries.end());
}

Xapian::Query dateRange(const QueryNode& node) {
  const Xapian::valueno dates = slot(IndexSlot::date);
  if (node.to.empty()) return Xapian::Query(Xapian::Query::OP_VALUE_GE, dates, node.from);
  if (node.from.empty()) return Xapian::Query(Xapian::Query::OP_VALUE_LE, dates, node.to);
  return Xapian::Query(Xapian::Query::OP_VALUE_RANGE, dates, node.from, node.to);
}

Xapian::Query indexQuery(const QueryNode& node, const WordIndex& index, HitOrder order) {
  switch (node.kind) {
    case Kind::words:
    case Kind::beginning:
      return inFields(node, index, order);
    case Kind::date:
      return dateRange(node);
    case Kind::size:
    case Kind::id:
      return Xapian::Query(Xapian::Query::OP_VALUE_RANGE,
                           slot(node.kind == Kind::id ? IndexSlot::id : IndexSlot::size),
                           Xapian::sortable_serialise(node.least),
                           Xapian::sortable_serialise(node.most));
    case Kind::attachment:
      return Xapian::Query(std::string(kAttachmentTerm));
    case Kind::noneOf:
      return Xapian::Query(Xapian::Query::OP_AND_NOT, Xapian::Query::MatchAll,
                           indexQuery(node.parts[0], index, order));
    case Kind::anyOf:
    case Kind::bothOf:
      break;
  }
  std::vector<Xapian::Query> wanted;
  std::vector<Xapian::Query> unwanted;
  for (const QueryNode& part : node.parts) {
    const bool isLeftOut = node.kind == Kind::bothOf && part.kind == Kind::noneOf;
    (isLeftOut ? unwanted : wanted)
        .push_back(indexQuery(isLeftOut ? part.parts[0] : part, index, order));
  }
  const auto join = node.kind == Kind::bothOf ? Xapian::Query::OP_AND : Xapian::Query::OP_OR;
  Xapian::Query query = wanted.empty() ? Xapian::Query(Xapian::Query::MatchAll)
                                       : Xapian::Query(join, wanted.begin(), wanted.end());
  if (unwanted.empty()) return query;
  return Xapian::Query(Xapian::Query::OP_AND_NOT, query,
                       Xapian::Query(Xapian::Query::OP_OR, unwanted.begin(), unwanted.end()));
}

void collectWanted(const QueryNode& query, std::map<Field, WantedWords>& wanted) {
  if (query.kind == Kind::noneOf) return;
  for (const Field field : query.fields) {
    WantedWords& words = wanted[field];
    std::vector<std::string>& list = query.kind == Kind::beginning ? words.beginnings : words.words;
    list.insert(list.end(), query.words.begin(), query.words.end());
  }
  for (const QueryNode& part : query.parts) collectWanted(part, wanted);
}

}  // namespace

template <typename Work>
auto WordSearch::again(const Work& work) -> decltype(work()) {
  auto answer = guardIndex(work);
  // Another program has committed since the index was opened, and maybe does again.
  for (int tries = 1; tries < kMostTries && !answer && answer.error().starts_with(kChangedIndex);
       ++tries) {
    index_.reopen();
    answer = guardIndex(work);
  }
  return answer;
}

Result<std::vector<std::uint32_t>> WordSearch::ask(const QueryNode& query, HitOrder order,
                                                   std::size_t from, std::size_t count) {
  return again([&]() -> Result<std::vector<std::uint32_t>> {
    Xapian::Enquire enquire(index_.database());
    enquire.set_query(indexQuery(query, index_, order));
    if (order == HitOrder::newestFirst) {
      enquire.set_weighting_scheme(Xapian::BoolWeight());
      enquire.set_docid_order(Xapian::Enquire::DESCENDING);
      enquire.set_sort_by_value(slot(IndexSlot::date), true);
    }
    const Xapian::doccount all = index_.database().get_doccount();
    const auto most = static_cast<Xapian::doccount>(std::min<std::size_t>(count, all));
    std::vector<std::uint32_t> ids;
    const Xapian::MSet found = enquire.get_mset(static_cast<Xapian::doccount>(from), most);
    for (auto hit = found.begin(); hit != found.end(); ++hit) ids.push_back(*hit);
    return ids;
  });
}

Result<std::size_t> WordSearch::count(const QueryNode& query) {
  if (!inStep_) {
    const Result<std::vector<std::uint32_t>> all = ids(query, HitOrder::newestFirst);
    return all ? all->size() : Result<std::size_t>(Failure{all.error()});
  }
  return again([&]() -> Result<std::size_t> {
    Xapian::Enquire enquire(index_.database());
    enquire.set_query(indexQuery(query, index_, HitOrder::newestFirst));
    enquire.set_weighting_scheme(Xapian::BoolWeight());
    // Looked at to the last one, so that this is no estimate.
    return enquire.get_mset(0, 0, index_.database().get_doccount()).get_matches_estimated();
  });
}

/// The rows of those ids that are still there, in their order.
Result<std::vector<WordHit>> WordSearch::rowsOf(const std::vector<std::uint32_t>& ids, bool whole) {
  std::map<std::uint32_t, WordHit> rows;
  for (std::size_t i = 0; i < ids.size(); i += kIdsAtOnce) {
    std::string list;
    for (std::size_t j = i; j < std::min(i + kIdsAtOnce, ids.size()); ++j) {
      list += (list.empty() ? "" : ",") + std::to_string(ids[j]);
    }
    if (!session_.query(fmt::format("SELECT id{} FROM email WHERE id IN ({})",
                                    whole ? ",date_fld,from_fld,subj_fld,mailbox" : "", list))) {
      return Failure{session_.error()};
    }
    const auto answer = session_.storeResult();
    while (answer && answer->next()) {
      const auto text = [&](std::size_t column) {
        return std::string(answer->cell(column).value_or(""));
      };
      const auto id = static_cast<std::uint32_t>(std::strtoul(text(0).c_str(), nullptr, 10));
      rows[id] = {id, text(1), text(2), text(3), text(4)};
    }
  }
  std::vector<WordHit> hits;
  for (const std::uint32_t id : ids) {
    const auto row = rows.find(id);
    if (row != rows.end()) hits.push_back(std::move(row->second));
  }
  return hits;
}

Result<std::vector<WordHit>> WordSearch::hits(const QueryNode& query, HitOrder order,
                                              std::size_t limit, std::size_t skip, bool whole) {
  std::vector<WordHit> hits;
  std::size_t from = skip;
  while (hits.size() < limit) {
    const std::size_t wanted = limit - hits.size();
    const Result<std::vector<std::uint32_t>> ids = ask(query, order, from, wanted);
    if (!ids) return Failure{ids.error()};
    Result<std::vector<WordHit>> rows = rowsOf(*ids, whole);
    if (!rows) return rows;
    for (WordHit& hit : *rows) hits.push_back(std::move(hit));
    if (ids->size() < wanted) break;
    from += ids->size();
  }
  return hits;
}

Result<std::vector<WordHit>> WordSearch::find(const QueryNode& query, HitOrder order,
                                              std::size_t limit, std::size_t skip) {
  return hits(query, order, limit, skip, true);
}

Result<std::vector<std::uint32_t>> WordSearch::ids(const QueryNode& query, HitOrder order,
                                                   std::size_t limit) {
  if (inStep_) return ask(query, order, 0, limit);
  const Result<std::vector<WordHit>> rows = hits(query, order, limit, 0, false);
  if (!rows) return Failure{rows.error()};
  std::vector<std::uint32_t> ids;
  for (const WordHit& hit : *rows) ids.push_back(hit.id);
  return ids;
}

HitPlace placeOf(const QueryNode& query, const MessageTexts& message, WordCutter& cutter,
                 const WordIndex* index) {
  std::map<Field, WantedWords> wanted;
  collectWanted(query, wanted);
  if (index != nullptr && !index->stemLanguage().empty()) {
    for (auto& entry : wanted) {
      WantedWords& words = entry.second;
      words.stem = [index, field = entry.first](const std::string& word) {
        return index->stemmed(field, word);
      };
      for (std::string& word : words.words) word = words.stem(word);
    }
  }
  HitPlace best;
  std::size_t most = 0;
  bool isBody = false;
  for (const FieldText& text : message.texts) {
    const bool mayBeBody = text.field == Field::body;
    const auto words = wanted.find(text.field);
    if (words == wanted.end() || (isBody && !mayBeBody)) continue;
    Snippet snippet = makeSnippet(text.text, words->second, cutter);
    const std::size_t marks = snippet.marks.size();
    const bool isBetter = mayBeBody && !isBody ? marks > 0 : marks > most;
    if (!isBetter) continue;
    most = marks;
    isBody = mayBeBody;
    best = {text.field, text.partName, std::move(snippet)};
  }
  if (most > 0) return best;
  // A date or a size has no place: the beginning of the text tells what the message is about.
  for (const FieldText& text : message.texts) {
    if (text.field == Field::body) return {text.field, {}, makeSnippet(text.text, {}, cutter)};
  }
  return best;
}

}  // namespace keldane
