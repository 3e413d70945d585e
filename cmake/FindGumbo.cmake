# Gumbo::Gumbo: libgumbo, an HTML5 parser (package libgumbo-dev), in a version that lets its user
# allocate the memory, which later ones do not.

find_path(Gumbo_INCLUDE_DIR gumbo.h)
find_library(Gumbo_LIBRARY gumbo)
mark_as_advanced(Gumbo_INCLUDE_DIR Gumbo_LIBRARY)

if(Gumbo_INCLUDE_DIR AND NOT DEFINED Gumbo_HAS_ALLOCATOR)
  file(STRINGS ${Gumbo_INCLUDE_DIR}/gumbo.h Gumbo_HAS_ALLOCATOR REGEX "GumboAllocatorFunction allocator")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Gumbo
  REQUIRED_VARS Gumbo_LIBRARY Gumbo_INCLUDE_DIR Gumbo_HAS_ALLOCATOR)

if(Gumbo_FOUND AND NOT TARGET Gumbo::Gumbo)
  add_library(Gumbo::Gumbo UNKNOWN IMPORTED)
  set_target_properties(Gumbo::Gumbo PROPERTIES
    IMPORTED_LOCATION ${Gumbo_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${Gumbo_INCLUDE_DIR})
endif()
