#pragma once

#include <sys/types.h>

#include <string>

// The records in which Linux shows permissions beyond the mode, made without the libraries for
// them.
namespace tessary::test {

inline constexpr char kAccessListAttribute[] = "system.posix_acl_access";
inline constexpr char kDefaultAccessListAttribute[] = "system.posix_acl_default";
inline constexpr char kCapabilityAttribute[] = "security.capability";

// An access control list of an object of mode 0740 in which one more user may read and write.
std::string AccessListWithUser(uid_t user);

// A file capability that lets a program bind low ports.
std::string MakeFileCapability();

}  // namespace tessary::test
