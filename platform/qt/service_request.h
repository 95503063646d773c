#pragma once

#include <string>
#include <vector>

namespace tessary {

// Asks the program that has the name on the session bus, which the bus starts if need be, to
// aggregate each folder that the arguments name: "file://" URIs, absolute paths, or paths relative
// to the working folder; all of them bytes, whatever they encode. Each is a request of its own, as
// the service runs one folder for each, and comes as a URI in which nothing but unreserved
// characters and "/" stands unescaped. Needs no screen. Returns at the answers, which do not wait
// for a run. False when one of them could not be asked for; a line in the log says why.
bool RequestAggregation(const std::vector<std::string>& named);

}  // namespace tessary
