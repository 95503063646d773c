<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja" sourcelanguage="en">
<context>
    <name>AboutBox</name>
    <message>
        <source>About Tessary</source>
        <translation>Tessary について</translation>
    </message>
    <message>
        <source>Sorts the contents of a folder into subfolders.</source>
        <translation>フォルダーの内容をサブフォルダーに整理します。</translation>
    </message>
    <message>
        <source>Free software under the MIT License, without any warranty.</source>
        <translation>MIT ライセンスの自由ソフトウェアです。無保証です。</translation>
    </message>
</context>
<context>
    <name>BusyIndicator</name>
    <message>
        <source>Working</source>
        <translation>処理中</translation>
    </message>
    <message>
        <source>Idle</source>
        <translation>待機中</translation>
    </message>
</context>
<context>
    <name>LogWindow</name>
    <message>
        <source>Log</source>
        <translation>ログ</translation>
    </message>
    <message>
        <source>Search the log</source>
        <translation>ログを検索</translation>
    </message>
    <message>
        <source>Search</source>
        <translation>検索</translation>
    </message>
    <message>
        <source>&amp;Failures first</source>
        <translation>失敗を先頭に(&amp;F)</translation>
    </message>
    <message>
        <source>Copy the selected lines, or all if none is selected</source>
        <translation>選択した行をコピー(選択がなければすべて)</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>コピー(&amp;C)</translation>
    </message>
    <message>
        <source>Save the lines that are shown</source>
        <translation>表示されている行を保存</translation>
    </message>
    <message>
        <source>&amp;Save As…</source>
        <translation>名前を付けて保存(&amp;S)…</translation>
    </message>
    <message>
        <source>Lines: %1, failures: %2</source>
        <translation>行数: %1、失敗: %2</translation>
    </message>
    <message>
        <source>Lines: %1 of %2, failures: %3</source>
        <translation>行数: %1 / %2、失敗: %3</translation>
    </message>
    <message>
        <source>Save Log</source>
        <translation>ログを保存</translation>
    </message>
    <message>
        <source>The log could not be saved as “%1”: %2</source>
        <translation>ログを「%1」として保存できませんでした: %2</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Drop target for folders</source>
        <translation>フォルダーのドロップ先</translation>
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
    <message>
        <source>Show &amp;Log…</source>
        <translation>ログを表示(&amp;L)…</translation>
    </message>
    <message>
        <source>&amp;About Tessary</source>
        <translation>Tessary について(&amp;A)</translation>
    </message>
</context>
<context>
    <name>OpenPanel</name>
    <message>
        <source>Source: %1</source>
        <translation>元: %1</translation>
    </message>
    <message>
        <source>Source %1 of %2: %3</source>
        <translation>元 %1 / %2: %3</translation>
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
    <name>RunReports</name>
    <message>
        <source>%1 of %2 items could not be filed</source>
        <translation>%2 項目中 %1 項目を整理できませんでした</translation>
    </message>
    <message>
        <source>From “%1” to “%2”</source>
        <translation>「%1」から「%2」へ</translation>
    </message>
    <message>
        <source>“%1” has been aggregated</source>
        <translation>「%1」を整理しました</translation>
    </message>
    <message>
        <source>Items filed in “%1”: %2</source>
        <translation>「%1」に整理した項目: %2</translation>
    </message>
    <message>
        <source>“%1” could not be aggregated</source>
        <translation>「%1」を整理できませんでした</translation>
    </message>
    <message>
        <source>Show Log</source>
        <translation>ログを表示</translation>
    </message>
    <message>
        <source>The log lists the failures: File, Show Log…</source>
        <translation>失敗はログに表示されます: ファイル、ログを表示…</translation>
    </message>
</context>
<context>
    <name>SessionLog</name>
    <message>
        <source>Failed</source>
        <translation>失敗</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>時刻</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>メッセージ</translation>
    </message>
    <message>
        <source>Problem</source>
        <translation>問題</translation>
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
