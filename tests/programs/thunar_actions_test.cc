#include "programs/cli/thunar_actions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "programs/cli/markup.h"

namespace tessary::test {
namespace {

using testing::HasSubstr;

constexpr std::string_view kOther =
    "<action>\n\t<name>Open &amp; \xC3\xA4</name>\n\t<unique-id>1-1</unique-id>\n</action>\n";
constexpr std::string_view kOurs =
    "<action><name>Renamed by its user</name>\n"
    "<unique-id> org.tessary.Tessary-aggregate\n</unique-id></action>";

std::string Add(const std::string& document) {
  std::string changed;
  std::string problem;
  EXPECT_TRUE(AddThunarAction(document, &changed, &problem)) << problem;
  return changed;
}

std::string Remove(const std::string& document) {
  std::string changed;
  std::string problem;
  EXPECT_TRUE(RemoveThunarAction(document, &changed, &problem)) << problem;
  return changed;
}

bool Has(const std::string& document) {
  bool isThere = false;
  std::string problem;
  EXPECT_TRUE(HasThunarAction(document, &isThere, &problem)) << problem;
  return isThere;
}

std::string Document(const std::string& head, const std::string& content) {
  return head + "<actions>" + content + "</actions>\n";
}

TEST(AddThunarAction, IsRevertedByRemove) {
  const std::string other(kOther);
  for (const std::string& document : {
           std::string(EmptyThunarActions()),
           Document("", ""),
           Document("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", "\n" + other),
           Document("<!DOCTYPE actions [<!ELEMENT actions ANY>]>\r\n", "\r\n" + other + "\r\n  "),
           Document("<!-- one -->", other + other + "<!-- </actions> -->"),
           std::string("<actions a='b'>\n  <action/>\n  </actions >"),
           Document("\xEF\xBB\xBF", "<action><unique-id/></action>"),
           Document("", "<action><unique-id>org.tessary.Tessary-aggregate2</unique-id></action>"),
           Document("", "<unique-id>org.tessary.Tessary-aggregate</unique-id>"),
           Document("", "<!--" + std::string(kOurs) + "-->"),
       }) {
    EXPECT_FALSE(Has(document));
    const std::string added = Add(document);
    EXPECT_TRUE(Has(added)) << added;
    EXPECT_EQ(added, Add(added));
    EXPECT_EQ(document, Remove(added));
    EXPECT_EQ(document, Remove(document));
    const size_t at = added.find("<action>\n\t<icon>org.tessary.Tessary</icon>");
    ASSERT_NE(std::string::npos, at);
    EXPECT_EQ(document.substr(0, at), added.substr(0, at));
    EXPECT_TRUE(added.ends_with("</action>\n" + document.substr(at)));
  }
}

TEST(AddThunarAction, ExpandsEmptyRoot) {
  for (const char* document : {"<actions/>", "<actions  a='/' />\n"}) {
    const std::string added = Add(document);
    EXPECT_TRUE(Has(added)) << added;
    EXPECT_FALSE(Has(Remove(added)));
  }
}

TEST(AddThunarAction, KeepsChangedAction) {
  const std::string document = Document("", "\n" + std::string(kOurs) + "\n" + std::string(kOther));
  EXPECT_TRUE(Has(document));
  EXPECT_EQ(document, Add(document));
}

TEST(RemoveThunarAction, RemovesEachOfOurs) {
  const std::string ours(kOurs);
  const std::string other(kOther);
  EXPECT_EQ(Document("", "\n" + other + other),
            Remove(Document("", "\n" + other + ours + "\n" + other)));
  EXPECT_EQ(Document("", other), Remove(Document("", ours + ours + "\n" + other + ours)));
}

TEST(AddThunarAction, HasCommandAndTranslations) {
  const std::string added = Add(std::string(EmptyThunarActions()));
  EXPECT_THAT(added, HasSubstr("<command>tessary --aggregate %U</command>"));
  EXPECT_THAT(added, HasSubstr("<directories/>"));
  EXPECT_THAT(added, HasSubstr("<patterns>*</patterns>"));
  for (const char* language : {"de", "es", "fr", "ja"}) {
    EXPECT_THAT(added, HasSubstr("<name xml:lang=\"" + std::string(language) + "\">"));
    EXPECT_THAT(added, HasSubstr("<description xml:lang=\"" + std::string(language) + "\">"));
  }
}

TEST(ThunarActions, RefuseOtherDocuments) {
  for (const std::string& document :
       {std::string(), std::string("<actions>"), std::string("<action/>"), std::string("text"),
        Document("", "<action>"), Document("", "&nbsp;"), Document("", "\xFF")}) {
    std::string changed = "as it was";
    std::string problem;
    bool isThere = false;
    EXPECT_FALSE(HasThunarAction(document, &isThere, &problem)) << document;
    EXPECT_FALSE(AddThunarAction(document, &changed, &problem)) << document;
    EXPECT_FALSE(RemoveThunarAction(document, &changed, &problem)) << document;
    EXPECT_NE("", problem);
    EXPECT_EQ("as it was", changed);
  }
}

}  // namespace
}  // namespace tessary::test
