#include "platform/linux/catalog/aliases.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/managers/apple_events.h"
#include "platform/managers/autorelease_pool.h"
#include "tests/support/fault_injection/failing_allocations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

FSSpec SpecAt(const std::string& path) {
  FSSpec spec;
  EXPECT_EQ(noErr, FSGetCatalogInfo(RefAt(path), kFSCatInfoNone, nullptr, nullptr, &spec, nullptr));
  return spec;
}

TEST(NewAlias, OutlivesAutoreleasePool) {
  const TemporaryFolder folder;
  for (const char* name : {"plain", "line\nbreak", "not \xff UTF-8", ".leading", "a..b"}) {
    MakeFolder(folder / (std::string(name) + "/in"));
    AliasHandle alias;
    {
      const NSAutoreleasePool pool;
      ASSERT_EQ(noErr, NewAlias(SpecAt(folder / (std::string(name) + "/in")), &alias));
    }
    FSRef target;
    ASSERT_EQ(noErr, FollowAlias(*alias, &target)) << name;
    EXPECT_EQ(noErr, FSCompareFSRefs(target, RefAt(folder / (std::string(name) + "/in")))) << name;
  }
}

TEST(NewAlias, FailsWithoutObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "gone");
  const FSSpec gone = SpecAt(folder / "gone");
  std::filesystem::remove(folder / "gone");
  AliasHandle alias;
  EXPECT_EQ(paramErr, NewAlias(FSSpec{}, &alias));
  EXPECT_EQ(fnfErr, NewAlias(gone, &alias));
  EXPECT_EQ(paramErr, NewAlias(SpecAt(folder.path()), nullptr));
  EXPECT_EQ(nullptr, alias);
}

TEST(UpdateAlias, ReportsChange) {
  const TemporaryFolder folder;
  WriteFile(folder / "a");
  WriteFile(folder / "b");
  AliasHandle alias;
  ASSERT_EQ(noErr, NewAlias(SpecAt(folder / "a"), &alias));
  bool wasChanged = true;
  EXPECT_EQ(noErr, UpdateAlias(SpecAt(folder / "a"), alias.get(), &wasChanged));
  EXPECT_FALSE(wasChanged);
  EXPECT_EQ(noErr, UpdateAlias(SpecAt(folder / "b"), alias.get(), &wasChanged));
  EXPECT_TRUE(wasChanged);
  // A failure leaves the alias unchanged.
  EXPECT_EQ(paramErr, UpdateAlias(FSSpec{}, alias.get(), &wasChanged));
  EXPECT_EQ(paramErr, UpdateAlias(SpecAt(folder / "a"), nullptr, &wasChanged));
  EXPECT_EQ(paramErr, UpdateAlias(SpecAt(folder / "a"), alias.get(), nullptr));
  FSRef target;
  ASSERT_EQ(noErr, FollowAlias(*alias, &target));
  EXPECT_EQ(noErr, FSCompareFSRefs(target, RefAt(folder / "b")));
}

TEST(FollowAlias, RefusesOtherBytes) {
  FSRef target;
  EXPECT_EQ(paramErr, FollowAlias({}, &target));
  EXPECT_EQ(paramErr, FollowAlias(AliasRecord(sizeof(FSSpec), 0), &target));
  EXPECT_EQ(paramErr, FollowAlias(AliasRecord(sizeof(FSSpec) + 1, 0), &target));
  EXPECT_EQ(paramErr, FollowAlias(AliasRecord(sizeof(FSSpec), 0), nullptr));
}

// ---- In events ----

AEDesc AliasDesc(const std::string& path) {
  AliasHandle alias;
  EXPECT_EQ(noErr, NewAlias(SpecAt(path), &alias));
  AEDesc desc;
  EXPECT_EQ(noErr, AECreateDesc(typeAlias, alias->data(), alias->size(), &desc));
  return desc;
}

TEST(AECoerceDesc, AliasToReference) {
  const TemporaryFolder folder;
  WriteFile(folder / "a");
  const AEDesc alias = AliasDesc(folder / "a");
  AEDesc ref;
  ASSERT_EQ(noErr, AECoerceDesc(alias, typeFSRef, &ref));
  EXPECT_EQ(typeFSRef, ref.descriptorType);
  EXPECT_EQ(sizeof(FSRef), AEGetDescDataSize(ref));
  std::filesystem::remove(folder / "a");
  EXPECT_EQ(fnfErr, AECoerceDesc(alias, typeFSRef, &ref));
  EXPECT_EQ(errAECoercionFail, AECoerceDesc(ref, typeAlias, &ref));
}

TEST(AECoerceDesc, ValueToList) {
  const AEDesc alias = AliasDesc("/");
  AEDesc list;
  ASSERT_EQ(noErr, AECoerceDesc(alias, typeAEList, &list));
  EXPECT_EQ(typeAEList, list.descriptorType);
  size_t count = 0;
  EXPECT_EQ(noErr, AECountItems(list, &count));
  EXPECT_EQ(1U, count);
  AEDesc again;
  ASSERT_EQ(noErr, AECoerceDesc(list, typeAEList, &again));
  EXPECT_EQ(noErr, AECountItems(again, &count));
  EXPECT_EQ(1U, count);
  AEDesc record;
  ASSERT_EQ(noErr, AECreateList(true, &record));
  EXPECT_EQ(errAECoercionFail, AECoerceDesc(record, typeAEList, &list));
}

TEST(NewAlias, OutOfMemory) {
  const TemporaryFolder folder;
  WriteFile(folder / "a");
  WriteFile(folder / "b");
  const FSSpec a = SpecAt(folder / "a");
  const FSSpec b = SpecAt(folder / "b");
  AliasHandle alias;
  ExpectMemFullOnFailedAllocations([&] { return NewAlias(a, &alias); },
                                   [&] { EXPECT_EQ(nullptr, alias); });
  ASSERT_NE(nullptr, alias);
  const AliasRecord before = *alias;
  bool wasChanged = false;
  ExpectMemFullOnFailedAllocations([&] { return UpdateAlias(b, alias.get(), &wasChanged); },
                                   [&] { EXPECT_EQ(before, *alias); });
  EXPECT_TRUE(wasChanged);
}

}  // namespace
}  // namespace tessary::test
