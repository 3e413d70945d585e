# Fails unless the file DOCUMENT shows each of EXAMPLES (paths, separated by ",") byte for byte, and no
# other program in C++.
cmake_minimum_required(VERSION 3.25)

file(READ ${DOCUMENT} document)
string(REPLACE "," ";" examples "${EXAMPLES}")
foreach(path IN LISTS examples)
  file(READ ${path} example)
  set(block "```cpp\n${example}```\n")
  string(FIND "${document}" "${block}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${DOCUMENT} does not show ${path} as it is")
  endif()
  string(REPLACE "${block}" "" document "${document}")
endforeach()
if(document MATCHES "int main")
  message(FATAL_ERROR "${DOCUMENT} shows a program that is none of ${EXAMPLES}")
endif()
