#include "programs/cli/thunar_actions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

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
  DocumentProblem problem;
  EXPECT_TRUE(AddThunarAction(document, &changed, &problem)) << problem.reason;
  return changed;
}

std::string Remove(const std::string& document) {
  std::string changed;
  DocumentProblem problem;
  EXPECT_TRUE(RemoveThunarAction(document, &changed, &problem)) << problem.reason;
  return changed;
}

bool Has(const std::string& document) {
  bool isThere = false;
  DocumentProblem problem;
  EXPECT_TRUE(HasThunarAction(document, &isThere, &problem)) << problem.reason;
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
           Document("", "<![CDATA[" + std::string(kOurs) + "]]>"),
           Document("", "<a>" + std::string(kOurs) + "</a>"),
           Document("<!DOCTYPE actions [<!ENTITY e '<action>'>]>", "&e;"),
           Document("<!DOCTYPE actions SYSTEM 'absent' [<!ENTITY e SYSTEM 'absent'>]>", "&e;"),
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
  const std::string id = "<unique-id>org.tessary.Tessary-aggregate</unique-id>";
  EXPECT_EQ(Document("", other),
            Remove(Document("", "<action>" + id + id + "</action>\n" + other)));
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
  struct Row {
    std::string document;
    const char* position;
    const char* reason;
  };
  using namespace std::string_literals;
  const std::vector<Row> rows = {
      {"", ":1:1", "no element found"},
      {"text", ":1:1", "syntax error"},
      {"<actions>\n<action>\n</actions>", ":3:3", "mismatched tag"},
      {"<actions>\n", ":2:1", "no element found"},
      {"<actions/><actions/>", ":1:11", "junk after document element"},
      {Document("", "&nbsp;"), ":1:10", "undefined entity"},
      {Document("", "\xFF"), ":1:10", "not well-formed (invalid token)"},
      {"<\0a\0c\0t\0i\0o\0n\0s\0/\0>\0"s, "", "not UTF-8 text"},
      {"<action/>", "", "root element is <action>, expected <actions>"},
  };
  for (const auto& [document, position, reason] : rows) {
    std::string changed = "as it was";
    DocumentProblem problem;
    bool isThere = false;
    EXPECT_FALSE(HasThunarAction(document, &isThere, &problem)) << document;
    EXPECT_EQ(position, problem.position) << document;
    EXPECT_EQ(reason, problem.reason) << document;
    EXPECT_FALSE(AddThunarAction(document, &changed, &problem)) << document;
    EXPECT_FALSE(RemoveThunarAction(document, &changed, &problem)) << document;
    EXPECT_EQ("as it was", changed);
  }
}

}  // namespace
}  // namespace tessary::test
