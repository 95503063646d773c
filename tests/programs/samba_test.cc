#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/programs/program.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/tool.h"

// Files with the metadata that a Mac writes to a Samba server: read by the program, and read
// through Samba after the program moved or copied them.
namespace tessary::test {
namespace {

using testing::HasSubstr;

constexpr char kStream[] = "com.apple.metadata\uF022kMDItemFinderComment:$DATA";

// A free port of the loopback interface.
std::string FreePort() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  EXPECT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), size));
  EXPECT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size));
  close(listener);
  return std::to_string(ntohs(address.sin_port));
}

// The Finder information that a Mac sends for a visible text file.
std::string AfpInfo() {
  std::string info = FromHex(kAfpinfoOfSambaStream).substr(0, 60);
  info[16 + 8] = '\0';
  return info;
}

class Samba : public ProgramTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "the server has to run as root";
    if (RunTool({"smbd", "--version"}).status != 0 ||
        RunTool({"smbclient", "--version"}).status != 0) {
      GTEST_SKIP() << "samba and smbclient are not installed";
    }
    if (!SetAttribute(At(""), "user.test", "")) GTEST_SKIP() << "no attributes here";
    MakeFolder(At("share/source"));
    MakeFolder(At("share/destination"));
    MakeFolder(At("samba"));
    WriteFile(At("contents"), "text");
    WriteFile(At("afp_info"), AfpInfo());
    WriteFile(At("comment"), FromHex(kPropertyUtf16));
    WriteConfiguration();
    // The server kills its process group when it ends, so that it needs a group of its own.
    server_ = StartTool({"setsid", "smbd", "-F", "--no-process-group", "-s", At("smb.conf")});
    ASSERT_GT(server_, 0);
    if (!Answers()) GTEST_SKIP() << "no server with the module vfs_fruit: " << Client("ls").output;
  }

  void TearDown() override {
    if (server_ <= 0) return;
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }

  ToolResult Client(const std::string& commands) const {
    return RunTool({"env", "LC_ALL=C.UTF-8", "smbclient", "//127.0.0.1/share", "-p", port_, "-N",
                    "-s", At("smb.conf"), "-c", "lcd " + At("") + "; " + commands});
  }

  void WriteAsMac(const std::string& file) const {
    const ToolResult result = Client("put contents " + file + "; put afp_info \"" + file +
                                     ":AFP_AfpInfo\"; put comment \"" + file + ":" + kStream +
                                     "\"; utimes " + file + " 2009:03:04-05:06:07 -1 -1 -1");
    ASSERT_EQ(0, result.status) << result.output;
  }

  // The stream as a client reads it.
  std::string Get(const std::string& stream) const {
    const ToolResult result = Client("get \"" + stream + "\" got");
    EXPECT_EQ(0, result.status) << result.output;
    return ReadFile(At("got"));
  }

 private:
  void WriteConfiguration() const {
    std::string text = "[global]\nsmb ports = " + port_ +
                       "\ninterfaces = 127.0.0.1\nbind interfaces only = yes\n"
                       "map to guest = bad user\nguest account = root\nload printers = no\n"
                       "disable spoolss = yes\nunix charset = UTF-8\nlog file = " +
                       At("samba/log") + "\n";
    for (const char* name : {"private dir", "state directory", "cache directory", "lock directory",
                             "pid directory", "ncalrpc dir"}) {
      text += std::string(name) + " = " + At("samba") + "\n";
    }
    text += "[share]\npath = " + At("share") +
            "\nguest only = yes\nguest ok = yes\nread only = no\n"
            "vfs objects = catia fruit streams_xattr\nfruit:metadata = " +
            GetParam() + "\n";
    WriteFile(At("smb.conf"), text);
  }

  bool Answers() const {
    for (int i = 0; i < 50; ++i) {
      if (Client("ls").status == 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
  }

  const std::string port_ = FreePort();
  pid_t server_ = -1;
};
INSTANTIATE_TEST_SUITE_P(Metadata, Samba, testing::Values("netatalk", "stream"),
                         [](const auto& metadata) { return std::string(metadata.param); });

TEST_P(Samba, MetadataIsRead) {
  WriteAsMac("source/file.txt");
  const std::string info = Run({"info", At("share/source/file.txt")}).output;
  const bool isStream = std::string(GetParam()) == "stream";
  const std::string origin =
      isStream ? "user.DosStream.AFP_AfpInfo:$DATA" : "user.org.netatalk.Metadata";
  EXPECT_THAT(info, HasSubstr("type: \"TEXT\" (" + origin + ")\n"));
  EXPECT_THAT(info, HasSubstr("creator: \"ttxt\" (" + origin + ")\n"));
  EXPECT_THAT(info, HasSubstr("comment: \"ask K\u00e4the\" (user.DosStream.com.apple.metadata"));
  EXPECT_THAT(info, HasSubstr("created: 2009-03-04T05:06:07.000000000Z (" +
                              (isStream ? std::string("user.DOSATTRIB") : origin) + ")\n"));
}

TEST_P(Samba, MetadataSurvivesMoveAndCopy) {
  for (const std::string way : {"--move", "--copy"}) {
    WriteAsMac("source/file" + way + ".txt");
    const auto result = Run({"aggregate", "--kind", "file-type", way, "--preserve-comments",
                             At("share/source"), At("share/destination")});
    EXPECT_EQ(0, result.status) << result.errors;
    const std::string filed = "destination/TEXT/file" + way + ".txt";
    EXPECT_EQ(AfpInfo(), Get(filed + ":AFP_AfpInfo"));
    EXPECT_EQ(FromHex(kPropertyUtf16), Get(filed + ":" + kStream));
    EXPECT_THAT(Client("allinfo " + filed).output, HasSubstr("Mar  4 05:06:07 2009"));
  }
}

TEST_P(Samba, CreationDateIsAKey) {
  WriteAsMac("source/file.txt");
  const auto result =
      Run({"aggregate", "--kind", "creation-date", At("share/source"), At("share/destination")},
          {.environment = {{"TZ", "UTC"}}});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_TRUE(Exists(At("share/destination/2009/Mar 04, 2009/file.txt")));
}

}  // namespace
}  // namespace tessary::test
