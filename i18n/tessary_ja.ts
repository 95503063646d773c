<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja" sourcelanguage="en">
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>フォルダーのドロップ先</translation>
    </message>
    <message>
        <source>Working</source>
        <translation>処理中</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>中止(&amp;S)</translation>
    </message>
</context>
<context>
    <name>MenuBar</name>
    <message>
        <source>&amp;File</source>
        <translation>ファイル(&amp;F)</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>ヘルプ(&amp;H)</translation>
    </message>
    <message>
        <source>&amp;Open…</source>
        <translation>開く(&amp;O)…</translation>
    </message>
    <message>
        <source>Choose the folder or application to aggregate</source>
        <translation>集約するフォルダーまたはアプリケーションを選びます</translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation>設定(&amp;P)…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>終了(&amp;Q)</translation>
    </message>
    <message>
        <source>Tessary &amp;Help</source>
        <translation>Tessaryヘルプ(&amp;H)</translation>
    </message>
</context>
<context>
    <name>PreferencesWindow</name>
    <message>
        <source>Preferences</source>
        <translation>設定</translation>
    </message>
    <message>
        <source>&amp;Aggregate files by:</source>
        <translation>ファイルの集約方法(&amp;A):</translation>
    </message>
    <message>
        <source>Aggregate files by</source>
        <translation>ファイルの集約方法</translation>
    </message>
    <message>
        <source>Extension</source>
        <translation>拡張子</translation>
    </message>
    <message>
        <source>File type</source>
        <translation>ファイルの種類</translation>
    </message>
    <message>
        <source>MIME type</source>
        <translation>MIMEタイプ</translation>
    </message>
    <message>
        <source>Modification date</source>
        <translation>変更日</translation>
    </message>
    <message>
        <source>Creation date</source>
        <translation>作成日</translation>
    </message>
    <message>
        <source>&amp;Descend into subfolders</source>
        <translation>サブフォルダーも処理する(&amp;D)</translation>
    </message>
    <message>
        <source>&amp;Quit when done</source>
        <translation>完了したら終了する(&amp;Q)</translation>
    </message>
    <message>
        <source>Changes are saved immediately.</source>
        <translation>変更はすぐに保存されます。</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
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
        <translation>TessaryのWebページ</translation>
    </message>
</context>
</TS>
