#include "programs/cli/messages.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tessary::test {
namespace {

TEST(DescribeStatus, UsesTheTextsOfErrno) {
  struct Row {
    Status status;
    int error;
  };
  const std::vector<Row> rows = {
      {dskFulErr, ENOSPC},
      {ioErr, EIO},
      {tmfoErr, EMFILE},
      {fnfErr, ENOENT},
      {wPrErr, EROFS},
      {fBsyErr, EBUSY},
      {dupFNErr, EEXIST},
      {paramErr, EINVAL},
      {memFullErr, ENOMEM},
      {dirNFErr, ENOTDIR},
      {errFSNotAFolder, ENOTDIR},
      {diffVolErr, EXDEV},
      {fileBoundsErr, EFBIG},
      {errFSBadFSRef, ESTALE},
      {afpAccessDenied, EACCES},
  };
  for (const Row& row : rows) EXPECT_EQ(std::strerror(row.error), DescribeStatus(row.status));
}

TEST(SizeText, HasDecimalUnits) {
  EXPECT_EQ("0 B", SizeText(0));
  EXPECT_EQ("999 B", SizeText(999));
  EXPECT_EQ("1.0 kB", SizeText(1000));
  EXPECT_EQ("999.9 kB", SizeText(999'949));
  EXPECT_EQ("1.0 MB", SizeText(999'950));
  EXPECT_EQ("4.2 GB", SizeText(4'200'000'000));
  EXPECT_EQ("18.4 EB", SizeText(UINT64_MAX));
}

TEST(DescribeStatus, PrintsOtherStatusesAsNumbers) {
  EXPECT_EQ("error -1728", DescribeStatus(errAENoSuchObject));
}

}  // namespace
}  // namespace tessary::test
