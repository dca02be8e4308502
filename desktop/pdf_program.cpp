#include "desktop/pdf_program.h"

#include <atomic>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <QApplication>
#include <QCommandLineParser>

#include "app/archiver.h"
#include "desktop/message_pdf.h"
#include "desktop/qt_main_queue.h"
#include "desktop/qt_text.h"
#include "output/pdf_export.h"
#include "platform/desktop_host_services.h"
#include "platform/process_tool_runner.h"
#include "platform/system_environment.h"

namespace keldane {
namespace {

constexpr std::string_view kOption = "--export-pdf";
constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kInterrupted = 130;

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "touched by a signal handler");

void watchInterrupts() {
  struct sigaction action = {};
  action.sa_handler = [](int) { interrupted = true; };
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A full disk and a reader that has gone are failures, and not the end of the process.
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
  sigaction(SIGPIPE, &action, nullptr);
}

int fail(const std::string& reason, int status = kFailed) {
  std::fprintf(stderr, "KeldanePro: %s\n", reason.c_str());
  return status;
}

class PrintedProgress : public Progress {
 public:
  explicit PrintedProgress(bool prints) : prints_(prints) {}
  void step(int count, std::string_view) override {
    if (!prints_) return;
    if (std::printf("%d\n", count) < 0 || std::fflush(stdout) != 0) interrupted = true;
  }
  [[nodiscard]] bool cancelled() const override { return interrupted; }

 private:
  const bool prints_;
};

struct Order {
  std::string target;
  bool asText = false;
  std::string connection;
  std::string database;
  std::vector<std::uint32_t> ids;
};

Result<void> addId(std::string_view word, std::vector<std::uint32_t>& ids) {
  std::uint32_t id = 0;
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), id);
  if (code != std::errc() || end != word.data() + word.size() || id == 0) {
    return Failure{"\"" + std::string(word) + "\" is not the id of a message"};
  }
  ids.push_back(id);
  return {};
}

Result<Order> readOrder(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.addOptions({{"export-pdf", "Where to", "path"},
                     {"text", "Lays out the text, not the HTML"},
                     {"connection", "The saved connection", "name"},
                     {"database", "The database", "name"}});
  if (!parser.parse(arguments)) return Failure{plainText(parser.errorText())};
  Order order;
  order.target = systemPath(parser.value("export-pdf"));
  order.asText = parser.isSet("text");
  order.connection = plainText(parser.value("connection"));
  order.database = plainText(parser.value("database"));
  if (order.target.empty()) return Failure{"name the file: --export-pdf=FILE"};
  for (const QString& word : parser.positionalArguments()) {
    if (const Result<void> added = addId(plainText(word), order.ids); !added) {
      return Failure{added.error()};
    }
  }
  if (!order.ids.empty()) return order;
  for (std::string line; std::getline(std::cin, line);) {
    if (const Result<void> added = addId(line, order.ids); !added) return Failure{added.error()};
  }
  if (order.ids.empty()) return Failure{"no message is named"};
  return order;
}

int writePdf(const Order& order, Archiver& archiver, const Environment& environment) {
  PrintedProgress progress(order.target != "-");
  const auto log = [](const std::string& line) { (void)fail(line); };
  MessagePdf pdf({archiver.session(), archiver.settings().user, environment, log}, order.asText);
  if (!order.asText && !pdf.laysOutHtml()) {
    log("HTML is laid out as its text: there is no web engine here that this user can start");
  }
  const PdfLayout layOut = [&pdf](const ListedMessage& message) { return pdf.layOut(message); };
  const OutputContext context{archiver.session(), progress, {}, log};
  const MessageList list = listOfIds(archiver.session(), order.ids);
  const auto report = namesFolder(order.target)
                          ? exportPdfFolder(context, list, layOut, order.target)
                          : exportPdf(context, list, layOut, order.target);
  if (!report) return fail(report.error());
  if (report->cancelled) return kInterrupted;
  const std::size_t missing = list.size - report->messages;
  if (missing > 0) fail(fmt::format("{} messages are no longer in the archive", missing));
  return 0;
}

}  // namespace

bool wantsPdf(int argc, char** argv) {
  return argc > 1 && std::string_view(argv[1]).starts_with(kOption);
}

void preparePdfProgram() {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QTWEBENGINE_CHROMIUM_FLAGS", qgetenv("QTWEBENGINE_CHROMIUM_FLAGS") + " --disable-gpu");
}

int runPdfProgram(int argc, char** argv) {
  watchInterrupts();
  const Result<Order> order = readOrder(QCoreApplication::arguments());
  if (!order) return fail(order.error(), kUsage);
  QtMainQueue queue;
  ProcessToolRunner tools;
  SystemEnvironment environment(argc, argv);
  DesktopHostServices host(tools);
  Progress unseen;
  Archiver::Options options;
  options.cleansCrontab = false;
  Archiver archiver(Archiver::Ports{unseen, queue, tools, environment, host}, options);
  if (const Result<void> loaded = archiver.preferences().load(); !loaded) {
    return fail(loaded.error());
  }
  if (archiver.start()) archiver.loadPreferences();
  archiver.ensureConnection();
  const Faults faults =
      archiver.connectForCommand(order->connection, order->database, Opening::existing);
  for (const Fault& fault : faults) (void)fail(fault.text);
  const int status =
      archiver.connections().isConnected() ? writePdf(*order, archiver, environment) : kFailed;
  archiver.close();
  return status;
}

}  // namespace keldane
