#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QImageReader>
#include <QString>
#include <QXmlStreamReader>
#include <set>

#include "tests/packaging/installation.h"

// The page that the Help menu opens, where the menu finds it.
namespace tessary::test {
namespace {

constexpr char kPageFolder[] = "share/doc/tessary/";

struct Page {
  std::vector<std::string> references;  // of links and pictures, in the order of the page
  std::vector<std::string> pictures;
  std::vector<std::string> picturesWithoutText;
  std::set<std::string> places;  // what a link can lead to inside of the page
  std::string problem;           // why it cannot be read; empty where it can
};

void TakeElement(const QXmlStreamReader& reader, Page* page) {
  const QXmlStreamAttributes attributes = reader.attributes();
  if (attributes.hasAttribute("id"))
    page->places.insert(attributes.value("id").toString().toStdString());
  for (const char* name : {"href", "src"}) {
    if (!attributes.hasAttribute(name)) continue;
    page->references.push_back(attributes.value(name).toString().toStdString());
  }
  if (reader.name() != QString("img")) return;
  page->pictures.push_back(attributes.value("src").toString().toStdString());
  if (!attributes.hasAttribute("alt")) page->picturesWithoutText.push_back(page->pictures.back());
}

Page ReadPage(const std::string& path) {
  Page page;
  QFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::ReadOnly)) {
    page.problem = "cannot open " + path;
    return page;
  }
  QXmlStreamReader reader(&file);
  while (!reader.atEnd()) {
    if (reader.readNext() == QXmlStreamReader::StartElement) TakeElement(reader, &page);
  }
  if (reader.hasError()) {
    page.problem =
        reader.errorString().toStdString() + ", line " + std::to_string(reader.lineNumber());
  }
  return page;
}

TEST(ProductPage, LeadsOnlyToWhatIsInstalledWithIt) {
  const Installation tree;
  const Page page = ReadPage(tree / (std::string(kPageFolder) + "index.html"));
  ASSERT_EQ("", page.problem);
  EXPECT_GE(page.references.size(), 10U);
  for (const std::string& reference : page.references) {
    if (reference.starts_with('#')) {
      EXPECT_TRUE(page.places.contains(reference.substr(1))) << reference;
    } else {
      EXPECT_TRUE(Exists(tree / (kPageFolder + reference))) << reference;
    }
  }
}

TEST(ProductPage, HasPicturesThatCanBeSeenAndTextForThoseWhoCannotSeeThem) {
  const Installation tree;
  const Page page = ReadPage(tree / (std::string(kPageFolder) + "index.html"));
  ASSERT_EQ("", page.problem);
  EXPECT_GE(page.pictures.size(), 4U);
  EXPECT_THAT(page.picturesWithoutText, testing::IsEmpty());
  for (const std::string& picture : page.pictures) {
    if (picture.ends_with(".svg")) continue;
    const QImage image =
        QImageReader(QString::fromStdString(tree / (kPageFolder + picture))).read();
    EXPECT_GE(image.width(), 200) << picture;
    EXPECT_GE(image.height(), 100) << picture;
  }
}

TEST(ProductPage, ReadsAsPlainHtmlWithoutScripts) {
  const std::string text = SourceText("packaging/page/index.html");
  EXPECT_TRUE(text.starts_with("<!DOCTYPE html>"));
  EXPECT_EQ(std::string::npos, text.find("<script"));
  EXPECT_EQ(std::string::npos, SourceText("packaging/page/page.css").find("url("));
}

}  // namespace
}  // namespace tessary::test
