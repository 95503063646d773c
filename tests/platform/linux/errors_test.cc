#include "platform/linux/errors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace tessary::test {
namespace {

TEST(StatusFromErrno, MapsEachError) {
  const std::vector<std::pair<int, int>> rows = {
      {0, 0},          {ENOENT, -43},   {EEXIST, -48},    {ENOSPC, -34}, {EDQUOT, -34},
      {EROFS, -44},    {EACCES, -5000}, {EPERM, -5000},   {EIO, -36},    {ENAMETOOLONG, -37},
      {EILSEQ, -37},   {ENOTDIR, -120}, {ENOTEMPTY, -47}, {EBUSY, -47},  {EMFILE, -42},
      {ENFILE, -42},   {ENOMEM, -108},  {EXDEV, -1303},   {EINVAL, -50}, {ENOTSUP, -50},
      {ESTALE, -1401}, {EFBIG, -1309},  {ELOOP, -36},     {EPIPE, -36}};
  for (const auto& [error, status] : rows) {
    EXPECT_EQ(status, static_cast<int>(StatusFromErrno(error))) << error;
  }
}

}  // namespace
}  // namespace tessary::test
