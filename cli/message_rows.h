#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "query/result_list.h"

namespace keldane {

class KeldaneController;
class Program;

enum class RowFormat { table, tsv, json };

/// How a command that lists messages prints them, and the options for it.
struct RowOptions {
  RowFormat format = RowFormat::table;
  bool json = false;
  std::string database;
  std::string connection;

  void addTo(CLI::App& command);
};

/// The end of a command that has filled the result list: prints it, keeps it as the last list, and
/// tells how many there are. Answers the exit status; a list that could not be had has been told
/// of.
[[nodiscard]] int showList(KeldaneController& controller, const RowOptions& options,
                           Program& program);

/// Prints the list: on a terminal through the pager and fitted to its width. TSV has a line of
/// titles, and no cell holds a tab or a line end.
void printMessages(const ResultList& list, const RowOptions& options);

}  // namespace keldane
