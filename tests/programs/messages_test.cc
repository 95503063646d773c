#include "programs/cli/messages.h"

#include <gtest/gtest.h>

#include <cerrno>
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

TEST(DescribeStatus, PrintsOtherStatusesAsNumbers) {
  EXPECT_EQ("error -1728", DescribeStatus(errAENoSuchObject));
}

}  // namespace
}  // namespace tessary::test
