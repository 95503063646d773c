// The source of the library that owns the precompiled headers of the test programs. CMake includes
// these headers.
