#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QImageReader>
#include <QString>
#include <QXmlStreamReader>
#include <set>

#include "tests/packaging/installation.h"

// The installed page that the Help menu opens.
namespace tessary::test {
namespace {

constexpr char kPageFolder[] = "share/tessary/help/";

struct Page {
  std::vector<std::string> references;  // all values of "href" and "src"
  std::vector<std::string> images;
  std::vector<std::string> imagesWithoutAltText;
  std::set<std::string> ids;
  std::string problem;  // why the page cannot be parsed; empty if it can
};

void AddElement(const QXmlStreamReader& reader, Page* page) {
  const QXmlStreamAttributes attributes = reader.attributes();
  if (attributes.hasAttribute("id"))
    page->ids.insert(attributes.value("id").toString().toStdString());
  for (const char* name : {"href", "src"}) {
    if (!attributes.hasAttribute(name)) continue;
    page->references.push_back(attributes.value(name).toString().toStdString());
  }
  if (reader.name() != QString("img")) return;
  page->images.push_back(attributes.value("src").toString().toStdString());
  if (!attributes.hasAttribute("alt")) page->imagesWithoutAltText.push_back(page->images.back());
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
    if (reader.readNext() == QXmlStreamReader::StartElement) AddElement(reader, &page);
  }
  if (reader.hasError()) {
    page.problem =
        reader.errorString().toStdString() + ", line " + std::to_string(reader.lineNumber());
  }
  return page;
}

TEST(ProductPage, LinksAreInstalled) {
  const Installation tree;
  const Page page = ReadPage(tree / (std::string(kPageFolder) + "index.html"));
  ASSERT_EQ("", page.problem);
  EXPECT_GE(page.references.size(), 10U);
  for (const std::string& reference : page.references) {
    if (reference.starts_with('#')) {
      EXPECT_TRUE(page.ids.contains(reference.substr(1))) << reference;
    } else {
      EXPECT_TRUE(Exists(tree / (kPageFolder + reference))) << reference;
    }
  }
}

TEST(ProductPage, ImagesAreReadableAndHaveAltText) {
  const Installation tree;
  const Page page = ReadPage(tree / (std::string(kPageFolder) + "index.html"));
  ASSERT_EQ("", page.problem);
  EXPECT_GE(page.images.size(), 4U);
  EXPECT_THAT(page.imagesWithoutAltText, testing::IsEmpty());
  for (const std::string& source : page.images) {
    if (source.ends_with(".svg")) continue;
    const QImage image = QImageReader(QString::fromStdString(tree / (kPageFolder + source))).read();
    EXPECT_GE(image.width(), 200) << source;
    EXPECT_GE(image.height(), 100) << source;
  }
}

TEST(ProductPage, HasNoScripts) {
  const std::string text = SourceText("packaging/page/index.html");
  EXPECT_TRUE(text.starts_with("<!DOCTYPE html>"));
  EXPECT_EQ(std::string::npos, text.find("<script"));
  EXPECT_EQ(std::string::npos, SourceText("packaging/page/page.css").find("url("));
}

}  // namespace
}  // namespace tessary::test
