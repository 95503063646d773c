#include "programs/cli/item_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "programs/cli/run_totals.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The JSON of each record, without quotes.
class RecordsOfRun {
 public:
  void Add(const ItemReport& report) { records_.Add(report); }
  void Finish() { records_.Finish(); }
  std::vector<std::string> Take() { return std::exchange(lines_, {}); }

 private:
  std::vector<std::string> lines_;
  ItemRecords records_{[this](const ItemRecord& record) {
    std::string line = JsonOfRecord(record).dump();
    std::erase(line, '"');
    lines_.push_back(line);
  }};
};

ItemReport Report(std::string_view path, std::string_view folder, ItemOutcome outcome,
                  FilingStep step = FilingStep::kOnly) {
  const bool isThere = outcome == ItemOutcome::kFiled || outcome == ItemOutcome::kCommentNotCopied;
  return {.path = path,
          .folderPath = folder,
          .newName = isThere ? u"a" : u"",
          .outcome = outcome,
          .step = step,
          .isCopy = true,
          .status = IsFailure(outcome) ? afpAccessDenied : noErr};
}

TEST(ItemRecords, PassesEachOutcomeOnAtOnce) {
  RecordsOfRun records;
  ItemReport filed = Report("/s/a", "/d/txt", ItemOutcome::kFiled);
  filed.size = 12;
  records.Add(filed);
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/a,target:/d/txt/a,key:txt,outcome:filed,"
                                          "reason:null,size:12,operation:copy}"));
  records.Add({.path = "/s/a", .outcome = ItemOutcome::kSkipped});
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/a,target:null,key:null,outcome:skipped,"
                                          "reason:null,size:null,operation:null}"));
  records.Add(Report("/d/txt/a", "/d/txt", ItemOutcome::kSkipped));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/d/txt/a,target:null,key:txt,outcome:skipped,"
                                          "reason:null,size:null,operation:null}"));
  records.Add(Report("/s/a", "/d/txt", ItemOutcome::kNotTransferred));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/a,target:null,key:txt,outcome:failed,reason:"
                                          "Permission denied,size:null,operation:copy}"));
  records.Add(Report("/s/a", "/d/txt", ItemOutcome::kCommentNotCopied));
  EXPECT_THAT(records.Take(),
              ElementsAre("{source:/s/a,target:/d/txt/a,key:txt,outcome:failed,reason:"
                          "Permission denied,size:null,operation:copy}"));
  records.Add(Report("/s/a", "/d/txt", ItemOutcome::kNoKeyFolder));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/a,target:null,key:txt,outcome:failed,reason:"
                                          "Permission denied,size:null,operation:null}"));
  records.Add({.path = "", .outcome = ItemOutcome::kNotTransferred, .status = memFullErr});
  EXPECT_THAT(records.Take(), ElementsAre("{source:null,target:null,key:null,outcome:failed,reason:"
                                          "Cannot allocate memory,size:null,operation:move}"));
  records.Finish();
  EXPECT_THAT(records.Take(), IsEmpty());
}

TEST(ItemRecords, ReportsUnlistedFolderOnce) {
  RecordsOfRun records;
  for (int i = 0; i < 2; ++i) records.Add(Report("/s/b", "", ItemOutcome::kFolderNotListed));
  records.Add(Report("/s/b", "", ItemOutcome::kNotRead));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/b,target:null,key:null,outcome:failed,reason:"
                                          "Permission denied,size:null,operation:null}"));
}

TEST(ItemRecords, JoinsTheStepsOfARunByDate) {
  RecordsOfRun records;
  ItemReport year = Report("/s/a", "/d/2009", ItemOutcome::kFiled, FilingStep::kYear);
  year.size = 5;
  records.Add(year);
  EXPECT_THAT(records.Take(), IsEmpty());
  records.Add(Report("/d/2009/a", "/d/2009/Mar 04, 2009", ItemOutcome::kFiled, FilingStep::kDay));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/a,target:/d/2009/Mar 04, 2009/a,key:2009/"
                                          "Mar 04, 2009,outcome:filed,reason:null,size:5,"
                                          "operation:copy}"));
  records.Add(Report("/s/b", "/d/2009", ItemOutcome::kNotTransferred, FilingStep::kYear));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/s/b,target:null,key:2009,outcome:failed,reason:"
                                          "Permission denied,size:null,operation:copy}"));
}

// An item that stays in its year folder is reported for each source folder, and may be filed.
TEST(ItemRecords, KeepsWhatStaysInAYearFolder) {
  RecordsOfRun records;
  records.Add(Report("/s/a", "/d/2009", ItemOutcome::kFiled, FilingStep::kYear));
  for (int i = 0; i < 2; ++i) {
    for (const char* path : {"/d/2009/a", "/d/2009/old"}) {
      records.Add(
          Report(path, "/d/2009/Mar 04, 2009", ItemOutcome::kNoKeyFolder, FilingStep::kDay));
    }
  }
  EXPECT_THAT(records.Take(), IsEmpty());
  records.Add(Report("/d/2009/old", "/d/2009/b", ItemOutcome::kFiled, FilingStep::kDay));
  EXPECT_THAT(records.Take(), ElementsAre("{source:/d/2009/old,target:/d/2009/b/a,key:2009/b,"
                                          "outcome:filed,reason:null,size:null,operation:copy}"));
  records.Finish();
  EXPECT_THAT(records.Take(),
              ElementsAre("{source:/s/a,target:/d/2009/a,key:2009/Mar 04, 2009,outcome:failed,"
                          "reason:Permission denied,size:null,operation:null}"));
}

TEST(ItemRecords, ReportsAMissingCommentAfterBothSteps) {
  RecordsOfRun records;
  records.Add(Report("/s/a", "/d/2009", ItemOutcome::kCommentNotCopied, FilingStep::kYear));
  records.Add(Report("/d/2009/a", "/d/2009/b", ItemOutcome::kFiled, FilingStep::kDay));
  EXPECT_THAT(records.Take(),
              ElementsAre("{source:/s/a,target:/d/2009/b/a,key:2009/b,outcome:failed,reason:"
                          "Permission denied,size:null,operation:copy}"));
}

// A random run by date over several source folders, with items that were in the destination.
class RandomRunByDate {
 public:
  explicit RandomRunByDate(unsigned seed) : random_(seed) {}

  void Play(const std::function<void(const ItemReport&)>& observe) {
    for (size_t i = Choose(4); i > 0; --i) inYear_.push_back("/d/2009/" + NewName());
    for (size_t folder = 1 + Choose(4); folder > 0; --folder) {
      for (size_t i = Choose(5); i > 0; --i) PlayYearStep(observe);
      PlayDayStep(observe);
    }
  }

 private:
  size_t Choose(size_t count) { return random_() % count; }
  std::string NewName() { return std::to_string(++names_); }

  void PlayYearStep(const std::function<void(const ItemReport&)>& observe) {
    constexpr std::array kOutcomes = {ItemOutcome::kFiled,          ItemOutcome::kFiled,
                                      ItemOutcome::kSkipped,        ItemOutcome::kNotRead,
                                      ItemOutcome::kNotTransferred, ItemOutcome::kCommentNotCopied};
    const ItemOutcome outcome = kOutcomes[Choose(kOutcomes.size())];
    const std::string name = NewName();
    const std::string path = "/s/" + name;
    ItemReport report = Report(path, "/d/2009", outcome, FilingStep::kYear);
    const std::u16string newName(name.begin(), name.end());
    if (!report.newName.empty()) report.newName = newName;
    if (outcome == ItemOutcome::kSkipped) report.folderPath = {};
    observe(report);
    if (!report.newName.empty()) inYear_.push_back("/d/2009/" + name);
  }

  void PlayDayStep(const std::function<void(const ItemReport&)>& observe) {
    constexpr std::array kOutcomes = {ItemOutcome::kFiled, ItemOutcome::kSkipped,
                                      ItemOutcome::kNoKeyFolder};
    std::erase_if(inYear_, [&](const std::string& path) {
      const ItemOutcome outcome = kOutcomes[Choose(kOutcomes.size())];
      observe(Report(path, "/d/2009/b", outcome, FilingStep::kDay));
      return outcome == ItemOutcome::kFiled;
    });
  }

  std::mt19937 random_;
  int names_ = 0;
  std::vector<std::string> inYear_;
};

TEST(ItemRecords, AgreeWithTheTotals) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    RunTotals totals;
    ItemCounts counts;
    ItemRecords records([&counts](const ItemRecord& record) {
      if (record.outcome == ItemOutcome::kFiled) ++counts.filed;
      if (record.outcome == ItemOutcome::kSkipped) ++counts.skipped;
      if (IsFailure(record.outcome)) ++counts.failed;
    });
    RandomRunByDate(seed).Play([&](const ItemReport& report) {
      totals.Count(report);
      records.Add(report);
    });
    records.Finish();
    const ItemCounts source = totals.OfSource();
    const ItemCounts destination = totals.OfDestination();
    EXPECT_EQ(source.filed + destination.filed, counts.filed) << seed;
    EXPECT_EQ(source.skipped + destination.skipped, counts.skipped) << seed;
    EXPECT_EQ(source.failed + destination.failed, counts.failed) << seed;
  }
}

}  // namespace
}  // namespace tessary::test
