#include "desktop/web_guard.h"

#include <QBuffer>
#include <QWebEngineUrlRequestInfo>
#include <QWebEngineUrlRequestJob>

namespace keldane {
namespace {

bool isElsewhere(const QString& scheme) { return scheme == "http" || scheme == "https"; }

/// A type that a browser takes for a picture and for nothing else; SVG may hold more, but runs
/// nothing as the picture of a page.
bool isPicture(const QByteArray& type) { return type.startsWith("image/"); }

}  // namespace

void WebGuard::begin(bool remotePictures) {
  remotePictures_ = remotePictures;
  heldBack_.clear();
}

void WebGuard::interceptRequest(QWebEngineUrlRequestInfo& request) {
  using Type = QWebEngineUrlRequestInfo::ResourceType;
  const QString scheme = request.requestUrl().scheme();
  const Type type = request.resourceType();
  if (scheme == kMailScheme && type == Type::ResourceTypeMainFrame) return;
  if (scheme == kPictureScheme && type == Type::ResourceTypeImage) return;
  if (isElsewhere(scheme) && type == Type::ResourceTypeImage) {
    if (remotePictures_) return;
    const auto before = heldBack_.size();
    // A page may name more of them than anybody wants counted.
    constexpr qsizetype kMostCounted = 10000;
    if (before < kMostCounted) heldBack_.insert(request.requestUrl());
    if (heldBack_.size() != before && changed) changed();
  }
  request.block(true);
}

void MailScheme::requestStarted(QWebEngineUrlRequestJob* job) {
  const QUrl asked = job->requestUrl();
  QByteArray type;
  QByteArray bytes;
  if (asked.scheme() == kMailScheme && asked == address) {
    type = "text/html";
    bytes = page;
  } else if (asked.scheme() == kPictureScheme && findPicture) {
    const auto picture = findPicture(QUrl::fromPercentEncoding(asked.path().toUtf8()));
    if (picture && isPicture(picture->type)) {
      type = picture->type;
      bytes = picture->bytes;
    }
  }
  if (type.isEmpty()) {
    job->fail(QWebEngineUrlRequestJob::UrlNotFound);
    return;
  }
  auto* buffer = new QBuffer(job);
  buffer->setData(bytes);
  job->reply(type, buffer);
}

}  // namespace keldane
