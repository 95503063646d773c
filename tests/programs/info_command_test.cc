#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <string>

#include "programs/cli/json_bytes.h"
#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/programs/program.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/tool.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class InfoCommand : public ProgramTest {
 protected:
  ProgramResult PrintInfo(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "info");
    return Run(arguments, {.folder = At(""), .environment = {{"TZ", "UTC"}}});
  }

  // A file with all metadata, in several forms.
  bool MakeMacFile() const {
    WriteFile(At("photo.jpg"), "x");
    SetModificationDate(At("photo.jpg"), 1'236'168'000);
    return SetAttribute(At("photo.jpg"), "user.DosStream.AFP_AfpInfo:$DATA",
                        FromHex(kAfpinfoOfSambaStream)) &&
           SetAttribute(At("photo.jpg"), "user.DOSATTRIB", FromHex(kDosAttributes4)) &&
           SetAttribute(At("photo.jpg"), "user.com.apple.metadata:kMDItemFinderComment",
                        FromHex(kPropertyUtf16));
  }
};

TEST_F(InfoCommand, PrintsValuesWithTheirOrigins) {
  if (!MakeMacFile()) GTEST_SKIP() << "no attributes here";
  const ProgramResult result = PrintInfo({"photo.jpg"});
  EXPECT_EQ(0, result.status);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(At("photo.jpg") + R"(
  item: file
  filed: no (hidden)
  by extension: jpg
  by file type: TEXT
  by MIME type: image/jpeg
  by modification date: 2009/Mar 04, 2009
  by creation date: 2009/Mar 04, 2009
  type: "TEXT" (user.DosStream.AFP_AfpInfo:$DATA)
  creator: "ttxt" (user.DosStream.AFP_AfpInfo:$DATA)
  flags: 0x4000 invisible (user.DosStream.AFP_AfpInfo:$DATA)
  comment: "ask K)"
                              "\u00e4"
                              R"(the" (user.com.apple.metadata:kMDItemFinderComment)
  modified: 2009-03-04T12:00:00.000000000Z
  created: 2009-03-04T05:06:07.123456700Z (user.DOSATTRIB)
)",
            result.output);
}

TEST_F(InfoCommand, PrintsTheSameForARsyncCopy) {
  if (!MakeMacFile()) GTEST_SKIP() << "no attributes here";
  ASSERT_TRUE(SetAttribute(At("photo.jpg"), "user.com.apple.FinderInfo",
                           "JPEG8BIM" + std::string(24, '\0')));
  const ToolResult rsync = RunTool({"rsync", "-aX", At("photo.jpg"), At("copy.jpg")});
  if (rsync.status == 127) GTEST_SKIP() << "rsync is not installed";
  ASSERT_EQ(0, rsync.status) << rsync.output;
  const std::string original = PrintInfo({"photo.jpg"}).output;
  EXPECT_THAT(original, HasSubstr("type: \"JPEG\" (user.com.apple.FinderInfo)\n"));
  const std::string copy = PrintInfo({"copy.jpg"}).output;
  EXPECT_EQ(original.substr(original.find('\n')), copy.substr(copy.find('\n')));
}

TEST_F(InfoCommand, PrintsJson) {
  if (!MakeMacFile()) GTEST_SKIP() << "no attributes here";
  const ProgramResult result = PrintInfo({"--json", "photo.jpg"});
  EXPECT_EQ(0, result.status);
  EXPECT_EQ("[\n{\"path\":\"" + At("photo.jpg") +
                R"(","item":"file","filed":false,"keys":{"extension":"jpg","file-type":"TEXT",)"
                R"("mime-type":"image/jpeg","modification-date":"2009/Mar 04, 2009",)"
                R"("creation-date":"2009/Mar 04, 2009"},"finder-info":{"type":"TEXT",)"
                R"("creator":"ttxt","flags":16384,"from":"user.DosStream.AFP_AfpInfo:$DATA"},)"
                R"("comment":{"text":"ask K)"
                "\u00e4"
                R"(the","from":"user.com.apple.metadata:kMDItemFinderComment"},)"
                R"("modification-date":"2009-03-04T12:00:00.000000000Z",)"
                R"("creation-date":{"date":"2009-03-04T05:06:07.123456700Z",)"
                R"("from":"user.DOSATTRIB"}})"
                "\n]\n",
            result.output);
}

TEST_F(InfoCommand, ReadsSidecars) {
  WriteFile(At("drawing"));
  WriteFile(
      At("._drawing"),
      MakeSidecar("8BPS8BIM" + std::string(24, '\0'),
                  {{"com.apple.metadata:kMDItemFinderComment", FromHex(kPropertyAscii)}}, "fork"));
  const ProgramResult result = PrintInfo({"drawing"});
  EXPECT_THAT(result.output, HasSubstr("  by file type: 8BPS\n"));
  EXPECT_THAT(result.output, HasSubstr("  type: \"8BPS\" (._drawing)\n"));
  EXPECT_THAT(result.output, HasSubstr("  comment: \"to be checked\" (._drawing)\n"));
}

// Reading recovers nothing that a crashed process has left.
TEST_F(InfoCommand, ChangesNothingOnDisk) {
  if (!CanCountCalls()) GTEST_SKIP() << "no process may trace another one here";
  const std::string uuid = "01234567-89AB-CDEF-0123-456789ABCDEF";
  for (const std::string name : {"folder/a", "folder/._a"}) WriteFile(At(name));
  WriteFile(At("folder/.tessary-" + uuid));
  WriteFile(At("folder/.tessary-pair-" + uuid));
  const std::vector<std::string> before = DescribeTree(At("folder"));
  CallCounts calls;
  const ProgramResult result = Run({"info", At("folder/a"), At("folder")}, {.calls = &calls});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_EQ(before, DescribeTree(At("folder")));
  for (const auto& [call, count] : calls) {
    EXPECT_THAT(call, testing::Not(testing::ContainsRegex(
                          "^(unlink|rename|link|mkdir|truncate|ftruncate|fsetxattr|utimensat)")))
        << count;
  }
}

TEST_F(InfoCommand, PrintsKindOfItem) {
  MakeFolder(At("folder"));
  MakeFolder(At("book.rtfd"));
  MakeFolder(At("Tool.app"));
  WriteFile(At(".hidden"));
  MakeLink("nowhere", At("link"));
  ASSERT_EQ(0, mkfifo(At("fifo").c_str(), 0600));
  const auto kindOf = [this](const std::string& name) {
    const std::string output = PrintInfo({name}).output;
    const size_t at = output.find("  item: ");
    return output.substr(at, output.find("  by extension", at) - at);
  };
  EXPECT_EQ("  item: folder\n  filed: no (folder)\n", kindOf("folder"));
  EXPECT_EQ("  item: package\n  filed: yes\n", kindOf("book.rtfd"));
  EXPECT_EQ("  item: application\n  filed: yes\n", kindOf("Tool.app"));
  EXPECT_EQ("  item: file\n  filed: no (hidden)\n", kindOf(".hidden"));
  EXPECT_EQ("  item: link\n  filed: yes\n", kindOf("link"));
  EXPECT_EQ("  item: special file\n  filed: yes\n", kindOf("fifo"));
  EXPECT_THAT(PrintInfo({"link"}).output, EndsWith("  modified: none\n  created: none\n"));
  EXPECT_EQ("  item: folder\n  filed: no (folder)\n", kindOf("folder/"));
  EXPECT_EQ("  item: folder\n  filed: no (folder)\n", kindOf("/"));
}

TEST_F(InfoCommand, ReportsMissingFilesAndPrintsTheOthers) {
  WriteFile(At("a"));
  WriteFile(At("b"));
  const ProgramResult some = PrintInfo({"a", "gone", "b"});
  EXPECT_EQ(3, some.status);
  EXPECT_THAT(some.Problems(), ElementsAre("gone: cannot read: No such file or directory"));
  EXPECT_THAT(some.output, HasSubstr(At("a") + "\n"));
  EXPECT_THAT(some.output, HasSubstr(At("b") + "\n"));
  const ProgramResult none = PrintInfo({"gone/too", ""});
  EXPECT_EQ(1, none.status);
  EXPECT_EQ("", none.output);
  EXPECT_EQ(2U, none.Problems().size());
  const ProgramResult printed = PrintInfo({"--json", "gone"});
  EXPECT_EQ(1, printed.status);
  EXPECT_EQ("[\n{\"path\":\"gone\",\"error\":\"No such file or directory\"}\n]\n", printed.output);
}

TEST_F(InfoCommand, AcceptsAnyName) {
  WriteFile(At("-new\nline \"quoted\" \xFF.x\\"));
  const ProgramResult text = PrintInfo({"--", "-new\nline \"quoted\" \xFF.x\\"});
  EXPECT_EQ(0, text.status);
  EXPECT_THAT(text.output, HasSubstr("/-new\\nline \"quoted\" \xFF.x\\\n  item: file\n"));
  const ProgramResult printed = PrintInfo({"--json", "--", "-new\nline \"quoted\" \xFF.x\\"});
  const nlohmann::json item = nlohmann::json::parse(printed.output)[0];
  EXPECT_EQ(At("-new\nline \"quoted\" \xFF.x\\"), BytesFromJson(item["path"]));
  EXPECT_EQ("x\\", item["keys"]["extension"]);
}

// A parser of another language reads the bytes of a name that is not UTF-8.
TEST_F(InfoCommand, PrintsJsonForAnyParser) {
  WriteFile(At("\xFFname\xED\xA0\x80.\xE9"));
  WriteFile(At("out.json"), PrintInfo({"--json", "\xFFname\xED\xA0\x80.\xE9"}).output);
  const ToolResult python =
      RunTool({"python3", "-c",
               "import json, sys, urllib.parse\n"
               "item = json.loads(open(sys.argv[1], 'rb').read().decode('utf-8'))[0]\n"
               "decode = lambda text: urllib.parse.unquote_to_bytes(text['percentEncoded'])\n"
               "assert decode(item['path']).endswith(b'/\\xffname\\xed\\xa0\\x80.\\xe9')\n"
               "assert decode(item['keys']['extension']) == b'\\xe9'\n",
               At("out.json")});
  if (python.status == 127) GTEST_SKIP() << "python3 is not installed";
  EXPECT_EQ(0, python.status) << python.output;
  const ToolResult perl =
      RunTool({"perl", "-MJSON::PP", "-0777", "-ne",
               "$item = JSON::PP->new->utf8->decode($_)->[0]; exit($item->{filed} ? 0 : 1)",
               At("out.json")});
  if (perl.status == 127) GTEST_SKIP() << "perl is not installed";
  EXPECT_EQ(0, perl.status) << perl.output;
}

TEST_F(InfoCommand, RefusesBadUsage) {
  EXPECT_EQ(2, PrintInfo({}).status);
  EXPECT_EQ(2, PrintInfo({"--json"}).status);
  EXPECT_EQ(2, PrintInfo({"--xml", "a"}).status);
  EXPECT_THAT(PrintInfo({}).Problems(),
              ElementsAre("missing FILE. Try 'tessary-cli info --help'."));
  EXPECT_THAT(PrintInfo({"--help", "a"}).output, HasSubstr("Usage:"));
  EXPECT_THAT(PrintInfo({"--help"}).errors, IsEmpty());
}

}  // namespace
}  // namespace tessary::test
