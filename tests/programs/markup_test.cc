#include "programs/cli/markup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessary::test {
namespace {

using testing::HasSubstr;

// Each element as "name<parent's index>[text from begin to end]".
std::vector<std::string> Describe(const std::string& text) {
  std::vector<MarkupElement> elements;
  std::string problem;
  EXPECT_TRUE(ParseMarkup(text, &elements, &problem)) << text << ": " << problem;
  std::vector<std::string> lines;
  for (const MarkupElement& element : elements) {
    const std::string parent = element.parent == kNoElement ? "-" : std::to_string(element.parent);
    lines.push_back(std::string(element.name) + " " + parent + " " +
                    text.substr(element.begin, element.end - element.begin) + " " +
                    text.substr(element.contentBegin, element.contentEnd - element.contentBegin));
  }
  return lines;
}

TEST(ParseMarkup, FindsElements) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ((Lines{"a - <a/> "}), Describe("<a/>"));
  EXPECT_EQ((Lines{"a - <a></a> "}), Describe("\n<a></a>\n"));
  EXPECT_EQ((Lines{"a - <a>x<b c='>'/>y</a > x<b c='>'/>y", "b 0 <b c='>'/> "}),
            Describe("<a>x<b c='>'/>y</a >"));
  EXPECT_EQ((Lines{"a - <a><b><c/></b><d>e</d></a> <b><c/></b><d>e</d>", "b 0 <b><c/></b> <c/>",
                   "c 1 <c/> ", "d 0 <d>e</d> e"}),
            Describe("<a><b><c/></b><d>e</d></a>"));
}

TEST(ParseMarkup, AcceptsXml) {
  for (const char* text : {
           "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<a/>\r\n",
           "<!DOCTYPE a [\n<!ELEMENT a (b|c)*> <!-- it's ]> --> <!ENTITY d \"]>\">\n]>\n<a/>",
           "<!DOCTYPE a><a/>",
           "<!-- <b> -- > --><a><!-- </a> --></a><!-- after -->",
           "<a><![CDATA[ </a> & ]]></a>",
           "<a b = \"1\" c='2'\n d:e=\"&lt;&#60;&#x3C;'\">&amp;&lt;&gt;&quot;&apos;</a>",
           "<\xC3\xA4:b-1._/>",
           "<a>>]\t</a>",
       }) {
    Describe(text);
  }
}

TEST(ParseMarkup, ReportsProblemAndLine) {
  struct Row {
    const char* text;
    const char* problem;
  };
  const std::vector<Row> rows = {
      {"", "line 1: no element"},
      {"\n \n", "line 1: no element"},
      {"<!-- a -->", "no element"},
      {"x<a/>", "line 1: text outside the root element"},
      {"<a/>\nx", "line 2: text outside the root element"},
      {"<a/><b/>", "second root element <b>"},
      {"<a>\n<b>\n</a>", "line 3: unmatched end tag </a>"},
      {"<a>\n<b></b>", "line 1: unclosed element <a>"},
      {"<a", "unterminated tag <a>"},
      {"<a b", "attribute b has no quoted value"},
      {"<a b>", "attribute b has no quoted value"},
      {"<a b=c>", "attribute b has no quoted value"},
      {"<a b=\"c>", "unterminated attribute value"},
      {"<a b='<'/>", "\"<\" in the value of attribute b"},
      {"<a b='&'/>", "unknown entity"},
      {"<a b='1' 2/>", "unterminated tag <a>"},
      {"<a/ >", "unterminated tag <a>"},
      {"</a>", "unmatched end tag </a>"},
      {"<a></a", "unterminated tag </a>"},
      {"<a>&b;</a>", "unknown entity"},
      {"<a>&amp</a>", "unknown entity"},
      {"<a>&#;</a>", "unknown entity"},
      {"<a>&#x;</a>", "unknown entity"},
      {"<a>&#6a;</a>", "unknown entity"},
      {"<a>1 < 2</a>", "invalid tag name"},
      {"<1/>", "invalid tag name"},
      {"<", "invalid tag name"},
      {"<!-- a", "unterminated comment"},
      {"<?xml", "unterminated processing instruction"},
      {"<a><![CDATA[x]></a>", "unterminated CDATA section"},
      {"<![CDATA[x]]><a/>", "text outside the root element"},
      {"<!DOCTYPE a [", "unterminated DOCTYPE"},
      {"<!DOCTYPE a ']><a/>", "unterminated quoted text"},
      {"<a/><!DOCTYPE a>", "DOCTYPE must precede the root element"},
      {"<a>\xFF</a>", "not valid UTF-8"},
      {"\xFF\xFE<\0a\0/\0>\0", "not valid UTF-8"},
      {"<a>\n\x01</a>", "line 2: control character"},
  };
  for (const Row& row : rows) {
    std::vector<MarkupElement> elements(1);
    std::string problem;
    EXPECT_FALSE(ParseMarkup(row.text, &elements, &problem)) << row.text;
    EXPECT_THAT(problem, HasSubstr(row.problem)) << row.text;
    EXPECT_EQ(1U, elements.size());
  }
}

TEST(ParseMarkup, FailsForEachPrefix) {
  const std::string text =
      "<?xml version='1.0'?><!DOCTYPE a [<!ELEMENT a ANY>]>\n<a b=\"&lt;\"><!-- c --><d/>"
      "<![CDATA[e]]>&amp;</a>\n";
  Describe(text);
  for (size_t size = 0; size + 1 < text.size(); ++size) {
    std::vector<MarkupElement> elements;
    std::string problem;
    EXPECT_FALSE(ParseMarkup(text.substr(0, size), &elements, &problem)) << size;
    EXPECT_THAT(problem, HasSubstr("line "));
  }
}

TEST(ParseMarkup, AcceptsDeepNesting) {
  constexpr size_t kDepth = 100000;
  std::string text;
  for (size_t i = 0; i < kDepth; ++i) text += "<a>";
  for (size_t i = 0; i < kDepth; ++i) text += "</a>";
  std::vector<MarkupElement> elements;
  std::string problem;
  EXPECT_TRUE(ParseMarkup(text, &elements, &problem)) << problem;
  EXPECT_EQ(kDepth, elements.size());
}

}  // namespace
}  // namespace tessary::test
