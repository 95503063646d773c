#pragma once

#include <sys/types.h>

#include <string>

// The attribute values in which Linux stores ACLs and file capabilities, without libacl and libcap.
namespace tessary::test {

inline constexpr char kAccessListAttribute[] = "system.posix_acl_access";
inline constexpr char kDefaultAccessListAttribute[] = "system.posix_acl_default";
inline constexpr char kCapabilityAttribute[] = "security.capability";

// An ACL for mode 0740 that also lets this user read and write.
std::string AccessListWithUser(uid_t user);

// A file capability that lets a program bind ports below 1024.
std::string MakeFileCapability();

}  // namespace tessary::test
