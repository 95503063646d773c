<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es" sourcelanguage="en">
<context>
    <name>AboutBox</name>
    <message>
        <source>About Tessary</source>
        <translation>Acerca de Tessary</translation>
    </message>
    <message>
        <source>Sorts the contents of a folder into subfolders.</source>
        <translation>Ordena el contenido de una carpeta en subcarpetas.</translation>
    </message>
    <message>
        <source>Free software under the MIT License, without any warranty.</source>
        <translation>Software libre bajo la licencia MIT, sin garantía alguna.</translation>
    </message>
</context>
<context>
    <name>BusyIndicator</name>
    <message>
        <source>Working</source>
        <translation>En curso</translation>
    </message>
    <message>
        <source>Idle</source>
        <translation>Inactivo</translation>
    </message>
</context>
<context>
    <name>LogWindow</name>
    <message>
        <source>Log</source>
        <translation>Registro</translation>
    </message>
    <message>
        <source>Search the log</source>
        <translation>Buscar en el registro</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>Buscar</translation>
    </message>
    <message>
        <source>&amp;Failures first</source>
        <translation>&amp;Errores primero</translation>
    </message>
    <message>
        <source>Copy the selected lines, or all if none is selected</source>
        <translation>Copiar las líneas seleccionadas o, sin selección, todas</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Copiar</translation>
    </message>
    <message>
        <source>Save the lines that are shown</source>
        <translation>Guardar las líneas mostradas</translation>
    </message>
    <message>
        <source>&amp;Save As…</source>
        <translation>&amp;Guardar como…</translation>
    </message>
    <message>
        <source>Lines: %1, failures: %2</source>
        <translation>Líneas: %1, errores: %2</translation>
    </message>
    <message>
        <source>Lines: %1 of %2, failures: %3</source>
        <translation>Líneas: %1 de %2, errores: %3</translation>
    </message>
    <message>
        <source>Save Log</source>
        <translation>Guardar el registro</translation>
    </message>
    <message>
        <source>The log could not be saved as “%1”: %2</source>
        <translation>No se pudo guardar el registro como «%1»: %2</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>Zona para soltar carpetas</translation>
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
    <message>
        <source>Show &amp;Log…</source>
        <translation>&amp;Mostrar el registro…</translation>
    </message>
    <message>
        <source>&amp;About Tessary</source>
        <translation>&amp;Acerca de Tessary</translation>
    </message>
</context>
<context>
    <name>OpenPanel</name>
    <message>
        <source>Source: %1</source>
        <translation>Origen: %1</translation>
    </message>
    <message>
        <source>Source %1 of %2: %3</source>
        <translation>Origen %1 de %2: %3</translation>
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
    <name>RunReports</name>
    <message>
        <source>%1 of %2 items could not be filed</source>
        <translation>No se pudieron archivar %1 de %2 elementos</translation>
    </message>
    <message>
        <source>From “%1” to “%2”</source>
        <translation>De «%1» a «%2»</translation>
    </message>
    <message>
        <source>“%1” has been aggregated</source>
        <translation>Se ha agrupado «%1»</translation>
    </message>
    <message>
        <source>Items filed in “%1”: %2</source>
        <translation>Elementos archivados en «%1»: %2</translation>
    </message>
    <message>
        <source>“%1” could not be aggregated</source>
        <translation>No se pudo agrupar «%1»</translation>
    </message>
    <message>
        <source>Show Log</source>
        <translation>Mostrar el registro</translation>
    </message>
    <message>
        <source>The log lists the failures: File, Show Log…</source>
        <translation>El registro muestra los errores: Archivo, Mostrar el registro…</translation>
    </message>
</context>
<context>
    <name>SessionLog</name>
    <message>
        <source>Failed</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Hora</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Mensaje</translation>
    </message>
    <message>
        <source>Problem</source>
        <translation>Problema</translation>
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
