#pragma once

// Where the program is found on the session bus.
namespace tessary {

inline constexpr char kBusName[] = "org.tessary.Tessary";
inline constexpr char kObjectPath[] = "/org/tessary/Tessary";
inline constexpr char kApplicationInterface[] = "org.freedesktop.Application";
inline constexpr char kServiceInterface[] = "org.tessary.Service";

}  // namespace tessary
