# KIVMIME_SANITIZE names the sanitizers for everything that is built here, library and tests alike:
# code with and without instrumentation must not meet in one program.

set(KIVMIME_SANITIZE "" CACHE STRING
  "Comma-separated sanitizers: \"address,undefined\" or \"thread\"; empty for none")

if(KIVMIME_SANITIZE)
  set(kivmime_sanitizer_flags
    -fsanitize=${KIVMIME_SANITIZE}
    -fno-sanitize-recover=all    # a finding ends the test instead of scrolling by
    -fno-omit-frame-pointer)
  add_compile_options(${kivmime_sanitizer_flags} -g)
  add_link_options(${kivmime_sanitizer_flags})
endif()
