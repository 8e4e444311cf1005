# Packages of what is installed, made by 'cpack' in the folder of the build: a zip for Windows, a Debian package
# elsewhere.
set(CPACK_PACKAGE_NAME mlh)
set(CPACK_PACKAGE_VENDOR mlh)
set(CPACK_PACKAGE_CONTACT "the authors of mlh <mlh@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME mlh-${PROJECT_VERSION}-windows-x86_64)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION sound)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Programs that are linked against the library need this version of it or a later one.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Analyses a sung recording, derives up to three harmony voices from chords or from
the melody alone, and renders them from the singer's own voice. Holds the command
mlh, the shared library for programs that use the C functions of mlh.h, the static
one for those that use the C++ classes of addon.h, analysis.h and arrange.h, the
headers and documents.")
endif()
include(CPack)
