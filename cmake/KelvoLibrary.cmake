# One library a folder: it links exactly what it may include.

add_library(kelvo_flags INTERFACE)
target_include_directories(kelvo_flags INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/src)
target_compile_options(kelvo_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  # False alarms of GCC 12 inside strings and the moves of exact numbers.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>)

# Exact numbers and the common standard headers take most of the time of a translation unit, so they
# are compiled once; the tests have GoogleTest beside them.
option(KELVO_PRECOMPILED_HEADERS "Precompile the slow headers of libraries" ON)

function(kelvo_precompiled target)
  cmake_parse_arguments(ARG "" "" "LINKS;HEADERS" ${ARGN})
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/${target}.cpp CONTENT "")
  add_library(${target} STATIC ${PROJECT_BINARY_DIR}/${target}.cpp)
  target_link_libraries(${target} PRIVATE kelvo_flags ${ARG_LINKS})
  target_precompile_headers(${target} PRIVATE ${ARG_HEADERS})
endfunction()

set(kelvo_common_headers <boost/multiprecision/cpp_int.hpp> <algorithm> <functional> <map> <memory>
  <optional> <set> <sstream> <string> <unordered_map> <unordered_set> <utility> <vector>)
if(KELVO_PRECOMPILED_HEADERS)
  kelvo_precompiled(kelvo_pch HEADERS ${kelvo_common_headers})
  if(KELVO_BUILD_TESTS)
    kelvo_precompiled(kelvo_test_pch LINKS GTest::gtest
      HEADERS ${kelvo_common_headers} <gtest/gtest.h>)
  endif()
endif()

# Sources of the target that want the precompiled headers get them from `kind`.
function(kelvo_use_precompiled target kind)
  if(KELVO_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} REUSE_FROM ${kind})
  endif()
endfunction()

# kelvo_library(NAME plans SOURCES plan ttp_parser DEPENDS model temporal [LINKS Boost::headers])
#
# SOURCES are the names of .cpp files without their ending. A library without SOURCES has headers only.
function(kelvo_library)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;GENERATED;DEPENDS;LINKS" ${ARGN})
  set(target kelvo_${ARG_NAME})
  list(TRANSFORM ARG_SOURCES APPEND ".cpp")
  list(TRANSFORM ARG_DEPENDS PREPEND "kelvo_")
  if(ARG_SOURCES OR ARG_GENERATED)
    add_library(${target} STATIC ${ARG_SOURCES} ${ARG_GENERATED})
    set(scope PUBLIC)
    kelvo_use_precompiled(${target} kelvo_pch)
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_link_libraries(${target} ${scope} kelvo_flags ${ARG_DEPENDS} ${ARG_LINKS})
endfunction()

# kelvo_test(NAME model_nodes SOURCES nodes_test DEPENDS model): one program of GoogleTest cases.
function(kelvo_test)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;DEPENDS;LINKS" ${ARGN})
  set(target test_${ARG_NAME})
  list(TRANSFORM ARG_SOURCES APPEND ".cpp")
  list(TRANSFORM ARG_DEPENDS PREPEND "kelvo_")
  add_executable(${target} ${ARG_SOURCES})
  kelvo_use_precompiled(${target} kelvo_test_pch)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE kelvo_flags ${ARG_DEPENDS} ${ARG_LINKS} GTest::gtest_main GTest::gmock)
  add_test(NAME ${ARG_NAME} COMMAND ${target} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endfunction()

# Adds the folders that are there, in the order given.
function(kelvo_add_folders)
  foreach(folder ${ARGN})
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt)
      add_subdirectory(${folder})
    endif()
  endforeach()
endfunction()
