#include "programs/cli/undo_plan.h"

#include <algorithm>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

namespace tessary {
namespace {

class UndoPlanner {
 public:
  explicit UndoPlanner(const Journal& journal) : journal_(journal) {}

  UndoPlan Make() {
    for (uint64_t number = 1; number <= journal_.changes.size(); ++number) {
      if (!ChangeAt(number).hasFailed) Add(number);
    }
    std::erase_if(steps_, [](const Step& step) { return step.lastChange == kDropped; });
    // The folders are removed after the items in them, and before the folders around them.
    std::ranges::sort(steps_, std::greater(), &Step::lastChange);
    UndoPlan plan = {.steps = {}, .replacedItems = replacedItems_};
    for (Step& step : steps_) plan.steps.push_back(std::move(step.step));
    return plan;
  }

 private:
  struct Step {
    UndoStep step;
    uint64_t lastChange = 0;
  };

  static constexpr uint64_t kDropped = 0;

  const JournalChange& ChangeAt(uint64_t number) const { return journal_.changes[number - 1]; }

  void Add(uint64_t number) {
    const JournalChange& change = ChangeAt(number);
    switch (change.change.kind) {
      case ChangeKind::kFolderCreated:
        AddStep(CreatedFolder{change.change.target, change.result}, change.change.target, number);
        break;
      case ChangeKind::kItemMoved:
        AddMove(number);
        break;
      case ChangeKind::kItemCopied:
        AddItem(number);
        break;
      case ChangeKind::kItemDeleted:
        AddDeletion(number);
        break;
    }
  }

  void AddStep(UndoStep step, const std::string& path, uint64_t number) {
    byPath_[path] = steps_.size();
    steps_.push_back({std::move(step), number});
  }

  void AddItem(uint64_t number) {
    const Change& change = ChangeAt(number).change;
    FiledItem item;
    item.original = change.source;
    item.originalState = *change.object;
    item.isCopy = change.kind == ChangeKind::kItemCopied;
    item.hasSidecar = change.hasSidecar;
    item.places.push_back(PlaceAfter(number));
    AddStep(std::move(item), change.target, number);
  }

  void AddMove(uint64_t number) {
    const Change& change = ChangeAt(number).change;
    const auto known = byPath_.find(change.source);
    FiledItem* item =
        known == byPath_.end() ? nullptr : std::get_if<FiledItem>(&steps_[known->second].step);
    if (item == nullptr) {
      AddItem(number);
      return;
    }
    // A run by date may move an item out of its day folder and into it again.
    if (change.target != item->original) item->places.push_back(PlaceAfter(number));
    steps_[known->second].lastChange = number;
    byPath_[change.target] = known->second;
    byPath_.erase(change.source);
  }

  void AddDeletion(uint64_t number) {
    const Change& change = ChangeAt(number).change;
    const auto known = byPath_.find(change.source);
    if (known == byPath_.end()) {
      ++replacedItems_;
      return;
    }
    // The run may have been killed before it deleted the item.
    if (number == journal_.changes.size()) return;
    Step& step = steps_[known->second];
    const auto* item = std::get_if<FiledItem>(&step.step);
    if (item != nullptr && !item->isCopy) ++replacedItems_;
    step.lastChange = kDropped;
    byPath_.erase(known);
  }

  // A copy, and an item that a killed run may have copied to another filesystem, has another
  // identity than the object that was recorded.
  FiledItem::Place PlaceAfter(uint64_t number) const {
    const JournalChange& change = ChangeAt(number);
    ObjectState state = change.result.value_or(*change.change.object);
    const bool mayBeCopy =
        change.change.kind == ChangeKind::kItemCopied || number == journal_.changes.size();
    if (!change.result && mayBeCopy) state.inode = 0;
    return {change.change.target, state, StagingUuidOf(journal_.header.id, number)};
  }

  const Journal& journal_;
  std::vector<Step> steps_;
  std::unordered_map<std::string, size_t> byPath_;  // the steps of the objects that are there
  uint64_t replacedItems_ = 0;
};

}  // namespace

UndoPlan MakeUndoPlan(const Journal& journal) { return UndoPlanner(journal).Make(); }

}  // namespace tessary
