#include "find/word_index.h"

#include <optional>

#include "base/files.h"
#include "base/private_files.h"
#include "base/text.h"
#include "find/index_guard.h"

namespace keldane {
namespace {

/// Changes with all that makes other terms of the same message.
constexpr const char* kFormat = "4";
constexpr const char* kFormatNote = "keldane-format";
constexpr const char* kIdentityNote = "keldane-archive";
constexpr const char* kStemNote = "keldane-stem";
constexpr const char* kFailedTerm = "Hfailure";
constexpr const char* kBareTerm = "Hbare";
/// Between two texts, so that no phrase runs from one into the other.
constexpr Xapian::termpos kGap = 100;

Xapian::valueno slot(IndexSlot of) { return static_cast<Xapian::valueno>(of); }

bool isStemmed(Field field) {
  return field == Field::subject || field == Field::body || field == Field::attachment;
}

/// `stem`: null when words stay as they are.
void addText(Xapian::Document& document, const FieldText& text, Xapian::termpos& position,
             WordCutter& cutter, const Xapian::Stem* stem) {
  if (!isStemmed(text.field)) stem = nullptr;
  std::string term;
  cutter.cut(text.text, [&](const Word& word) {
    term.assign(1, fieldPrefix(text.field));
    stem ? term += (*stem)(std::string(word.folded)) : term += word.folded;
    if (word.isPair) {
      document.add_term(term);
    } else {
      document.add_posting(term, ++position);
    }
  });
  position += kGap;
}

/// One failure a line, name and reason between a tab.
std::string failureLines(const std::vector<AttachmentFailure>& failures) {
  std::string lines;
  for (const AttachmentFailure& failure : failures) {
    lines += printable(failure.name) + "\t" + printable(failure.reason) + "\n";
  }
  return lines;
}

Xapian::Document documentOf(const IndexEntry& entry, WordCutter& cutter, const Xapian::Stem* stem) {
  Xapian::Document document;
  Xapian::termpos position = 0;
  for (const FieldText& text : entry.texts.texts) {
    addText(document, text, position, cutter, stem);
  }
  document.add_value(slot(IndexSlot::date), entry.date);
  document.add_value(slot(IndexSlot::size),
                     Xapian::sortable_serialise(static_cast<double>(entry.texts.sizeBytes)));
  document.add_value(slot(IndexSlot::id), Xapian::sortable_serialise(entry.id));
  document.add_value(slot(IndexSlot::tagDigest), entry.tagDigest);
  document.add_value(slot(IndexSlot::mailbox), entry.mailboxDigest);
  if (entry.texts.hasAttachment) document.add_boolean_term(std::string(kAttachmentTerm));
  if (entry.isBare) document.add_boolean_term(kBareTerm);
  if (!entry.texts.failures.empty()) {
    document.add_boolean_term(kFailedTerm);
    document.set_data(failureLines(entry.texts.failures));
  }
  return document;
}

}  // namespace

IndexEntry entryOf(const ArchivedMessage& message) {
  IndexEntry entry;
  entry.id = message.id;
  entry.date = message.date;
  entry.tagDigest = tagDigest(message.tags);
  entry.mailboxDigest = mailboxDigest(message.mailbox);
  entry.isBare = !message.source;
  return entry;
}

struct WordIndex::Files {
  std::optional<Xapian::WritableDatabase> writing;
  Xapian::Database reading;

  [[nodiscard]] const Xapian::Stem* stemmer() const {
    return stemLanguage.empty() ? nullptr : &stem;
  }
  std::string stemLanguage;
  Xapian::Stem stem;  ///< leaves words as they are when there is no language

  [[nodiscard]] const Xapian::Database& any() const { return writing ? *writing : reading; }
  /// A reader's view holds for two commits of the writer; then it is to be opened again.
  template <typename Work>
  auto read(const Work& work) -> decltype(work()) {
    constexpr int kMostTries = 5;
    for (int tries = 1;; ++tries) {
      auto result = guardIndex(work);
      const bool again = !result && tries < kMostTries && result.error().starts_with(kChangedIndex);
      if (!again) return result;
      (void)guardIndex([&]() -> Result<void> {
        reading.reopen();
        return {};
      });
    }
  }
};

WordIndex::WordIndex(std::string folder, std::string identity)
    : folder_(std::move(folder)),
      identity_(std::move(identity)),
      files_(std::make_unique<Files>()) {}

WordIndex::~WordIndex() { close(); }

void WordIndex::close() {
  try {
    files_ = std::make_unique<Files>();
  } catch (const Xapian::Error& error) {
    trouble_ = error.get_msg();
  }
  state_ = State::closed;
}

WordIndex::State WordIndex::open() { return openAs(true); }

WordIndex::State WordIndex::openToRead() { return openAs(false); }

WordIndex::State WordIndex::openAs(bool writes) {
  close();
  try {
    try {
      if (writes) files_->writing.emplace(folder_, Xapian::DB_OPEN);
    } catch (const Xapian::DatabaseLockError&) {
      writes = false;  // another program has it for writing
    }
    if (!writes) files_->reading = Xapian::Database(folder_);
    state_ = writes ? State::writing : State::reading;
    checkIdentity();
  } catch (const Xapian::Error& error) {
    close();
    trouble_ = error.get_msg();
    state_ = State::unusable;
  }
  return state_;
}

void WordIndex::checkIdentity() {
  const Xapian::Database& database = files_->any();
  files_->stemLanguage = database.get_metadata(kStemNote);
  if (!files_->stemLanguage.empty()) files_->stem = Xapian::Stem(files_->stemLanguage);
  if (database.get_metadata(kFormatNote) == kFormat &&
      database.get_metadata(kIdentityNote) == identity_) {
    return;
  }
  close();
  trouble_ = "it is of another format or another archive";
  state_ = State::unusable;
}

Result<void> WordIndex::checkStemLanguage(const std::string& language) {
  try {
    if (!language.empty()) (void)Xapian::Stem(language);
    return {};
  } catch (const Xapian::Error&) {
    return Failure{"no stemming is known for \"" + printable(language) + "\"; there are " +
                   Xapian::Stem::get_available_languages()};
  }
}

const std::string& WordIndex::stemLanguage() const { return files_->stemLanguage; }

std::string WordIndex::stemmed(Field field, const std::string& word) const {
  const Xapian::Stem* const stem = isStemmed(field) ? files_->stemmer() : nullptr;
  return stem ? (*stem)(word) : word;
}

bool WordIndex::isDamage(const std::string& failure) { return failure.starts_with(kDamagedIndex); }

Result<void> WordIndex::create(const std::string& stemLanguage) {
  if (const Result<void> known = checkStemLanguage(stemLanguage); !known) return known;
  close();
  Result<void> folder = makeFolders(folder_);
  if (folder) folder = makePrivateFolder(folder_, false);
  if (!folder) return folder;
  return guardIndex([&]() -> Result<void> {
    files_->writing.emplace(folder_, Xapian::DB_CREATE_OR_OVERWRITE);
    files_->writing->set_metadata(kFormatNote, kFormat);
    files_->writing->set_metadata(kIdentityNote, identity_);
    files_->writing->set_metadata(kStemNote, stemLanguage);
    files_->writing->commit();
    files_->stemLanguage = stemLanguage;
    if (!stemLanguage.empty()) files_->stem = Xapian::Stem(stemLanguage);
    state_ = State::writing;
    return {};
  });
}

Result<void> WordIndex::put(const IndexEntry& entry) {
  return guardIndex([&]() -> Result<void> {
    files_->writing->replace_document(entry.id, documentOf(entry, cutter_, files_->stemmer()));
    return {};
  });
}

Result<void> WordIndex::remove(std::uint32_t id) {
  return guardIndex([&]() -> Result<void> {
    try {
      files_->writing->delete_document(id);
    } catch (const Xapian::DocNotFoundError&) {
      return {};
    }
    return {};
  });
}

void WordIndex::replaceField(Xapian::Document& document, Field field, const std::string& text) {
  const std::string prefix(1, fieldPrefix(field));
  std::vector<std::string> old;
  Xapian::TermIterator term = document.termlist_begin();
  for (term.skip_to(prefix); term != document.termlist_end() && (*term).starts_with(prefix);
       ++term) {
    old.push_back(*term);
  }
  for (const std::string& one : old) document.remove_term(one);
  // The message's other words may stand at these places too; a phrase never mixes fields.
  Xapian::termpos position = 0;
  addText(document, {field, text}, position, cutter_, nullptr);
}

Result<void> WordIndex::putTags(std::uint32_t id, const TagRow& tags, const std::string& digest) {
  return guardIndex([&]() -> Result<void> {
    Xapian::Document document = files_->writing->get_document(id);
    replaceField(document, Field::tag, tagText(tags));
    document.add_value(slot(IndexSlot::tagDigest), digest);
    files_->writing->replace_document(id, document);
    return {};
  });
}

Result<void> WordIndex::putMailbox(std::uint32_t id, const std::string& mailbox) {
  return guardIndex([&]() -> Result<void> {
    try {
      Xapian::Document document = files_->writing->get_document(id);
      replaceField(document, Field::mailbox, mailbox);
      document.add_value(slot(IndexSlot::mailbox), mailboxDigest(mailbox));
      files_->writing->replace_document(id, document);
    } catch (const Xapian::DocNotFoundError&) {
      return {};  // it comes with its new mailbox
    }
    return {};
  });
}

Result<void> WordIndex::commit() {
  return guardIndex([&]() -> Result<void> {
    files_->writing->commit();
    return {};
  });
}

Result<std::uint32_t> WordIndex::count() const {
  return files_->read([&]() -> Result<std::uint32_t> { return files_->any().get_doccount(); });
}

Result<WordIndex::IdSums> WordIndex::idSums() const {
  return files_->read([&]() -> Result<IdSums> {
    IdSums sums;
    const Xapian::Database& database = files_->any();
    for (auto at = database.postlist_begin(""); at != database.postlist_end(""); ++at) {
      const std::uint64_t id = *at;
      ++sums.count;
      sums.sum += id;
      sums.squares ^= id * id;
    }
    return sums;
  });
}

Result<std::uint32_t> WordIndex::highId() const {
  return files_->read([&]() -> Result<std::uint32_t> {
    return static_cast<std::uint32_t>(
        Xapian::sortable_unserialise(files_->any().get_value_upper_bound(slot(IndexSlot::id))));
  });
}

Result<std::vector<std::uint32_t>> WordIndex::ids() const {
  return files_->read([&]() -> Result<std::vector<std::uint32_t>> {
    std::vector<std::uint32_t> ids;
    const Xapian::Database& database = files_->any();
    for (auto at = database.postlist_begin(""); at != database.postlist_end(""); ++at) {
      ids.push_back(*at);
    }
    return ids;
  });
}

Result<std::vector<std::uint32_t>> WordIndex::bareIds(std::size_t most) const {
  return files_->read([&]() -> Result<std::vector<std::uint32_t>> {
    std::vector<std::uint32_t> ids;
    const Xapian::Database& database = files_->any();
    for (auto at = database.postlist_begin(kBareTerm); at != database.postlist_end(kBareTerm);
         ++at) {
      ids.push_back(*at);
    }
    if (ids.size() > most) ids.erase(ids.begin(), ids.end() - static_cast<std::ptrdiff_t>(most));
    return ids;
  });
}

Result<std::vector<std::pair<std::uint32_t, std::string>>> WordIndex::tagDigests() const {
  return digests(IndexSlot::tagDigest);
}

Result<std::vector<std::pair<std::uint32_t, std::string>>> WordIndex::mailboxDigests() const {
  return digests(IndexSlot::mailbox);
}

Result<std::vector<std::pair<std::uint32_t, std::string>>> WordIndex::digests(
    IndexSlot slotOf) const {
  return files_->read([&]() -> Result<std::vector<std::pair<std::uint32_t, std::string>>> {
    std::vector<std::pair<std::uint32_t, std::string>> digests;
    const Xapian::Database& database = files_->any();
    const Xapian::valueno of = slot(slotOf);
    for (auto at = database.valuestream_begin(of); at != database.valuestream_end(of); ++at) {
      digests.emplace_back(at.get_docid(), *at);
    }
    return digests;
  });
}

Result<std::vector<std::pair<std::uint32_t, std::string>>> WordIndex::sample(
    std::size_t most) const {
  return files_->read([&]() -> Result<std::vector<std::pair<std::uint32_t, std::string>>> {
    std::vector<std::pair<std::uint32_t, std::string>> sample;
    const Xapian::Database& database = files_->any();
    const Xapian::docid last = database.get_lastdocid();
    const Xapian::docid step = last / static_cast<Xapian::docid>(most) + 1;
    const Xapian::valueno of = slot(IndexSlot::date);
    auto at = database.valuestream_begin(of);
    for (Xapian::docid id = 1; id <= last && at != database.valuestream_end(of); id += step) {
      at.skip_to(id);
      if (at == database.valuestream_end(of)) break;
      sample.emplace_back(at.get_docid(), *at);
    }
    return sample;
  });
}

Result<std::string> WordIndex::note(const std::string& name) const {
  return files_->read([&]() -> Result<std::string> { return files_->any().get_metadata(name); });
}

Result<void> WordIndex::setNote(const std::string& name, const std::string& text) {
  return guardIndex([&]() -> Result<void> {
    files_->writing->set_metadata(name, text);
    return {};
  });
}

Result<std::vector<WordIndex::Failed>> WordIndex::failures() const {
  return files_->read([&]() -> Result<std::vector<Failed>> {
    std::vector<Failed> failures;
    const Xapian::Database& database = files_->any();
    for (auto at = database.postlist_begin(kFailedTerm); at != database.postlist_end(kFailedTerm);
         ++at) {
      for (const std::string& line : split(database.get_document(*at).get_data(), "\n")) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos) continue;
        failures.push_back({*at, {line.substr(0, tab), line.substr(tab + 1)}});
      }
    }
    return failures;
  });
}

const Xapian::Database& WordIndex::database() const { return files_->any(); }

void WordIndex::reopen() {
  try {
    files_->reading.reopen();
  } catch (const Xapian::Error& error) {
    trouble_ = error.get_msg();
  }
}

}  // namespace keldane
