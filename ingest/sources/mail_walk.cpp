#include "ingest/sources/mail_walk.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "ingest/reading/foreign_file.h"
#include "ingest/reading/mail_marks.h"
#include "ingest/reading/packed_file.h"
#include "ingest/reading/program_file.h"
#include "ingest/reading/resting_file.h"
#include "ingest/sources/mail_store_probe.h"
#include "ingest/sources/walk_filter.h"

namespace keldane {
namespace {

namespace fs = std::filesystem;

bool holds(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

/// Office documents are packed too, and hold no mail.
bool isPackedMail(const std::string& path) {
  constexpr std::string_view kDocuments[] = {".docx", ".xlsx", ".pptx", ".odt", ".ods",
                                             ".odp",  ".jar",  ".epub", ".olm"};
  for (const std::string_view ending : kDocuments) {
    if (path.ends_with(ending)) return false;
  }
  const Result<std::string> beginning = readBeginning(path, kLookedAtBytes);
  return beginning && PackedFile::isPacked(*beginning);
}

/// What is read ahead is the reader's until here.
class ReadAheadScope {
 public:
  ReadAheadScope(MessageReader& reader, FilesAhead& ahead) : reader_(reader) {
    reader_.readAhead(&ahead);
  }
  ~ReadAheadScope() { reader_.readAhead(nullptr); }
  ReadAheadScope(const ReadAheadScope&) = delete;
  ReadAheadScope& operator=(const ReadAheadScope&) = delete;

 private:
  MessageReader& reader_;
};

}  // namespace

bool MailWalk::getEmailPaths(std::optional<LeftInFolder>& left) {
  importFolder_.reset();
  if (context_.plan.deleteImportFiles) {
    importFolder_.emplace(context_.plan.settings.importFolderPath);
  }
  FileList files;
  layouts_.clear();
  if (context_.plan.folders.empty()) {
    for (const std::string& selected : context_.plan.selection) {
      addSelected(files, pathOf(selected));
    }
  }
  for (const MailFolder& folder : context_.plan.folders) {
    FolderLayout layout(folder.name, folder.path);
    for (const std::string& place : layout.places()) addSelected(files, place);
    layouts_.emplace_back(std::move(layout), files.size());
  }
  KnownFiles* known = context_.knownFiles;
  if (known != nullptr) known->load(context_.plan.readsAll);
  context_.watch.beginWalk(files.size(), importFolder_ ? &*importFolder_ : nullptr, known);
  const bool isWhole = readAll(files);
  context_.watch.beginWalk(0, nullptr);
  if (known != nullptr) known->flush(true);
  if (!importFolder_) return isWhole;
  if (isWhole) {
    left = importFolder_->empty(context_.session, context_.process.homePath, [this](int seconds) {
      if (context_.pause) context_.pause(seconds);
    });
  } else {
    left = ImportFolder::leaveAll("not all of it was read");
  }
  importFolder_.reset();
  return isWhole;
}

void MailWalk::addSelected(FileList& files, const std::string& path) {
  files.add(path, [this](const std::string& folder, const std::string& reason) {
    context_.storeLog.write("Unable to read folder: " + reason + ", " + printable(folder) + "\n");
    context_.ledger.recordUnreadable(folder, reason);
    if (importFolder_) importFolder_->keep(folder, reason);
  });
}

WalkFilter MailWalk::walkFilter() const {
  const ArchiveSettings& settings = context_.plan.settings;
  return {context_.plan.importMode, settings.mailboxesState != 0, settings.trashState != 0,
          settings.junkState != 0};
}

bool MailWalk::readAll(const FileList& files) {
  const std::optional<std::vector<std::size_t>> young = readRested(files);
  if (!young) return false;
  for (const std::size_t i : *young) {
    if (mustStop()) return false;
    readFile(files.path(i), layoutOf(layouts_, i));
  }
  // A file of many messages may have been left in the middle.
  return !mustStop();
}

std::optional<std::vector<std::size_t>> MailWalk::readRested(const FileList& files) {
  const WalkFilter filter = walkFilter();
  FilesAhead ahead(aheadContext(files, filter));
  const ReadAheadScope scope(context_.reader, ahead);
  std::vector<std::size_t> young;
  for (std::size_t i = 0; i < files.size(); ++i) {
    ahead.next();
    const std::string path = files.path(i);
    if (const std::optional<std::string_view> reason = filter.exclusion(path)) {
      skip(path, *reason);
      continue;
    }
    if (mustStop()) return std::nullopt;
    if (isYoung(path)) {
      young.push_back(i);
    } else {
      readFile(path, layoutOf(layouts_, i));
    }
  }
  return young;
}

/// Its thread has layouts of its own, which learn as they are asked.
FilesAhead::Context MailWalk::aheadContext(const FileList& files, const WalkFilter& filter) const {
  const auto candidate = [&plan = context_.plan, known = context_.knownFiles, &files, filter,
                          layouts = layouts_](std::size_t file) mutable {
    std::optional<FilesAhead::Candidate> none;
    const std::string path = files.path(file);
    if (filter.exclusion(path) || mayBeStub(path)) return none;
    // What is no regular file is not opened.
    const Result<FileState> state = stateOf(path);
    if (!state || (known != nullptr && known->isUnchanged(path, *state))) return none;
    FolderLayout* layout = layoutOf(layouts, file);
    const bool hasName = path.ends_with(".emlx") || path.ends_with(".eml");
    const bool isOne =
        layout != nullptr ? isOneMessage(layout->formOf(path)) : hasName || isMaildirFile(path);
    if (!isOne || (plan.leavesOutDeleted && isMarkedDeletedByName(path))) return none;
    return std::optional(FilesAhead::Candidate{path, layout != nullptr || !hasName});
  };
  return {{context_.plan, context_.environment}, files.size(), candidate};
}

void MailWalk::skip(const std::string& path, std::string_view reason) {
  if (reason != kHiddenFile) context_.watch.skipNotChosen();
  // Of what is hidden some has a name that tells more.
  if (reason == kHiddenFile) reason = programFileKind(path).value_or(reason);
  context_.ledger.recordNonMail(path, reason);
  if (importFolder_) importFolder_->keep(path, reason);
  context_.watch.endFile();
}

bool MailWalk::isYoung(const std::string& path) const {
  const Result<FileState> state = stateOf(path);
  return state && secondsUntilRested(*state, context_.environment.now()) > 0;
}

FolderLayout* MailWalk::layoutOf(Layouts& layouts, std::size_t file) {
  for (auto& [layout, end] : layouts) {
    if (file < end) return &layout;
  }
  return nullptr;
}

void MailWalk::readFile(const std::string& path, FolderLayout* layout) {
  const ProcessState& process = context_.process;
  const Result<FileState> state = stateOf(path);
  if (passOver(path, state)) return;
  context_.watch.beginFile(state ? state->sizeBytes : 0);
  if (importFolder_) importFolder_->beginFile(path, state ? *state : FileState{});
  std::error_code code;
  if (!state && !fs::exists(fs::symlink_status(path, code))) {
    // Mail clients move messages about while we read; where it lies now, the next run finds it.
    context_.ledger.recordPostponed(path, "gone before its turn came");
  } else if (!state) {
    context_.storeLog.write("Unable to read file: " + state.error() + ", " + printable(path) +
                            "\n");
    context_.ledger.recordUnreadable(path, state.error());
  } else if (layout != nullptr) {
    readKept(path, *layout);
  } else {
    readOne(path, *state, mailboxNameOf(path, process.homePath, process.mailRootSuffix));
  }
  if (importFolder_) importFolder_->endFile();
  if (context_.knownFiles != nullptr) context_.knownFiles->endFile();
  // A run that ends may have left it in the middle; the share stays where it is.
  if (process.cancelFlag == 0 && !context_.watch.isStopped()) context_.watch.endFile();
}

/// A file that has been read as it is now, and all of which is in the archive.
bool MailWalk::passOver(const std::string& path, const Result<FileState>& state) {
  KnownFiles* known = context_.knownFiles;
  if (known == nullptr) return false;
  if (state && known->isUnchanged(path, *state)) {
    context_.ledger.recordUnchanged(path);
    context_.watch.endFile();
    return true;
  }
  known->beginFile(path);
  return false;
}

std::string MailWalk::pathOf(const std::string& selected) const {
  const ArchiveSettings& settings = context_.plan.settings;
  if (context_.plan.importMode || settings.postbox != 0) return selected;
  const ProcessState& process = context_.process;
  std::string path = process.homePath + process.mailRootSuffix;
  // A chosen mailbox begins with its version folder.
  if (settings.mailboxesState == 0) path += versionFolder(process);
  return path + "/" + selected;
}

bool MailWalk::mustStop() {
  if (context_.isAbandoned && context_.isAbandoned()) return true;
  return context_.process.cancelFlag.exchange(0) != 0 || context_.progress.cancelled();
}

void MailWalk::readKept(const std::string& path, FolderLayout& layout) {
  const MailForm form = layout.formOf(path);
  const std::string mailbox = layout.mailboxOf(path, form);
  if (form == MailForm::undelivered) {
    context_.ledger.recordNonMail(path, "still being delivered");
  } else if (form == MailForm::several && isPackedMail(path)) {
    context_.reader.doPackedFile(path, mailbox);
  } else {
    context_.reader.doKeptFile(path, mailbox, isOneMessage(form));
  }
}

void MailWalk::readOne(const std::string& path, const FileState& state,
                       const std::string& mailbox) {
  if (context_.plan.importMode && !context_.reader.isReadAhead(path, state) && isPackedMail(path)) {
    return context_.reader.doPackedFile(path, path);
  }
  std::string currentEmailItem = path;
  currentEmailItem.append(kItemSeparator).append(mailbox);
  // ".emlx" holds ".eml".
  if (context_.plan.importMode && !holds(currentEmailItem, ".eml")) {
    context_.reader.doMboxFile(currentEmailItem);
  } else {
    context_.reader.doOneEmail(currentEmailItem);
  }
}

}  // namespace keldane
