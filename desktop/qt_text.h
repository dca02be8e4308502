#pragma once

#include <string>
#include <string_view>

#include <QFile>
#include <QString>

#include "base/shown_text.h"

namespace keldane {

inline QString qtText(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string plainText(const QString& text) {
  const QByteArray utf8 = text.toUtf8();
  return {utf8.constData(), static_cast<std::size_t>(utf8.size())};
}

/// A path as the system has it, in bytes, and as Qt has it.
inline QString userPath(std::string_view path) {
  return QFile::decodeName(QByteArray(path.data(), static_cast<qsizetype>(path.size())));
}
inline std::string systemPath(const QString& path) { return QFile::encodeName(path).toStdString(); }

/// A text out of a message for a label, a cell or a menu: in one line, with what could steer the
/// view as marks.
inline QString messageLine(std::string_view text) { return qtText(shownLine(text)); }

}  // namespace keldane
