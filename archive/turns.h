#pragma once

namespace keldane {

/// A table with a row for each thing that programs take turns at, or come behind each other at: a
/// row is so on every node of a cluster, where a lock of the server is not.
inline constexpr const char* kMakeTurns =
    "CREATE TABLE IF NOT EXISTS keldane_turns (name VARCHAR(64) PRIMARY KEY NOT NULL,turn BIGINT "
    "UNSIGNED NOT NULL)";

}  // namespace keldane
