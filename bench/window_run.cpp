// How fast the real window is over a large archive, without a screen: from the start to the list
// that is shown, opening messages, scrolling, finding while one types, and what it holds. Beside
// each figure stands the bound that it must keep, and a floor: the toolkit, the engine, the server
// or the word index asked for the same alone.
//
// window_run HOME [ROWS]
//
// HOME is the home folder of an archive that the window program opens by itself, on the private
// server or on the connection chosen last; nothing is archived or deleted in it, but settings are
// written there as by any start. ROWS (1,000,000) is how long the made-up list is.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>
#include <QAbstractEventDispatcher>
#include <QAbstractTableModel>
#include <QApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTimer>
#include <QTreeView>

#include "app/keldane_controller.h"
#include "app/run_index.h"
#include "base/text.h"
#include "desktop/html_view.h"
#include "desktop/main_window.h"
#include "desktop/qt_text.h"
#include "desktop/translation.h"
#include "desktop/window_program.h"
#include "find/word_search.h"
#include "query/search_builder.h"
#ifdef KELDANE_BENCH_WEB
#include <QWebEnginePage>
#include <QWebEngineView>
#endif

namespace keldane::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Times = std::vector<double>;  ///< in milliseconds

constexpr int kStarts = 7;
constexpr int kLongMs = 120000;
constexpr std::size_t kOpened = 300;
constexpr int kWheelRows = 3;

double since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void print(const std::string& what, Times times, const std::string& bound) {
  if (times.empty()) {
    std::printf("%-46s none\n", what.c_str());
    return;
  }
  std::sort(times.begin(), times.end());
  std::printf("%-46s %9.1f %9.1f %9.1f %6zu  %s\n", what.c_str(), times[times.size() / 2],
              times[times.size() * 95 / 100], times.back(), times.size(), bound.c_str());
  std::fflush(stdout);
}

void printMemory(const std::string& what, const std::string& bound) {
  std::map<std::string, double> megabytes;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    const std::size_t colon = line.find(':');
    if (line.starts_with("Vm") || line.starts_with("Rss")) {
      megabytes[line.substr(0, colon)] = leadingInt(trimWhitespace(line.substr(colon + 1))) / 1e3;
    }
  }
  std::printf("%-46s %7.1f MB, %.1f of it its own, %.1f at most  %s\n", what.c_str(),
              megabytes["VmRSS"], megabytes["RssAnon"], megabytes["VmHWM"], bound.c_str());
  std::fflush(stdout);
}

/// Runs the event loop until this holds; false after a long while.
bool waitFor(const std::function<bool()>& holds, int milliseconds = kLongMs) {
  const Clock::time_point start = Clock::now();
  QTimer alarm;
  alarm.start(milliseconds);
  while (!holds() && since(start) < milliseconds) {
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return holds();
}

/// Counts how often a widget has been painted.
class Paints : public QObject {
 public:
  explicit Paints(QWidget& widget) { widget.installEventFilter(this); }
  int count = 0;

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) QTimer::singleShot(0, this, [this] { ++count; });
    return false;
  }
};

/// A list that costs its view as little as can be.
class PlainRows : public QAbstractTableModel {
 public:
  explicit PlainRows(int rows) : rows_(rows) {}
  [[nodiscard]] int rowCount(const QModelIndex& parent) const override {
    return parent.isValid() ? 0 : rows_;
  }
  [[nodiscard]] int columnCount(const QModelIndex&) const override { return kColumns; }
  [[nodiscard]] QVariant data(const QModelIndex&, int role) const override {
    return role == Qt::DisplayRole ? QVariant(text_) : QVariant();
  }

 private:
  static constexpr int kColumns = 6;
  const int rows_;
  const QString text_ = QStringLiteral("Minutes of the meeting");
};

std::unique_ptr<QMainWindow> makePlainWindow(QAbstractItemModel& model) {
  auto window = std::make_unique<QMainWindow>();
  auto* list = new QTreeView(window.get());
  list->setUniformRowHeights(true);
  list->setRootIsDecorated(false);
  list->setModel(&model);
  window->setCentralWidget(list);
  window->resize(1180, 780);
  return window;
}

/// The window as the program makes it, on the archive of this home folder.
class Window {
 public:
  explicit Window(bool waits = true) {
    static char name[] = "KeldanePro";
    static char* arguments[] = {name, nullptr};
    program_ = std::make_unique<WindowProgram>(1, arguments);
    paints = std::make_unique<Paints>(*list().viewport());
    program_->start();
    if (!waits) return;
    if (!waitForList()) {
      std::fprintf(stderr, "window_run: the window shows no list of this archive\n");
      std::exit(1);
    }
    settle();
  }

  bool waitForList() {
    return waitFor([this] { return rows() > 0 && list().isVisible(); }) &&
           waitFor([this, before = paints->count] { return paints->count > before; });
  }
  /// What is still to be done from the start.
  static void settle() {
    waitFor([] { return false; }, 500);
  }

  WindowProgram& program() { return *program_; }
  KeldaneController& controller() { return program_->controller(); }
  QTreeView& list() { return *program_->mainWindow().findChild<QTreeView*>("storeTableView"); }
  template <typename Control>
  Control& control(const char* name) {
    return *program_->mainWindow().findChild<Control*>(name);
  }
  int rows() { return list().model()->rowCount(); }

 private:
  std::unique_ptr<WindowProgram> program_;

 public:
  std::unique_ptr<Paints> paints;  ///< of the list
};

/// Frames of a list: three rows at a time as the wheel goes, by pages, and to anywhere.
Times scroll(QTreeView& list, Paints& paints) {
  Times frames;
  QScrollBar& bar = *list.verticalScrollBar();
  const auto to = [&](int value) {
    const int before = paints.count;
    const int at = bar.value();
    const auto start = Clock::now();
    bar.setValue(value);
    if (bar.value() == at) return;
    waitFor([&] { return paints.count > before; });
    frames.push_back(since(start));
  };
  bar.setValue(0);
  waitFor([] { return false; }, 50);
  for (int i = 0; i < 500; ++i) to(bar.value() + kWheelRows);
  for (int i = 0; i < 250; ++i) to(bar.value() + bar.pageStep());
  std::minstd_rand random(1);
  for (int i = 0; i < 250; ++i) {
    to(static_cast<int>(random() % static_cast<unsigned>(std::max(1, bar.maximum()))));
  }
  return frames;
}

// ---- the parts, each in a process of its own ------------------------------------------------

/// Writes when the list was shown, for the one that has started this process.
int showStart() {
  Window window(false);
  const bool shown = window.waitForList();
  std::printf("%lld\n", static_cast<long long>(Clock::now().time_since_epoch().count()));
  std::fflush(stdout);
  return shown ? 0 : 1;
}

int showPlainStart() {
  PlainRows model(200);
  const auto window = makePlainWindow(model);
  Paints paints(*window->findChild<QTreeView*>()->viewport());
  window->show();
  waitFor([&] { return paints.count > 0; });
  std::printf("%lld\n", static_cast<long long>(Clock::now().time_since_epoch().count()));
  std::fflush(stdout);
  return 0;
}

void showWholeArchive(Window& window) {
  ResultTable& table = window.controller().resultTable();
  table.currentSql = selectListColumns("id") + "email ORDER BY date_fld DESC";
  Times times;
  Times alone;
  for (int i = 0; i < 3; ++i) {
    const int before = window.paints->count;
    const auto start = Clock::now();
    table.retrieve();
    waitFor([&] { return window.paints->count > before && window.rows() > 0; });
    times.push_back(since(start));
    const auto asked = Clock::now();
    ServerSession& session = window.controller().session();
    if (session.query(table.currentSql)) static_cast<void>(session.storeResult());
    alone.push_back(since(asked));
  }
  print(fmt::format("a search that finds {} messages", window.rows()), times, "");
  print("  the server alone", alone, "");
}

int showScrolling() {
  {
    Window window;
    showWholeArchive(window);
    print(fmt::format("a frame while scrolling {} rows", window.rows()),
          scroll(window.list(), *window.paints), "50");
    printMemory(fmt::format("the window with a list of {}", window.rows()), "250 MB");
    PlainRows model(window.rows());
    const auto plain = makePlainWindow(model);
    auto& list = *plain->findChild<QTreeView*>();
    Paints paints(*list.viewport());
    plain->show();
    waitFor([&] { return paints.count > 0; });
    print("  the toolkit's list of the same text", scroll(list, paints), "");
  }
  return 0;
}

int showMillion(int rows) {
  Window window;
  ResultTable& table = window.controller().resultTable();
  std::vector<Emailrow> emails(static_cast<std::size_t>(rows));
  for (std::size_t i = 0; i < emails.size(); ++i) {
    emails[i] = {static_cast<std::uint32_t>(i + 1),
                 static_cast<std::int32_t>(i % 3),
                 fmt::format("20{:02}-01-14 09:30:{:02}", i % 22, i % 60),
                 fmt::format("Bo Number {} <bo{}@club.example>", i * 7919 % 5000, i % 5000),
                 "Ann <ann@club.example>",
                 fmt::format("Minutes {} of the meeting", i * 104729 % emails.size()),
                 "Inbox"};
  }
  printMemory("the window with that many rows, not yet shown", "");
  table.emailRows = std::move(emails);
  Times resets;
  const auto show = [&] {
    const int before = window.paints->count;
    const auto start = Clock::now();
    window.controller().userInterface().changed("storeTableView");
    waitFor([&] { return window.paints->count > before; });
    resets.push_back(since(start));
  };
  for (int i = 0; i < 5; ++i) show();
  print(fmt::format("showing a list of {}", rows), resets, "300");
  printMemory(fmt::format("the window with a list of {}", rows), "");
  print("  a frame while scrolling it", scroll(window.list(), *window.paints), "50");
  Times sorts;
  for (const char* column : {"emailSubject", "emailSubject", "emailDate", "emailFrom"}) {
    const int before = window.paints->count;
    const auto start = Clock::now();
    table.didClickTableColumn(column);
    waitFor([&] { return window.paints->count > before; });
    sorts.push_back(since(start));
  }
  print("  sorting it by a column", sorts, "");
  Times selections;
  const auto select = [&](const std::function<void()>& act) {
    const auto start = Clock::now();
    act();
    QCoreApplication::processEvents();
    selections.push_back(since(start));
  };
  select([&] { window.list().selectAll(); });
  select([&] { window.list().clearSelection(); });
  print("  selecting all of it, and nothing", selections, "");
  PlainRows model(rows);
  const auto plain = makePlainWindow(model);
  Paints paints(*plain->findChild<QTreeView*>()->viewport());
  const auto start = Clock::now();
  plain->show();
  waitFor([&] { return paints.count > 0; });
  print("  the toolkit's list of the same text", {since(start)}, "");
  return 0;
}

/// The source of the message alone, as the window asks for it.
double fetchAlone(Window& window, std::uint32_t id) {
  const auto start = Clock::now();
  ServerSession& session = window.controller().session();
  if (session.query(fmt::format("SELECT orig_fld FROM origemail WHERE id={}", id))) {
    static_cast<void>(session.storeResult());
  }
  return since(start);
}

#ifdef KELDANE_BENCH_WEB
/// Until the page has been loaded; what the engine draws then is drawn by a process of its own.
class Loads : public QObject {
 public:
  void watch(QWebEnginePage& page) {
    connect(&page, &QWebEnginePage::loadFinished, this, [this] { ++count; });
  }
  int count = 0;
};

double loadAlone(QWebEngineView& view, Loads& loads, const std::string& html) {
  const int before = loads.count;
  const auto start = Clock::now();
  view.setHtml(qtText(html));
  waitFor([&] { return loads.count > before; });
  return since(start);
}
#endif

int showReading() {
  Window window;
  showWholeArchive(window);
  auto& text = window.control<QPlainTextEdit>("bodyTextView");
  Paints painted(*text.viewport());
  const MessageViews& views = window.controller().messageViewer().views;
  Times texts;
  Times fetches;
  Times pages;
  Times first;
  Times engine;
  double worst = 0;
  std::uint32_t worstId = 0;
#ifdef KELDANE_BENCH_WEB
  Loads loads;
  Loads loadsAlone;
  std::unique_ptr<QWebEngineView> alone;
  bool watched = false;
#endif
  const int rows = window.rows();
  for (std::size_t i = 0; i < kOpened; ++i) {
    const int row = static_cast<int>(i * static_cast<std::size_t>(rows) / kOpened);
    const int before = painted.count;
#ifdef KELDANE_BENCH_WEB
    const int loaded = loads.count;
#endif
    window.list().scrollTo(window.list().model()->index(row, 0));
    waitFor([] { return false; }, 30);
    const auto start = Clock::now();
    window.list().setCurrentIndex(window.list().model()->index(row, 0));
    if (!views.htmlShowing) {
      waitFor([&] { return painted.count > before; }, 1000);
      const double took = since(start);
      texts.push_back(took);
      const std::uint32_t id = window.controller().messageViewer().attachOwnerId;
      if (took > worst) {
        worst = took;
        worstId = id;
      }
      fetches.push_back(fetchAlone(window, id));
      continue;
    }
#ifdef KELDANE_BENCH_WEB
    auto* view = window.program().mainWindow().findChild<QWebEngineView*>("myHtmlWebView");
    if (view == nullptr) continue;  // the text stands in for it
    if (!std::exchange(watched, true)) loads.watch(*view->page());
    waitFor([&] { return loads.count > loaded; });
    (first.empty() ? first : pages).push_back(since(start));
    if (!alone) {
      alone = std::make_unique<QWebEngineView>();
      alone->resize(view->size());
      alone->show();
      loadsAlone.watch(*alone->page());
      loadAlone(*alone, loadsAlone, "<p>first</p>");
    }
    engine.push_back(loadAlone(*alone, loadsAlone, views.htmlText));
#endif
  }
  print("opening a text message", texts, fmt::format("30; worst: message {}", worstId));
  print("  its source alone, from the server", fetches, "");
  print("the first HTML message", first, "");
  print("opening an HTML message", pages, "150");
  print("  the engine's own view, given the same page", engine, "");
  printMemory("the window behind these", "");
#ifdef KELDANE_BENCH_WEB
  alone.reset();
#endif
  return 0;
}

/// Words that the messages of the list have in their subjects.
std::vector<std::string> wordsToFind(Window& window) {
  constexpr std::size_t kWords = 12;
  constexpr std::size_t kLeastLetters = 5;
  std::vector<std::string> found;
  const std::vector<Emailrow>& rows = window.controller().resultTable().emailRows;
  for (std::size_t i = 0; found.size() < kWords && i < rows.size(); i += rows.size() / 40 + 1) {
    for (const std::string& word : split(rows[i].emailSubject, " ")) {
      const bool plain = std::all_of(word.begin(), word.end(), [](unsigned char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
      });
      if (!plain || word.size() < kLeastLetters) continue;
      if (std::find(found.begin(), found.end(), word) == found.end()) found.push_back(word);
      break;
    }
  }
  return found;
}

/// The index and the rows of what it answers, without a window.
class IndexAlone {
 public:
  explicit IndexAlone(Window& window) : controller_(window.controller()) {
    const Result<std::string> identity = archiveIdentity(controller_.session());
    if (!identity) return;
    index_ = std::make_unique<WordIndex>(
        indexFolder(supportFolder(controller_.process()), *identity), *identity);
    if (index_->openToRead() != WordIndex::State::reading) return;
    search_ = std::make_unique<WordSearch>(controller_.session(), *index_);
  }
  double find(const std::string& text) {
    const auto start = Clock::now();
    auto query = readWordQuery(text.size() > 1 ? text + "*" : text, "2026-01-01");
    if (search_ && std::holds_alternative<QueryNode>(query)) {
      static_cast<void>(
          search_->find(std::get<QueryNode>(query), HitOrder::newestFirst, kShown + 1));
    }
    return since(start);
  }

 private:
  static constexpr std::size_t kShown = 200;
  KeldaneController& controller_;
  std::unique_ptr<WordIndex> index_;
  std::unique_ptr<WordSearch> search_;
};

int showFinding() {
  Window window;
  showWholeArchive(window);
  auto& field = window.control<QLineEdit>("findField");
  const auto press = [&](int key, const QString& text) {
    const auto start = Clock::now();
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(&field, &down);
    // All that the key has set going, and the pictures of it.
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
    }
    return since(start);
  };
  field.setFocus();
  // An index that was never made is made here.
  press(Qt::Key_A, "a");
  press(Qt::Key_Escape, {});
  Times begins;
  Times keys;
  Times ends;
  Times alone;
  std::string slowest;
  double worst = 0;
  for (const std::string& word : wordsToFind(window)) {
    field.setFocus();
    std::string typed;
    for (const char letter : word) {
      typed += letter;
      const double took = press(letter, QString(QLatin1Char(letter)));
      (typed.size() == 1 ? begins : keys).push_back(took);
      if (typed.size() > 1 && took > worst) {
        worst = took;
        slowest = typed;
      }
    }
    ends.push_back(press(Qt::Key_Escape, {}));
    IndexAlone index(window);
    for (std::size_t length = 1; length <= word.size(); ++length) {
      const double took = index.find(word.substr(0, length));
      if (length > 1) alone.push_back(took);
    }
  }
  print("a keystroke in Find", keys, "30; worst: \"" + slowest + "\"");
  print("  the index and the server alone", alone, "");
  print("the first keystroke of a search", begins, "30");
  print("Esc, the former list", ends, "");
  printMemory("the window behind these", "250 MB");
  return 0;
}

int runPart(const std::string& part, int rows) {
  if (part == "start") return showStart();
  if (part == "plain-start") return showPlainStart();
  if (part == "scrolling") return showScrolling();
  if (part == "million") return showMillion(rows);
  if (part == "reading") return showReading();
  if (part == "finding") return showFinding();
  return 2;
}

// ---- the one that starts them ---------------------------------------------------------------

/// Runs a part; what it prints is shown, or answered.
std::string startPart(const std::string& self, const char* part, const std::string& rows,
                      bool shows) {
  std::fflush(stdout);
  const std::string command = fmt::format("'{}' --part {} {} ", self, part, rows);
  std::FILE* output = ::popen(command.c_str(), "r");
  std::string text;
  char line[4096];
  while (output != nullptr && std::fgets(line, sizeof line, output) != nullptr) {
    if (shows) std::fputs(line, stdout);
    text += line;
  }
  const int status = output == nullptr ? -1 : ::pclose(output);
  if (status != 0) {
    std::fprintf(stderr, "window_run: %s ended with status %d\n", part, status);
    std::exit(1);
  }
  return text;
}

Times starts(const std::string& self, const char* part) {
  Times times;
  for (int i = 0; i <= kStarts; ++i) {
    const auto start = Clock::now().time_since_epoch().count();
    const auto shown = std::strtoll(startPart(self, part, "0", false).c_str(), nullptr, 10);
    const Clock::duration took(shown - start);
    // The first one warms.
    if (i > 0) times.push_back(std::chrono::duration<double, std::milli>(took).count());
  }
  return times;
}

int runAll(const std::string& self, const std::string& rows) {
  std::printf("%-46s %9s %9s %9s %6s  %s\n", "milliseconds", "median", "95 %", "worst", "times",
              "bound");
  print("from the start to the list", starts(self, "start"), "500");
  print("  the toolkit's window and list alone", starts(self, "plain-start"), "");
  for (const char* part : {"reading", "scrolling", "finding", "million"}) {
    startPart(self, part, rows, true);
  }
  return 0;
}

}  // namespace
}  // namespace keldane::bench

int main(int argc, char** argv) {
  using namespace keldane;
  if (argc < 2) {
    std::fprintf(stderr, "usage: window_run HOME [ROWS]\n");
    return 2;
  }
  if (std::string_view(argv[1]) != "--part") {
    ::setenv("HOME", argv[1], 1);
    if (::getenv("QT_QPA_PLATFORM") == nullptr) ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (::geteuid() == 0) ::setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 1);
    ::setenv("QTWEBENGINE_CHROMIUM_FLAGS", "--disable-gpu", 0);
    ::setenv("QT_LOGGING_RULES", "*=false", 0);
    return bench::runAll(QFileInfo("/proc/self/exe").symLinkTarget().toStdString(),
                         argc > 2 ? argv[2] : "1000000");
  }
  prepareHtmlViews();
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  loadTranslations();
  return bench::runPart(argc > 2 ? argv[2] : "", argc > 3 ? std::atoi(argv[3]) : 0);
}
