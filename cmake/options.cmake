# Build options, and `veska_options`: the compile and link flags that all our targets share.

# Without GoogleTest the program can still be built; where it is there, tests are built too.
find_package(GTest QUIET)
option(VESKA_BUILD_TESTS "Build the tests" ${GTest_FOUND})
option(VESKA_BUILD_BENCH "Build the benchmarks" OFF)
option(VESKA_BUILD_FUZZ "Build the fuzz targets (clang only)" OFF)
option(VESKA_WERROR "Treat compiler warnings as errors" OFF)
set(VESKA_SANITIZE "" CACHE STRING "Sanitizers to compile with, as for -fsanitize=")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(veska_options INTERFACE)
target_include_directories(veska_options INTERFACE ${PROJECT_SOURCE_DIR})
# The POSIX and GNU interfaces of the C library, with 64-bit file offsets everywhere.
target_compile_definitions(veska_options INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64)
target_compile_options(veska_options INTERFACE
  -Wall -Wextra -Wconversion -Wshadow
  $<$<BOOL:${VESKA_WERROR}>:-Werror>)
target_link_options(veska_options INTERFACE LINKER:--as-needed)

if(VESKA_SANITIZE)
  target_compile_definitions(veska_options INTERFACE _GLIBCXX_ASSERTIONS)
  add_compile_options(
    -fsanitize=${VESKA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VESKA_SANITIZE})
else()
  # Sanitized shared libraries take the runtime's symbols from the program.
  target_link_options(veska_options INTERFACE LINKER:-z,defs)
endif()
