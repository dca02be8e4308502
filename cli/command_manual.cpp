#include "cli/command_manual.h"

#include <string_view>

#include <fmt/format.h>

#include "base/text.h"

namespace keldane {
namespace {

constexpr std::string_view kOpening =
    R"(.SH NAME
keldane \- archive e\-mail in a MySQL database, search it, read it
.SH SYNOPSIS
.B keldane
.I COMMAND
.RI [ OPTIONS ]
.RI [ ARGUMENTS ]
.br
.B keldane help
.I COMMAND
.br
.B keldane
.I NUMBER
.SH DESCRIPTION
.B keldane
reads the files that mail clients leave on disk
.RI ( .eml ", " .emlx ", mbox),"
stores each message once in a MySQL or MariaDB database, and finds and shows it again.
Without a server of your own it keeps a private one, called
.BR "This Computer" .
Nothing that a message asks for is run, fetched or opened.
.PP
Without a command
.B keldane
shows what there is, and on a machine without an archive how to begin.
)";

constexpr std::string_view kBehindOptions =
    R"(.PP
Most commands take
.BI \-\-database " NAME"
and
.BI \-\-connection " NAME"
to use another database or another saved connection than the last one, and
.B \-\-json
to print JSON, one object a line.
A table that goes into a file or pipe has a tab between its cells.
Dates in JSON and TSV are those of ISO 8601, whatever the settings say.
When a limit has cut a list, standard error tells of how many.
.PP
Days are written 2024\-02\-28, 2024\-02 or 2024, or as today, yesterday, 3d (three days ago), 2w or
last\-month, and are included at both ends; the day of
.B archive \-\-to
alone is left out.
.PP
An
.I ID
may be
.BR \- :
then ids are read from standard input, one or several a line, or a list that this program has
printed in any of its formats.
)";

constexpr std::string_view kClosing =
    R"(.SH YOUR MAIL ON LINUX
.B keldane sources find
looks where mail programs keep their mail, and for exports of it, and counts; it changes nothing.
.B keldane sources add \-\-found 1
keeps the first of them as a source, any other folder or file is kept by its path. From then on a run
without paths, and each run of
.BR "keldane schedule" ,
archives what is new there, under the names of mailboxes that you know, and removes nothing.
Packed mail (zip, tar, gz, bz2, xz, zst) is read as if it were a folder. Messages that are marked as
deleted are left out and told;
.B archive \-\-with\-deleted
takes them. What Outlook has written is named, with the program that converts it.
.SH EXIT STATUS
0 done, 1 failed, 2 wrong usage, 130 interrupted. The first interrupt ends a run after the message
at hand, with its summary; the second ends it at once.
.SH ENVIRONMENT
.TP
.B HOME
Everything is kept below it. Set it to keep a second archive apart from the first. When it is not
set, the home folder of the user's account is taken.
.TP
.B KELDANE_PASSWORD
The password for
.BR "connections add" .
.TP
.B PAGER
Shows long output on a terminal; empty or
.B cat
for none.
.TP
.B NO_COLOR
When set, no colour.
.SH FILES
.TP
.I ~/Library/Preferences
Settings, with the passwords of connections, readable by their owner only.
.TP
.I ~/Library/Application Support/Keldane
The logs, the ledger, and the private server with its archive.
.SH EXAMPLES
.nf
keldane archive ~/old\-mail ~/takeout.mbox
keldane search \-\-and from=ann \-\-and subject=invoice \-\-since 2019
keldane search \-\-within\-last\-list \-\-and attachment\-name=pdf
keldane attachments 4711 \-\-save ~/invoices
keldane rules add \-\-name Garden \-\-when "from contains garden" \-\-category Garden
.fi
)";

std::string synopsis(const std::string& path, const Command& command) {
  std::string line = "\\fB" + roff(path) + "\\fR";
  for (const CommandOption& option : command.options) {
    if (!isArgument(option) || option.hidden) continue;
    const std::string name = "\\fI" + roff(option.names) + "\\fR" + (isList(option) ? "..." : "");
    line += option.required ? " " + name : " [" + name + "]";
  }
  return line;
}

std::string optionEntry(const CommandOption& option) {
  std::string names;
  for (const std::string& name : optionNames(option)) {
    names += (names.empty() ? "\\fB" : ", \\fB") + roff(name) + "\\fR";
  }
  if (!isFlag(option)) {
    std::string value = roff(valueName(option));
    // A line may break behind each of the words that stand to choose.
    replaceAll(value, "|", "|\\:");
    names += " \\fI" + value + "\\fR";
  }
  return ".TP\n" + names + "\n" + roff(option.help) + "\n";
}

std::string optionEntries(const Command& command) {
  std::string text;
  for (const CommandOption& option : command.options) {
    if (!option.hidden && !isArgument(option)) text += optionEntry(option);
  }
  return text;
}

void addCommands(std::string& page, const std::string& path, const Command& command) {
  if (!path.empty()) {
    page += ".SS " + synopsis(path, command) + "\n" + roff(command.help) + ".\n";
    if (!command.more.empty()) page += roff(command.more) + "\n";
    page += optionEntries(command);
  }
  std::string group;
  for (const Command& below : command.commands) {
    if (path.empty() && below.group != group) {
      group = below.group;
      std::string title = group;
      for (char& c : title) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
      page += ".SH " + title + "\n";
    }
    addCommands(page, path.empty() ? below.name : path + " " + below.name, below);
  }
}

}  // namespace

std::string roff(std::string_view text) {
  std::string page;
  bool bold = false;
  for (const char c : text) {
    if (c == '\\') {
      page += "\\e";
    } else if (c == '-') {
      page += "\\-";
    } else if (c == '`') {
      bold = !bold;
      page += bold ? "\\fB" : "\\fR";
    } else {
      page += c;
    }
  }
  // At the start of a line these would be read as requests.
  return page.starts_with('.') || page.starts_with('\'') ? "\\&" + page : page;
}

std::string manualPage(const Command& root, const std::string& version) {
  std::string page = fmt::format(".TH KELDANE 1 \"\" \"{}\" \"User commands\"\n", version);
  page.append(kOpening).append(".PP\n").append(roff(root.more)).append("\n.SH OPTIONS\n");
  page += "These may stand anywhere on the line.\n";
  page += ".TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nHelp, also behind each command.\n";
  page += ".TP\n\\fB\\-V\\fR, \\fB\\-\\-version\\fR\nThe version.\n";
  page.append(optionEntries(root)).append(kBehindOptions);
  addCommands(page, "", root);
  return page.append(kClosing);
}

}  // namespace keldane
