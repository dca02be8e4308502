#include "find/beginning_source.h"

#include <algorithm>

namespace keldane {

void BeginningSource::init(const Xapian::Database& index) {
  has_.assign(std::size_t{index.get_lastdocid()} + 1, false);
  at_ = 0;
  for (const std::string& beginning : beginnings_) {
    const Xapian::TermIterator behind = index.allterms_end(beginning);
    for (Xapian::TermIterator term = index.allterms_begin(beginning); term != behind; ++term) {
      const Xapian::PostingIterator last = index.postlist_end(*term);
      for (Xapian::PostingIterator id = index.postlist_begin(*term); id != last; ++id) {
        has_[*id] = true;
      }
    }
  }
  count_ = static_cast<Xapian::doccount>(std::count(has_.begin(), has_.end(), true));
}

void BeginningSource::next(double leastWeight) { skip_to(at_ + 1, leastWeight); }

void BeginningSource::skip_to(Xapian::docid id, double /*leastWeight*/) {
  at_ = std::max(at_, id);
  while (at_ < has_.size() && !has_[at_]) ++at_;
}

}  // namespace keldane
