#include "app/opened_items.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"
#include "platform/managers/apple_event_handlers.h"
#include "platform/managers/apple_events.h"
#include "tests/app/application_fixture.h"
#include "tests/support/scripted_drag.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

FSSpec SpecOf(const std::string& path) {
  FSSpec spec;
  EXPECT_EQ(noErr, GetLegacyFileSpec(RefAt(path), &spec)) << path;
  return spec;
}

class OpenedItemsTest : public ApplicationTest {
 protected:
  // Makes source folders of these names, each with a file, and answers the panels with as many
  // destinations. Returns the paths of the sources.
  Calls MakeSources(const Calls& names) {
    Calls paths;
    for (const std::string& name : names) {
      paths.push_back(folder_ / name);
      WriteFile(paths.back() + "/" + name + ".txt");
      system_.AnswerPanel(MakeDestination("for " + name));
    }
    return paths;
  }

  static ScriptedDrag DragOf(const Calls& paths) {
    ScriptedDrag drag;
    for (const std::string& path : paths) drag.AddPath(path);
    return drag;
  }

  // Drops on the window of the running program and returns the status of the drop. The recorded
  // calls are those until the program ended.
  Status Drop(const Drag& drag) {
    Status status = noErr;
    EXPECT_EQ(noErr, RunProgram([&] { status = Main().Drop(drag); }));
    return status;
  }

  // The files in the destinations of the runs, in the order of the runs.
  Calls AggregatedInOrder() {
    Calls filed;
    for (const std::string& call : CallsOf(system_.TakeCalls(), "OpenFolder ")) {
      for (const std::string& file : FilesBelow(call.substr(std::string("OpenFolder ").size()))) {
        filed.push_back(file);
      }
    }
    return filed;
  }
};

const Calls kHiliteCalls = {"ShowDragHilite 2,2 to 398,298", "HideDragHilite"};

// ---- Drags ----

TEST_F(OpenedItemsTest, AcceptDragsWithExistingItem) {
  MakeFolder(folder_ / "folder");
  WriteFile(folder_ / "a\nfile \xff.tar.gz");
  MakeLink("missing", folder_ / "dangling");
  MakeFolder(folder_ / "gone");
  const ScriptedDrag gone = DragOf({folder_ / "gone"});
  fs::remove(folder_ / "gone");
  const std::string folder = folder_ / "folder";
  EXPECT_TRUE(IsDragAcceptable(DragOf({folder})));
  EXPECT_TRUE(IsDragAcceptable(DragOf({folder_ / "a\nfile \xff.tar.gz"})));
  EXPECT_TRUE(IsDragAcceptable(DragOf({folder_ / "dangling"})));
  EXPECT_TRUE(IsDragAcceptable(ScriptedDrag().AddText().AddPath(folder)));
  EXPECT_TRUE(IsDragAcceptable(ScriptedDrag().AddPath(folder).AddText()));
  EXPECT_TRUE(IsDragAcceptable(ScriptedDrag().AddUnreadable(ioErr).AddPath(folder)));

  EXPECT_FALSE(IsDragAcceptable(gone));
  EXPECT_FALSE(IsDragAcceptable(ScriptedDrag()));
  EXPECT_FALSE(IsDragAcceptable(ScriptedDrag().AddText().AddText()));
  EXPECT_FALSE(IsDragAcceptable(ScriptedDrag().AddUnreadable(badDragFlavorErr)));
  EXPECT_FALSE(IsDragAcceptable(ScriptedDrag().AddPath(folder).FailCount(ioErr)));
}

TEST_F(OpenedItemsTest, TrackAcceptableDrag) {
  RecordingWindow window(&system_, "MainWindow");
  const ScriptedDrag drag = DragOf({folder_.path()});
  struct Row {
    int message;
    Status status;
    Calls calls;
  };
  const std::vector<Row> rows = {
      {1, noErr, {}},    {2, noErr, {kHiliteCalls[0]}},
      {3, paramErr, {}}, {4, noErr, {kHiliteCalls[1]}},
      {5, noErr, {}},    {0, paramErr, {}},
      {6, paramErr, {}}, {-1, paramErr, {}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.status, TrackDrag(static_cast<DragTrackingMessage>(row.message), &window, drag))
        << row.message;
    EXPECT_EQ(row.calls, system_.TakeCalls()) << row.message;
  }
}

TEST_F(OpenedItemsTest, RefuseDragWithoutFiles) {
  RecordingWindow window(&system_, "MainWindow");
  const ScriptedDrag text = ScriptedDrag().AddText();
  // The previous drag was acceptable.
  EXPECT_EQ(noErr,
            TrackDrag(DragTrackingMessage::kEnterHandler, &window, DragOf({folder_.path()})));
  EXPECT_EQ(dragNotAcceptedErr, TrackDrag(DragTrackingMessage::kEnterHandler, &window, text));
  EXPECT_EQ(noErr, TrackDrag(DragTrackingMessage::kEnterWindow, &window, text));
  EXPECT_EQ(noErr, TrackDrag(DragTrackingMessage::kLeaveWindow, &window, text));
  EXPECT_EQ(dragNotAcceptedErr, ReceiveDrag(&window, text));
  EXPECT_TRUE(system_.TakeCalls().empty());
}

// ---- Drops ----

TEST_F(OpenedItemsTest, RunDroppedFoldersInOrder) {
  EXPECT_EQ(noErr, Drop(DragOf(MakeSources({"c", "a", "b"}))));
  EXPECT_EQ(3U, system_.Panels().size());
  EXPECT_EQ((Calls{"txt/c.txt", "txt/a.txt", "txt/b.txt"}), AggregatedInOrder());
}

TEST_F(OpenedItemsTest, ReturnFromDropAndEventBeforeRun) {
  const ScriptedDrag drag = DragOf(MakeSources({"a"}));
  EXPECT_EQ(
      noErr, RunProgram([&] {
        EXPECT_EQ(noErr, Main().Drop(drag));
        EXPECT_EQ((Calls{kHiliteCalls[0], kHiliteCalls[1], "InstallTimer 0"}), system_.TakeCalls());
        EXPECT_TRUE(system_.FireTimer());
        EXPECT_EQ((Calls{"BringApplicationToFront", "InstallTimer 0.001"}), system_.TakeCalls());
        EXPECT_TRUE(system_.FireTimer());
        EXPECT_EQ((Calls{"txt/a.txt"}), AggregatedInOrder());
        EXPECT_FALSE(system_.FireTimer());
      }));
}

TEST_F(OpenedItemsTest, IgnoreDroppedFile) {
  WriteFile(folder_ / "file.txt", "kept");
  EXPECT_EQ(noErr, Drop(DragOf({folder_ / "file.txt"})));
  EXPECT_EQ((Calls{kHiliteCalls[0], kHiliteCalls[1], "InstallTimer 0", "BringApplicationToFront",
                   "InstallTimer 0.001", "DisposeWindow MainWindow"}),
            system_.TakeCalls());
  EXPECT_EQ("kept", ReadFile(folder_ / "file.txt"));
}

TEST_F(OpenedItemsTest, RunFoldersOfMixedDrop) {
  const Calls sources = MakeSources({"a", "b"});
  WriteFile(folder_ / "file.txt");
  MakeFolder(folder_ / "gone");
  ScriptedDrag drag;
  drag.AddText().AddPath(folder_ / "gone").AddPath(sources[0]).AddText();
  drag.AddPath(folder_ / "file.txt").AddPath(sources[1]);
  fs::remove(folder_ / "gone");
  EXPECT_EQ(noErr, Drop(drag));
  EXPECT_EQ((Calls{"txt/a.txt", "txt/b.txt"}), AggregatedInOrder());
}

TEST_F(OpenedItemsTest, BeepIfLastItemFails) {
  const Calls sources = MakeSources({"a"});
  EXPECT_EQ(paramErr, Drop(ScriptedDrag().AddPath(sources[0]).AddText()));
  EXPECT_EQ((Calls{kHiliteCalls[0], kHiliteCalls[1], "Beep", "DisposeWindow MainWindow"}),
            system_.TakeCalls());
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(OpenedItemsTest, ReturnStatusOfUnreadableItem) {
  const Calls sources = MakeSources({"a"});
  EXPECT_EQ(ioErr, Drop(ScriptedDrag().AddPath(sources[0]).AddUnreadable(ioErr)));
  EXPECT_TRUE(CallsOf(system_.TakeCalls(), "Beep").empty());
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(OpenedItemsTest, BeepIfSendingFails) {
  const Calls sources = MakeSources({"a"});
  system_.FailCall("InstallTimer 0", memFullErr);
  EXPECT_EQ(memFullErr, Drop(DragOf(sources)));
  EXPECT_EQ((Calls{"Beep"}), CallsOf(system_.TakeCalls(), "Beep"));
}

TEST_F(OpenedItemsTest, SkipFolderDeletedAfterDrop) {
  const Calls sources = MakeSources({"a", "b", "c"});
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, Main().Drop(DragOf(sources)));
              fs::remove_all(sources[1]);
            }));
  EXPECT_EQ((Calls{"txt/a.txt", "txt/c.txt"}), AggregatedInOrder());
  EXPECT_EQ(2U, system_.Panels().size());
}

TEST_F(OpenedItemsTest, SkipFolderReplacedAfterDrop) {
  const Calls sources = MakeSources({"a", "b"});
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, Main().Drop(DragOf(sources)));
              fs::rename(sources[0], folder_ / "elsewhere");
              WriteFile(sources[0] + "/other.txt");
            }));
  EXPECT_EQ((Calls{"txt/b.txt"}), AggregatedInOrder());
}

TEST_F(OpenedItemsTest, RunThousandDroppedFolders) {
  constexpr int kCount = 1001;
  const std::string destination = MakeDestination();
  ScriptedDrag drag;
  for (int i = 0; i < kCount; ++i) {
    const std::string source = folder_ / std::to_string(i);
    WriteFile(source + "/" + std::to_string(i) + ".txt");
    drag.AddPath(source);
    system_.AnswerPanel(destination);
  }
  EXPECT_EQ(noErr, Drop(drag));
  EXPECT_EQ(static_cast<size_t>(kCount), system_.Panels().size());
  EXPECT_EQ(static_cast<size_t>(kCount), FilesBelow(destination).size());
}

TEST_F(OpenedItemsTest, RunDropDuringRunAfterwards) {
  const Calls sources = MakeSources({"a", "b"});
  const ScriptedDrag second = DragOf({sources[1]});
  bool hasDropped = false;
  system_.whenCalled = [&](const std::string& call) {
    if (call != "Show 2" || std::exchange(hasDropped, true)) return;
    EXPECT_EQ(noErr, Main().Drop(second));
  };
  EXPECT_EQ(noErr, Drop(DragOf({sources[0]})));
  EXPECT_EQ((Calls{"txt/a.txt", "txt/b.txt"}), AggregatedInOrder());
}

// ---- The event to this process ----

TEST_F(OpenedItemsTest, SendNothingWithoutItems) {
  const FSSpec spec = SpecOf(folder_.path());
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(paramErr, SendOpenDocumentsToSelf(0, &spec));
              EXPECT_EQ(paramErr, SendOpenDocumentsToSelf(1, nullptr));
              EXPECT_TRUE(system_.TakeCalls().empty());
            }));
}

TEST_F(OpenedItemsTest, SendNothingIfLastItemFails) {
  const std::vector<FSSpec> specs = {SpecOf(folder_.path()), FSSpec{}};
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(paramErr, SendOpenDocumentsToSelf(specs.size(), specs.data()));
              EXPECT_TRUE(system_.TakeCalls().empty());
            }));
  EXPECT_EQ(procNotFound, SendOpenDocumentsToSelf(1, specs.data()));
}

// ---- Documents to open ----

AppleEvent OpenEvent(const std::optional<AEDesc>& directObject) {
  AppleEvent event;
  EXPECT_EQ(noErr, AECreateAppleEvent(kCoreEventClass, kAEOpenDocuments, AEDesc(),
                                      kAutoGenerateReturnID, kAnyTransactionID, &event));
  if (!directObject) return event;
  EXPECT_EQ(noErr, AEPutParamDesc(&event, keyDirectObject, *directObject));
  return event;
}

AEDesc RefDesc(const std::string& path) {
  const FSRef ref = RefAt(path);
  AEDesc desc;
  EXPECT_EQ(noErr, AECreateDesc(typeFSRef, &ref, sizeof(ref), &desc));
  return desc;
}

TEST_F(OpenedItemsTest, AcceptSingleItem) {
  const Calls sources = MakeSources({"a"});
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, HandleOpenDocuments(OpenEvent(RefDesc(sources[0])), nullptr, 0));
            }));
  EXPECT_EQ((Calls{"txt/a.txt"}), AggregatedInOrder());
}

TEST_F(OpenedItemsTest, ReturnStatusOfMissingList) {
  AEDesc record;
  EXPECT_EQ(noErr, AECreateList(true, &record));
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(errAEDescNotFound,
                        HandleOpenDocuments(OpenEvent(std::nullopt), nullptr, 0));
              EXPECT_EQ(errAECoercionFail, HandleOpenDocuments(OpenEvent(record), nullptr, 0));
              EXPECT_EQ((Calls{"BringApplicationToFront", "BringApplicationToFront"}),
                        system_.TakeCalls());
            }));
}

TEST_F(OpenedItemsTest, SkipItemsThatAreNotReferences) {
  const Calls sources = MakeSources({"a"});
  AEDesc list;
  EXPECT_EQ(noErr, AECreateList(false, &list));
  EXPECT_EQ(noErr, AEPutPtr(&list, 0, typeUTF8Text, "text", 4));
  EXPECT_EQ(noErr, AEPutPtr(&list, 0, typeAlias, "short", 5));
  EXPECT_EQ(noErr, AEPutDesc(&list, 0, AEDesc()));
  EXPECT_EQ(noErr, AEPutDesc(&list, 0, RefDesc(sources[0])));
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, HandleOpenDocuments(OpenEvent(list), nullptr, 0));
            }));
  EXPECT_EQ((Calls{"txt/a.txt"}), AggregatedInOrder());
  EXPECT_EQ(1U, system_.Panels().size());
}

TEST_F(OpenedItemsTest, RunNewerListForBothTimers) {
  const Calls sources = MakeSources({"older", "newer"});
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, HandleOpenDocuments(OpenEvent(RefDesc(sources[0])), nullptr, 0));
              EXPECT_EQ(noErr, HandleOpenDocuments(OpenEvent(RefDesc(sources[1])), nullptr, 0));
              EXPECT_EQ(std::vector<double>({0.001, 0.001}), system_.TimerDelays());
            }));
  EXPECT_EQ(2U, system_.Panels().size());
  EXPECT_EQ((Calls{"older.txt"}), FilesBelow(sources[0]));
  EXPECT_EQ((Calls{"txt/newer.txt"}), FilesBelow(folder_ / "for older"));
}

TEST_F(OpenedItemsTest, AcceptEventWithoutTimer) {
  system_.FailCall("InstallTimer 0.001", memFullErr);
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, HandleOpenDocuments(OpenEvent(RefDesc(folder_.path())), nullptr, 0));
            }));
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(OpenedItemsTest, RunNothingWithoutPendingItems) {
  gPendingDocuments = AEDesc();
  ProcessPendingSources(std::nullopt);
  EXPECT_EQ(noErr, AECreateList(false, &gPendingDocuments));
  ProcessPendingSources(std::nullopt);
  ProcessPendingSources(folder_ / "missing");
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(OpenedItemsTest, ReduceDroppedApplication) {
  WriteFile(folder_ / "Tool.app/Contents/Resources/icon.png");
  WriteFile(folder_ / "Tool.app/main.bin");
  for (const auto& [stored, filed] : std::vector<std::pair<const char*, const char*>>{
           {"", "png/icon.png"},
           {"AggregateAppResourcesOnly = 1\n", "png/icon.png"},
           {"AggregateAppResourcesOnly = true\n", "bin/main.bin"}}) {
    preferences_.Write(stored);
    system_.AnswerPanel(MakeDestination(std::string("to") + stored));
    EXPECT_EQ(noErr, Drop(DragOf({folder_ / "Tool.app"})));
    EXPECT_EQ((Calls{filed}), AggregatedInOrder()) << stored;
  }
}

TEST_F(OpenedItemsTest, IgnoreApplicationWithoutResources) {
  WriteFile(folder_ / "Tool.app/main.bin");
  EXPECT_EQ(noErr, Drop(DragOf({folder_ / "Tool.app"})));
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(OpenedItemsTest, RunDroppedFrameworkAsGiven) {
  WriteFile(folder_ / "a.framework/Resources/icon.png");
  WriteFile(folder_ / "a.framework/main.bin");
  system_.AnswerPanel(MakeDestination());
  EXPECT_EQ(noErr, Drop(DragOf({folder_ / "a.framework"})));
  EXPECT_EQ((Calls{"bin/main.bin"}), AggregatedInOrder());
}

// ---- The service ----

Pasteboard PasteboardOf(const Calls& urls) {
  Pasteboard pasteboard;
  for (const std::string& url : urls) pasteboard.items.push_back({{kUTTypeFileURL, url}});
  return pasteboard;
}

class ServiceTest : public OpenedItemsTest {
 protected:
  // Sends the request and returns the files that were filed. Expects that the program comes to the
  // front and passes the event on in every case.
  Calls Perform(const std::optional<std::string>& message,
                const std::optional<Pasteboard>& pasteboard) {
    Calls filed;
    EXPECT_EQ(noErr, RunProgram([&] {
                EXPECT_EQ(eventNotHandledErr, system_.PerformService(message, pasteboard));
                EXPECT_TRUE(system_.TimerDelays().empty());
                const Calls calls = system_.TakeCalls();
                EXPECT_EQ("BringApplicationToFront", calls.at(0));
                for (const std::string& call : CallsOf(calls, "OpenFolder ")) {
                  for (const std::string& file : FilesBelow(call.substr(11))) filed.push_back(file);
                }
              }));
    return filed;
  }
};

TEST_F(ServiceTest, AcceptsNameInAnyCase) {
  for (const char* name : {"aggregate", "AGGREGATE", "Aggregate", "aGGREGATe"}) {
    const Calls sources = MakeSources({name});
    EXPECT_EQ((Calls{std::string("txt/") + name + ".txt"}),
              Perform(name, PasteboardOf({"file://" + sources[0]})))
        << name;
  }
}

TEST_F(ServiceTest, RefusesOtherRequests) {
  const Pasteboard pasteboard = PasteboardOf({"file://" + MakeSources({"a"})[0]});
  for (const char* name : {"", "aggregat", "aggregates", " aggregate", "open", "\xff"}) {
    EXPECT_TRUE(Perform(name, pasteboard).empty()) << name;
  }
  EXPECT_TRUE(Perform(std::nullopt, pasteboard).empty());
  EXPECT_TRUE(Perform("aggregate", std::nullopt).empty());
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(ServiceTest, RunsFirstFileOnly) {
  const Calls sources = MakeSources({"a", "b"});
  EXPECT_EQ((Calls{"txt/a.txt"}),
            Perform("aggregate", PasteboardOf({"file://" + sources[0], "file://" + sources[1]})));
  EXPECT_EQ(1U, system_.Panels().size());
}

TEST_F(ServiceTest, IgnoresInvalidUrls) {
  WriteFile(folder_ / "file");
  const std::vector<Calls> rows = {
      {},
      {""},
      {"text"},
      {"https://example.org/"},
      {"file://" + folder_.path() + "%zz"},
      {"file://" + (folder_ / "missing")},
      {"file://" + (folder_ / "file")},
  };
  for (const Calls& urls : rows) {
    EXPECT_TRUE(Perform("aggregate", PasteboardOf(urls)).empty()) << testing::PrintToString(urls);
  }
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(ServiceTest, ReadsFirstUrlOnly) {
  const std::string good = "file://" + folder_.path();
  FSRef ref;
  EXPECT_FALSE(PasteboardToFSRef(nullptr, &ref));
  const auto yields = [&ref](const Pasteboard& pasteboard) {
    return PasteboardToFSRef(std::make_shared<const Pasteboard>(pasteboard), &ref);
  };
  EXPECT_FALSE(
      PasteboardToFSRef(std::make_shared<const Pasteboard>(PasteboardOf({good})), nullptr));
  EXPECT_FALSE(yields({}));
  EXPECT_FALSE(yields({.items = {{{"public.utf8-plain-text", good}}}}));
  EXPECT_FALSE(yields(PasteboardOf({"", good})));
  EXPECT_FALSE(yields(PasteboardOf({"file:///missing%", good})));
  EXPECT_FALSE(FSIsFSRefValid(ref));
  EXPECT_TRUE(yields({.items = {{{"public.utf8-plain-text", "a"}}, {{kUTTypeFileURL, good}}}}));
  EXPECT_EQ(noErr, FSCompareFSRefs(ref, RefAt(folder_.path())));
}

}  // namespace
}  // namespace tessary::test
