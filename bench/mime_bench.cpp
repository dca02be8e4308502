// The MIME engine over a folder of mail held in memory, beside GMime parsing the same messages and
// decoding every part to UTF-8; then hostile inputs, each read in a process of its own as the
// archive reads a message, with the peak of its memory beside the bound that it is to keep.
//
// mime_bench FOLDER [ROUNDS]
// mime_bench --hostile [MEGABYTES...]
// mime_bench --read FILE
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include "archive/content_digest.h"
#include "base/files.h"
#include "bench/gmime_reader.h"
#include "bench/hostile_mail.h"
#include "bench/mail_folder.h"
#include "ingest/reading/attachment_collector.h"
#include "ingest/reading/current_message.h"
#include "ingest/reading/partial_file.h"
#include "mime/mail_source.h"
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

/// A message file read as the archive reads it: what is filled here is what the store would have,
/// and lies beside the engine's tree as it does there.
bool readFileAsArchive(const std::string& path) {
  CurrentMessage message;
  {
    Result<std::string> text = readFile(path);
    if (!text) return false;
    message.msgOriginal = std::move(*text);
  }
  mime::MailSource source;
  mime::MailSource::Options options;
  ContentDigest digest;
  options.visitPart = [&digest](const mime::PartView& part) { digest.addPart(part); };
  if (!source.load(message.msgOriginal, options)) return false;
  mime::TnoEmail& email = source.email();
  message.msgFrom = email.From().value_or("");
  message.msgSubject = email.Subject().value_or("");
  message.msgTo = email.GetRecipients().value_or("");
  std::optional<std::string> plain;
  if (email.HasPlainTextBody()) plain = email.TakePlainTextBody();
  if (plain) message.msgBody = std::move(*plain);
  if (email.HasHtmlBody()) {
    message.msgParts.push_back({"text/html", "", email.TakeHtmlBody().value_or("")});
  }
  PartialFile partial;
  if (!collectAttachments(email, {}, partial, message)) return false;
  source.clear();
  message.msgHeadings =
      std::string_view(message.msgOriginal).substr(0, message.msgOriginal.find("\n\n"));
  return true;
}

/// The most memory that this process has had. Not by getrusage, which counts what the process was
/// before it began this program.
long peakBytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::strtol(line.c_str() + 6, nullptr, 10) * 1024L;
  }
  return 0;
}

/// Reads one file and prints seconds and peak memory in bytes; for `measured`, in a fresh process.
int readOne(const char* path) {
  const auto start = std::chrono::steady_clock::now();
  const bool ok = readFileAsArchive(path);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("%.6f %ld %s\n", seconds, peakBytes(), ok ? "read" : "refused");
  return 0;
}

struct Measured {
  double seconds = 0;
  double peakMegabytes = 0;
  std::string outcome;
};

/// This program again, over one file.
Measured measured(const std::string& path) {
  Measured result{0, 0, "died"};
  int ends[2];
  if (::pipe(ends) != 0) return result;
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    ::execl("/proc/self/exe", "mime_bench", "--read", path.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::close(ends[1]);
  std::FILE* out = ::fdopen(ends[0], "r");
  long peak = 0;
  char outcome[16] = "died";
  if (out && std::fscanf(out, "%lf %ld %15s", &result.seconds, &peak, outcome) == 3) {
    result.peakMegabytes = static_cast<double>(peak) / 1e6;
    result.outcome = outcome;
  }
  if (out) std::fclose(out);
  ::waitpid(child, nullptr, 0);
  return result;
}

/// The most that a message may take of the machine's memory, whatever it holds.
double boundFor(double megabytes) { return 64 + 4 * megabytes; }

int readHostile(const std::vector<std::size_t>& sizes) {
  const auto file =
      std::filesystem::temp_directory_path() / fmt::format("mime_bench.{}.eml", ::getpid());
  int over = 0;
  fmt::print("{:<40} {:>8} {:>9} {:>9} {:>9}\n", "Hostile input, read as the archive does", "MB",
             "ms a MB", "peak MB", "bound MB");
  for (const HostileMail& hostile : hostileMail()) {
    for (const std::size_t size : sizes) {
      const std::string text = hostile.make(size * 1000000);
      const double megabytes = static_cast<double>(text.size()) / 1e6;
      std::ofstream(file, std::ios::binary) << text;
      const Measured read = measured(file.string());
      const bool isOver = read.outcome == "died" || read.peakMegabytes > boundFor(megabytes);
      over += isOver ? 1 : 0;
      fmt::print("{:<40} {:>8.2f} {:>9.2f} {:>9.1f} {:>9.1f}  {}{}\n", hostile.name, megabytes,
                 read.seconds * 1000 / megabytes, read.peakMegabytes, boundFor(megabytes),
                 isOver ? "OVER" : "OK", read.outcome == "read" ? "" : " (" + read.outcome + ")");
      std::fflush(stdout);
    }
  }
  std::filesystem::remove(file);
  return over == 0 ? 0 : 1;
}

const std::vector<std::size_t> kHostileMegabytes = {10, 50};

int readNormal(const char* folder, int rounds) {
  const std::vector<MailFile> files = readMailFolder(folder);
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
  fmt::print("\nNormal mail takes {:.2f} ms a MB\n",
             times[1][static_cast<std::size_t>(rounds) / 2] * 1000 / megabytes);
  return readHostile(kHostileMegabytes);
}

int run(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (what == "--read" && argc == 3) return readOne(argv[2]);
  if (what == "--hostile") {
    std::vector<std::size_t> sizes;
    for (int i = 2; i < argc; ++i) sizes.push_back(std::strtoul(argv[i], nullptr, 10));
    return readHostile(sizes.empty() ? kHostileMegabytes : sizes);
  }
  if (what.empty() || what.starts_with("-")) {
    std::fprintf(stderr, "usage: mime_bench FOLDER [ROUNDS] | --hostile [MEGABYTES...]\n");
    return 2;
  }
  return readNormal(argv[1], argc > 2 ? std::atoi(argv[2]) : 7);
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) { return keldane::bench::run(argc, argv); }
