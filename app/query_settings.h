#pragma once

#include <string>

#include "archive/server_session.h"
#include "output/saved_text.h"
#include "platform/environment.h"
#include "query/emailrow.h"
#include "query/message_html.h"
#include "query/search_builder.h"
#include "query/stored_source.h"
#include "settings/settings.h"

/// What the settings say to the queries.
namespace keldane {

/// How this user's stored sources are read: what his mail client has added goes.
[[nodiscard]] SourceReading sourceReading(const UserSettings& settings);
/// The texts of messages as this user reads, saves and prints them. The session stays.
[[nodiscard]] ListedTextReader textReader(ServerSession& session, const UserSettings& settings);
/// What the date above a message depends on; `listDate` stands when there is no other.
[[nodiscard]] HeaderDate headerDate(const UserSettings& settings, const Environment& environment,
                                    std::string listDate);

/// Order and limit of searches, over the whole archive.
[[nodiscard]] SearchContext searchContextOf(const Settings& settings);
[[nodiscard]] DateStyle dateStyleOf(const UserSettings& settings);

}  // namespace keldane
