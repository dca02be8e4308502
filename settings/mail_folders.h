#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "settings/mail_folder.h"
#include "settings/preferences_file.h"

namespace keldane {

/// The folders and files of mail that the user keeps as sources: a list of dictionaries in the
/// preferences, changed entry by entry, so that what another program has added or removed meanwhile
/// stays so.
[[nodiscard]] std::vector<MailFolder> readMailFolders(const PreferencesFile& prefs);

/// Whether a path is another one or lies above it, whatever links lead to either; also when the
/// system does not tell.
[[nodiscard]] bool isOrHolds(const std::string& outer, const std::string& inner);

/// Whether it is there at the moment: a disk may be unplugged.
[[nodiscard]] bool isThere(const MailFolder& folder);

/// A name for a source that is like the proposal and not taken.
[[nodiscard]] std::string freeName(std::string_view proposal, const std::vector<MailFolder>& kept);

/// A source of this path, which may be relative and lead through links, under the name that is
/// wanted, or without one under the last part of its path. Fails, with what to do, when nothing is
/// there, when it is the home folder or holds it, when it lies in one that is kept, holds one or is
/// one, or when the name cannot be had.
[[nodiscard]] Result<MailFolder> makeMailFolder(const std::string& path, const std::string& name,
                                                const std::vector<MailFolder>& kept,
                                                const std::string& homePath);

/// Fails with the preferences as they were.
[[nodiscard]] Result<void> keepMailFolder(PreferencesFile& prefs, const MailFolder& folder);
/// Its mail stays in the archive, and on the disk.
[[nodiscard]] Result<void> forgetMailFolder(PreferencesFile& prefs, const MailFolder& folder);

/// The one of this name or path; nullptr when there is none.
[[nodiscard]] const MailFolder* findMailFolder(const std::vector<MailFolder>& kept,
                                               const std::string& nameOrPath);

}  // namespace keldane
