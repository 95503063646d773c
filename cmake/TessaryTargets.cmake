# How every target of this project is built: the warnings, the sanitizers, and one static library a
# folder whose links are the only way in which it can call another folder.

# A warning fails the build, except in the preset for users: who only wants the release may have a
# compiler that warns of more than ours does.
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()

add_library(tessary_options INTERFACE)
target_include_directories(tessary_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(tessary_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual)
# GCC 12 takes the joining of strings for copies that overlap, once it optimises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(tessary_options INTERFACE -Wno-restrict)
endif()
# Files and offsets beyond 2 GiB, and the Linux calls beyond POSIX.
target_compile_definitions(tessary_options INTERFACE _FILE_OFFSET_BITS=64 _GNU_SOURCE)
if(TESSARY_SANITIZE)
  target_compile_options(tessary_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_definitions(tessary_options INTERFACE TESSARY_SANITIZE)
  target_link_options(tessary_options INTERFACE -fsanitize=address,undefined)
endif()
if(TESSARY_COVERAGE)
  target_compile_options(tessary_options INTERFACE --coverage)
  target_link_options(tessary_options INTERFACE --coverage)
endif()

# The folders above call the managers by their headers and do not link platform/linux, which a program
# links beside them. No order of the libraries suits both, so the linker goes over all of them again.
string(REPLACE "<LINK_LIBRARIES>" "-Wl,--start-group <LINK_LIBRARIES> -Wl,--end-group"
  CMAKE_CXX_LINK_EXECUTABLE "${CMAKE_CXX_LINK_EXECUTABLE}")

# The .cc files of the folder that calls, and of those of its subfolders that are named.
macro(tessary_sources subfolders)
  set(patterns ${CMAKE_CURRENT_SOURCE_DIR}/*.cc)
  foreach(subfolder ${subfolders})
    list(APPEND patterns ${CMAKE_CURRENT_SOURCE_DIR}/${subfolder}/*.cc)
  endforeach()
  file(GLOB sources CONFIGURE_DEPENDS ${patterns})
endmacro()

# tessary_library(NAME DEPENDENCY... [SUBFOLDERS FOLDER...]): the static library of the folder that
# calls it, linked to the libraries that it may call.
function(tessary_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SUBFOLDERS")
  tessary_sources("${arg_SUBFOLDERS}")
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC tessary_options ${arg_UNPARSED_ARGUMENTS})
endfunction()

# tessary_test_program(NAME DEPENDENCY... [MAIN LIBRARY] [SUBFOLDERS FOLDER...]): the test program of the
# folder that calls it, for which nothing is registered yet. MAIN is for one whose own main() is wanted:
# GTest::gtest.
function(tessary_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "MAIN" "SUBFOLDERS")
  if(NOT arg_MAIN)
    set(arg_MAIN GTest::gtest_main)
  endif()
  tessary_sources("${arg_SUBFOLDERS}")
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE
    ${arg_UNPARSED_ARGUMENTS} tessary_test_support GTest::gmock ${arg_MAIN})
  if(TESSARY_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE
      <gmock/gmock.h> <gtest/gtest.h> <filesystem> <optional> <string> <vector>)
  endif()
endfunction()

# tessary_tests(NAME LABEL DEPENDENCY... [SUBFOLDERS FOLDER...]): that program, each of its tests
# registered under the label. Those of the labels unit and disk are whole in the build with sanitizers;
# all others are among the target program_tests, and registered in other builds only.
function(tessary_tests name label)
  tessary_test_program(${name} ${ARGN})
  if(TESSARY_SANITIZE AND NOT label MATCHES "^(unit|disk)$")
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

# tessary_soak(NAME ARGUMENT...): has tools/soak run this test program, with these arguments, for as long
# as its share of the time is. How long that is, the program learns from tests/support/soak.h.
function(tessary_soak name)
  string(JOIN "\t" command "$<TARGET_FILE:${name}>" ${ARGN})
  set_property(GLOBAL APPEND_STRING PROPERTY TESSARY_SOAK_COMMANDS "${command}\n")
  set_property(GLOBAL APPEND PROPERTY TESSARY_SOAK_TARGETS ${name})
endfunction()

# What tools/soak reads: the target that builds these programs, and a file with a line for each command,
# its words parted by tabulators. To be called after the last tessary_soak.
function(tessary_list_soaks)
  get_property(commands GLOBAL PROPERTY TESSARY_SOAK_COMMANDS)
  get_property(targets GLOBAL PROPERTY TESSARY_SOAK_TARGETS)
  file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/soak-programs CONTENT "${commands}")
  add_custom_target(soak-programs DEPENDS ${targets})
endfunction()
