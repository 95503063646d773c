# Functions that define the targets of this project, with its warnings and sanitizers. Each folder is one
# static library, which links only to the libraries that it may call.

# Warnings are errors, except in the release presets: the compiler of a user may know other warnings.
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()

add_library(tessary_options INTERFACE)
target_include_directories(tessary_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(tessary_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual)
# GCC 12 reports false overlaps for string concatenations in optimised builds.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(tessary_options INTERFACE -Wno-restrict)
endif()
# Offsets of more than 2 GiB, and system calls that are not in POSIX.
target_compile_definitions(tessary_options INTERFACE _FILE_OFFSET_BITS=64 _GNU_SOURCE)
if(TESSARY_SANITIZE)
  target_compile_options(tessary_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_definitions(tessary_options INTERFACE TESSARY_SANITIZE)
  target_link_options(tessary_options INTERFACE -fsanitize=address,undefined)
  # Without relocations, a test program starts in four fifths of the time.
  if(NOT TESSARY_DESKTOP)
    target_compile_options(tessary_options INTERFACE -fno-pie)
    target_link_options(tessary_options INTERFACE -no-pie)
  endif()
endif()
if(TESSARY_SANITIZE_THREADS)
  target_compile_options(tessary_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_compile_definitions(tessary_options INTERFACE TESSARY_SANITIZE_THREADS)
  target_link_options(tessary_options INTERFACE -fsanitize=thread)
endif()
if(TESSARY_COVERAGE)
  target_compile_options(tessary_options INTERFACE --coverage)
  target_link_options(tessary_options INTERFACE --coverage)
endif()

# tessary_link(TARGET LIBRARY...): links a program to libraries of this project and to the libraries of
# this project that these depend on. The upper libraries call the managers, which platform/linux and
# platform/qt implement, without a dependency on them: each program chooses its managers here. CMake
# therefore cannot order the libraries, and the linker rescans them as one group.
function(tessary_link target)
  set(pending ${ARGN})
  set(group)
  while(pending)
    list(POP_FRONT pending library)
    if(NOT library MATCHES "^tessary_" OR library IN_LIST group)
      continue()
    endif()
    get_target_property(type ${library} TYPE)
    if(NOT type STREQUAL "STATIC_LIBRARY")
      continue()
    endif()
    list(APPEND group ${library})
    get_target_property(dependencies ${library} INTERFACE_LINK_LIBRARIES)
    list(APPEND pending ${dependencies})
  endwhile()
  list(JOIN group "," group)
  target_link_libraries(${target} PRIVATE "$<LINK_GROUP:RESCAN,${group}>")
endfunction()

# tessary_reject_arguments(ARGUMENT...): fails if a function has arguments that it does not know.
function(tessary_reject_arguments)
  if(ARGN)
    message(FATAL_ERROR "Unknown arguments: ${ARGN}")
  endif()
endfunction()

# tessary_group_sources(NAME): with TESSARY_UNITY, compiles the sources of the target in groups. Names of
# unnamed namespaces therefore have to differ within a library and within a program.
function(tessary_group_sources name)
  set_target_properties(${name} PROPERTIES UNITY_BUILD "${TESSARY_UNITY}" UNITY_BUILD_BATCH_SIZE 25)
endfunction()

# tessary_library(NAME SOURCES FILE... [LIBRARIES LIBRARY...]): the static library of a folder, and the
# libraries that it may call.
function(tessary_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  tessary_reject_arguments(${arg_UNPARSED_ARGUMENTS})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC tessary_options ${arg_LIBRARIES})
  tessary_group_sources(${name})
endfunction()

# tessary_test_program(NAME [MAIN LIBRARY] SOURCES FILE... [LIBRARIES LIBRARY...]): a test program, whose
# tests are not registered with ctest. A program with its own main() sets MAIN to GTest::gtest.
function(tessary_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "MAIN" "SOURCES;LIBRARIES")
  tessary_reject_arguments(${arg_UNPARSED_ARGUMENTS})
  if(NOT arg_MAIN)
    set(arg_MAIN GTest::gtest_main)
  endif()
  add_executable(${name} ${arg_SOURCES})
  tessary_group_sources(${name})
  tessary_link(${name} ${arg_LIBRARIES} tessary_test_support)
  target_link_libraries(${name} PRIVATE GTest::gmock ${arg_MAIN})
  if(TESSARY_PRECOMPILE)
    target_precompile_headers(${name} REUSE_FROM tessary_test_headers)
    target_link_libraries(${name} PRIVATE tessary_precompiled_options)
  endif()
endfunction()

# tessary_tests(NAME LABEL SOURCES FILE... [LIBRARIES LIBRARY...]): a test program whose tests are
# registered with ctest under the label. Tests with the labels unit and disk run in builds with and without
# sanitizers. All others run in builds without sanitizers only, and belong to the target program_tests.
function(tessary_tests name label)
  tessary_test_program(${name} ${ARGN})
  if(TESSARY_SANITIZE AND NOT label MATCHES "^(unit|disk)$")
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  set(seconds 120)
  if(TESSARY_COVERAGE)
    set(seconds 600)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${label} TIMEOUT ${seconds})
  if(NOT label MATCHES "^(unit|disk)$")
    add_dependencies(program_tests ${name})
  endif()
endfunction()

# tessary_soak(NAME ARGUMENT...): adds a test program, with these arguments, to the programs that
# tools/soak runs. The program gets its duration through tests/support/soak.h.
function(tessary_soak name)
  string(JOIN "\t" command "$<TARGET_FILE:${name}>" ${ARGN})
  set_property(GLOBAL APPEND_STRING PROPERTY TESSARY_SOAK_COMMANDS "${command}\n")
  set_property(GLOBAL APPEND PROPERTY TESSARY_SOAK_TARGETS ${name})
endfunction()

# Defines what tools/soak needs: the target soak-programs, and the file soak-programs with one command
# per line, its words separated by tabs. Called after the last tessary_soak.
function(tessary_list_soaks)
  get_property(commands GLOBAL PROPERTY TESSARY_SOAK_COMMANDS)
  get_property(targets GLOBAL PROPERTY TESSARY_SOAK_TARGETS)
  file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/soak-programs CONTENT "${commands}")
  add_custom_target(soak-programs DEPENDS ${targets})
endfunction()
