#include "find/snippet.h"

#include <algorithm>
#include <set>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::size_t kMaxSearchedBytes = std::size_t{2} << 20U;
constexpr std::size_t kMaxPlaces = 500;
constexpr std::string_view kCut = "...";

struct Place {
  std::size_t begin;
  std::size_t end;
  std::string word;
};

std::vector<Place> placesOf(std::string_view text, const WantedWords& wanted, WordCutter& cutter) {
  std::vector<Place> places;
  cutter.cut(text, [&](const Word& word) {
    if (word.isPair || places.size() >= kMaxPlaces || !wanted.contains(word.folded)) return;
    places.push_back({word.begin, word.end, std::string(word.folded)});
  });
  return places;
}

/// The first of the places from which on most different words stand within the width.
std::size_t bestPlace(const std::vector<Place>& places, std::size_t width) {
  std::size_t best = 0;
  std::size_t most = 0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    std::set<std::string_view> words;
    for (std::size_t j = i; j < places.size() && places[j].end <= places[i].begin + width; ++j) {
      words.insert(places[j].word);
    }
    if (words.size() > most) {
      most = words.size();
      best = i;
    }
  }
  return best;
}

bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

/// At or behind `at`, behind a blank when one is near; never within a character.
std::size_t cleanBegin(std::string_view text, std::size_t at) {
  constexpr std::size_t kNear = 30;
  if (at == 0) return 0;
  for (std::size_t i = at; i < std::min(at + kNear, text.size()); ++i) {
    if (isBlank(text[i])) return i + 1;
  }
  while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80) ++at;
  return at;
}

std::size_t cleanEnd(std::string_view text, std::size_t at) {
  if (at >= text.size()) return text.size();
  while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80) --at;
  return at;
}

/// Adds a piece with its blanks and line ends as one blank each.
void addPiece(std::string& line, std::string_view piece) {
  for (const char c : printable(piece)) {
    const bool isSecond = c == ' ' && (line.empty() || line.back() == ' ');
    if (!isSecond) line += c;
  }
}

}  // namespace

bool WantedWords::contains(std::string_view folded) const {
  const std::string stemmed = stem ? stem(std::string(folded)) : std::string();
  return std::find(words.begin(), words.end(), stem ? stemmed : folded) != words.end() ||
         std::any_of(beginnings.begin(), beginnings.end(),
                     [&](const std::string& beginning) { return folded.starts_with(beginning); });
}

Snippet makeSnippet(std::string_view text, const WantedWords& wanted, WordCutter& cutter,
                    std::size_t width) {
  text = text.substr(0, kMaxSearchedBytes);
  const std::vector<Place> places = placesOf(text, wanted, cutter);
  const std::size_t first = places.empty() ? 0 : places[bestPlace(places, width)].begin;
  const std::size_t begin =
      std::min(first, cleanBegin(text, first > width / 4 ? first - width / 4 : 0));
  const std::size_t end = cleanEnd(text, begin + width);
  Snippet snippet;
  if (begin > 0) snippet.text = std::string(kCut) + " ";
  std::size_t done = begin;
  for (const Place& place : places) {
    if (place.begin < done || place.end > end) continue;
    addPiece(snippet.text, text.substr(done, place.begin - done));
    const std::size_t markBegin = snippet.text.size();
    addPiece(snippet.text, text.substr(place.begin, place.end - place.begin));
    snippet.marks.emplace_back(markBegin, snippet.text.size());
    done = place.end;
  }
  if (done < end) addPiece(snippet.text, text.substr(done, end - done));
  if (snippet.text.ends_with(' ')) snippet.text.pop_back();
  if (end < text.size()) snippet.text += " " + std::string(kCut);
  return snippet;
}

}  // namespace keldane
