#include "desktop/translation.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QTranslator>
#include <vector>

#include "desktop/core_sentences.h"
#include "desktop/qt_text.h"

namespace keldane {
namespace {

constexpr const char* kContext = "Core";

/// As it is installed, and as it is built.
QStringList folders() {
  const QString program = QCoreApplication::applicationDirPath();
  return {program + "/../share/keldanepro/translations", program + "/translations",
          program + "/../../desktop/translations"};
}

void install(const QLocale& locale, const QString& name, const QStringList& places) {
  auto* translator = new QTranslator(QCoreApplication::instance());
  for (const QString& place : places) {
    if (!translator->load(locale, name, "_", place)) continue;
    QCoreApplication::installTranslator(translator);
    return;
  }
  delete translator;
}

/// A sentence of the core with places for what it puts in.
struct Sentence {
  QRegularExpression form;
  const char* source;
};

std::vector<Sentence> makeSentences() {
  static const QRegularExpression place("%[1-9]");
  std::vector<Sentence> all;
  for (const char* source : kCoreSentences) {
    const QString text = QString::fromUtf8(source);
    if (!text.contains(place)) continue;
    QString form;
    for (const QString& piece : text.split(place)) {
      if (!form.isEmpty() || text.startsWith('%')) form += "(.*)";
      form += QRegularExpression::escape(piece);
    }
    if (text.startsWith('%')) form.remove(0, 4);
    all.push_back({QRegularExpression(QRegularExpression::anchoredPattern(form),
                                      QRegularExpression::DotMatchesEverythingOption),
                   source});
  }
  return all;
}

}  // namespace

void loadTranslations() {
  // English has its plurals from a translation, too, and what another lacks stays English.
  install(QLocale(QLocale::English), "keldane", folders());
  const QLocale system = QLocale::system();
  if (system.language() == QLocale::English) return;
  install(system, "qtbase", {QLibraryInfo::path(QLibraryInfo::TranslationsPath)});
  install(system, "keldane", folders());
}

QString coreWords(std::string_view text) {
  const QByteArray source(text.data(), static_cast<qsizetype>(text.size()));
  const QString words = QCoreApplication::translate(kContext, source.constData());
  const QString plain = qtText(text);
  if (words != plain) return words;
  static const std::vector<Sentence> sentences = makeSentences();
  for (const Sentence& sentence : sentences) {
    const QRegularExpressionMatch match = sentence.form.match(plain);
    if (!match.hasMatch()) continue;
    QString translated = QCoreApplication::translate(kContext, sentence.source);
    // All at once: what is put in may itself hold a "%1".
    const QStringList put = match.capturedTexts();
    switch (put.size()) {
      case 2:
        return translated.arg(put[1]);
      case 3:
        return translated.arg(put[1], put[2]);
      default:
        return translated.arg(put[1], put[2], put[3]);
    }
  }
  return plain;
}

}  // namespace keldane
