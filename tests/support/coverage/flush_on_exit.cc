// The linker has every _exit of a test program come here.

// The names are the compiler's and the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" void __gcov_dump();
extern "C" [[noreturn]] void __real__exit(int status);
extern "C" [[noreturn]] void __wrap__exit(int status);

extern "C" void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
