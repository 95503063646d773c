#pragma once

// The names of the program on the session bus.
namespace tessary {

inline constexpr char kBusName[] = "org.tessary.Tessary";
inline constexpr char kObjectPath[] = "/org/tessary/Tessary";
inline constexpr char kApplicationInterface[] = "org.freedesktop.Application";
inline constexpr char kServiceInterface[] = "org.tessary.Service";

}  // namespace tessary
