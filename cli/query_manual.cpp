#include "cli/command_manual.h"

#include <fmt/format.h>

#include "find/query_fields.h"

namespace keldane {
namespace {

constexpr std::string_view kOpening =
    R"(.SH NAME
keldane\-query \- the query language of keldane find
.SH SYNOPSIS
.B keldane find
.I WORDS...
.br
.B keldane search \-\-words
.I QUERY
.SH DESCRIPTION
A query names words that a person can read in a message, in its attachments, or in what the archive
knows of it. Case and accents do not matter: kostume finds Kost\[:u]me. Letters and digits are words
of their own, and so is each character of Chinese, Japanese, Korean and Thai.
The words behind
.B keldane find
make one query together. In a shell, quotes and brackets need quotes of their own, and
.B \-\-
stands before a query that begins with a
.BR \- .
)";

constexpr std::string_view kClosing =
    R"(.SH EXAMPLES
.nf
keldane find invoice from:ann date:2019..2021
keldane find '"annual report" type:pdf \-draft'
keldane find 'subject:(offer OR order) size:>1M'
keldane search \-\-words 'tag:tax has:attachment' \-\-sort from
.fi
.SH SEE ALSO
.BR keldane (1)
)";

std::string entry(std::string_view term, std::string_view help) {
  return ".TP\n\\fB" + roff(term) + "\\fR\n" + roff(help) + ".\n";
}

}  // namespace

std::string queryManualPage(const std::string& version) {
  std::string page = fmt::format(".TH KELDANE\\-QUERY 7 \"\" \"{}\" \"Queries\"\n", version);
  page.append(kOpening).append(".SH WORDS\n");
  for (const QueryForm& form : queryForms()) page += entry(form.form, form.help);
  page += ".SH FIELDS\n";
  for (const QueryField& field : queryFields()) {
    page += entry(std::string(field.name) + ":", field.help);
  }
  return page.append(kClosing);
}

}  // namespace keldane
