#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <regex>

#include "tests/packaging/installation.h"

namespace tessary::test {
namespace {

QJsonObject ReadManifest() {
  QJsonParseError error;
  const QByteArray text =
      QByteArray::fromStdString(SourceText("packaging/flatpak/org.tessary.Tessary.json"));
  const QJsonDocument document = QJsonDocument::fromJson(text, &error);
  EXPECT_EQ(QJsonParseError::NoError, error.error) << error.errorString().toStdString();
  return document.object();
}

std::vector<std::string> TextsIn(const QJsonValue& array) {
  std::vector<std::string> texts;
  for (const auto& value : array.toArray()) texts.push_back(value.toString().toStdString());
  return texts;
}

TEST(FlatpakManifest, NamesProgramAndRuntime) {
  const QJsonObject manifest = ReadManifest();
  EXPECT_EQ("org.tessary.Tessary", manifest["id"].toString());
  EXPECT_EQ("tessary", manifest["command"].toString());
  EXPECT_EQ("org.kde.Platform", manifest["runtime"].toString());
  EXPECT_EQ("org.kde.Sdk", manifest["sdk"].toString());
  EXPECT_FALSE(manifest["runtime-version"].toString().isEmpty());
}

TEST(FlatpakManifest, PermissionsHaveReasons) {
  const QJsonObject manifest = ReadManifest();
  const std::vector<std::string> permissions = TextsIn(manifest["finish-args"]);
  const QJsonObject reasons = manifest["x-reasons"].toObject();
  EXPECT_EQ(permissions.size(), static_cast<size_t>(reasons.size()));
  for (const std::string& permission : permissions) {
    EXPECT_FALSE(reasons[QString::fromStdString(permission)].toString().isEmpty()) << permission;
  }
}

TEST(FlatpakManifest, HasNoNetworkOrHostPermission) {
  for (const std::string& permission : TextsIn(ReadManifest()["finish-args"])) {
    EXPECT_NE("--share=network", permission);
    EXPECT_FALSE(permission.starts_with("--filesystem=host")) << permission;
    EXPECT_FALSE(permission.starts_with("--device=")) << permission;
    // Neither the session bus nor the system bus.
    EXPECT_FALSE(permission.starts_with("--socket=s")) << permission;
  }
}

TEST(FlatpakManifest, SourcesArePinned) {
  const std::regex hash("[0-9a-f]{64}");
  std::vector<std::string> names;
  for (const auto& value : ReadManifest()["modules"].toArray()) {
    const QJsonObject module = value.toObject();
    names.push_back(module["name"].toString().toStdString());
    EXPECT_EQ("cmake-ninja", module["buildsystem"].toString());
    ASSERT_EQ(1, module["sources"].toArray().size());
    const QJsonObject source = module["sources"].toArray()[0].toObject();
    if (source["type"] == "dir") {
      const std::string folder = "packaging/flatpak/" + source["path"].toString().toStdString();
      EXPECT_TRUE(Exists(SourcePath(folder + "/CMakePresets.json")));
    } else {
      EXPECT_EQ("archive", source["type"].toString());
      EXPECT_TRUE(std::regex_match(source["sha256"].toString().toStdString(), hash));
    }
  }
  EXPECT_THAT(names, testing::ElementsAre("tomlplusplus", "cli11", "nlohmann-json", "tessary"));
}

}  // namespace
}  // namespace tessary::test
