#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QLabel>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QWebEnginePage>
#include <QWebEngineView>

#include "base/text.h"
#include "tests/desktop/window_rig.h"

namespace keldane {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Everything by which a page may reach out, to HOST, each under a path of its own.
constexpr const char* kHostile = R"html(<html><head>
<meta http-equiv="refresh" content="0;url=http://HOST/refresh">
<base href="http://HOST/base/">
<link rel="stylesheet" href="http://HOST/link.css"><link rel="preconnect" href="http://HOST/">
<link rel="prefetch" href="http://HOST/prefetch"><link rel="icon" href="http://HOST/icon">
<link rel="dns-prefetch" href="//HOST">
<style>@import url(http://HOST/import.css); @font-face{font-family:x;src:url(http://HOST/font)}
body{font-family:x;background:url(http://HOST/background.png)}</style>
<script src="http://HOST/script.js"></script>
<script>document.write('SCRIPT RAN');fetch('http://HOST/fetch');new Image().src='http://HOST/image-by-script';
window.open('http://HOST/open');location='http://HOST/location'</script></head>
<body onload="document.body.innerHTML='SCRIPT RAN';location='http://HOST/onload'">
<p>First words</p>
<img src="http://HOST/pixel.png"><img srcset="http://HOST/set.png 2x"><img src=relative.png>
<img src="x" onerror="document.body.innerHTML='SCRIPT RAN'">
<img src="data:image/svg+xml,<svg xmlns='http://www.w3.org/2000/svg' onload='alert(1)'><image href='http://HOST/svg.png'/></svg>">
<svg onload="document.body.innerHTML='SCRIPT RAN'"><image href="http://HOST/svg-image.png"/>
<use href="http://HOST/use.svg#x"/><script>document.write('SCRIPT RAN')</script></svg>
<iframe src="http://HOST/frame"></iframe><iframe srcdoc="<img src='http://HOST/srcdoc.png'>"></iframe>
<iframe src="file:///etc/passwd"></iframe><img src="file:///etc/passwd">
<object data="http://HOST/object"></object><embed src="http://HOST/embed">
<video src="http://HOST/video" poster="http://HOST/poster.png" autoplay></video>
<audio src="http://HOST/audio" autoplay></audio><track src="http://HOST/track">
<form action="http://HOST/form" method="post"><input name="a" autofocus><input type="image" src="http://HOST/button.png">
<button>send</button></form><a href="http://HOST/ping" ping="http://HOST/pinged">link</a>
<table background="http://HOST/table.png"><tr><td>cell</td></tr></table>
<math><mi xlink:href="javascript:alert(1)">m</mi></math><applet code="http://HOST/applet"></applet>
<p>Last words</p></body></html>)html";

std::string messageOf(std::string html) {
  return "From: eve@example.org\nTo: bo@club.example\nSubject: page\n"
         "Date: Sat, 15 Jan 2022 09:30:00 +0000\nMIME-Version: 1.0\n"
         "Content-Type: text/html; charset=utf-8\n\n" +
         html;
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

/// Waits until the page shows these words and answers its text; empty when it says instead why it
/// is not shown.
std::string textOfPage(WindowRig& rig, const std::string& words) {
  auto& page = *rig.control<QWebEngineView>("myHtmlWebView").page();
  std::string text;
  bool asked = false;
  EXPECT_TRUE(WindowRig::waitFor([&] {
    if (!asked) {
      asked = true;
      page.toPlainText([&](const QString& plain) {
        text = plain.toStdString();
        asked = false;
      });
    }
    return text.find(words) != std::string::npos || rig.control<QLabel>("htmlProblem").isVisible();
  })) << text.substr(0, 200);
  EXPECT_TRUE(WindowRig::waitFor([&] { return !asked; }));
  return text;
}

TEST(HtmlOfAMessage, ReachesNothingAndNobody) {
  WindowRig rig;
  Listener listener;
  std::string html = kHostile;
  replaceAll(html, "HOST", listener.host());
  rig.folder.write("mail/1.eml", messageOf(html));
  rig.start();
  rig.archive(rig.folder / "mail");
  rig.selectRow(0);

  const std::string text = textOfPage(rig, "Last words");
  EXPECT_THAT(text, HasSubstr("First words"));
  EXPECT_THAT(text, Not(HasSubstr("SCRIPT RAN")));
  EXPECT_THAT(text, Not(HasSubstr("root:")));
  auto& bar = rig.control<QWidget>("remotePicturesBar");
  ASSERT_TRUE(WindowRig::waitFor([&] { return bar.isVisible(); }));
  const QString url = rig.control<QWebEngineView>("myHtmlWebView").page()->url().scheme();
  EXPECT_EQ(url, "keldane-mail");
  EXPECT_EQ(listener.connections, 0);

  // The listener would have seen them: with leave of the user the pictures come, and only now.
  rig.click("loadRemotePicturesButton");
  EXPECT_TRUE(WindowRig::waitFor([&] { return listener.connections > 0; }));
  EXPECT_THAT(textOfPage(rig, "Last words"), Not(HasSubstr("SCRIPT RAN")));
}

TEST(HtmlOfAMessage, OfFiftyMegabytesOrDeeplyNestedIsShown) {
  WindowRig rig;
  std::string large = "<html><body><p>First words</p>";
  const std::string paragraph = "<p>" + std::string(5000, 'x') + "</p>\n";
  while (large.size() < 50'000'000) large += paragraph;
  std::string deep = "<html><body>";
  for (int i = 0; i < 20'000; ++i) deep += "<div><table><tr><td>\n";
  rig.folder.write("mail/1.eml", messageOf(large + "</body></html>"));
  rig.folder.write("mail/2.eml", messageOf(deep + "Last words</body></html>"));
  rig.start();
  rig.archive(rig.folder / "mail");
  for (const int row : {0, 1}) {
    rig.selectRow(row);
    (void)textOfPage(rig, "words");
  }
}

}  // namespace
}  // namespace keldane
