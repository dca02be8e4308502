#include "find/word_query.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "find/query_date.h"
#include "find/query_fields.h"
#include "find/words.h"

namespace keldane {
namespace {

using Kind = QueryNode::Kind;

constexpr std::size_t kMaxQueryBytes = 8192;
constexpr std::size_t kMaxQueryWords = 500;
constexpr int kMaxDepth = 50;
constexpr std::size_t kLeastBeginning = 2;
constexpr double kNoMost = 1e18;

/// "from, to, subject and id"
std::string fieldList() {
  std::string list;
  const std::vector<QueryField>& fields = queryFields();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    list += i == 0 ? "" : i + 1 == fields.size() ? " and " : ", ";
    list += fields[i].name;
  }
  return list;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isNameLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

QueryNode joined(Kind kind, std::vector<QueryNode> parts) {
  if (parts.size() == 1) return std::move(parts[0]);
  QueryNode node;
  node.kind = kind;
  node.parts = std::move(parts);
  return node;
}

class Reader {
 public:
  Reader(std::string_view text, std::string_view today) : text_(text), today_(today) {}

  std::variant<QueryNode, QueryProblem> read() {
    if (text_.size() > kMaxQueryBytes) return QueryProblem{0, "the query is too long"};
    std::optional<QueryNode> node = alternatives(usualFields(), 0);
    skipBlanks();
    if (!problem_ && at_ < text_.size()) fail(at_, "there is no \"(\" for this \")\"");
    if (!problem_ && !node) fail(0, "there is no word to look for");
    if (problem_) return *problem_;
    return std::move(*node);
  }

 private:
  /// Nothing stands for a part without a word in it, such as a lone "&".
  using Part = std::optional<QueryNode>;

  void fail(std::size_t at, std::string message) {
    if (!problem_) problem_ = QueryProblem{at, std::move(message)};
  }
  void skipBlanks() {
    while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
  }
  [[nodiscard]] bool atEnd() {
    skipBlanks();
    return problem_ || at_ >= text_.size() || text_[at_] == ')';
  }
  [[nodiscard]] bool keywordIsNext(std::string_view word) {
    skipBlanks();
    const std::string_view rest = text_.substr(at_);
    if (!rest.starts_with(word)) return false;
    return rest.size() == word.size() || isBlank(rest[word.size()]) || rest[word.size()] == '(' ||
           rest[word.size()] == ')' || rest[word.size()] == '"';
  }
  bool take(std::string_view word) {
    if (!keywordIsNext(word)) return false;
    at_ += word.size();
    return true;
  }

  Part alternatives(const std::vector<Field>& fields, int depth) {
    if (depth > kMaxDepth) {
      fail(at_, "there are too many brackets within each other");
      return std::nullopt;
    }
    std::vector<QueryNode> parts;
    while (true) {
      const std::size_t begin = at_;
      Part part = sequence(fields, depth);
      if (problem_) return std::nullopt;
      if (part) parts.push_back(std::move(*part));
      const bool isMissing = !part && (!parts.empty() || keywordIsNext("OR"));
      if (isMissing) fail(begin, "a word is missing beside OR");
      if (!take("OR")) break;
    }
    if (problem_ || parts.empty()) return std::nullopt;
    return joined(Kind::anyOf, std::move(parts));
  }

  Part sequence(const std::vector<Field>& fields, int depth) {
    std::vector<QueryNode> parts;
    while (!atEnd() && !keywordIsNext("OR")) {
      if (take("AND")) {
        if (parts.empty() || atEnd() || keywordIsNext("OR"))
          fail(at_, "a word is missing beside AND");
        continue;
      }
      Part part = negated(fields, depth);
      if (part) parts.push_back(std::move(*part));
    }
    if (problem_ || parts.empty()) return std::nullopt;
    return joined(Kind::bothOf, std::move(parts));
  }

  Part negated(const std::vector<Field>& fields, int depth) {
    bool isNot = false;
    bool isAsked = false;
    const std::size_t begin = at_;
    while (true) {
      if (take("NOT")) {
        isNot = !isNot;
        isAsked = true;
        if (atEnd() || keywordIsNext("OR") || keywordIsNext("AND")) {
          fail(begin, "a word is missing behind NOT");
          return std::nullopt;
        }
      } else if (at_ < text_.size() && text_[at_] == '-') {
        isNot = at_ + 1 < text_.size() && !isBlank(text_[at_ + 1]) ? !isNot : isNot;
        ++at_;
      } else {
        break;
      }
    }
    if (atEnd()) return std::nullopt;
    Part part = primary(fields, depth);
    if (!part && isAsked) fail(begin, "a word is missing behind NOT");
    if (!part || !isNot) return part;
    if (part->kind == Kind::noneOf) {
      QueryNode inner = std::move(part->parts[0]);
      return inner;
    }
    QueryNode node;
    node.kind = Kind::noneOf;
    node.parts.push_back(std::move(*part));
    return node;
  }

  Part primary(const std::vector<Field>& fields, int depth) {
    if (text_[at_] == '(') return brackets(fields, depth);
    if (text_[at_] == '"') return quoted(fields);
    const std::size_t begin = at_;
    std::size_t end = at_;
    while (end < text_.size() && isNameLetter(text_[end])) ++end;
    const bool isField =
        end > begin && end < text_.size() && text_[end] == ':' && text_.substr(end, 3) != "://";
    if (!isField) return plainWord(fields);
    std::string name(text_.substr(begin, end - begin));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    at_ = end + 1;
    return withField(name, begin, depth);
  }

  Part withField(const std::string& name, std::size_t begin, int depth) {
    const std::vector<QueryField>& all = queryFields();
    const auto known = std::find_if(all.begin(), all.end(),
                                    [&name](const QueryField& each) { return each.name == name; });
    if (known == all.end()) {
      fail(begin,
           fmt::format("there is no field \"{}\": known are {}; put a text with a colon into "
                       "quotes",
                       name, fieldList()));
      return std::nullopt;
    }
    if (known->value == FieldValue::words) {
      if (at_ >= text_.size() || isBlank(text_[at_]) || text_[at_] == ')') {
        fail(begin, fmt::format("a word is missing behind \"{}:\"", name));
        return std::nullopt;
      }
      if (text_[at_] == '(') return brackets(known->fields, depth);
      return text_[at_] == '"' ? quoted(known->fields) : plainWord(known->fields);
    }
    const std::size_t valueBegin = at_;
    const std::string_view value = rawWord();
    if (known->value == FieldValue::date) return date(value, valueBegin);
    if (known->value == FieldValue::has) return has(value, valueBegin);
    return number(known->value == FieldValue::id ? Kind::id : Kind::size, value, valueBegin);
  }

  Part brackets(const std::vector<Field>& fields, int depth) {
    const std::size_t begin = at_++;
    Part part = alternatives(fields, depth + 1);
    skipBlanks();
    if (at_ >= text_.size()) fail(begin, "this \"(\" is not closed");
    if (!problem_) ++at_;
    return problem_ ? std::nullopt : part;
  }

  Part quoted(const std::vector<Field>& fields) {
    const std::size_t begin = at_++;
    const std::size_t end = text_.find('"', at_);
    if (end == std::string_view::npos) {
      fail(begin, "this quote is not closed");
      return std::nullopt;
    }
    const std::string_view phrase = text_.substr(at_, end - at_);
    at_ = end + 1;
    return words(fields, phrase, begin);
  }

  std::string_view rawWord() {
    const std::size_t begin = at_;
    while (at_ < text_.size() && !isBlank(text_[at_]) && text_[at_] != '(' && text_[at_] != ')' &&
           text_[at_] != '"') {
      ++at_;
    }
    return text_.substr(begin, at_ - begin);
  }

  Part plainWord(const std::vector<Field>& fields) {
    const std::size_t begin = at_;
    const std::string_view word = rawWord();
    if (!word.ends_with('*')) return words(fields, word, begin);
    Part all = words(fields, word, begin);
    if (!all) return all;
    QueryNode beginning;
    beginning.kind = Kind::beginning;
    beginning.fields = fields;
    beginning.words.push_back(std::move(all->words.back()));
    // Letters and digits are words of their own, so that it may be short behind others, too.
    if (beginning.words[0].size() < kLeastBeginning) {
      fail(begin, "at least two letters or two digits must stand before \"*\"");
      return std::nullopt;
    }
    all->words.pop_back();
    if (all->words.empty()) return beginning;
    all->pairs.clear();
    std::vector<QueryNode> parts;
    parts.push_back(std::move(*all));
    parts.push_back(std::move(beginning));
    return joined(Kind::bothOf, std::move(parts));
  }

  Part words(const std::vector<Field>& fields, std::string_view text, std::size_t begin) {
    QueryNode node;
    node.kind = Kind::words;
    node.fields = fields;
    cutter_.cut(text, [&](const Word& word) {
      (word.isPair ? node.pairs : node.words).emplace_back(word.folded);
    });
    words_ += node.words.size();
    if (words_ > kMaxQueryWords) fail(begin, "there are too many words");
    if (problem_ || node.words.empty()) return std::nullopt;
    return node;
  }

  Part date(std::string_view value, std::size_t begin) {
    Result<DateRange> range = readDateRange(value, today_);
    if (!range) {
      fail(begin, range.error());
      return std::nullopt;
    }
    QueryNode node;
    node.kind = Kind::date;
    node.from = std::move(range->from);
    node.to = std::move(range->to);
    return node;
  }

  /// ">1M", "<1M", "10..20", "10"; of a size alone "1M" means at least that.
  Part number(Kind kind, std::string_view value, std::size_t begin) {
    QueryNode node;
    node.kind = kind;
    node.most = kNoMost;
    const std::size_t dots = value.find("..");
    if (value.starts_with('>') || value.starts_with('<')) {
      const bool isMore = value[0] == '>';
      const bool isOrEqual = value.size() > 1 && value[1] == '=';
      const double limit = amount(value.substr(isOrEqual ? 2 : 1), begin);
      (isMore ? node.least : node.most) = limit + (isOrEqual ? 0 : isMore ? 1 : -1);
    } else if (dots != std::string_view::npos && value.size() > 2) {
      if (dots > 0) node.least = amount(value.substr(0, dots), begin);
      if (dots + 2 < value.size()) node.most = amount(value.substr(dots + 2), begin);
    } else {
      node.least = amount(value, begin);
      if (kind == Kind::id) node.most = node.least;
    }
    return problem_ ? std::nullopt : Part(std::move(node));
  }

  double amount(std::string_view value, std::size_t begin) {
    const Result<double> bytes = readSize(value);
    if (!bytes) fail(begin, bytes.error());
    return bytes ? *bytes : 0;
  }

  Part has(std::string_view value, std::size_t begin) {
    if (value != "attachment" && value != "attachments") {
      fail(begin, "\"has:\" knows attachment only");
      return std::nullopt;
    }
    QueryNode node;
    node.kind = Kind::attachment;
    return node;
  }

  std::string_view text_;
  std::string_view today_;
  std::size_t at_ = 0;
  std::size_t words_ = 0;
  std::optional<QueryProblem> problem_;
  WordCutter cutter_;
};

std::string fieldText(const std::vector<Field>& fields) {
  for (const QueryField& known : queryFields()) {
    if (known.fields == fields) return std::string(known.name) + ":";
  }
  return {};
}

std::string joinedText(const std::vector<QueryNode>& parts, std::string_view between) {
  std::string text = "(";
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) text += between;
    text += queryText(parts[i]);
  }
  return text + ")";
}

std::string rangeText(std::string_view name, double least, double most) {
  std::string text = fmt::format("{}:{:.0f}..", name, least);
  if (most < kNoMost) text += fmt::format("{:.0f}", std::max(most, 0.0));
  return text;
}

std::string withoutEndMark(std::string text) {
  if (text.ends_with('~')) text.pop_back();
  return text;
}

}  // namespace

const std::vector<Field>& usualFields() {
  static const std::vector<Field> fields = {Field::subject,    Field::from, Field::to, Field::body,
                                            Field::attachment, Field::file, Field::tag};
  return fields;
}

std::variant<QueryNode, QueryProblem> readWordQuery(std::string_view text, std::string_view today) {
  return Reader(text, today).read();
}

std::string queryText(const QueryNode& query) {
  switch (query.kind) {
    case Kind::words: {
      std::string text = fieldText(query.fields) + '"';
      for (std::size_t i = 0; i < query.words.size(); ++i)
        text += (i > 0 ? " " : "") + query.words[i];
      return text + '"';
    }
    case Kind::beginning:
      return fieldText(query.fields) + query.words[0] + "*";
    case Kind::date:
      return "date:" + query.from + ".." + withoutEndMark(query.to);
    case Kind::size:
      return rangeText("size", query.least, query.most);
    case Kind::id:
      return rangeText("id", query.least, query.most);
    case Kind::attachment:
      return "has:attachment";
    case Kind::noneOf:
      return "NOT " + queryText(query.parts[0]);
    case Kind::bothOf:
      return joinedText(query.parts, " ");
    case Kind::anyOf:
      return joinedText(query.parts, " OR ");
  }
  return {};
}

}  // namespace keldane
