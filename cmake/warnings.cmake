# The warning flags of our own code, in one interface target. Only targets of this project link it,
# and privately: a host that builds us from source keeps its own warnings.

option(KIVMIME_WERROR "Treat warnings as errors (for development and CI)" OFF)

add_library(kivmime_warnings INTERFACE)
if(MSVC)
  target_compile_options(kivmime_warnings INTERFACE /W4 $<$<BOOL:${KIVMIME_WERROR}>:/WX>)
else()
  target_compile_options(kivmime_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${KIVMIME_WERROR}>:-Werror>)
endif()
