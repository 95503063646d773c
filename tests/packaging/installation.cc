#include "tests/packaging/installation.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <regex>
#include <set>
#include <sstream>

namespace tessary::test {

ToolResult RunTool(const std::string& tool, const std::vector<std::string>& arguments) {
  QStringList list;
  for (const std::string& argument : arguments) list.append(QString::fromStdString(argument));
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert("LC_ALL", "C.UTF-8");
  // Formats manual pages for this width and without preprocessors, like lintian does.
  environment.insert("MANWIDTH", "80");
  environment.insert("MANROFFSEQ", "");
  QProcess process;
  process.setProcessEnvironment(environment);
  process.setProcessChannelMode(QProcess::MergedChannels);
  process.setStandardInputFile(QProcess::nullDevice());
  process.start(QString::fromStdString(tool), list);
  if (!process.waitForFinished(100000)) return {};
  const bool isEnd = process.exitStatus() == QProcess::NormalExit;
  return {.status = isEnd ? process.exitCode() : -1,
          .output = process.readAllStandardOutput().toStdString()};
}

std::string MissingTool(const std::vector<std::string>& tools) {
  for (const std::string& tool : tools) {
    if (QStandardPaths::findExecutable(QString::fromStdString(tool)).isEmpty()) return tool;
  }
  return {};
}

std::string SourcePath(const std::string& name) {
  return std::string(TESSARY_SOURCE_FOLDER "/") + name;
}

std::string SourceText(const std::string& name) { return ReadFile(SourcePath(name)); }

Installation::Installation() : prefix_(folder_ / "a prefix") {
  const ToolResult result =
      RunTool(TESSARY_CMAKE, {"--install", TESSARY_BUILD_FOLDER, "--prefix", prefix_});
  EXPECT_EQ(0, result.status) << result.output;
}

std::map<std::string, std::string> ReadKeyFile(const std::string& path,
                                               const std::string& section) {
  std::map<std::string, std::string> keys;
  std::istringstream lines(ReadFile(path));
  bool isInSection = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) isInSection = line == "[" + section + "]";
    const size_t equals = line.find('=');
    if (!isInSection || line.starts_with('#') || equals == std::string::npos) continue;
    keys[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return keys;
}

std::vector<std::string> FindWords(std::string_view text, const std::string& expression) {
  const std::string subject(text);
  const std::regex pattern(expression);
  std::set<std::string> words;
  for (std::sregex_iterator found(subject.begin(), subject.end(), pattern), end; found != end;
       ++found) {
    words.insert(found->size() > 1 ? found->str(1) : found->str());
  }
  return {words.begin(), words.end()};
}

}  // namespace tessary::test
