// Reads a folder of mail with our engine and with GMime and prints each field in which they differ,
// then how many messages agree on each field. A difference is a rule of ours or a fault of ours (or
// theirs): somebody has to look.
//
// compare_readers FOLDER [FIELD]      only the differences of FIELD are printed when it is given
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "base/text.h"
#include "bench/gmime_reader.h"
#include "bench/mail_folder.h"
#include "mime/tno_email.h"

namespace keldane::bench {
namespace {

constexpr std::size_t kMostShown = 160;

/// White space as the two readers leave it differs by design; the words must not.
std::string squeezed(std::string_view text) {
  std::string out;
  bool blank = false;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      blank = true;
    } else {
      if (blank && !out.empty()) out += ' ';
      blank = false;
      out += c;
    }
  }
  return out;
}

std::string joined(const std::vector<std::string>& texts) { return join(texts, " | "); }

using Fields = std::map<std::string, std::string>;

Fields ourFields(const std::string& text) {
  mime::TnoEmail email;
  Fields fields;
  if (!email.SetFromMimeText(text)) return fields;
  fields["subject"] = squeezed(email.Subject().value_or(""));
  fields["sender"] = squeezed(email.FromAddress().value_or(""));
  std::vector<std::string> to;
  for (int i = 0, n = email.NumTo(); i < n; ++i) to.push_back(email.GetToAddr(i).value_or(""));
  std::vector<std::string> cc;
  for (int i = 0, n = email.NumCC(); i < n; ++i) cc.push_back(email.GetCcAddr(i).value_or(""));
  fields["to"] = joined(to);
  fields["cc"] = joined(cc);
  const auto date = email.GetDt();
  fields["date"] = date ? fmt::format("{}", date->GetAsDateTime(0).value_or(0)) : "";
  fields["plain"] = squeezed(email.GetPlainTextBody().value_or(""));
  fields["html"] = squeezed(email.GetHtmlBody().value_or(""));
  std::string names;
  std::string bytes;
  for (int i = 0, n = email.NumAttachments(); i < n; ++i) {
    names += email.GetAttachmentFilename(i).value_or("") + " | ";
    const std::string data = email.GetAttachmentData(i).value_or("");
    bytes += fmt::format("{}:{:x} | ", data.size(), std::hash<std::string>()(data));
  }
  fields["attachment names"] = names;
  fields["attachment bytes"] = bytes;
  return fields;
}

Fields peerFields(const std::string& text) {
  const PeerMessage peer = readWithPeer(text);
  Fields fields;
  if (!peer.parsed) return fields;
  fields["subject"] = squeezed(peer.subject);
  fields["sender"] = squeezed(peer.from);
  fields["to"] = joined(peer.to);
  fields["cc"] = joined(peer.cc);
  fields["date"] = peer.hasDate ? fmt::format("{}", peer.date) : "";
  fields["plain"] = squeezed(peer.plain);
  fields["html"] = squeezed(peer.html);
  std::string names;
  std::string bytes;
  for (const PeerItem& item : peer.attachments) {
    names += item.name + " | ";
    bytes += fmt::format("{}:{:x} | ", item.data.size(), std::hash<std::string>()(item.data));
  }
  fields["attachment names"] = names;
  fields["attachment bytes"] = bytes;
  return fields;
}

/// The place where two texts part, with a little before it.
std::string around(const std::string& text, std::size_t at) {
  const std::size_t from = at > 40 ? at - 40 : 0;
  return printable(toUtf8(text.substr(from, kMostShown)));
}

void printDifference(const MailFile& file, const std::string& field, const std::string& ours,
                     const std::string& theirs) {
  std::size_t at = 0;
  while (at < ours.size() && at < theirs.size() && ours[at] == theirs[at]) ++at;
  fmt::print("{} {} ({} and {} bytes, from {})\n  ours:   {}\n  theirs: {}\n",
             lastPathComponent(file.path), field, ours.size(), theirs.size(), at, around(ours, at),
             around(theirs, at));
}

int run(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: compare_readers FOLDER [FIELD]\n");
    return 2;
  }
  const std::string only = argc > 2 ? argv[2] : "";
  startPeer();
  const std::vector<MailFile> files = readMailFolder(argv[1]);
  std::map<std::string, long> agree;
  for (const MailFile& file : files) {
    const Fields ours = ourFields(file.text);
    const Fields theirs = peerFields(file.raw);
    for (const auto& [field, value] : ours) {
      const auto found = theirs.find(field);
      const std::string peer = found == theirs.end() ? "(not read)" : found->second;
      if (value == peer) {
        ++agree[field];
      } else {
        agree[field] += 0;
        if (only.empty() || only == field) printDifference(file, field, value, peer);
      }
    }
  }
  fmt::print("\n{} messages\n", files.size());
  for (const auto& [field, count] : agree) {
    fmt::print("{:<17} {:>6} agree, {:>5} differ\n", field, count,
               static_cast<long>(files.size()) - count);
  }
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) { return keldane::bench::run(argc, argv); }
