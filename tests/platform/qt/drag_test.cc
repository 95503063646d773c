#include "platform/qt/drag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QByteArray>
#include <QMimeData>
#include <string>

#include "platform/qt/file_uris.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;

QtDrag DragOf(const std::string& list) {
  QMimeData data;
  data.setData("text/uri-list", QByteArray::fromStdString(list));
  return QtDrag(data);
}

TEST(SplitUriList, SkipsCommentsAndEmptyLines) {
  EXPECT_THAT(SplitUriList("# two\r\nfile:///a\r\n\r\nfile:///b%20c"),
              ElementsAre("file:///a", "file:///b%20c"));
  EXPECT_THAT(SplitUriList(""), ElementsAre());
}

TEST(IsFileUri, IgnoresCaseOfScheme) {
  for (const char* uri : {"file:///a", "FILE:///a", "file:"}) EXPECT_TRUE(IsFileUri(uri)) << uri;
  for (const char* uri : {"", "file", "files:///a", "https://file:", "/a"}) {
    EXPECT_FALSE(IsFileUri(uri)) << uri;
  }
}

TEST(FileUriFromPath, RoundTripsAnyBytes) {
  const TemporaryFolder folder;
  for (const char* name : {"plain", "two words", "100%", "a#b?c", "caf\xE9", "\xC3\xA9t\xC3\xA9",
                           "line\nbreak", ".hidden", "a..b"}) {
    WriteFile(folder / name);
    EXPECT_EQ(folder / name, ResolveFileUri(FileUriFromPath(folder / name))) << name;
  }
}

TEST(ResolveFileUri, ResolvesLocalObjectsOnly) {
  const TemporaryFolder folder;
  MakeFolder(folder / "target");
  MakeLink(folder / "target", folder / "link");
  MakeLink(folder / "nowhere", folder / "dangling");
  EXPECT_EQ(folder / "target", ResolveFileUri("file://" + folder.path() + "/link"));
  for (const std::string& uri :
       {"file://" + folder.path() + "/dangling", "file://" + folder.path() + "/absent",
        "file://elsewhere" + folder.path(), "https://tessary.example" + folder.path(),
        "file://" + folder.path() + "/%zz", "file://" + folder.path() + "/target%00", folder.path(),
        std::string("file:"), std::string()}) {
    EXPECT_EQ(std::nullopt, ResolveFileUri(uri)) << uri;
  }
}

TEST(QtDrag, HasFlavorForLocalFilesOnly) {
  const TemporaryFolder folder;
  MakeFolder(folder / "folder");
  WriteFile(folder / "file");
  const QtDrag drag =
      DragOf(FileUriFromPath(folder / "folder") + "\r\nhttps://tessary.example\r\n" +
             FileUriFromPath(folder / "file") + "\r\nfile:///%4\r\n");
  size_t count = 0;
  ASSERT_EQ(noErr, drag.CountDragItems(&count));
  EXPECT_EQ(4U, count);
  EXPECT_EQ(paramErr, drag.CountDragItems(nullptr));
  EXPECT_TRUE(drag.HasFlavor(1, kDragFlavorTypeHFS));
  EXPECT_FALSE(drag.HasFlavor(1, FourCharCode("TEXT")));
  EXPECT_FALSE(drag.HasFlavor(2, kDragFlavorTypeHFS));
  EXPECT_TRUE(drag.HasFlavor(3, kDragFlavorTypeHFS));
  EXPECT_FALSE(drag.HasFlavor(4, kDragFlavorTypeHFS));
  for (const size_t outside : {size_t{0}, size_t{5}}) {
    EXPECT_FALSE(drag.HasFlavor(outside, kDragFlavorTypeHFS));
  }
}

TEST(QtDrag, GetFlavorData) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  if (!SetFinderInfo(folder / "file", "JPEG", 0x4000)) {
    GTEST_SKIP() << "no extended attributes here";
  }
  const QtDrag drag = DragOf(FileUriFromPath(folder / "file"));
  HFSFlavor flavor;
  ASSERT_EQ(noErr, drag.GetFlavorData(1, &flavor));
  EXPECT_EQ(FourCharCode("JPEG"), flavor.fileType);
  EXPECT_EQ(0x4000, flavor.fdFlags);
  FSRef ref;
  ASSERT_EQ(noErr, FSpMakeFSRef(flavor.fileSpec, &ref));
  EXPECT_EQ(noErr, FSCompareFSRefs(ref, RefAt(folder / "file")));
  EXPECT_EQ(badDragFlavorErr, drag.GetFlavorData(2, &flavor));
  EXPECT_EQ(paramErr, drag.GetFlavorData(1, nullptr));
}

TEST(QtDrag, FlavorsAreFixed) {
  const TemporaryFolder folder;
  WriteFile(folder / "first");
  WriteFile(folder / "second");
  const QtDrag drag =
      DragOf(FileUriFromPath(folder / "first") + "\r\n" + FileUriFromPath(folder / "second") +
             "\r\n" + FileUriFromPath(folder / "later"));
  EXPECT_EQ(0, unlink((folder / "first").c_str()));
  WriteFile(folder / "later");
  HFSFlavor flavor;
  for (const size_t item : {size_t{1}, size_t{2}}) {
    EXPECT_TRUE(drag.HasFlavor(item, kDragFlavorTypeHFS)) << item;
    EXPECT_EQ(noErr, drag.GetFlavorData(item, &flavor)) << item;
  }
  EXPECT_FALSE(drag.HasFlavor(3, kDragFlavorTypeHFS));
}

TEST(QtDrag, RemovesVanishedItems) {
  const TemporaryFolder folder;
  for (const char* name : {"first", "second", "third"}) WriteFile(folder / name);
  QtDrag drag =
      DragOf(FileUriFromPath(folder / "first") + "\r\nhttps://tessary.example\r\n" +
             FileUriFromPath(folder / "second") + "\r\n" + FileUriFromPath(folder / "third"));
  EXPECT_EQ(0, unlink((folder / "first").c_str()));
  EXPECT_EQ(0, unlink((folder / "third").c_str()));
  drag.RemoveVanished();
  size_t count = 0;
  ASSERT_EQ(noErr, drag.CountDragItems(&count));
  ASSERT_EQ(2U, count);
  EXPECT_FALSE(drag.HasFlavor(1, kDragFlavorTypeHFS));
  HFSFlavor flavor;
  ASSERT_EQ(noErr, drag.GetFlavorData(2, &flavor));
  FSRef ref;
  ASSERT_EQ(noErr, FSpMakeFSRef(flavor.fileSpec, &ref));
  EXPECT_EQ(noErr, FSCompareFSRefs(ref, RefAt(folder / "second")));
}

TEST(QtDrag, TextHasNoItems) {
  QMimeData data;
  data.setText("file:///tmp");
  size_t count = 1;
  EXPECT_EQ(noErr, QtDrag(data).CountDragItems(&count));
  EXPECT_EQ(0U, count);
}

}  // namespace
}  // namespace tessary::test
