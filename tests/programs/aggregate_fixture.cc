#include "tests/programs/aggregate_fixture.h"

#include <filesystem>

namespace tessary::test {

namespace fs = std::filesystem;

AggregateTest::AggregateTest() {
  MakeFolder(At("source"));
  MakeFolder(At("destination"));
}

void AggregateTest::FillSource() const {
  WriteFile(At("source/a.txt"), "a");
  WriteFile(At("source/caf\xe9.txt"), "bytes");
  WriteFile(At("source/new\nline.txt"), "newline");
  WriteFile(At("source/two..txt"), "dots");
  WriteFile(At("source/.hidden.txt"), "hidden");
  WriteFile(At("source/none"), "no extension");
  fs::create_hard_link(At("source/a.txt"), At("source/hard.txt"));
  MakeLink("nowhere", At("source/dangling.txt"));
  for (const std::string& name : NamesIn(At("source"))) {
    SetModificationDate(At("source/" + name), kMarch2009);
  }
}

}  // namespace tessary::test
