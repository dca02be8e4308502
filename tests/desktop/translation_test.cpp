#include "desktop/translation.h"

#include <QCoreApplication>
#include <QTranslator>

#include <gtest/gtest.h>

namespace keldane {
namespace {

TEST(Translation, PutsWhatTheCoreSaysIntoTheSentencesOfTheLanguage) {
  QTranslator german;
  ASSERT_TRUE(german.load(KELDANE_GERMAN));
  QCoreApplication::installTranslator(&german);
  const struct {
    const char* what;
    const char* said;
    const char* shown;
  } rows[] = {
      {"a fixed text", "Can't open file", "Datei lässt sich nicht öffnen"},
      {"a path", "Couldn't open /a/%1 %2.txt", "/a/%1 %2.txt lässt sich nicht öffnen"},
      {"two values", "The Keldane SQL file, a.sql, has been imported into the mail database.",
       "Die SQL-Datei a.sql von Keldane wurde in die Datenbank mail importiert."},
      {"lines of a server", "SQL error: one\ntwo", "SQL-Fehler: one\ntwo"},
      {"three values", "3 of 5 attachments have been saved. Disk full",
       "3 von 5 Anhängen wurden gesichert. Disk full"},
      {"an unknown text", "/home/ann: Permission denied", "/home/ann: Permission denied"}};
  for (const auto& row : rows) {
    EXPECT_EQ(coreWords(row.said).toStdString(), row.shown) << row.what;
  }
  EXPECT_EQ(QCoreApplication::translate("MessagePane", "%n remote images not loaded.", "", 1),
            "1 Bild aus dem Netz nicht geladen.");
  QCoreApplication::removeTranslator(&german);
  EXPECT_EQ(coreWords("Couldn't open x"), "Couldn't open x");
}

}  // namespace
}  // namespace keldane
