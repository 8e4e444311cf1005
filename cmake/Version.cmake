# MLH_VERSION, as src/base/Version.h has it.
set(version_header ${CMAKE_CURRENT_LIST_DIR}/../src/base/Version.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})
file(STRINGS ${version_header} lines REGEX "^#define MLH_VERSION_(MAJOR|MINOR|PATCH) [0-9]+")
list(TRANSFORM lines REPLACE "^#define [A-Z_]+ ([0-9]+).*" "\\1")
list(JOIN lines "." MLH_VERSION)
if(NOT MLH_VERSION MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
  message(FATAL_ERROR "no version in ${version_header}: ${MLH_VERSION}")
endif()
