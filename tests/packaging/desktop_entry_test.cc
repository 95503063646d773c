#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFileInfo>
#include <QImageReader>
#include <QString>
#include <cstdlib>

#include "tests/packaging/installation.h"

// The desktop entries, the D-Bus service, the metadata and the icons.
namespace tessary::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr char kEntrySource[] = "packaging/org.tessary.Tessary.desktop";
constexpr char kFoldersEntrySource[] = "packaging/zz-org.tessary.Tessary-folders.desktop";
constexpr char kEntry[] = "share/applications/org.tessary.Tessary.desktop";
constexpr char kMetainfo[] = "share/metainfo/org.tessary.Tessary.metainfo.xml";

TEST(DesktopEntry, IsDBusActivatableAndHasNoMimeType) {
  auto keys = ReadKeyFile(SourcePath(kEntrySource), "Desktop Entry");
  EXPECT_EQ("tessary %F", keys["Exec"]);
  EXPECT_EQ("true", keys["DBusActivatable"]);
  EXPECT_FALSE(keys.contains("MimeType"));
}

TEST(DesktopEntry, IsValid) {
  if (const std::string tool = MissingTool({"desktop-file-validate"}); !tool.empty()) {
    GTEST_SKIP() << tool << " is not installed";
  }
  for (const char* entry : {kEntrySource, kFoldersEntrySource}) {
    const ToolResult result = RunTool("desktop-file-validate", {SourcePath(entry)});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.output);
  }
}

TEST(FoldersEntry, DeclaresFolders) {
  auto keys = ReadKeyFile(SourcePath(kFoldersEntrySource), "Desktop Entry");
  EXPECT_EQ("tessary %F", keys["Exec"]);
  EXPECT_EQ("inode/directory;", keys["MimeType"]);
  EXPECT_EQ("true", keys["NoDisplay"]);
}

// Without a default application in the user's settings.
TEST(FoldersEntry, IsNotPreferredToFileManagers) {
  if (const std::string tool = MissingTool({"update-desktop-database", "gio"}); !tool.empty()) {
    GTEST_SKIP() << tool << " is not installed";
  }
  const Installation tree;
  for (const char* manager : {"pcmanfm-qt", "thunar", "xfce4-file-manager"}) {
    WriteFile(tree / ("share/applications/" + std::string(manager) + ".desktop"),
              "[Desktop Entry]\nType=Application\nName=Files\nExec=true %F\n"
              "MimeType=inode/directory;\n");
  }
  ASSERT_EQ(0, RunTool("update-desktop-database", {tree / "share/applications"}).status);
  const std::string nowhere = tree / "nowhere";
  const ToolResult result = RunTool(
      "env", {"XDG_DATA_DIRS=" + (tree / "share"), "XDG_DATA_HOME=" + nowhere,
              "XDG_CONFIG_DIRS=" + nowhere, "XDG_CONFIG_HOME=" + nowhere,
              "PATH=" + (tree / "bin") + ":/usr/bin:/bin", "gio", "mime", "inode/directory"});
  EXPECT_EQ("pcmanfm-qt.desktop",
            FindWords(result.output, "Default application for .*: (.*)").at(0));
  EXPECT_THAT(result.output, HasSubstr("zz-org.tessary.Tessary-folders.desktop"));
}

TEST(Metainfo, IsValid) {
  if (const std::string tool = MissingTool({"appstreamcli"}); !tool.empty()) {
    GTEST_SKIP() << tool << " is not installed";
  }
  const ToolResult result =
      RunTool("appstreamcli", {"validate", "--no-net", "--no-color",
                               SourcePath("packaging/org.tessary.Tessary.metainfo.xml")});
  EXPECT_EQ(0, result.status) << result.output;
}

TEST(Metainfo, ScreenshotsExist) {
  const std::string text = SourceText("packaging/org.tessary.Tessary.metainfo.xml");
  const auto pictures = FindWords(text, "<image>https://tessary.org/images/([^<]*)</image>");
  EXPECT_EQ(3U, pictures.size());
  for (const std::string& picture : pictures) {
    EXPECT_TRUE(Exists(SourcePath("docs/images/" + picture))) << picture;
  }
}

TEST(Version, IsConsistent) {
  const std::string version = TESSARY_VERSION;
  EXPECT_THAT(SourceText("packaging/org.tessary.Tessary.metainfo.xml"),
              HasSubstr("<release version=\"" + version + "\""));
  EXPECT_TRUE(SourceText("debian/changelog").starts_with("tessary (" + version + ")"));
  EXPECT_THAT(SourceText("NEWS.md"), HasSubstr("## " + version));
}

TEST(Installation, UsesApplicationID) {
  const Installation tree;
  EXPECT_THAT(
      tree.Files(),
      AllOf(Contains(kEntry), Contains(kMetainfo),
            Contains("share/dbus-1/services/org.tessary.Tessary.service"),
            Contains("share/icons/hicolor/scalable/apps/org.tessary.Tessary.svg"),
            Contains("share/icons/hicolor/48x48/apps/org.tessary.Tessary.png"),
            Contains("share/icons/hicolor/symbolic/apps/org.tessary.Tessary-symbolic.svg")));
  EXPECT_EQ("org.tessary.Tessary", ReadKeyFile(tree / kEntry, "Desktop Entry")["Icon"]);
  EXPECT_THAT(ReadFile(tree / kMetainfo),
              AllOf(HasSubstr("<id>org.tessary.Tessary</id>"),
                    HasSubstr(">org.tessary.Tessary.desktop</launchable>"),
                    HasSubstr("<dbus type=\"session\">org.tessary.Tessary</dbus>")));
}

// The picture is stored, because drawing it would require another tool for each build.
TEST(Icon, PictureMatchesScalableIcon) {
  const Installation tree;
  const auto read = [&tree](const char* name) {
    QImageReader reader(
        QString::fromStdString(tree / (std::string("share/icons/hicolor/") + name)));
    reader.setScaledSize({48, 48});
    return reader.read().convertToFormat(QImage::Format_RGBA8888_Premultiplied);
  };
  EXPECT_EQ(QSize(48, 48),
            QImageReader(QString::fromStdString(
                             tree / "share/icons/hicolor/48x48/apps/org.tessary.Tessary.png"))
                .size());
  const QImage picture = read("48x48/apps/org.tessary.Tessary.png");
  const QImage drawn = read("scalable/apps/org.tessary.Tessary.svg");
  ASSERT_EQ(drawn.sizeInBytes(), picture.sizeInBytes());
  int64_t difference = 0;
  for (qsizetype i = 0; i < drawn.sizeInBytes(); ++i) {
    difference += std::abs(drawn.constBits()[i] - picture.constBits()[i]);
  }
  // Renderers differ at the edges of shapes only.
  EXPECT_LT(difference / drawn.sizeInBytes(), 4);
}

TEST(Installation, SetsNoDefaultApplication) {
  const Installation tree;
  for (const std::string& file : tree.Files()) EXPECT_THAT(file, Not(HasSubstr("mimeapps.list")));
}

TEST(Installation, ServiceStartsInstalledProgram) {
  const Installation tree;
  auto keys =
      ReadKeyFile(tree / "share/dbus-1/services/org.tessary.Tessary.service", "D-BUS Service");
  EXPECT_EQ("org.tessary.Tessary", keys["Name"]);
  EXPECT_EQ("\"" + (tree / "bin/tessary") + "\"", keys["Exec"]);
  EXPECT_TRUE(QFileInfo(QString::fromStdString(tree / "bin/tessary")).isExecutable());
}

}  // namespace
}  // namespace tessary::test
