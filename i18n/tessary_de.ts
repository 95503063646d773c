<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>Ablageziel für Ordner</translation>
    </message>
    <message>
        <source>Working</source>
        <translation>In Arbeit</translation>
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
    <name>tessary::QtMenu</name>
    <message>
        <source>Tessary Web Page</source>
        <translation>Tessary-Webseite</translation>
    </message>
</context>
</TS>
