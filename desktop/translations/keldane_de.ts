<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>AddressesDialog</name>
    <message>
        <source>Export Email Addresses</source>
        <translation>E-Mail-Adressen exportieren</translation>
    </message>
    <message>
        <source>Which addresses of the list are to be exported?</source>
        <translation>Welche Adressen der Liste sollen exportiert werden?</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Export...</source>
        <translation>Exportieren …</translation>
    </message>
</context>
<context>
    <name>Alert</name>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Yes</source>
        <translation>Ja</translation>
    </message>
    <message>
        <source>No</source>
        <translation>Nein</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Öffnen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Launch</source>
        <translation>Öffnen</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Continue</source>
        <translation>Weiter</translation>
    </message>
    <message>
        <source>View Log File</source>
        <translation>Protokoll zeigen</translation>
    </message>
    <message>
        <source>Archive</source>
        <translation>Archivieren</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Importieren</translation>
    </message>
    <message>
        <source>Backup</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>Neu starten</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
</context>
<context>
    <name>AttachTypeSheet</name>
    <message>
        <source>Attachment Types</source>
        <translation>Arten von Anhängen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Graphic Types</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Document Types</source>
        <translation>Dokumente</translation>
    </message>
    <message>
        <source>Sound Types</source>
        <translation>Ton</translation>
    </message>
    <message>
        <source>Video Types</source>
        <translation>Video</translation>
    </message>
    <message>
        <source>Compressed Types</source>
        <translation>Gepackte Dateien</translation>
    </message>
</context>
<context>
    <name>AttachmentTable</name>
    <message>
        <source>Open</source>
        <translation>Öffnen</translation>
    </message>
    <message>
        <source>Save...</source>
        <translation>Sichern …</translation>
    </message>
    <message>
        <source>Save All...</source>
        <translation>Alle sichern …</translation>
    </message>
    <message>
        <source>Attachments</source>
        <translation>Anhänge</translation>
    </message>
    <message>
        <source>Attachment</source>
        <translation>Anhang</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
</context>
<context>
    <name>Categories</name>
    <message>
        <source>Known categories</source>
        <translation>Bekannte Kategorien</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Keine</translation>
    </message>
</context>
<context>
    <name>Commands</name>
    <message>
        <source>Archive Email...</source>
        <translation>E-Mails archivieren …</translation>
    </message>
    <message>
        <source>Archive</source>
        <translation>Archivieren</translation>
    </message>
    <message>
        <source>Import MBOX Files...</source>
        <translation>MBOX-Dateien importieren …</translation>
    </message>
    <message>
        <source>Archive My Mail...</source>
        <translation>Meine E-Mails archivieren …</translation>
    </message>
    <message>
        <source>Connect to Server...</source>
        <translation>Mit Server verbinden …</translation>
    </message>
    <message>
        <source>Show Database Schema</source>
        <translation>Aufbau der Datenbank zeigen</translation>
    </message>
    <message>
        <source>Delete Database...</source>
        <translation>Datenbank löschen …</translation>
    </message>
    <message>
        <source>View Archive Log</source>
        <translation>Protokoll der Archivierung zeigen</translation>
    </message>
    <message>
        <source>View Duplicates Log</source>
        <translation>Protokoll der Duplikate zeigen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alles auswählen</translation>
    </message>
    <message>
        <source>Settings...</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Save a Copy of the Settings</source>
        <translation>Kopie der Einstellungen sichern</translation>
    </message>
    <message>
        <source>Replace Settings with a Saved Copy...</source>
        <translation>Einstellungen durch eine gesicherte Kopie ersetzen …</translation>
    </message>
    <message>
        <source>Debug Log</source>
        <translation>Ausführliches Protokoll</translation>
    </message>
    <message>
        <source>Find</source>
        <translation>Finden</translation>
    </message>
    <message>
        <source>Search Database...</source>
        <translation>In der Datenbank suchen …</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Suchen</translation>
    </message>
    <message>
        <source>Search in List...</source>
        <translation>In der Liste suchen …</translation>
    </message>
    <message>
        <source>Edit SQL...</source>
        <translation>SQL bearbeiten …</translation>
    </message>
    <message>
        <source>Saved Searches...</source>
        <translation>Gesicherte Suchen …</translation>
    </message>
    <message>
        <source>Browse Database</source>
        <translation>Datenbank durchblättern</translation>
    </message>
    <message>
        <source>Browse</source>
        <translation>Blättern</translation>
    </message>
    <message>
        <source>Browse by Size</source>
        <translation>Nach Größe durchblättern</translation>
    </message>
    <message>
        <source>Newest Emails</source>
        <translation>Neueste E-Mails</translation>
    </message>
    <message>
        <source>Larger Text</source>
        <translation>Text größer</translation>
    </message>
    <message>
        <source>Smaller Text</source>
        <translation>Text kleiner</translation>
    </message>
    <message>
        <source>Usual Size</source>
        <translation>Normale Größe</translation>
    </message>
    <message>
        <source>Next</source>
        <translation>Nächste</translation>
    </message>
    <message>
        <source>Previous</source>
        <translation>Vorige</translation>
    </message>
    <message>
        <source>View Raw Source</source>
        <translation>Quelltext zeigen</translation>
    </message>
    <message>
        <source>Close Window</source>
        <translation>Fenster schließen</translation>
    </message>
    <message>
        <source>Minimize</source>
        <translation>Minimieren</translation>
    </message>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>About Keldane Pro</source>
        <translation>Über Keldane Pro</translation>
    </message>
    <message>
        <source>Keeps your e-mail, for good, in a database that you own.</source>
        <translation>Bewahrt Ihre E-Mails auf Dauer in einer Datenbank auf, die Ihnen gehört.</translation>
    </message>
    <message>
        <source>Getting Started</source>
        <translation>Erste Schritte</translation>
    </message>
    <message>
        <source>Open in a Window</source>
        <translation>In eigenem Fenster öffnen</translation>
    </message>
    <message>
        <source>Check for Updates...</source>
        <translation>Nach Aktualisierungen suchen ...</translation>
    </message>
    <message>
        <source>Copyright %1 2026 the makers of Keldane Pro</source>
        <translation>Copyright %1 2026 die Macher von Keldane Pro</translation>
    </message>
</context>
<context>
    <name>ConnectDialog</name>
    <message>
        <source>Connect to Server</source>
        <translation>Mit Server verbinden</translation>
    </message>
    <message>
        <source>Saved connections</source>
        <translation>Gesicherte Verbindungen</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is the private server of this program, which needs no login. Any other name stands for a MySQL or MariaDB server of yours.</source>
        <translation>„%1“ ist der private Server dieses Programms, der keine Anmeldung braucht. Jeder andere Name steht für einen eigenen MySQL- oder MariaDB-Server.</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Host:</source>
        <translation>Rechner:</translation>
    </message>
    <message>
        <source>Of a cluster several, in the order of their use: a, b:3307, [::1]:3308</source>
        <translation>Von einem Verbund mehrere, in der Reihenfolge ihrer Nutzung: a, b:3307, [::1]:3308</translation>
    </message>
    <message>
        <source>User:</source>
        <translation>Benutzer:</translation>
    </message>
    <message>
        <source>Password:</source>
        <translation>Passwort:</translation>
    </message>
    <message>
        <source>Database:</source>
        <translation>Datenbank:</translation>
    </message>
    <message>
        <source>Socket:</source>
        <translation>Socket:</translation>
    </message>
    <message>
        <source>Port:</source>
        <translation>Port:</translation>
    </message>
    <message>
        <source>the usual one</source>
        <translation>der übliche</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Verbinden</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>Core</name>
    <message>
        <source>This search will retrieve email sorted by size in descending order.  It may take awhile.  You may want to set a search result limit in the General Settings.</source>
        <translation>Diese Suche ordnet die E-Mails nach Größe, die größten zuerst. Das kann eine Weile dauern. In den allgemeinen Einstellungen lässt sich die Zahl der gefundenen E-Mails begrenzen.</translation>
    </message>
    <message>
        <source>The settings have been replaced by the saved settings file %1. Keldane Pro will now quit and must be relaunched to activate the new settings.</source>
        <translation>Die Einstellungen wurden durch die gesicherte Datei %1 ersetzt. Keldane Pro wird nun beendet und muss neu gestartet werden, damit sie gelten.</translation>
    </message>
    <message>
        <source>Keldane Pro executes the mysqldump utility to create the SQL backup. While mysqldump is running, Keldane Pro will be unresponsive.</source>
        <translation>Keldane Pro legt die Sicherung mit dem Programm mysqldump an. Solange mysqldump läuft, reagiert Keldane Pro nicht.</translation>
    </message>
    <message>
        <source>You have not selected any email accounts to archive in the database.  Click on the Settings button to select your mailboxes.</source>
        <translation>Sie haben keine Konten ausgewählt, die in der Datenbank archiviert werden sollen. Wählen Sie sie in den Einstellungen aus.</translation>
    </message>
    <message>
        <source>You have not selected any mailboxes to archive in the database.  Click on the Settings button to select your mailboxes.</source>
        <translation>Sie haben keine Postfächer ausgewählt, die in der Datenbank archiviert werden sollen. Wählen Sie sie in den Einstellungen aus.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; may be a program or a script. What it does when it is opened is up to whoever sent it.</source>
        <translation>„%1“ kann ein Programm oder ein Skript sein. Was es beim Öffnen tut, bestimmt, wer es geschickt hat.</translation>
    </message>
    <message>
        <source>The attachments have been deleted from the database for the selected email in the list.</source>
        <translation>Die Anhänge der ausgewählten E-Mails wurden aus der Datenbank gelöscht.</translation>
    </message>
    <message>
        <source>Do you want to, as much as possible, strip out any quoted messages in reply emails?</source>
        <translation>Sollen zitierte Nachrichten in Antworten, soweit möglich, entfernt werden?</translation>
    </message>
    <message>
        <source>This will export all of the email in the list to a comma-delimited text file.</source>
        <translation>Exportiert alle E-Mails der Liste in eine durch Kommas getrennte Textdatei.</translation>
    </message>
    <message>
        <source>This will export all of the email in the list to a tab-delimited text file.</source>
        <translation>Exportiert alle E-Mails der Liste in eine durch Tabulatoren getrennte Textdatei.</translation>
    </message>
    <message>
        <source>This will export all of the email in the list to an mbox format text file.</source>
        <translation>Exportiert alle E-Mails der Liste in eine Textdatei im Mbox-Format.</translation>
    </message>
    <message>
        <source>Another program is writing the word index; %1 messages are still missing.</source>
        <translation>Ein anderes Programm schreibt am Wortverzeichnis; %1 Nachrichten fehlen noch.</translation>
    </message>
    <message>
        <source>This will export all of the email in the list to an SQL format text file.</source>
        <translation>Exportiert alle E-Mails der Liste in eine Textdatei im SQL-Format.</translation>
    </message>
    <message>
        <source>This will export all of the email addresses in the list to a text file.</source>
        <translation>Exportiert alle E-Mail-Adressen der Liste in eine Textdatei.</translation>
    </message>
    <message>
        <source>It leads to something other than a web page or an e-mail address:

%1</source>
        <translation>Er führt zu etwas anderem als einer Webseite oder einer E-Mail-Adresse:

%1</translation>
    </message>
    <message>
        <source>This email exceeds the MySQL maximum allowed size and will be skipped.</source>
        <translation>Diese E-Mail ist länger, als MySQL erlaubt, und wird übersprungen.</translation>
    </message>
    <message>
        <source>Do you want to delete all of the email in this list from the database?</source>
        <translation>Möchten Sie alle E-Mails dieser Liste aus der Datenbank löschen?</translation>
    </message>
    <message>
        <source>The email addresses have been exported to the email list text file %1.</source>
        <translation>Die E-Mail-Adressen wurden in die Textdatei %1 exportiert.</translation>
    </message>
    <message>
        <source>The raw source email in the list has been saved to the text file %1.</source>
        <translation>Die Quelltexte der Liste wurden in die Textdatei %1 gesichert.</translation>
    </message>
    <message>
        <source>The Browse button has been reset to list all emails in the database.</source>
        <translation>Beim Blättern werden nun wieder alle E-Mails der Datenbank gezeigt.</translation>
    </message>
    <message>
        <source>The run has not been started, because its ledger cannot be kept. %1</source>
        <translation>Der Lauf wurde nicht begonnen, weil sein Verzeichnis nicht geführt werden kann. %1</translation>
    </message>
    <message>
        <source>The %1 Saved Search is now the default action of the Browse button.</source>
        <translation>Die gesicherte Suche %1 wird nun beim Blättern verwendet.</translation>
    </message>
    <message>
        <source>The Keldane SQL file, %1, has been imported into the %2 database.</source>
        <translation>Die SQL-Datei %1 von Keldane wurde in die Datenbank %2 importiert.</translation>
    </message>
    <message>
        <source>The data has been exported to the comma-delimited text file %1.</source>
        <translation>Die Daten wurden in die durch Kommas getrennte Textdatei %1 exportiert.</translation>
    </message>
    <message>
        <source>There is no original raw source for this email in the database.</source>
        <translation>Zu dieser E-Mail gibt es in der Datenbank keinen Quelltext.</translation>
    </message>
    <message>
        <source>The data has been exported to the tab-delimited text file %1.</source>
        <translation>Die Daten wurden in die durch Tabulatoren getrennte Textdatei %1 exportiert.</translation>
    </message>
    <message>
        <source>Do you want to delete the selected email from the database?</source>
        <translation>Möchten Sie die ausgewählten E-Mails aus der Datenbank löschen?</translation>
    </message>
    <message>
        <source>Either FROM or TO email addresses, or both, must be chosen.</source>
        <translation>Wählen Sie die Adressen der Absender, der Empfänger oder beide.</translation>
    </message>
    <message>
        <source>There is no archive to look in: connect to a server first.</source>
        <translation>Es gibt kein Archiv, in dem gesucht werden kann: Verbinden Sie sich zuerst mit einem Server.</translation>
    </message>
    <message>
        <source>The email in this list has been saved to the text file %1.</source>
        <translation>Die E-Mails dieser Liste wurden in die Textdatei %1 gesichert.</translation>
    </message>
    <message>
        <source>The email in the list has been saved to the text file %1.</source>
        <translation>Die E-Mails der Liste wurden in die Textdatei %1 gesichert.</translation>
    </message>
    <message>
        <source>%1 duplicate emails have been deleted from the database.</source>
        <translation>%1 doppelte E-Mails wurden aus der Datenbank gelöscht.</translation>
    </message>
    <message>
        <source>%1 messages were read; the rest is not found yet.</source>
        <translation>%1 Nachrichten wurden gelesen; der Rest wird noch nicht gefunden.</translation>
    </message>
    <message>
        <source>The data has been exported to the mbox file %1.</source>
        <translation>Die Daten wurden in die Mbox-Datei %1 exportiert.</translation>
    </message>
    <message>
        <source>Do you want to launch it or save it to a file?</source>
        <translation>Möchten Sie ihn öffnen oder in einer Datei sichern?</translation>
    </message>
    <message>
        <source>The Keldane archive schedule has been removed.</source>
        <translation>Der Zeitplan der Archivierung wurde entfernt.</translation>
    </message>
    <message>
        <source>The data has been exported to the SQL file %1.</source>
        <translation>Die Daten wurden in die SQL-Datei %1 exportiert.</translation>
    </message>
    <message>
        <source>What do you want to do with this attachment?</source>
        <translation>Was soll mit diesem Anhang geschehen?</translation>
    </message>
    <message>
        <source>A copy of the Settings have been saved at %1</source>
        <translation>Eine Kopie der Einstellungen wurde gesichert: %1</translation>
    </message>
    <message>
        <source>%1 of %2 attachments have been saved. %3</source>
        <translation>%1 von %2 Anhängen wurden gesichert. %3</translation>
    </message>
    <message>
        <source>Generating Database Statistics Report...</source>
        <translation>Statistik der Datenbank wird erstellt …</translation>
    </message>
    <message>
        <source>The email has been saved to the PDF %1.</source>
        <translation>Die E-Mails wurden in das PDF %1 gesichert.</translation>
    </message>
    <message>
        <source>Reading messages for the word index...</source>
        <translation>Nachrichten werden für das Wortverzeichnis gelesen …</translation>
    </message>
    <message>
        <source>A Keldane archive has been scheduled.</source>
        <translation>Die Archivierung wurde geplant.</translation>
    </message>
    <message>
        <source>Unable to find Postbox prefs.js file.</source>
        <translation>Die Datei prefs.js von Postbox wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>Finding date of last email stored...</source>
        <translation>Datum der letzten gesicherten E-Mail wird gesucht …</translation>
    </message>
    <message>
        <source>The email in the list has been saved</source>
        <translation>Die E-Mails der Liste wurden gesichert</translation>
    </message>
    <message>
        <source>The settings could not be copied: %1</source>
        <translation>Die Einstellungen ließen sich nicht kopieren: %1</translation>
    </message>
    <message>
        <source>Unable to find Postbox data folders.</source>
        <translation>Die Datenordner von Postbox wurden nicht gefunden.</translation>
    </message>
    <message>
        <source>No mail was found on this computer.</source>
        <translation>Auf diesem Rechner wurden keine E-Mails gefunden.</translation>
    </message>
    <message>
        <source>The attachment is no longer there.</source>
        <translation>Der Anhang ist nicht mehr da.</translation>
    </message>
    <message>
        <source>Save Exported Comma-Delimited File</source>
        <translation>Durch Kommas getrennte Datei exportieren</translation>
    </message>
    <message>
        <source>Unable to launch this attachment.</source>
        <translation>Dieser Anhang lässt sich nicht öffnen.</translation>
    </message>
    <message>
        <source>The %1 database has been deleted.</source>
        <translation>Die Datenbank %1 wurde gelöscht.</translation>
    </message>
    <message>
        <source>Save Exported Tab-Delimited File</source>
        <translation>Durch Tabulatoren getrennte Datei exportieren</translation>
    </message>
    <message>
        <source>Save Exported Email Address List</source>
        <translation>Liste der E-Mail-Adressen exportieren</translation>
    </message>
    <message>
        <source>The attachments have been saved.</source>
        <translation>Die Anhänge wurden gesichert.</translation>
    </message>
    <message>
        <source>Keldane Pro will be unresponsive</source>
        <translation>Keldane Pro reagiert eine Weile nicht</translation>
    </message>
    <message>
        <source>The rules could not be saved: %1</source>
        <translation>Die Regeln ließen sich nicht sichern: %1</translation>
    </message>
    <message>
        <source>Delete this email from database</source>
        <translation>Diese E-Mail aus der Datenbank löschen</translation>
    </message>
    <message>
        <source>This list has been saved to %1.</source>
        <translation>Diese Liste wurde in %1 gesichert.</translation>
    </message>
    <message>
        <source>Raw source email has been saved</source>
        <translation>Quelltexte wurden gesichert</translation>
    </message>
    <message>
        <source>%1 attachments have been saved</source>
        <translation>%1 Anhänge wurden gesichert</translation>
    </message>
    <message>
        <source>The attachment has been saved</source>
        <translation>Der Anhang wurde gesichert</translation>
    </message>
    <message>
        <source>Unable to save attachment: %1</source>
        <translation>Der Anhang lässt sich nicht sichern: %1</translation>
    </message>
    <message>
        <source>Populating mailboxes dropdown</source>
        <translation>Liste der Postfächer wird gefüllt</translation>
    </message>
    <message>
        <source>Getting lists of key words...</source>
        <translation>Schlagwörter werden geholt …</translation>
    </message>
    <message>
        <source>The Settings have been saved.</source>
        <translation>Die Einstellungen wurden gesichert.</translation>
    </message>
    <message>
        <source>Choose an import email folder</source>
        <translation>Importordner auswählen</translation>
    </message>
    <message>
        <source>Getting list of mailboxes...</source>
        <translation>Postfächer werden geholt …</translation>
    </message>
    <message>
        <source>Populating keywords dropdown</source>
        <translation>Liste der Schlagwörter wird gefüllt</translation>
    </message>
    <message>
        <source>The newest %1 emails found.</source>
        <translation>Die neuesten %1 gefundenen E-Mails.</translation>
    </message>
    <message>
        <source>The 200 most recent emails.</source>
        <translation>Die 200 neuesten E-Mails.</translation>
    </message>
    <message>
        <source>%1 emails have been tagged.</source>
        <translation>%1 E-Mails wurden gekennzeichnet.</translation>
    </message>
    <message>
        <source>Looking for email files...</source>
        <translation>E-Mail-Dateien werden gesucht …</translation>
    </message>
    <message>
        <source>%1 emails in the database.</source>
        <translation>%1 E-Mails in der Datenbank.</translation>
    </message>
    <message>
        <source>Checking for duplicates...</source>
        <translation>Duplikate werden gesucht …</translation>
    </message>
    <message>
        <source>checking for duplicates...</source>
        <translation>Duplikate werden gesucht …</translation>
    </message>
    <message>
        <source>Try saving it instead. %1</source>
        <translation>Sichern Sie ihn stattdessen. %1</translation>
    </message>
    <message>
        <source>Unable to save attachment</source>
        <translation>Der Anhang lässt sich nicht sichern</translation>
    </message>
    <message>
        <source>Deleting from database...</source>
        <translation>Wird aus der Datenbank gelöscht …</translation>
    </message>
    <message>
        <source>Retrieving attachment...</source>
        <translation>Anhang wird geholt …</translation>
    </message>
    <message>
        <source>Delete Email in Database</source>
        <translation>E-Mails in der Datenbank löschen</translation>
    </message>
    <message>
        <source>Done Exporting Addresses</source>
        <translation>Adressen exportiert</translation>
    </message>
    <message>
        <source>Looking for mailboxes...</source>
        <translation>Postfächer werden gesucht …</translation>
    </message>
    <message>
        <source>1 email has been tagged.</source>
        <translation>1 E-Mail wurde gekennzeichnet.</translation>
    </message>
    <message>
        <source>%1 emails in this list.</source>
        <translation>%1 E-Mails in dieser Liste.</translation>
    </message>
    <message>
        <source>Deleting attachments...</source>
        <translation>Anhänge werden gelöscht …</translation>
    </message>
    <message>
        <source>Duplicates were deleted</source>
        <translation>Duplikate wurden gelöscht</translation>
    </message>
    <message>
        <source>Save Exported Mbox File</source>
        <translation>Mbox-Datei exportieren</translation>
    </message>
    <message>
        <source>This link is not opened</source>
        <translation>Dieser Verweis wird nicht geöffnet</translation>
    </message>
    <message>
        <source>Can&apos;t open mail program</source>
        <translation>Mailprogramm lässt sich nicht öffnen</translation>
    </message>
    <message>
        <source>Import Keldane SQL File</source>
        <translation>SQL-Datei von Keldane importieren</translation>
    </message>
    <message>
        <source>Try saving it instead.</source>
        <translation>Sichern Sie ihn stattdessen.</translation>
    </message>
    <message>
        <source>Choose folders of mail</source>
        <translation>Ordner mit E-Mails auswählen</translation>
    </message>
    <message>
        <source>Copy of Settings Saved</source>
        <translation>Kopie der Einstellungen gesichert</translation>
    </message>
    <message>
        <source>No mailboxes selected</source>
        <translation>Keine Postfächer ausgewählt</translation>
    </message>
    <message>
        <source>Saving Attachments...</source>
        <translation>Anhänge werden gesichert …</translation>
    </message>
    <message>
        <source>Open this attachment?</source>
        <translation>Diesen Anhang öffnen?</translation>
    </message>
    <message>
        <source>Delete this database.</source>
        <translation>Diese Datenbank löschen.</translation>
    </message>
    <message>
        <source>Strip Quoted Messages</source>
        <translation>Zitierte Nachrichten entfernen</translation>
    </message>
    <message>
        <source>No accounts selected</source>
        <translation>Keine Konten ausgewählt</translation>
    </message>
    <message>
        <source>Done Archiving Email</source>
        <translation>E-Mails archiviert</translation>
    </message>
    <message>
        <source>Save All Attachments</source>
        <translation>Alle Anhänge sichern</translation>
    </message>
    <message>
        <source>Done Exporting Email</source>
        <translation>E-Mails exportiert</translation>
    </message>
    <message>
        <source>Email has been saved</source>
        <translation>E-Mail wurde gesichert</translation>
    </message>
    <message>
        <source>Add tags to email...</source>
        <translation>E-Mails werden gekennzeichnet …</translation>
    </message>
    <message>
        <source>Unable to remove %1</source>
        <translation>%1 lässt sich nicht entfernen</translation>
    </message>
    <message>
        <source>Looking for mail...</source>
        <translation>E-Mails werden gesucht …</translation>
    </message>
    <message>
        <source>Original Raw Source</source>
        <translation>Quelltext im Original</translation>
    </message>
    <message>
        <source>Search Results List</source>
        <translation>In der Liste suchen</translation>
    </message>
    <message>
        <source>List has been saved</source>
        <translation>Liste wurde gesichert</translation>
    </message>
    <message>
        <source>Browse Button Reset</source>
        <translation>Blättern zurückgesetzt</translation>
    </message>
    <message>
        <source>Open Saved Settings</source>
        <translation>Gesicherte Einstellungen öffnen</translation>
    </message>
    <message>
        <source>It leads to:

%1</source>
        <translation>Er führt zu:

%1</translation>
    </message>
    <message>
        <source>PDF has been saved</source>
        <translation>PDF wurde gesichert</translation>
    </message>
    <message>
        <source>Search email in %1</source>
        <translation>E-Mails suchen in %1</translation>
    </message>
    <message>
        <source>Can&apos;t find folders</source>
        <translation>Ordner nicht gefunden</translation>
    </message>
    <message>
        <source>Enter SQL Filename</source>
        <translation>Name der SQL-Datei</translation>
    </message>
    <message>
        <source>Done tagging email</source>
        <translation>E-Mails gekennzeichnet</translation>
    </message>
    <message>
        <source>Max Size Exceeded</source>
        <translation>Größte Länge überschritten</translation>
    </message>
    <message>
        <source>Attachments Saved</source>
        <translation>Anhänge gesichert</translation>
    </message>
    <message>
        <source>Archive Scheduled</source>
        <translation>Archivierung geplant</translation>
    </message>
    <message>
        <source>Import MBOX Files</source>
        <translation>MBOX-Dateien importieren</translation>
    </message>
    <message>
        <source>Full Disk Access</source>
        <translation>Zugriff auf die Festplatte</translation>
    </message>
    <message>
        <source>Couldn&apos;t open %1</source>
        <translation>%1 lässt sich nicht öffnen</translation>
    </message>
    <message>
        <source>Save Attachments</source>
        <translation>Anhänge sichern</translation>
    </message>
    <message>
        <source>Database Deleted</source>
        <translation>Datenbank gelöscht</translation>
    </message>
    <message>
        <source>Can&apos;t write file</source>
        <translation>Datei lässt sich nicht schreiben</translation>
    </message>
    <message>
        <source>%1 emails found.</source>
        <translation>%1 E-Mails gefunden.</translation>
    </message>
    <message>
        <source>Schedule Removed</source>
        <translation>Zeitplan entfernt</translation>
    </message>
    <message>
        <source>Replace Settings</source>
        <translation>Einstellungen ersetzen</translation>
    </message>
    <message>
        <source>Importing SQL...</source>
        <translation>SQL wird importiert …</translation>
    </message>
    <message>
        <source>Exporting SQL...</source>
        <translation>SQL wird exportiert …</translation>
    </message>
    <message>
        <source>Getting Started</source>
        <translation>Erste Schritte</translation>
    </message>
    <message>
        <source>Save Attachment</source>
        <translation>Anhang sichern</translation>
    </message>
    <message>
        <source>Database Schema</source>
        <translation>Aufbau der Datenbank</translation>
    </message>
    <message>
        <source>Delete Database</source>
        <translation>Datenbank löschen</translation>
    </message>
    <message>
        <source>Open this link?</source>
        <translation>Diesen Verweis öffnen?</translation>
    </message>
    <message>
        <source>Can&apos;t open file</source>
        <translation>Datei lässt sich nicht öffnen</translation>
    </message>
    <message>
        <source>Can&apos;t find file</source>
        <translation>Datei nicht gefunden</translation>
    </message>
    <message>
        <source>Import SQL File</source>
        <translation>SQL-Datei importieren</translation>
    </message>
    <message>
        <source>Duplicates Log</source>
        <translation>Protokoll der Duplikate</translation>
    </message>
    <message>
        <source>Done Exporting</source>
        <translation>Fertig exportiert</translation>
    </message>
    <message>
        <source>Done exporting</source>
        <translation>Fertig exportiert</translation>
    </message>
    <message>
        <source>Choose address</source>
        <translation>Adressen auswählen</translation>
    </message>
    <message>
        <source>Saved Searches</source>
        <translation>Gesicherte Suchen</translation>
    </message>
    <message>
        <source>Browse Default</source>
        <translation>Blättern</translation>
    </message>
    <message>
        <source>Settings Saved</source>
        <translation>Einstellungen gesichert</translation>
    </message>
    <message>
        <source>Done Importing</source>
        <translation>Fertig importiert</translation>
    </message>
    <message>
        <source>SQL error: %1</source>
        <translation>SQL-Fehler: %1</translation>
    </message>
    <message>
        <source>No Raw Source</source>
        <translation>Kein Quelltext</translation>
    </message>
    <message>
        <source>No raw source</source>
        <translation>Kein Quelltext</translation>
    </message>
    <message>
        <source>Retrieving...</source>
        <translation>Wird geholt …</translation>
    </message>
    <message>
        <source>Export Failed</source>
        <translation>Export fehlgeschlagen</translation>
    </message>
    <message>
        <source>Import Failed</source>
        <translation>Import fehlgeschlagen</translation>
    </message>
    <message>
        <source>Can&apos;t Remove</source>
        <translation>Lässt sich nicht entfernen</translation>
    </message>
    <message>
        <source>Exporting...</source>
        <translation>Wird exportiert …</translation>
    </message>
    <message>
        <source>Sort by size</source>
        <translation>Nach Größe ordnen</translation>
    </message>
    <message>
        <source>Archive Log</source>
        <translation>Protokoll der Archivierung</translation>
    </message>
    <message>
        <source>Save as PDF</source>
        <translation>Als PDF sichern</translation>
    </message>
    <message>
        <source>Can&apos;t Open</source>
        <translation>Lässt sich nicht öffnen</translation>
    </message>
    <message>
        <source>Can&apos;t save</source>
        <translation>Lässt sich nicht sichern</translation>
    </message>
    <message>
        <source>No archive</source>
        <translation>Kein Archiv</translation>
    </message>
    <message>
        <source>SQL Error</source>
        <translation>SQL-Fehler</translation>
    </message>
    <message>
        <source>No ledger</source>
        <translation>Kein Verzeichnis des Laufs</translation>
    </message>
    <message>
        <source>Saving...</source>
        <translation>Wird gesichert …</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Schedule</source>
        <translation>Zeitplan</translation>
    </message>
    <message>
        <source>Folders</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Choose</source>
        <translation>Auswählen</translation>
    </message>
    <message>
        <source>Import</source>
        <translation>Importieren</translation>
    </message>
    <message>
        <source>Saved</source>
        <translation>Gesichert</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Öffnen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Add</source>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>done retrieving email from %1</source>
        <translation>E-Mails aus %1 geholt</translation>
    </message>
    <message>
        <source>done storing email in %1</source>
        <translation>E-Mails in %1 gesichert</translation>
    </message>
    <message>
        <source>retrieving email from database...</source>
        <translation>E-Mails werden aus der Datenbank geholt …</translation>
    </message>
    <message>
        <source>Duplicate emails found in %1</source>
        <translation>Doppelte E-Mails in %1</translation>
    </message>
    <message>
        <source>Keldane was unable to open the Mail application in order to retrieve the email account names to be listed in the Accounts tab of the Settings.</source>
        <translation>Keldane konnte das Programm Mail nicht öffnen, um die Namen der Konten für den Reiter „Konten“ der Einstellungen zu erfahren.</translation>
    </message>
    <message>
        <source>Searching will still work, but updating the list of accounts or mailboxes will not be possible.</source>
        <translation>Gesucht werden kann weiterhin, doch die Liste der Konten oder Postfächer lässt sich nicht erneuern.</translation>
    </message>
    <message>
        <source>Make sure you have granted Full Disk Access to Keldane Pro in the Security and Privacy system preferences panel.</source>
        <translation>Gewähren Sie Keldane Pro in den Systemeinstellungen unter „Sicherheit und Datenschutz“ den Festplattenvollzugriff.</translation>
    </message>
    <message>
        <source>The disk is too full for a new archive: %1 MB are free where &quot;%2&quot; is, and %3 MB are needed to begin with. Make room, or connect to a server of your own.</source>
        <translation>Für ein neues Archiv ist zu wenig Platz: Wo „%2“ liegt, sind %1 MB frei, und %3 MB sind für den Anfang nötig. Schaffen Sie Platz, oder verbinden Sie sich mit einem eigenen Server.</translation>
    </message>
    <message>
        <source>The archive of this computer was made by a MySQL server, which is not installed. Install the package &quot;mysql-server&quot; (Homebrew: &quot;mysql&quot;).</source>
        <translation>Das Archiv dieses Computers stammt von einem MySQL-Server, der nicht installiert ist. Installieren Sie das Paket „mysql-server“ (Homebrew: „mysql“).</translation>
    </message>
    <message>
        <source>No database server is installed. Install the package &quot;mariadb-server&quot; (Homebrew: &quot;mariadb&quot;), or connect to a server of your own.</source>
        <translation>Es ist kein Datenbankserver installiert. Installieren Sie das Paket „mariadb-server“ (Homebrew: „mariadb“), oder verbinden Sie sich mit einem eigenen Server.</translation>
    </message>
    <message>
        <source>The private server does not answer after %1 seconds. The end of its log:
%2</source>
        <translation>Der eigene Server dieses Programms antwortet nach %1 Sekunden nicht. Das Ende seines Protokolls:
%2</translation>
    </message>
    <message>
        <source>The private server did not start. The end of its log:
%1</source>
        <translation>Der eigene Server dieses Programms ist nicht gestartet. Das Ende seines Protokolls:
%1</translation>
    </message>
    <message>
        <source>The settings file %1 is damaged, and the settings of a first start are used. The damaged file will be kept as %2.</source>
        <translation>Die Datei %1 mit den Einstellungen ist beschädigt; es gelten die eines ersten Starts. Die beschädigte Datei bleibt als %2 erhalten.</translation>
    </message>
    <message>
        <source>It cannot be told whether there is a newer version than %1. The package sources of this system do not offer Keldane Pro.</source>
        <translation>Ob es eine neuere Version als %1 gibt, lässt sich nicht sagen. Die Paketquellen dieses Systems bieten Keldane Pro nicht an.</translation>
    </message>
    <message>
        <source>It cannot be told whether there is a newer version than %1. %2</source>
        <translation>Ob es eine neuere Version als %1 gibt, lässt sich nicht sagen. %2</translation>
    </message>
    <message>
        <source>Keldane Pro %1 can be installed with the updates of this system.</source>
        <translation>Keldane Pro %1 lässt sich mit den Aktualisierungen dieses Systems installieren.</translation>
    </message>
    <message>
        <source>another program is saving the settings of this archive; they are as they were</source>
        <translation>Ein anderes Programm sichert gerade die Einstellungen dieses Archivs; sie sind unverändert</translation>
    </message>
    <message>
        <source>Keldane Pro %1 is the newest version.</source>
        <translation>Keldane Pro %1 ist die neueste Version.</translation>
    </message>
    <message>
        <source>Check for Updates</source>
        <translation>Nach Aktualisierungen suchen</translation>
    </message>
    <message>
        <source>The saved connections are not kept: the settings file %1 cannot be written.</source>
        <translation>Die gesicherten Verbindungen werden nicht behalten: Die Datei %1 mit den Einstellungen lässt sich nicht schreiben.</translation>
    </message>
    <message>
        <source>The connection is busy with another statement.</source>
        <translation>Die Verbindung führt gerade eine andere Anweisung aus.</translation>
    </message>
    <message>
        <source>The archive run is using the connection.</source>
        <translation>Die Archivierung benutzt gerade die Verbindung.</translation>
    </message>
    <message>
        <source>Going on with the unfinished run of %1.</source>
        <translation>Der unvollendete Lauf vom %1 wird fortgesetzt.</translation>
    </message>
    <message>
        <source>Could not load saved plist: %1</source>
        <translation>Die gesicherte Kopie konnte nicht geladen werden: %1</translation>
    </message>
    <message>
        <source>The settings could not be replaced: %1</source>
        <translation>Die Einstellungen konnten nicht ersetzt werden: %1</translation>
    </message>
    <message>
        <source>The settings could not be saved: %1</source>
        <translation>Die Einstellungen konnten nicht gesichert werden: %1</translation>
    </message>
    <message>
        <source>The schedule could not be saved: %1</source>
        <translation>Der Zeitplan konnte nicht gesichert werden: %1</translation>
    </message>
    <message>
        <source>The schedule could not be removed: %1</source>
        <translation>Der Zeitplan konnte nicht entfernt werden: %1</translation>
    </message>
    <message>
        <source>The settings cannot be read: %1</source>
        <translation>Die Einstellungen können nicht gelesen werden: %1</translation>
    </message>
    <message>
        <source>This email is no longer in the archive.</source>
        <translation>Diese E-Mail ist nicht mehr im Archiv.</translation>
    </message>
    <message>
        <source>This email cannot be shown: %1</source>
        <translation>Diese E-Mail kann nicht gezeigt werden: %1</translation>
    </message>
    <message>
        <source>This is not a Keldane SQL file.</source>
        <translation>Das ist keine SQL-Datei von Keldane.</translation>
    </message>
    <message>
        <source>Import failed.  Couldn&apos;t find the mysql utility.  %1
</source>
        <translation>Der Import ist fehlgeschlagen.  Das Werkzeug mysql wurde nicht gefunden.  %1
</translation>
    </message>
    <message>
        <source>Export failed.  Couldn&apos;t find the mysqldump utility.  %1
</source>
        <translation>Der Export ist fehlgeschlagen.  Das Werkzeug mysqldump wurde nicht gefunden.  %1
</translation>
    </message>
    <message>
        <source>no mail program could be opened: %1</source>
        <translation>Es ließ sich kein E-Mail-Programm öffnen: %1</translation>
    </message>
    <message>
        <source>the query is too long</source>
        <translation>Die Suche ist zu lang</translation>
    </message>
    <message>
        <source>there is no &quot;(&quot; for this &quot;)&quot;</source>
        <translation>Zu dieser „)“ fehlt eine „(“</translation>
    </message>
    <message>
        <source>there is no word to look for</source>
        <translation>Es fehlt ein Wort, nach dem gesucht wird</translation>
    </message>
    <message>
        <source>there are too many brackets within each other</source>
        <translation>Zu viele Klammern stehen ineinander</translation>
    </message>
    <message>
        <source>a word is missing beside OR</source>
        <translation>Neben OR fehlt ein Wort</translation>
    </message>
    <message>
        <source>a word is missing beside AND</source>
        <translation>Neben AND fehlt ein Wort</translation>
    </message>
    <message>
        <source>a word is missing behind NOT</source>
        <translation>Hinter NOT fehlt ein Wort</translation>
    </message>
    <message>
        <source>there is no field &quot;%1&quot;: known are %2; put a text with a colon into quotes</source>
        <translation>Ein Feld „%1“ gibt es nicht; bekannt sind %2. Setzen Sie einen Text mit Doppelpunkt in Anführungszeichen</translation>
    </message>
    <message>
        <source>a word is missing behind &quot;%1:&quot;</source>
        <translation>Hinter „%1:“ fehlt ein Wort</translation>
    </message>
    <message>
        <source>this &quot;(&quot; is not closed</source>
        <translation>Diese „(“ ist nicht geschlossen</translation>
    </message>
    <message>
        <source>this quote is not closed</source>
        <translation>Diese Anführungszeichen sind nicht geschlossen</translation>
    </message>
    <message>
        <source>at least two letters or two digits must stand before &quot;*&quot;</source>
        <translation>Vor „*“ müssen mindestens zwei Buchstaben oder Ziffern stehen</translation>
    </message>
    <message>
        <source>there are too many words</source>
        <translation>Es sind zu viele Wörter</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is no size: write 300, 20K, 1.5M or 2G</source>
        <translation>„%1“ ist keine Größe: schreiben Sie 300, 20K, 1.5M oder 2G</translation>
    </message>
    <message>
        <source>Failed to connect to server: Error: %1</source>
        <translation>Keine Verbindung zum Server. Fehler: %1</translation>
    </message>
    <message>
        <source>SQL Error: %1</source>
        <translation>SQL-Fehler: %1</translation>
    </message>
    <message>
        <source>General</source>
        <translation>Allgemein</translation>
    </message>
    <message>
        <source>Accounts</source>
        <translation>Konten</translation>
    </message>
    <message>
        <source>Viewing</source>
        <translation>Anzeige</translation>
    </message>
    <message>
        <source>Tag Rules</source>
        <translation>Kennzeichnungsregeln</translation>
    </message>
    <message>
        <source>Filename:</source>
        <translation>Dateiname:</translation>
    </message>
    <message>
        <source>Backup</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Connecting was cancelled.</source>
        <translation>Das Verbinden wurde abgebrochen.</translation>
    </message>
    <message>
        <source>Starting the private server was cancelled.</source>
        <translation>Das Starten des privaten Servers wurde abgebrochen.</translation>
    </message>
    <message>
        <source>size: %1</source>
        <translation>Größe: %1</translation>
    </message>
    <message>
        <source>MH folders</source>
        <translation>MH-Ordner</translation>
    </message>
    <message>
        <source>mbox files</source>
        <translation>mbox-Dateien</translation>
    </message>
    <message>
        <source>system mailbox</source>
        <translation>Postfach des Systems</translation>
    </message>
    <message>
        <source>exported mail</source>
        <translation>exportierte E-Mails</translation>
    </message>
    <message>
        <source>Outlook file</source>
        <translation>Outlook-Datei</translation>
    </message>
    <message>
        <source>Not all has been archived</source>
        <translation>Es ist nicht alles archiviert</translation>
    </message>
    <message>
        <source>The server went away during the run: %1
What was stored before is safe. Archive once more: that run goes on where this one was cut off.</source>
        <translation>Der Server ist während des Laufs verschwunden: %1
Was bis dahin gesichert wurde, ist sicher. Archivieren Sie noch einmal: Jener Lauf macht dort weiter, wo dieser abbrach.</translation>
    </message>
    <message>
        <source>The run has been stopped: %1
What was stored before is safe. Archive once more: that run goes on where this one was cut off.</source>
        <translation>Der Lauf wurde angehalten: %1
Was bis dahin gesichert wurde, ist sicher. Archivieren Sie noch einmal: Jener Lauf macht dort weiter, wo dieser abbrach.</translation>
    </message>
</context>
<context>
    <name>DateMenus</name>
    <message>
        <source>All months</source>
        <translation>Alle Monate</translation>
    </message>
    <message>
        <source>All days</source>
        <translation>Alle Tage</translation>
    </message>
    <message>
        <source>All years</source>
        <translation>Alle Jahre</translation>
    </message>
    <message>
        <source>month</source>
        <translation>Monat</translation>
    </message>
    <message>
        <source>day</source>
        <translation>Tag</translation>
    </message>
    <message>
        <source>year</source>
        <translation>Jahr</translation>
    </message>
</context>
<context>
    <name>DuplicatesDialog</name>
    <message>
        <source>Find Duplicates</source>
        <translation>Duplikate suchen</translation>
    </message>
    <message>
        <source>Emails are duplicates when sender, receivers, subject, date and time are the same. The first of them is always kept.</source>
        <translation>E-Mails sind Duplikate, wenn Absender, Empfänger, Betreff, Datum und Uhrzeit gleich sind. Die erste davon bleibt immer erhalten.</translation>
    </message>
    <message>
        <source>What is done with duplicates</source>
        <translation>Was mit Duplikaten geschieht</translation>
    </message>
    <message>
        <source>Delete the copies from the database</source>
        <translation>Die Kopien aus der Datenbank löschen</translation>
    </message>
    <message>
        <source>Only list them</source>
        <translation>Nur auflisten</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Start</source>
        <translation>Starten</translation>
    </message>
</context>
<context>
    <name>FileChooser</name>
    <message>
        <source>What do you want to open?</source>
        <translation>Was möchten Sie öffnen?</translation>
    </message>
    <message>
        <source>A Folder...</source>
        <translation>Einen Ordner …</translation>
    </message>
    <message>
        <source>Files...</source>
        <translation>Dateien …</translation>
    </message>
</context>
<context>
    <name>FirstPage</name>
    <message>
        <source>Archive my mail...</source>
        <translation>Meine E-Mails archivieren …</translation>
    </message>
    <message>
        <source>Open a folder or file...</source>
        <translation>Ordner oder Datei öffnen …</translation>
    </message>
    <message>
        <source>Connect to a server...</source>
        <translation>Mit einem Server verbinden …</translation>
    </message>
    <message>
        <source>Your archive is empty</source>
        <translation>Ihr Archiv ist leer</translation>
    </message>
    <message>
        <source>Choose mail that lies on this machine. It is read, never changed, and kept in an archive of your own.</source>
        <translation>Wählen Sie E-Mails aus, die auf diesem Rechner liegen. Sie werden nur gelesen, nie verändert, und in einem eigenen Archiv aufbewahrt.</translation>
    </message>
    <message>
        <source>No archive is open</source>
        <translation>Kein Archiv geöffnet</translation>
    </message>
    <message>
        <source>Connect to the server that holds your archive.</source>
        <translation>Verbinden Sie sich mit dem Server, auf dem Ihr Archiv liegt.</translation>
    </message>
</context>
<context>
    <name>FoldersView</name>
    <message>
        <source>Folders and files of mail that every run archives too, such as those of Thunderbird:</source>
        <translation>Ordner und Dateien mit E-Mails, die jeder Lauf mit archiviert, etwa die von Thunderbird:</translation>
    </message>
    <message>
        <source>Folders</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Folder</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Place</source>
        <translation>Ort</translation>
    </message>
    <message>
        <source>Add...</source>
        <translation>Hinzufügen …</translation>
    </message>
    <message>
        <source>Find...</source>
        <translation>Suchen …</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Their mail stays where it is, and in the archive</source>
        <translation>Ihre E-Mails bleiben, wo sie sind, und im Archiv</translation>
    </message>
    <message>
        <source>%1 (not there now)</source>
        <translation>%1 (zurzeit nicht da)</translation>
    </message>
</context>
<context>
    <name>FoundFoldersDialog</name>
    <message>
        <source>Mail on This Computer</source>
        <translation>E-Mails auf diesem Rechner</translation>
    </message>
    <message>
        <source>Add</source>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>Every run archives the folders that you add. They are read, never changed.</source>
        <translation>Jeder Lauf archiviert die Ordner, die Sie hinzufügen. Sie werden gelesen, nie verändert.</translation>
    </message>
    <message>
        <source>Mail on this machine</source>
        <translation>E-Mails auf diesem Rechner</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Among the folders already</source>
        <translation>Schon unter den Ordnern</translation>
    </message>
</context>
<context>
    <name>FoundMailDialog</name>
    <message>
        <source>Archive My Mail</source>
        <translation>Meine E-Mails archivieren</translation>
    </message>
    <message>
        <source>Archive</source>
        <translation>Archivieren</translation>
    </message>
    <message>
        <source>Mail on this machine</source>
        <translation>E-Mails auf diesem Rechner</translation>
    </message>
    <message>
        <source>Mail</source>
        <translation>E-Mails</translation>
    </message>
    <message>
        <source>Program</source>
        <translation>Programm</translation>
    </message>
    <message>
        <source>Messages</source>
        <translation>Nachrichten</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
    <message>
        <source>Place</source>
        <translation>Ort</translation>
    </message>
    <message>
        <source>Open a Folder or File...</source>
        <translation>Ordner oder Datei öffnen …</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>about %1</source>
        <translation>etwa %1</translation>
    </message>
    <message>
        <source>No mail was found where mail programs keep it. Open a folder or a file that holds mail, or drop it on the window.</source>
        <translation>Dort, wo Mailprogramme sie ablegen, wurden keine E-Mails gefunden. Öffnen Sie einen Ordner oder eine Datei mit E-Mails, oder ziehen Sie sie auf das Fenster.</translation>
    </message>
    <message>
        <source>This mail lies on this machine. It is read, never changed.</source>
        <translation>Diese E-Mails liegen auf diesem Rechner. Sie werden nur gelesen, nie verändert.</translation>
    </message>
</context>
<context>
    <name>GettingStartedWindow</name>
    <message>
        <source>Getting Started</source>
        <translation>Erste Schritte</translation>
    </message>
    <message>
        <source>Show this at start</source>
        <translation>Beim Start zeigen</translation>
    </message>
    <message>
        <source>Open in Another Program</source>
        <translation>In einem anderen Programm öffnen</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>The document is missing: install the program again.</source>
        <translation>Das Dokument fehlt: Installieren Sie das Programm neu.</translation>
    </message>
</context>
<context>
    <name>HtmlView</name>
    <message>
        <source>This program was built without a web engine. Only the text of the page is shown.</source>
        <translation>Dieses Programm wurde ohne Web-Engine gebaut. Gezeigt wird nur der Text der Seite.</translation>
    </message>
</context>
<context>
    <name>IdDialog</name>
    <message>
        <source>Export SQL</source>
        <translation>SQL exportieren</translation>
    </message>
    <message>
        <source>The file makes a database of its own, whose emails are numbered from the first ID on. An archive that is to be added to another begins behind the last ID of that.</source>
        <translation>Die Datei legt eine eigene Datenbank an, deren E-Mails ab der ersten ID gezählt werden. Ein Archiv, das zu einem anderen hinzukommen soll, beginnt hinter dessen letzter ID.</translation>
    </message>
    <message>
        <source>Database name:</source>
        <translation>Name der Datenbank:</translation>
    </message>
    <message>
        <source>First ID:</source>
        <translation>Erste ID:</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>&amp;Archive</source>
        <translation>&amp;Archiv</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>&amp;Search</source>
        <translation>&amp;Suchen</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>&amp;Message</source>
        <translation>&amp;Nachricht</translation>
    </message>
    <message>
        <source>&amp;Window</source>
        <translation>&amp;Fenster</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>Keldane Pro</source>
        <translation>Keldane Pro</translation>
    </message>
    <message>
        <source>Emails</source>
        <translation>E-Mails</translation>
    </message>
    <message>
        <source>Toolbar</source>
        <translation>Werkzeugleiste</translation>
    </message>
    <message>
        <source>Find</source>
        <translation>Finden</translation>
    </message>
    <message>
        <source>Words of the message or of its attachments; &quot;in quotes&quot;, from:, subject:, date:2003..2005, has:attachment, OR, -not</source>
        <translation>Wörter der Nachricht oder ihrer Anhänge; &quot;in Anführungszeichen&quot;, from:, subject:, date:2003..2005, has:attachment, OR, -nicht</translation>
    </message>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Not connected</source>
        <translation>Nicht verbunden</translation>
    </message>
    <message>
        <source>The connection to the server is lost.</source>
        <translation>Die Verbindung zum Server ist verloren.</translation>
    </message>
    <message>
        <source>Connect Again</source>
        <translation>Neu verbinden</translation>
    </message>
    <message>
        <source>N, J	Next message
P, K	Previous message
Space	Scrolls, then the next message
Enter, double click	The message in a window of its own
Ctrl and wheel	Larger or smaller text
Esc	In Find: the former list; else: closes the window
Enter	In Find: keeps what is found as the list
</source>
        <translation>N, J	Nächste Nachricht
P, K	Vorige Nachricht
Leertaste	Blättert weiter, dann die nächste Nachricht
Eingabe, Doppelklick	Die Nachricht in eigenem Fenster
Strg und Rad	Größere oder kleinere Schrift
Esc	Im Suchfeld: die vorige Liste; sonst: schließt das Fenster
Eingabe	Im Suchfeld: behält das Gefundene als Liste
</translation>
    </message>
    <message>
        <source>Nothing was taken: a run is going on. Drop the files when it is over.</source>
        <translation>Nichts übernommen: Es wird gerade archiviert. Legen Sie die Dateien danach hier ab.</translation>
    </message>
    <message>
        <source>Nothing was taken: there is no connection to an archive.</source>
        <translation>Nichts übernommen: Es besteht keine Verbindung zu einem Archiv.</translation>
    </message>
    <message>
        <source>Nothing was taken: finish what is open, then drop the files again.</source>
        <translation>Nichts übernommen: Schließen Sie erst ab, was offen ist, und legen Sie die Dateien dann erneut ab.</translation>
    </message>
</context>
<context>
    <name>MessageCommands</name>
    <message>
        <source>Tag...</source>
        <translation>Kennzeichnen …</translation>
    </message>
    <message>
        <source>Tag</source>
        <translation>Kennzeichnen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>this email</source>
        <translation>diese E-Mail</translation>
    </message>
    <message>
        <source>all email in list</source>
        <translation>alle E-Mails der Liste</translation>
    </message>
    <message>
        <source>this original email</source>
        <translation>diese E-Mail im Original</translation>
    </message>
    <message>
        <source>all original email in list</source>
        <translation>alle E-Mails der Liste im Original</translation>
    </message>
    <message>
        <source>list</source>
        <translation>die Liste</translation>
    </message>
    <message>
        <source>attachments of this email</source>
        <translation>Anhänge dieser E-Mail</translation>
    </message>
    <message>
        <source>Save as PDF...</source>
        <translation>Als PDF sichern …</translation>
    </message>
    <message>
        <source>Print</source>
        <translation>Drucken</translation>
    </message>
    <message>
        <source>this email...</source>
        <translation>diese E-Mail …</translation>
    </message>
    <message>
        <source>Preview...</source>
        <translation>Vorschau …</translation>
    </message>
    <message>
        <source>all email in list...</source>
        <translation>alle E-Mails der Liste …</translation>
    </message>
    <message>
        <source>Reply</source>
        <translation>Antworten</translation>
    </message>
    <message>
        <source>Forward</source>
        <translation>Weiterleiten</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>this email from list</source>
        <translation>diese E-Mail aus der Liste</translation>
    </message>
    <message>
        <source>this email from database...</source>
        <translation>diese E-Mail aus der Datenbank …</translation>
    </message>
    <message>
        <source>attachments of this email from database...</source>
        <translation>Anhänge dieser E-Mail aus der Datenbank …</translation>
    </message>
    <message>
        <source>all email in list from database...</source>
        <translation>alle E-Mails der Liste aus der Datenbank …</translation>
    </message>
    <message>
        <source>Export List</source>
        <translation>Liste exportieren</translation>
    </message>
    <message>
        <source>Tab-Delimited...</source>
        <translation>Durch Tabulatoren getrennt …</translation>
    </message>
    <message>
        <source>Comma-Delimited...</source>
        <translation>Durch Kommas getrennt …</translation>
    </message>
    <message>
        <source>Mbox...</source>
        <translation>Mbox …</translation>
    </message>
    <message>
        <source>PDF...</source>
        <translation>PDF …</translation>
    </message>
    <message>
        <source>Email Addresses...</source>
        <translation>E-Mail-Adressen …</translation>
    </message>
    <message>
        <source>SQL...</source>
        <translation>SQL …</translation>
    </message>
    <message>
        <source>Import SQL File...</source>
        <translation>SQL-Datei importieren …</translation>
    </message>
    <message>
        <source>Back Up Database...</source>
        <translation>Datenbank sichern …</translation>
    </message>
    <message>
        <source>Find Duplicates...</source>
        <translation>Duplikate suchen …</translation>
    </message>
    <message>
        <source>Tag Rules...</source>
        <translation>Kennzeichnungsregeln …</translation>
    </message>
    <message>
        <source>Statistics...</source>
        <translation>Statistik …</translation>
    </message>
</context>
<context>
    <name>MessagePane</name>
    <message>
        <source>Message</source>
        <translation>Nachricht</translation>
    </message>
    <message>
        <source>Load this once</source>
        <translation>Dieses Mal laden</translation>
    </message>
    <message numerus="yes">
        <source>%n remote images not loaded.</source>
        <translation>
            <numerusform>%n Bild aus dem Netz nicht geladen.</numerusform>
            <numerusform>%n Bilder aus dem Netz nicht geladen.</numerusform>
        </translation>
    </message>
    <message>
        <source>Subject</source>
        <translation>Betreff</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Cc</source>
        <translation>Kopie</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Datum</translation>
    </message>
    <message>
        <source>Tags</source>
        <translation>Kennzeichen</translation>
    </message>
    <message>
        <source>Subject:</source>
        <translation>Betreff:</translation>
    </message>
    <message>
        <source>From:</source>
        <translation>Von:</translation>
    </message>
    <message>
        <source>To:</source>
        <translation>An:</translation>
    </message>
    <message>
        <source>Cc:</source>
        <translation>Kopie:</translation>
    </message>
    <message>
        <source>Date:</source>
        <translation>Datum:</translation>
    </message>
    <message>
        <source>Tags:</source>
        <translation>Kennzeichen:</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>HTML</source>
        <translation>HTML</translation>
    </message>
    <message>
        <source>Source</source>
        <translation>Quelltext</translation>
    </message>
    <message>
        <source>(no subject)</source>
        <translation>(kein Betreff)</translation>
    </message>
</context>
<context>
    <name>MessagePdf</name>
    <message>
        <source>Subject:</source>
        <translation>Betreff:</translation>
    </message>
    <message>
        <source>From:</source>
        <translation>Von:</translation>
    </message>
    <message>
        <source>To:</source>
        <translation>An:</translation>
    </message>
    <message>
        <source>Cc:</source>
        <translation>Kopie:</translation>
    </message>
    <message>
        <source>Date:</source>
        <translation>Datum:</translation>
    </message>
    <message>
        <source>Mailbox:</source>
        <translation>Postfach:</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>Attachments:</source>
        <translation>Anhänge:</translation>
    </message>
</context>
<context>
    <name>MessageWindow</name>
    <message>
        <source>(no subject)</source>
        <translation>(kein Betreff)</translation>
    </message>
</context>
<context>
    <name>Priorities</name>
    <message>
        <source>None</source>
        <translation>Keine</translation>
    </message>
    <message>
        <source>Lowest</source>
        <translation>Sehr niedrig</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>Niedrig</translation>
    </message>
    <message>
        <source>Medium</source>
        <translation>Mittel</translation>
    </message>
    <message>
        <source>High</source>
        <translation>Hoch</translation>
    </message>
    <message>
        <source>Highest</source>
        <translation>Sehr hoch</translation>
    </message>
</context>
<context>
    <name>ProgressWindow</name>
    <message>
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message>
        <source>%1 min</source>
        <translation>%1 min</translation>
    </message>
    <message>
        <source>%1 h</source>
        <translation>%1 h</translation>
    </message>
    <message>
        <source>%1 messages</source>
        <translation>%1 Nachrichten</translation>
    </message>
    <message>
        <source>%1 of %2 files</source>
        <translation>%1 von %2 Dateien</translation>
    </message>
    <message>
        <source>, %1 messages a second</source>
        <translation>, %1 Nachrichten pro Sekunde</translation>
    </message>
    <message>
        <source>, about %1 left</source>
        <translation>, noch etwa %1</translation>
    </message>
    <message>
        <source>Keldane Pro</source>
        <translation>Keldane Pro</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Fortschritt</translation>
    </message>
    <message>
        <source>Stopping after the message at hand...</source>
        <translation>Wird nach der laufenden Nachricht beendet …</translation>
    </message>
    <message>
        <source>Waiting for the server...</source>
        <translation>Warten auf den Server …</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Starting the private server...</source>
        <translation>Der private Server wird gestartet …</translation>
    </message>
</context>
<context>
    <name>QtPagePrinter</name>
    <message>
        <source>Print</source>
        <translation>Drucken</translation>
    </message>
    <message>
        <source>Print Preview</source>
        <translation>Druckvorschau</translation>
    </message>
    <message>
        <source>The pages could not be printed. Check the printer and print again.</source>
        <translation>Die Seiten konnten nicht gedruckt werden. Prüfen Sie den Drucker und drucken Sie noch einmal.</translation>
    </message>
</context>
<context>
    <name>ResultModel</name>
    <message>
        <source>Att.</source>
        <translation>Anh.</translation>
    </message>
    <message>
        <source>Date</source>
        <translation>Datum</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Subject</source>
        <translation>Betreff</translation>
    </message>
    <message>
        <source>Mailbox</source>
        <translation>Postfach</translation>
    </message>
    <message>
        <source>Attachments</source>
        <translation>Anhänge</translation>
    </message>
    <message>
        <source>ID</source>
        <translation>ID</translation>
    </message>
</context>
<context>
    <name>RetrieveDialog</name>
    <message>
        <source>AND</source>
        <translation>UND</translation>
    </message>
    <message>
        <source>OR</source>
        <translation>ODER</translation>
    </message>
    <message>
        <source>AND NOT</source>
        <translation>UND NICHT</translation>
    </message>
    <message>
        <source>OR NOT</source>
        <translation>ODER NICHT</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Subject</source>
        <translation>Betreff</translation>
    </message>
    <message>
        <source>Mailbox</source>
        <translation>Postfach</translation>
    </message>
    <message>
        <source>Body Text</source>
        <translation>Nachrichtentext</translation>
    </message>
    <message>
        <source>Attachment Name</source>
        <translation>Name eines Anhangs</translation>
    </message>
    <message>
        <source>Attachment Contents</source>
        <translation>Inhalt eines Anhangs</translation>
    </message>
    <message>
        <source>Raw Headings</source>
        <translation>Kopfzeilen</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Keine</translation>
    </message>
    <message>
        <source>Lowest</source>
        <translation>Sehr niedrig</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>Niedrig</translation>
    </message>
    <message>
        <source>Medium</source>
        <translation>Mittel</translation>
    </message>
    <message>
        <source>High</source>
        <translation>Hoch</translation>
    </message>
    <message>
        <source>Highest</source>
        <translation>Sehr hoch</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Suchen</translation>
    </message>
    <message>
        <source>a phrase in sender, recipients, subject, mailbox, text or attachment names</source>
        <translation>eine Wortfolge in Absender, Empfängern, Betreff, Postfach, Text oder Namen von Anhängen</translation>
    </message>
    <message>
        <source>Entire message:</source>
        <translation>Ganze Nachricht:</translation>
    </message>
    <message>
        <source>Fields</source>
        <translation>Felder</translation>
    </message>
    <message>
        <source>Operator %1</source>
        <translation>Verknüpfung %1</translation>
    </message>
    <message>
        <source>Field %1</source>
        <translation>Feld %1</translation>
    </message>
    <message>
        <source>Text %1</source>
        <translation>Text %1</translation>
    </message>
    <message>
        <source>Mailboxes...</source>
        <translation>Postfächer …</translation>
    </message>
    <message>
        <source>(none)</source>
        <translation>(keine)</translation>
    </message>
    <message>
        <source>Dates</source>
        <translation>Zeitraum</translation>
    </message>
    <message>
        <source>From:</source>
        <translation>Vom:</translation>
    </message>
    <message>
        <source>First day</source>
        <translation>Erster Tag</translation>
    </message>
    <message>
        <source>Last day</source>
        <translation>Letzter Tag</translation>
    </message>
    <message>
        <source>Today</source>
        <translation>Heute</translation>
    </message>
    <message>
        <source>Week</source>
        <translation>Woche</translation>
    </message>
    <message>
        <source>Month</source>
        <translation>Monat</translation>
    </message>
    <message>
        <source>Year</source>
        <translation>Jahr</translation>
    </message>
    <message>
        <source>To:</source>
        <translation>Bis zum:</translation>
    </message>
    <message>
        <source>Only with attachments</source>
        <translation>Nur mit Anhängen</translation>
    </message>
    <message>
        <source>Operator of the attachment types</source>
        <translation>Verknüpfung der Anhangsarten</translation>
    </message>
    <message>
        <source>Attachment Types...</source>
        <translation>Arten von Anhängen …</translation>
    </message>
    <message>
        <source>Tags</source>
        <translation>Kennzeichen</translation>
    </message>
    <message>
        <source>Operator of %1</source>
        <translation>Verknüpfung von %1</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>Keywords</source>
        <translation>Schlagwörter</translation>
    </message>
    <message>
        <source>Notes</source>
        <translation>Notizen</translation>
    </message>
    <message>
        <source>Priority</source>
        <translation>Priorität</translation>
    </message>
    <message>
        <source>Keywords...</source>
        <translation>Schlagwörter …</translation>
    </message>
    <message>
        <source>Search by priority</source>
        <translation>Nach Priorität suchen</translation>
    </message>
    <message>
        <source>Only with tags</source>
        <translation>Nur gekennzeichnete</translation>
    </message>
    <message>
        <source>Only without tags</source>
        <translation>Nur nicht gekennzeichnete</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Edit SQL...</source>
        <translation>SQL bearbeiten …</translation>
    </message>
    <message>
        <source>Saved Searches...</source>
        <translation>Gesicherte Suchen …</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>SavedSearchesDialog</name>
    <message>
        <source>Saved Searches</source>
        <translation>Gesicherte Suchen</translation>
    </message>
    <message>
        <source>Saved searches</source>
        <translation>Gesicherte Suchen</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Statement:</source>
        <translation>Anweisung:</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Set for Browse</source>
        <translation>Zum Blättern verwenden</translation>
    </message>
    <message>
        <source>Reset Browse</source>
        <translation>Blättern zurücksetzen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Suchen</translation>
    </message>
</context>
<context>
    <name>ScheduleView</name>
    <message>
        <source>At these times the chosen accounts are archived, without a window. Settings that you change later hold for the next time too; times only once they are scheduled again.</source>
        <translation>Zu diesen Zeiten werden die gewählten Konten ohne Fenster archiviert. Spätere Änderungen der Einstellungen gelten auch für das nächste Mal; Zeiten erst, wenn sie neu geplant sind.</translation>
    </message>
    <message>
        <source>Schedule</source>
        <translation>Planen</translation>
    </message>
    <message>
        <source>Every day</source>
        <translation>Jeden Tag</translation>
    </message>
    <message>
        <source>Sunday</source>
        <translation>Sonntag</translation>
    </message>
    <message>
        <source>Monday</source>
        <translation>Montag</translation>
    </message>
    <message>
        <source>Tuesday</source>
        <translation>Dienstag</translation>
    </message>
    <message>
        <source>Wednesday</source>
        <translation>Mittwoch</translation>
    </message>
    <message>
        <source>Thursday</source>
        <translation>Donnerstag</translation>
    </message>
    <message>
        <source>Friday</source>
        <translation>Freitag</translation>
    </message>
    <message>
        <source>Saturday</source>
        <translation>Samstag</translation>
    </message>
    <message>
        <source>At:</source>
        <translation>Um:</translation>
    </message>
    <message>
        <source>Again within the day, each time after so many hours:</source>
        <translation>Am selben Tag wieder, jeweils nach so vielen Stunden:</translation>
    </message>
    <message>
        <source>Hours between two times</source>
        <translation>Stunden zwischen zwei Zeiten</translation>
    </message>
    <message>
        <source>Remove Schedule</source>
        <translation>Zeitplan entfernen</translation>
    </message>
    <message>
        <source>Leave the log of such a run on the desktop</source>
        <translation>Das Protokoll eines solchen Laufs auf dem Schreibtisch ablegen</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source>Date</source>
        <translation>Datum</translation>
    </message>
    <message>
        <source>Subject</source>
        <translation>Betreff</translation>
    </message>
    <message>
        <source>Mailbox</source>
        <translation>Postfach</translation>
    </message>
    <message>
        <source>ID</source>
        <translation>ID</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Tabs</source>
        <translation>Bereiche</translation>
    </message>
    <message>
        <source>General</source>
        <translation>Allgemein</translation>
    </message>
    <message>
        <source>Accounts</source>
        <translation>Konten</translation>
    </message>
    <message>
        <source>Viewing</source>
        <translation>Anzeige</translation>
    </message>
    <message>
        <source>Databases used before</source>
        <translation>Früher benutzte Datenbanken</translation>
    </message>
    <message>
        <source>Database:</source>
        <translation>Datenbank:</translation>
    </message>
    <message>
        <source>Skip messages that are stored already, without noting where they were seen last</source>
        <translation>Bereits archivierte Nachrichten überspringen, ohne zu vermerken, wo sie zuletzt lagen</translation>
    </message>
    <message>
        <source>Store what seems a duplicate and differs in its content</source>
        <translation>Auch sichern, was ein Duplikat zu sein scheint und sich im Inhalt unterscheidet</translation>
    </message>
    <message>
        <source>Read each part in the charset that it declares</source>
        <translation>Jeden Teil in dem Zeichensatz lesen, den er angibt</translation>
    </message>
    <message>
        <source>Leave out large attachments, above this many MB:</source>
        <translation>Große Anhänge weglassen, ab so vielen MB:</translation>
    </message>
    <message>
        <source>Largest attachment in MB</source>
        <translation>Größter Anhang in MB</translation>
    </message>
    <message>
        <source>Appearance:</source>
        <translation>Aussehen:</translation>
    </message>
    <message>
        <source>Appearance</source>
        <translation>Aussehen</translation>
    </message>
    <message>
        <source>As the system</source>
        <translation>Wie das System</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>Hell</translation>
    </message>
    <message>
        <source>Dark</source>
        <translation>Dunkel</translation>
    </message>
    <message>
        <source>Check for updates at start</source>
        <translation>Beim Start nach neuen Versionen sehen</translation>
    </message>
    <message>
        <source>Show the getting-started document at start</source>
        <translation>Beim Start die Einführung zeigen</translation>
    </message>
    <message>
        <source>Mail application:</source>
        <translation>Mailprogramm:</translation>
    </message>
    <message>
        <source>Mail application</source>
        <translation>Mailprogramm</translation>
    </message>
    <message>
        <source>Apple Mail</source>
        <translation>Apple Mail</translation>
    </message>
    <message>
        <source>Postbox</source>
        <translation>Postbox</translation>
    </message>
    <message>
        <source>Choose by:</source>
        <translation>Auswählen nach:</translation>
    </message>
    <message>
        <source>Choose by</source>
        <translation>Auswählen nach</translation>
    </message>
    <message>
        <source>Mailboxes</source>
        <translation>Postfächer</translation>
    </message>
    <message>
        <source>Accounts or mailboxes to archive</source>
        <translation>Zu archivierende Konten oder Postfächer</translation>
    </message>
    <message>
        <source>Check All</source>
        <translation>Alle auswählen</translation>
    </message>
    <message>
        <source>Uncheck All</source>
        <translation>Keine auswählen</translation>
    </message>
    <message>
        <source>Trash too</source>
        <translation>Auch den Papierkorb</translation>
    </message>
    <message>
        <source>Junk too</source>
        <translation>Auch unerwünschte Werbung</translation>
    </message>
    <message>
        <source>Archive this folder too:</source>
        <translation>Auch diesen Ordner archivieren:</translation>
    </message>
    <message>
        <source>Import folder</source>
        <translation>Importordner</translation>
    </message>
    <message>
        <source>Choose...</source>
        <translation>Auswählen …</translation>
    </message>
    <message>
        <source>Delete the folder&apos;s files once they are archived</source>
        <translation>Die Dateien des Ordners löschen, sobald sie archiviert sind</translation>
    </message>
    <message>
        <source>Dates:</source>
        <translation>Datum:</translation>
    </message>
    <message>
        <source>Dates</source>
        <translation>Zeitraum</translation>
    </message>
    <message>
        <source>Year first</source>
        <translation>Jahr zuerst</translation>
    </message>
    <message>
        <source>Month first</source>
        <translation>Monat zuerst</translation>
    </message>
    <message>
        <source>Day first</source>
        <translation>Tag zuerst</translation>
    </message>
    <message>
        <source>Separator:</source>
        <translation>Trennzeichen:</translation>
    </message>
    <message>
        <source>Separator</source>
        <translation>Trennzeichen</translation>
    </message>
    <message>
        <source>Sort searches by:</source>
        <translation>Gefundenes ordnen nach:</translation>
    </message>
    <message>
        <source>Order:</source>
        <translation>Reihenfolge:</translation>
    </message>
    <message>
        <source>Order</source>
        <translation>Reihenfolge</translation>
    </message>
    <message>
        <source>Ascending</source>
        <translation>Aufsteigend</translation>
    </message>
    <message>
        <source>Descending</source>
        <translation>Absteigend</translation>
    </message>
    <message>
        <source>At most this many emails:</source>
        <translation>Höchstens so viele E-Mails:</translation>
    </message>
    <message>
        <source>Most emails of a search</source>
        <translation>Höchstzahl der E-Mails einer Suche</translation>
    </message>
    <message>
        <source>Searches:</source>
        <translation>Suchen:</translation>
    </message>
    <message>
        <source>Open attachments at a click, without asking</source>
        <translation>Anhänge mit einem Klick öffnen, ohne nachzufragen</translation>
    </message>
    <message>
        <source>Attachments:</source>
        <translation>Anhänge:</translation>
    </message>
    <message>
        <source>List Font...</source>
        <translation>Schrift der Liste …</translation>
    </message>
    <message>
        <source>Message Font...</source>
        <translation>Schrift der Nachrichten …</translation>
    </message>
    <message>
        <source>Fonts:</source>
        <translation>Schriften:</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Sichern</translation>
    </message>
    <message>
        <source>A run reads its mail files after all others</source>
        <translation>Ein Lauf liest seine E-Mail-Dateien nach allen anderen</translation>
    </message>
    <message>
        <source>Only files whose messages are all safely in the archive</source>
        <translation>Nur Dateien, deren Nachrichten alle sicher im Archiv sind</translation>
    </message>
    <message>
        <source>Choose database...</source>
        <translation>Datenbank wählen ...</translation>
    </message>
</context>
<context>
    <name>SqlDialog</name>
    <message>
        <source>Edit SQL</source>
        <translation>SQL bearbeiten</translation>
    </message>
    <message>
        <source>The statement begins:</source>
        <translation>Die Anweisung beginnt:</translation>
    </message>
    <message>
        <source>What it asks for; this can be edited:</source>
        <translation>Wonach sie fragt; dies lässt sich bearbeiten:</translation>
    </message>
    <message>
        <source>Saved Searches...</source>
        <translation>Gesicherte Suchen …</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Suchen</translation>
    </message>
</context>
<context>
    <name>StatisticsRequestDialog</name>
    <message>
        <source>Statistics</source>
        <translation>Statistik</translation>
    </message>
    <message>
        <source>From:</source>
        <translation>Vom:</translation>
    </message>
    <message>
        <source>First day</source>
        <translation>Erster Tag</translation>
    </message>
    <message>
        <source>To:</source>
        <translation>Bis zum:</translation>
    </message>
    <message>
        <source>Last day</source>
        <translation>Letzter Tag</translation>
    </message>
    <message>
        <source>Senders and receivers to list:</source>
        <translation>Absender und Empfänger in der Liste:</translation>
    </message>
    <message>
        <source>List the mailboxes too</source>
        <translation>Auch die Postfächer auflisten</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Make Report</source>
        <translation>Bericht erstellen</translation>
    </message>
</context>
<context>
    <name>StatisticsWindow</name>
    <message>
        <source>Database Statistics</source>
        <translation>Statistik der Datenbank</translation>
    </message>
    <message>
        <source>Report</source>
        <translation>Bericht</translation>
    </message>
    <message>
        <source>The report as pictures</source>
        <translation>Der Bericht in Bildern</translation>
    </message>
    <message>
        <source>Print...</source>
        <translation>Drucken …</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Emails a Year</source>
        <translation>E-Mails pro Jahr</translation>
    </message>
    <message>
        <source>Top Senders</source>
        <translation>Häufigste Absender</translation>
    </message>
    <message>
        <source>Top Receivers</source>
        <translation>Häufigste Empfänger</translation>
    </message>
</context>
<context>
    <name>StoreDateSheet</name>
    <message>
        <source>Archive Email</source>
        <translation>E-Mails archivieren</translation>
    </message>
    <message>
        <source>Which days are to be archived? What is in the archive already is only noticed.</source>
        <translation>Welche Tage sollen archiviert werden? Was schon im Archiv ist, wird nur vermerkt.</translation>
    </message>
    <message>
        <source>From:</source>
        <translation>Vom:</translation>
    </message>
    <message>
        <source>First day</source>
        <translation>Erster Tag</translation>
    </message>
    <message>
        <source>To:</source>
        <translation>Bis zum:</translation>
    </message>
    <message>
        <source>Last day</source>
        <translation>Letzter Tag</translation>
    </message>
    <message>
        <source>All Days</source>
        <translation>Alle Tage</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Archive</source>
        <translation>Archivieren</translation>
    </message>
    <message numerus="yes">
        <source>%n chosen files or folders:</source>
        <translation>
            <numerusform>%n gewählte Datei oder Ordner:</numerusform>
            <numerusform>%n gewählte Dateien oder Ordner:</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>TagDialog</name>
    <message>
        <source>Tags</source>
        <translation>Kennzeichen</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>Words, with a blank between them</source>
        <translation>Wörter, durch Leerzeichen getrennt</translation>
    </message>
    <message>
        <source>Category:</source>
        <translation>Kategorie:</translation>
    </message>
    <message>
        <source>Keywords:</source>
        <translation>Schlagwörter:</translation>
    </message>
    <message>
        <source>Priority:</source>
        <translation>Priorität:</translation>
    </message>
    <message>
        <source>Notes:</source>
        <translation>Notizen:</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Replace Tags</source>
        <translation>Kennzeichen ersetzen</translation>
    </message>
    <message>
        <source>Add Tags</source>
        <translation>Kennzeichen hinzufügen</translation>
    </message>
    <message>
        <source>The same, with blanks in front of a text kept</source>
        <translation>Ebenso, doch Leerzeichen vor einem Text bleiben stehen</translation>
    </message>
    <message>
        <source>Gives these tags, and no others, to the selected emails</source>
        <translation>Gibt den ausgewählten E-Mails diese Kennzeichen und keine anderen</translation>
    </message>
    <message>
        <source>Selected emails: %1. These tags take the place of those that they have; without any, theirs are taken away.</source>
        <translation>Ausgewählte E-Mails: %1. Diese Kennzeichen treten an die Stelle der vorhandenen; ohne Angaben werden die vorhandenen entfernt.</translation>
    </message>
</context>
<context>
    <name>TagRuleSheetDialog</name>
    <message>
        <source>from</source>
        <translation>Absender</translation>
    </message>
    <message>
        <source>to</source>
        <translation>Empfänger</translation>
    </message>
    <message>
        <source>subject</source>
        <translation>Betreff</translation>
    </message>
    <message>
        <source>body</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>mailbox</source>
        <translation>Postfach</translation>
    </message>
    <message>
        <source>contains</source>
        <translation>enthält</translation>
    </message>
    <message>
        <source>does not contain</source>
        <translation>enthält nicht</translation>
    </message>
    <message>
        <source>any</source>
        <translation>mindestens eine</translation>
    </message>
    <message>
        <source>all</source>
        <translation>alle</translation>
    </message>
    <message>
        <source>Tag Rule</source>
        <translation>Kennzeichnungsregel</translation>
    </message>
    <message>
        <source>Rule:</source>
        <translation>Regel:</translation>
    </message>
    <message>
        <source>Must hold of these:</source>
        <translation>Davon muss zutreffen:</translation>
    </message>
    <message>
        <source>Tag the email:</source>
        <translation>Die E-Mail kennzeichnen:</translation>
    </message>
    <message>
        <source>Keep the email out of the archive</source>
        <translation>Die E-Mail nicht archivieren</translation>
    </message>
    <message>
        <source>Criterion %1, field</source>
        <translation>Bedingung %1, Feld</translation>
    </message>
    <message>
        <source>Criterion %1, relation</source>
        <translation>Bedingung %1, Verhältnis</translation>
    </message>
    <message>
        <source>Criterion %1, text</source>
        <translation>Bedingung %1, Text</translation>
    </message>
    <message>
        <source>Category</source>
        <translation>Kategorie</translation>
    </message>
    <message>
        <source>Category:</source>
        <translation>Kategorie:</translation>
    </message>
    <message>
        <source>Keywords:</source>
        <translation>Schlagwörter:</translation>
    </message>
    <message>
        <source>Priority:</source>
        <translation>Priorität:</translation>
    </message>
    <message>
        <source>Notes:</source>
        <translation>Notizen:</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Save Rule</source>
        <translation>Regel sichern</translation>
    </message>
</context>
<context>
    <name>TagRulesView</name>
    <message>
        <source>Each email that is archived goes through the checked rules, from the top. A rule gives tags, or keeps the email out.</source>
        <translation>Jede E-Mail, die archiviert wird, durchläuft von oben die angekreuzten Regeln. Eine Regel kennzeichnet die E-Mail oder hält sie fern.</translation>
    </message>
    <message>
        <source>Tag rules</source>
        <translation>Kennzeichnungsregeln</translation>
    </message>
    <message>
        <source>Add...</source>
        <translation>Hinzufügen …</translation>
    </message>
    <message>
        <source>Edit...</source>
        <translation>Bearbeiten …</translation>
    </message>
    <message>
        <source>Duplicate...</source>
        <translation>Duplizieren …</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Tag Rules</source>
        <translation>Kennzeichnungsregeln</translation>
    </message>
</context>
<context>
    <name>TextWindow</name>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
</context>
<context>
    <name>WebHtmlView</name>
    <message>
        <source>This message could not be shown as a page. Its text can be read.</source>
        <translation>Diese Nachricht konnte nicht als Seite gezeigt werden. Ihr Text lässt sich lesen.</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Nachricht</translation>
    </message>
    <message>
        <source>The web engine does not start for the user root. Only the text of the page is shown.</source>
        <translation>Die Web-Engine startet nicht für den Benutzer root. Gezeigt wird nur der Text der Seite.</translation>
    </message>
</context>
<context>
    <name>WindowProgram</name>
    <message numerus="yes">
        <source>%n files and folders</source>
        <translation>
            <numerusform>%n Datei oder Ordner</numerusform>
            <numerusform>%n Dateien und Ordner</numerusform>
        </translation>
    </message>
    <message>
        <source>Archive what was dropped?</source>
        <translation>Das Abgelegte archivieren?</translation>
    </message>
</context>
</TS>
