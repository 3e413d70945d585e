# kivmime_find_header_only(TARGET HEADER PACKAGE)
#
# Makes the interface target TARGET for a library that consists of headers only, such as
# CLI11 (HEADER is "CLI/CLI.hpp"). PACKAGE is named when it is missing.
#
# The headers are linked into the build tree and found there, because they usually stand in
# /usr/include: a cross-compiler that is given that folder takes the host's C library with it.
function(kivmime_find_header_only target header package)
  find_path(${target}_DIR ${header} NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ${target}_DIR)
    message(FATAL_ERROR "${header} not found: install ${package}")
  endif()
  string(REGEX REPLACE "/.*" "" top ${header})
  set(staged ${CMAKE_CURRENT_BINARY_DIR}/${target})
  file(MAKE_DIRECTORY ${staged})
  file(CREATE_LINK ${${target}_DIR}/${top} ${staged}/${top} SYMBOLIC COPY_ON_ERROR)
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${staged})
endfunction()
