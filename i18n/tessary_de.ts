<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>AboutBox</name>
    <message>
        <source>About Tessary</source>
        <translation>Über Tessary</translation>
    </message>
    <message>
        <source>Sorts the contents of a folder into subfolders.</source>
        <translation>Sortiert den Inhalt eines Ordners in Unterordner.</translation>
    </message>
    <message>
        <source>Free software under the MIT License, without any warranty.</source>
        <translation>Freie Software unter der MIT-Lizenz, ohne jede Gewähr.</translation>
    </message>
</context>
<context>
    <name>BusyIndicator</name>
    <message>
        <source>Working</source>
        <translation>In Arbeit</translation>
    </message>
    <message>
        <source>Idle</source>
        <translation>Untätig</translation>
    </message>
</context>
<context>
    <name>LogWindow</name>
    <message>
        <source>Log</source>
        <translation>Protokoll</translation>
    </message>
    <message>
        <source>Search the log</source>
        <translation>Im Protokoll suchen</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Suchen</translation>
    </message>
    <message>
        <source>&amp;Failures first</source>
        <translation>&amp;Fehler zuerst</translation>
    </message>
    <message>
        <source>Copy the selected lines, or all if none is selected</source>
        <translation>Die ausgewählten Zeilen kopieren, ohne Auswahl alle</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Kopieren</translation>
    </message>
    <message>
        <source>Save the lines that are shown</source>
        <translation>Die angezeigten Zeilen speichern</translation>
    </message>
    <message>
        <source>&amp;Save As…</source>
        <translation>Speichern &amp;unter…</translation>
    </message>
    <message>
        <source>Lines: %1, failures: %2</source>
        <translation>Zeilen: %1, Fehler: %2</translation>
    </message>
    <message>
        <source>Lines: %1 of %2, failures: %3</source>
        <translation>Zeilen: %1 von %2, Fehler: %3</translation>
    </message>
    <message>
        <source>Save Log</source>
        <translation>Protokoll speichern</translation>
    </message>
    <message>
        <source>The log could not be saved as “%1”: %2</source>
        <translation>Das Protokoll konnte nicht als „%1“ gespeichert werden: %2</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>Ablageziel für Ordner</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>&amp;Anhalten</translation>
    </message>
</context>
<context>
    <name>MenuBar</name>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>&amp;Open…</source>
        <translation>Ö&amp;ffnen…</translation>
    </message>
    <message>
        <source>Choose the folder or application to aggregate</source>
        <translation>Den Ordner oder die Anwendung zum Zusammenstellen wählen</translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation>&amp;Einstellungen…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Tessary &amp;Help</source>
        <translation>Tessary-&amp;Hilfe</translation>
    </message>
    <message>
        <source>Show &amp;Log…</source>
        <translation>&amp;Protokoll anzeigen…</translation>
    </message>
    <message>
        <source>&amp;About Tessary</source>
        <translation>Ü&amp;ber Tessary</translation>
    </message>
</context>
<context>
    <name>OpenPanel</name>
    <message>
        <source>Source: %1</source>
        <translation>Quelle: %1</translation>
    </message>
    <message>
        <source>Source %1 of %2: %3</source>
        <translation>Quelle %1 von %2: %3</translation>
    </message>
</context>
<context>
    <name>PreferencesWindow</name>
    <message>
        <source>Preferences</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>&amp;Aggregate files by:</source>
        <translation>Dateien &amp;zusammenstellen nach:</translation>
    </message>
    <message>
        <source>Aggregate files by</source>
        <translation>Dateien zusammenstellen nach</translation>
    </message>
    <message>
        <source>Extension</source>
        <translation>Dateiendung</translation>
    </message>
    <message>
        <source>File type</source>
        <translation>Dateityp</translation>
    </message>
    <message>
        <source>MIME type</source>
        <translation>MIME-Typ</translation>
    </message>
    <message>
        <source>Modification date</source>
        <translation>Änderungsdatum</translation>
    </message>
    <message>
        <source>Creation date</source>
        <translation>Erstellungsdatum</translation>
    </message>
    <message>
        <source>&amp;Descend into subfolders</source>
        <translation>&amp;Unterordner einbeziehen</translation>
    </message>
    <message>
        <source>&amp;Quit when done</source>
        <translation>Nach dem Lauf &amp;beenden</translation>
    </message>
    <message>
        <source>Changes are saved immediately.</source>
        <translation>Änderungen werden sofort gespeichert.</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>RunReports</name>
    <message>
        <source>%1 of %2 items could not be filed</source>
        <translation>%1 von %2 Objekten konnten nicht einsortiert werden</translation>
    </message>
    <message>
        <source>From “%1” to “%2”</source>
        <translation>Von „%1“ nach „%2“</translation>
    </message>
    <message>
        <source>“%1” has been aggregated</source>
        <translation>„%1“ wurde zusammengestellt</translation>
    </message>
    <message>
        <source>Items filed in “%1”: %2</source>
        <translation>In „%1“ einsortierte Objekte: %2</translation>
    </message>
    <message>
        <source>“%1” could not be aggregated</source>
        <translation>„%1“ konnte nicht zusammengestellt werden</translation>
    </message>
    <message>
        <source>Show Log</source>
        <translation>Protokoll anzeigen</translation>
    </message>
    <message>
        <source>The log lists the failures: File, Show Log…</source>
        <translation>Das Protokoll nennt die Fehler: Datei, Protokoll anzeigen…</translation>
    </message>
</context>
<context>
    <name>SessionLog</name>
    <message>
        <source>Failed</source>
        <translation>Fehlgeschlagen</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Meldung</translation>
    </message>
    <message>
        <source>Problem</source>
        <translation>Problem</translation>
    </message>
</context>
<context>
    <name>tessary::QtMenu</name>
    <message>
        <source>Tessary Web Page</source>
        <translation>Tessary-Webseite</translation>
    </message>
</context>
</TS>
