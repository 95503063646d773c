// Writes the counts of a coverage build before _exit(2), which would drop them. The linker's option
// --wrap=_exit redirects the calls.

// The compiler and the linker prescribe the names.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" void __gcov_dump();
extern "C" [[noreturn]] void __real__exit(int status);
extern "C" [[noreturn]] void __wrap__exit(int status);

extern "C" void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
