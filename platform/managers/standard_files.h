#pragma once

namespace tessary {

// Makes standard input, output and error safe to run with, and allows this process as many open
// files as it may have. Called once, before anything else is
// opened. Each of them that the program was started without is taken by a file that can be neither
// read nor written, so that no file opened later gets its number and the log is never written into
// it. A reader of our output that goes away makes writes to it fail, and no longer ends the
// program.
void PrepareStandardFiles();

}  // namespace tessary
