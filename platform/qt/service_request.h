#pragma once

#include <string>
#include <vector>

namespace tessary {

// Asks the running instance of the program, which the session bus starts if necessary, to aggregate
// each of the folders. A folder is a "file://" URI, an absolute path or a path relative to the
// working directory, in any byte encoding. Sends one request per folder, because the service
// handles one folder per request. The URI that it sends escapes all bytes except "/" and unreserved
// characters. Needs no display. Returns when the requests are answered, before any run starts.
// Returns false if a request fails, after a log line.
bool RequestAggregation(const std::vector<std::string>& folders);

}  // namespace tessary
