// The MIME engine over a folder of mail held in memory, beside GMime parsing the same messages and
// decoding every part to UTF-8; then hostile inputs of a megabyte each beside normal mail.
//
// mime_bench FOLDER [ROUNDS]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "bench/gmime_reader.h"
#include "bench/hostile_mail.h"
#include "bench/mail_folder.h"
#include "mime/tno_email.h"
#include "mime/tno_mime.h"

namespace keldane::bench {
namespace {

/// Calls every getter, and adds up sizes so that nothing can be left out.
std::size_t askEverything(mime::TnoEmail& email) {
  std::size_t sum = 0;
  const auto add = [&sum](const std::optional<std::string>& text) {
    if (text) sum += text->size();
  };
  add(email.Subject());
  add(email.From());
  add(email.FromAddress());
  for (int i = 0, n = email.NumTo(); i < n; ++i) add(email.GetTo(i));
  for (int i = 0, n = email.NumCC(); i < n; ++i) add(email.GetCC(i));
  if (const auto date = email.GetDt()) sum += date->GetAsDateTime(1).value_or(0) & 1;
  if (email.HasPlainTextBody()) add(email.GetPlainTextBody());
  if (email.HasHtmlBody()) add(email.GetHtmlBody());
  for (int i = 0, n = email.NumAttachments(); i < n; ++i) {
    add(email.GetAttachmentFilename(i));
    add(email.GetAttachmentContentType(i));
    add(email.GetAttachmentData(i));
  }
  for (int i = 0, n = email.NumRelatedItems(); i < n; ++i) {
    add(email.GetRelatedFilename(i));
    add(email.GetRelatedContentType(i));
    add(email.GetRelatedData(i));
  }
  return sum;
}

std::size_t readDirectly(const std::string& text) {
  mime::TnoEmail email;
  if (!email.SetFromMimeText(text)) return 0;
  return askEverything(email);
}

std::size_t readByChain(const std::string& text) {
  mime::TnoMime mime;
  mime.LoadMime(text);
  mime::TnoEmail email;
  if (!email.SetFromMimeText(mime.GetMime().value_or(""))) return 0;
  return askEverything(email);
}

using Reader = std::function<std::size_t(const std::string&)>;

double secondsFor(const std::vector<MailFile>& files, const Reader& reader) {
  std::size_t sum = 0;
  const auto start = std::chrono::steady_clock::now();
  for (const MailFile& file : files) sum += reader(file.text);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (sum == 0) std::fprintf(stderr, "mime_bench: nothing was read\n");
  return seconds;
}

int run(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: mime_bench FOLDER [ROUNDS]\n");
    return 2;
  }
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 7;
  const std::vector<MailFile> files = readMailFolder(argv[1]);
  double megabytes = 0;
  for (const MailFile& file : files) megabytes += static_cast<double>(file.text.size()) / 1e6;
  startPeer();
  const std::vector<std::pair<std::string, Reader>> readers = {
      {"SetFromMimeText + getters", readDirectly},
      {"LoadMime, GetMime, then the same", readByChain},
      {"GMime, all parts to UTF-8",
       [](const std::string& text) { return readWithPeer(text).decodedBytes; }},
  };
  std::vector<std::vector<double>> times(readers.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t r = 0; r < readers.size(); ++r) {
      times[r].push_back(secondsFor(files, readers[r].second));
    }
  }
  for (auto& each : times) std::sort(each.begin(), each.end());
  const double peer = times.back()[static_cast<std::size_t>(rounds) / 2];
  fmt::print("{} messages, {:.1f} MB, {} rounds, medians\n", files.size(), megabytes, rounds);
  for (std::size_t r = 0; r < readers.size(); ++r) {
    const double seconds = times[r][static_cast<std::size_t>(rounds) / 2];
    fmt::print("{:<34} {:>8.1f} MB/s {:>9.0f} messages/s   {:>5.2f} x GMime\n", readers[r].first,
               megabytes / seconds, static_cast<double>(files.size()) / seconds, peer / seconds);
  }
  const double normal = times[1][static_cast<std::size_t>(rounds) / 2] * 1000 / megabytes;
  fmt::print("\nHostile input, whole chain; normal mail takes {:.2f} ms a MB\n", normal);
  for (const HostileMail& hostile : hostileMail()) {
    const double seconds = secondsFor({{hostile.name, hostile.text, ""}}, readByChain);
    fmt::print("{:<44} {:>6.2f} MB {:>10.2f} ms a MB\n", hostile.name,
               static_cast<double>(hostile.text.size()) / 1e6,
               seconds * 1e9 / static_cast<double>(hostile.text.size()));
  }
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) { return keldane::bench::run(argc, argv); }
