# Finds trio, the printf family behind every formatted text of the library.
#   Trio::trio   the library with its include folder
find_path(Trio_INCLUDE_DIR trio.h)
find_library(Trio_LIBRARY trio)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Trio REQUIRED_VARS Trio_LIBRARY Trio_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "On Debian: apt-get install libtrio-dev")
if(Trio_FOUND AND NOT TARGET Trio::trio)
  add_library(Trio::trio UNKNOWN IMPORTED)
  set_target_properties(Trio::trio PROPERTIES
    IMPORTED_LOCATION ${Trio_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${Trio_INCLUDE_DIR})
  if(WIN32)
    # trio's header marks everything as imported or exported unless told otherwise.
    set_property(TARGET Trio::trio PROPERTY INTERFACE_COMPILE_DEFINITIONS
      "TRIO_PUBLIC=" "TRIO_PUBLIC_PRINTF=" "TRIO_PUBLIC_SCANF=" "TRIO_PUBLIC_NAN=" "TRIO_PUBLIC_STRING=")
  endif()
endif()
mark_as_advanced(Trio_INCLUDE_DIR Trio_LIBRARY)
