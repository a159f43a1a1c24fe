# One place for compiler settings, and the functions by which every folder declares its target.

find_package(Threads REQUIRED)

add_library(quarle_options INTERFACE)
target_compile_features(quarle_options INTERFACE cxx_std_20)
set(warnings -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND warnings -Wduplicated-cond -Wlogical-op)
endif()
# Fault reports walk the frames of whatever runs.
target_compile_options(quarle_options INTERFACE "$<BUILD_INTERFACE:-fno-omit-frame-pointer>")
# Our warnings are not those of a host that embeds the installed library.
target_compile_options(quarle_options INTERFACE "$<BUILD_INTERFACE:${warnings}>")
if(QUARLE_SANITIZE)
  target_compile_options(quarle_options INTERFACE
    -fsanitize=${QUARLE_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(quarle_options INTERFACE -fsanitize=${QUARLE_SANITIZE})
endif()
if(ZEF_PLAIN_HEAP)
  target_compile_definitions(quarle_options INTERFACE ZEF_PLAIN_HEAP=1)
endif()
target_link_libraries(quarle_options INTERFACE Threads::Threads)

# quarle_add_folder(TARGET [DEPENDS targets...] [SOURCES files...]): a static library of the files
# named, or of all sources of this folder.
# DEPENDS names only folders below this one.
function(quarle_add_folder target)
  cmake_parse_arguments(ARG "" "" "DEPENDS;SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    file(GLOB ARG_SOURCES CONFIGURE_DEPENDS "*.cpp")
  endif()
  add_library(${target} STATIC ${ARG_SOURCES})
  target_link_libraries(${target} PUBLIC quarle_options ${ARG_DEPENDS})
endfunction()

# What every test file is compiled as, so that all share one precompiled header. What is tested
# lies in the libraries, which are optimised; GCC 12 takes half the time for tests that are not.
function(quarle_test_options target)
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-O0>
    $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)  # for ccache
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
endfunction()

# quarle_add_test(NAME [DEPENDS targets...]): one GoogleTest program of all sources of a folder.
function(quarle_add_test name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "*.cpp")
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE quarle_test_support ${ARG_DEPENDS} GTest::gtest_main)
  quarle_test_options(${name})
  target_precompile_headers(${name} REUSE_FROM quarle_test_support)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
