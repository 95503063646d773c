<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
<context>
    <name>AboutBox</name>
    <message>
        <source>About Tessary</source>
        <translation>À propos de Tessary</translation>
    </message>
    <message>
        <source>Sorts the contents of a folder into subfolders.</source>
        <translation>Trie le contenu d’un dossier dans des sous-dossiers.</translation>
    </message>
    <message>
        <source>Free software under the MIT License, without any warranty.</source>
        <translation>Logiciel libre sous licence MIT, sans aucune garantie.</translation>
    </message>
</context>
<context>
    <name>BusyIndicator</name>
    <message>
        <source>Working</source>
        <translation>Traitement en cours</translation>
    </message>
    <message>
        <source>Idle</source>
        <translation>Inactif</translation>
    </message>
</context>
<context>
    <name>LogWindow</name>
    <message>
        <source>Log</source>
        <translation>Journal</translation>
    </message>
    <message>
        <source>Search the log</source>
        <translation>Rechercher dans le journal</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Rechercher</translation>
    </message>
    <message>
        <source>&amp;Failures first</source>
        <translation>&amp;Échecs en premier</translation>
    </message>
    <message>
        <source>Copy the selected lines, or all if none is selected</source>
        <translation>Copier les lignes sélectionnées, ou toutes sans sélection</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Copier</translation>
    </message>
    <message>
        <source>Save the lines that are shown</source>
        <translation>Enregistrer les lignes affichées</translation>
    </message>
    <message>
        <source>&amp;Save As…</source>
        <translation>&amp;Enregistrer sous…</translation>
    </message>
    <message>
        <source>Lines: %1, failures: %2</source>
        <translation>Lignes : %1, échecs : %2</translation>
    </message>
    <message>
        <source>Lines: %1 of %2, failures: %3</source>
        <translation>Lignes : %1 sur %2, échecs : %3</translation>
    </message>
    <message>
        <source>Save Log</source>
        <translation>Enregistrer le journal</translation>
    </message>
    <message>
        <source>The log could not be saved as “%1”: %2</source>
        <translation>Le journal n’a pas pu être enregistré sous « %1 » : %2</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>Zone de dépôt pour les dossiers</translation>
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
    <message>
        <source>Show &amp;Log…</source>
        <translation>Afficher le &amp;journal…</translation>
    </message>
    <message>
        <source>&amp;About Tessary</source>
        <translation>À &amp;propos de Tessary</translation>
    </message>
</context>
<context>
    <name>OpenPanel</name>
    <message>
        <source>Source: %1</source>
        <translation>Source : %1</translation>
    </message>
    <message>
        <source>Source %1 of %2: %3</source>
        <translation>Source %1 sur %2 : %3</translation>
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
    <name>RunReports</name>
    <message>
        <source>%1 of %2 items could not be filed</source>
        <translation>%1 éléments sur %2 n’ont pas pu être classés</translation>
    </message>
    <message>
        <source>From “%1” to “%2”</source>
        <translation>De « %1 » vers « %2 »</translation>
    </message>
    <message>
        <source>“%1” has been aggregated</source>
        <translation>« %1 » a été regroupé</translation>
    </message>
    <message>
        <source>Items filed in “%1”: %2</source>
        <translation>Éléments classés dans « %1 » : %2</translation>
    </message>
    <message>
        <source>“%1” could not be aggregated</source>
        <translation>« %1 » n’a pas pu être regroupé</translation>
    </message>
    <message>
        <source>Show Log</source>
        <translation>Afficher le journal</translation>
    </message>
    <message>
        <source>The log lists the failures: File, Show Log…</source>
        <translation>Le journal indique les échecs : Fichier, Afficher le journal…</translation>
    </message>
</context>
<context>
    <name>SessionLog</name>
    <message>
        <source>Failed</source>
        <translation>Échec</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Heure</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Message</translation>
    </message>
    <message>
        <source>Problem</source>
        <translation>Problème</translation>
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
