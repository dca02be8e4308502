#pragma once

#include <string>
#include <utility>
#include <vector>

#include <xapian.h>

namespace keldane {

/// The messages that have a term with one of some beginnings. A tree of posting lists, as the
/// library makes one of a wildcard, asks many terms for each message; here each list is read once,
/// into a bit for each id. It has no weights, and no limit to the number of terms.
class BeginningSource : public Xapian::PostingSource {
 public:
  explicit BeginningSource(std::vector<std::string> beginnings)
      : beginnings_(std::move(beginnings)) {}

  void init(const Xapian::Database& index) override;
  [[nodiscard]] Xapian::doccount get_termfreq_min() const override { return count_; }
  [[nodiscard]] Xapian::doccount get_termfreq_est() const override { return count_; }
  [[nodiscard]] Xapian::doccount get_termfreq_max() const override { return count_; }
  void next(double leastWeight) override;
  void skip_to(Xapian::docid id, double leastWeight) override;
  [[nodiscard]] bool at_end() const override { return at_ >= has_.size(); }
  [[nodiscard]] Xapian::docid get_docid() const override { return at_; }
  [[nodiscard]] std::string get_description() const override { return "BeginningSource"; }

 private:
  const std::vector<std::string> beginnings_;
  std::vector<bool> has_;  ///< by id
  Xapian::doccount count_ = 0;
  Xapian::docid at_ = 0;  ///< 0 is no id
};

}  // namespace keldane
