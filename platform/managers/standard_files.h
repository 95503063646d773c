#pragma once

namespace tessary {

// Prepares standard input, output and error, and raises the limit of open files to the maximum that
// this process may set. Call it once, before any file is opened.
//
// A standard file that the program was started without is opened as a descriptor that can be
// neither read nor written. Otherwise the next file opened would get its number, and the log would
// be written into that file. SIGPIPE is ignored: a write to a closed pipe fails instead of ending
// the program.
void PrepareStandardFiles();

}  // namespace tessary
