<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>Zone de dépôt pour les dossiers</translation>
    </message>
    <message>
        <source>Working</source>
        <translation>Traitement en cours</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>A&amp;rrêter</translation>
    </message>
</context>
<context>
    <name>MenuBar</name>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Fichier</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Aide</translation>
    </message>
    <message>
        <source>&amp;Open…</source>
        <translation>&amp;Ouvrir…</translation>
    </message>
    <message>
        <source>Choose the folder or application to aggregate</source>
        <translation>Choisir le dossier ou l’application à regrouper</translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation>&amp;Préférences…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Quitter</translation>
    </message>
    <message>
        <source>Tessary &amp;Help</source>
        <translation>&amp;Aide de Tessary</translation>
    </message>
</context>
<context>
    <name>PreferencesWindow</name>
    <message>
        <source>Preferences</source>
        <translation>Préférences</translation>
    </message>
    <message>
        <source>&amp;Aggregate files by:</source>
        <translation>&amp;Regrouper les fichiers par&#xa0;:</translation>
    </message>
    <message>
        <source>Aggregate files by</source>
        <translation>Regrouper les fichiers par</translation>
    </message>
    <message>
        <source>Extension</source>
        <translation>Extension</translation>
    </message>
    <message>
        <source>File type</source>
        <translation>Type de fichier</translation>
    </message>
    <message>
        <source>MIME type</source>
        <translation>Type MIME</translation>
    </message>
    <message>
        <source>Modification date</source>
        <translation>Date de modification</translation>
    </message>
    <message>
        <source>Creation date</source>
        <translation>Date de création</translation>
    </message>
    <message>
        <source>&amp;Descend into subfolders</source>
        <translation>&amp;Descendre dans les sous-dossiers</translation>
    </message>
    <message>
        <source>&amp;Quit when done</source>
        <translation>&amp;Quitter une fois terminé</translation>
    </message>
    <message>
        <source>Changes are saved immediately.</source>
        <translation>Les modifications sont enregistrées aussitôt.</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
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
        <translation>Page web de Tessary</translation>
    </message>
</context>
</TS>
