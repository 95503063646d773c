<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>Zona para soltar carpetas</translation>
    </message>
    <message>
        <source>Working</source>
        <translation>En curso</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>&amp;Detener</translation>
    </message>
</context>
<context>
    <name>MenuBar</name>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Archivo</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>Ay&amp;uda</translation>
    </message>
    <message>
        <source>&amp;Open…</source>
        <translation>&amp;Abrir…</translation>
    </message>
    <message>
        <source>Choose the folder or application to aggregate</source>
        <translation>Elegir la carpeta o la aplicación que se va a agrupar</translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation>&amp;Preferencias…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Salir</translation>
    </message>
    <message>
        <source>Tessary &amp;Help</source>
        <translation>Ay&amp;uda de Tessary</translation>
    </message>
</context>
<context>
    <name>PreferencesWindow</name>
    <message>
        <source>Preferences</source>
        <translation>Preferencias</translation>
    </message>
    <message>
        <source>&amp;Aggregate files by:</source>
        <translation>&amp;Agrupar los archivos por:</translation>
    </message>
    <message>
        <source>Aggregate files by</source>
        <translation>Agrupar los archivos por</translation>
    </message>
    <message>
        <source>Extension</source>
        <translation>Extensión</translation>
    </message>
    <message>
        <source>File type</source>
        <translation>Tipo de archivo</translation>
    </message>
    <message>
        <source>MIME type</source>
        <translation>Tipo MIME</translation>
    </message>
    <message>
        <source>Modification date</source>
        <translation>Fecha de modificación</translation>
    </message>
    <message>
        <source>Creation date</source>
        <translation>Fecha de creación</translation>
    </message>
    <message>
        <source>&amp;Descend into subfolders</source>
        <translation>&amp;Incluir las subcarpetas</translation>
    </message>
    <message>
        <source>&amp;Quit when done</source>
        <translation>&amp;Salir al terminar</translation>
    </message>
    <message>
        <source>Changes are saved immediately.</source>
        <translation>Los cambios se guardan al instante.</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancelar</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>Aceptar</translation>
    </message>
</context>
<context>
    <name>tessary::QtMenu</name>
    <message>
        <source>Tessary Web Page</source>
        <translation>Página web de Tessary</translation>
    </message>
</context>
</TS>
