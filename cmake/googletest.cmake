# GTest::gtest and GTest::gtest_main: the system's, or, for another system than this one, made from
# the sources that Debian's package googletest brings.

if(NOT CMAKE_CROSSCOMPILING)
  find_package(GTest REQUIRED)
  return()
endif()

find_path(KIVMIME_GOOGLETEST_SOURCES src/gtest-all.cc
  PATHS /usr/src/googletest/googletest NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT KIVMIME_GOOGLETEST_SOURCES)
  message(FATAL_ERROR "The sources of googletest were not found: install googletest")
endif()
add_library(gtest STATIC EXCLUDE_FROM_ALL ${KIVMIME_GOOGLETEST_SOURCES}/src/gtest-all.cc)
target_include_directories(gtest SYSTEM
  PUBLIC ${KIVMIME_GOOGLETEST_SOURCES}/include
  PRIVATE ${KIVMIME_GOOGLETEST_SOURCES})
target_link_libraries(gtest PUBLIC Threads::Threads)
add_library(gtest_main STATIC EXCLUDE_FROM_ALL ${KIVMIME_GOOGLETEST_SOURCES}/src/gtest_main.cc)
target_link_libraries(gtest_main PUBLIC gtest)
add_library(GTest::gtest ALIAS gtest)
add_library(GTest::gtest_main ALIAS gtest_main)
