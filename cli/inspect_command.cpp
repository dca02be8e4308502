#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include <fmt/format.h>
#include <openssl/evp.h>

#include "base/files.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "cli/standard_input.h"
#include "ingest/reading/message_file.h"
#include "ingest/reading/message_reader.h"
#include "ingest/reading/natural_date.h"
#include "ingest/reading/strip_plist.h"
#include "mime/mail_source.h"

namespace keldane {
namespace {

/// A date nearer to now than this may be none.
constexpr std::int64_t kStandInSeconds = 5;

using Json = nlohmann::ordered_json;

struct InspectOptions {
  std::vector<std::string> files;
  bool json = false;
  bool tree = false;
  bool mime = false;
  bool chain = false;
};

std::string sha256(std::string_view data) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(data.data(), data.size(), digest, &length, EVP_sha256(), nullptr) != 1) return "";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) hex += fmt::format("{:02x}", digest[i]);
  return hex;
}

Json textOrNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(); }

/// "2006-01-02T22:04:05Z".
Json isoDate(mime::MailSource& source, std::int64_t now) {
  const auto date = source.email().GetDt();
  std::optional<std::int64_t> seconds = date ? date->GetAsDateTime(0) : std::nullopt;
  // The engine has the present moment for a date that is missing or that it could not read.
  if (seconds && std::abs(now - *seconds) < kStandInSeconds) {
    seconds = parseNaturalDate(source.dateField().value_or(""), now);
  }
  if (!seconds) return {};
  const std::time_t time = *seconds;
  std::tm utc = {};
  gmtime_r(&time, &utc);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", utc.tm_year + 1900, utc.tm_mon + 1,
                     utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
}

Json describeItem(const std::optional<std::string>& name, const std::optional<std::string>& type,
                  const std::optional<std::string>& data) {
  return {{"name", textOrNull(name)},
          {"type", textOrNull(type)},
          {"size", data ? Json(data->size()) : Json()},
          {"sha256", data ? Json(sha256(*data)) : Json()}};
}

Json describePart(const mime::PartView& part) {
  Json entry = {{"type", part.contentType}, {"charset", part.charset}, {"name", part.name}};
  if (!part.text.empty() || part.body.empty()) {
    entry["text"] = part.text;
  } else {
    entry["size"] = part.body.size();
    entry["sha256"] = sha256(part.body);
  }
  return entry;
}

Json describe(const std::string& file, mime::MailSource& source, Json parts, std::int64_t now) {
  mime::TnoEmail& email = source.email();
  Json to = Json::array();
  for (int i = 0; i < email.NumTo(); ++i) to.push_back(textOrNull(email.GetTo(i)));
  Json cc = Json::array();
  for (int i = 0; i < email.NumCC(); ++i) cc.push_back(textOrNull(email.GetCC(i)));
  Json attachments = Json::array();
  for (int i = 0; i < email.NumAttachments(); ++i) {
    attachments.push_back(describeItem(email.GetAttachmentFilename(i),
                                       email.GetAttachmentContentType(i),
                                       email.GetAttachmentData(i)));
  }
  Json related = Json::array();
  for (int i = 0; i < email.NumRelatedItems(); ++i) {
    related.push_back(describeItem(email.GetRelatedFilename(i), email.GetRelatedContentType(i),
                                   email.GetRelatedData(i)));
  }
  return {{"file", file},
          {"subject", textOrNull(email.Subject())},
          {"from", textOrNull(email.From())},
          {"fromAddress", textOrNull(email.FromAddress())},
          {"to", std::move(to)},
          {"cc", std::move(cc)},
          {"date", isoDate(source, now)},
          {"plain", textOrNull(email.GetPlainTextBody())},
          {"html", textOrNull(email.GetHtmlBody())},
          {"attachments", std::move(attachments)},
          {"related", std::move(related)},
          {"parts", std::move(parts)}};
}

std::string sizes(const Json& items) {
  std::string text;
  for (const Json& item : items) {
    text += fmt::format("  {}  {}  {} bytes\n",
                        printable(item["name"].is_null() ? "" : item["name"].get<std::string>()),
                        printable(item["type"].is_null() ? "" : item["type"].get<std::string>()),
                        item["size"].is_null() ? 0 : item["size"].get<std::size_t>());
  }
  return text;
}

std::string joined(const Json& texts) {
  std::string text;
  for (const Json& each : texts) {
    if (!text.empty()) text += ", ";
    if (each.is_string()) text += each.get<std::string>();
  }
  return printable(text);
}

std::string readableText(const Json& message) {
  const auto text = [&message](const char* key) {
    const Json& value = message[key];
    return value.is_string() ? value.get<std::string>() : std::string();
  };
  std::string out =
      fmt::format("{}\nSubject: {}\nFrom:    {}\nTo:      {}\nCc:      {}\nDate:    {}\n",
                  text("file"), printable(text("subject")), printable(text("from")),
                  joined(message["to"]), joined(message["cc"]), text("date"));
  out += fmt::format("Plain:   {} bytes\nHTML:    {} bytes\n", text("plain").size(),
                     text("html").size());
  out += fmt::format("Attachments: {}\n", message["attachments"].size());
  out += sizes(message["attachments"]);
  out += fmt::format("Related items: {}\n", message["related"].size());
  out += sizes(message["related"]);
  return out;
}

/// `file`: what the message is called.
void inspectMessage(const std::string& file, const std::string& bytes,
                    const InspectOptions& options, Program& program) {
  // The same steps as on the way into the archive, up to the engine.
  std::string text = toUtf8(bytes);
  mime::MailSource::Options reading;
  reading.encoding = isValidUtf8(bytes) ? mime::SourceEncoding::utf8 : mime::SourceEncoding::latin1;
  MessageTags tags;
  stripPlist(text, tags);
  Json parts = Json::array();
  if (options.json) {
    reading.visitPart = [&parts](const mime::PartView& part) {
      parts.push_back(describePart(part));
    };
  }
  if (options.tree || options.mime) {
    reading.visitTree = [&options](mime::TnoMime& tree, std::string_view mimeText) {
      if (options.tree) std::fputs(tree.describeTree().c_str(), stdout);
      if (options.mime) std::fwrite(mimeText.data(), 1, mimeText.size(), stdout);
    };
  }
  mime::MailSource source;
  const Result<void> loaded = source.load(text, reading);
  if (!loaded) {
    program.exitStatus = program.fail(fmt::format("{}: {}", file, loaded.error()));
    return;
  }
  if (options.tree || options.mime) return;
  const Json message = describe(file, source, std::move(parts), program.environment.now());
  std::fputs((options.json ? jsonLine(message) : readableText(message)).c_str(), stdout);
}

void inspectFile(const std::string& file, const InspectOptions& options, Program& program) {
  const Result<std::string> bytes = readFile(file);
  if (!bytes) {
    program.exitStatus = program.fail(bytes.error());
    return;
  }
  inspectMessage(file, *bytes, options, program);
}

void inspectStandardInput(const InspectOptions& options, Program& program) {
  const std::string bytes = readStandardInput();
  if (bytes.empty()) {
    program.exitStatus = program.fail("standard input holds nothing");
    return;
  }
  if (!bytes.starts_with("From ")) {
    inspectMessage("standard input", bytes, options, program);
    return;
  }
  std::size_t number = 0;
  for (MessagePiece& piece : cutAtSeparators(bytes)) {
    // What is left of the separator.
    deleteFirstLine(piece.bytes);
    inspectMessage(fmt::format("standard input, message {}", ++number), piece.bytes, options,
                   program);
  }
}

void inspectFiles(const InspectOptions& options, Program& program) {
  for (const std::string& file : options.files) {
    try {
      if (file == "-") {
        inspectStandardInput(options, program);
      } else {
        inspectFile(file, options, program);
      }
    } catch (const std::bad_alloc&) {
      program.exitStatus = program.fail(file + ": There is not enough memory for this message.");
    }
  }
}

}  // namespace

Command inspectCommand(Program& program) {
  auto options = std::make_shared<InspectOptions>();
  return {.name = "inspect",
          .help = "Show what the reader makes of message files; no database is touched",
          .options = {{.names = "FILE",
                       .target = &options->files,
                       .help = "Message files; - is a message or an mbox from standard input",
                       .required = true},
                      {.names = "--json",
                       .target = &options->json,
                       .help = "One JSON object a line for each file",
                       .excludes = {"--tree", "--mime"}},
                      {.names = "--tree",
                       .target = &options->tree,
                       .help = "Draw the tree of parts",
                       .excludes = {"--mime"}},
                      {"--mime", &options->mime, "Write the message as it is regenerated"},
                      // Every message is read so now; the flag is for scripts that still give it.
                      {.names = "--chain", .target = &options->chain, .hidden = true}},
          .run = [options, &program] { inspectFiles(*options, program); }};
}

}  // namespace keldane
