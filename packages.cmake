# Metadata of the Python distribution and of the Debian package, which cpack builds in a folder that
# scripts/package.sh configures.

set(licence_status "No licence has been granted yet")

# --- Python: makes pyquelt known to pip and importlib, and its plug-in to pytest ------------------
if(NOT SKBUILD)  # scikit-build-core generates the metadata of a wheel
  set(record "${PROJECT_BINARY_DIR}/pyquelt-${PROJECT_VERSION}.dist-info")
  file(CONFIGURE OUTPUT "${record}/METADATA" @ONLY CONTENT
"Metadata-Version: 2.1
Name: @PROJECT_NAME@
Version: @PROJECT_VERSION@
Summary: @PROJECT_DESCRIPTION@
License: @licence_status@
")
  file(CONFIGURE OUTPUT "${record}/entry_points.txt" CONTENT
"[pytest11]
quelt_testing = quelt_testing
")
  install(DIRECTORY "${record}" DESTINATION "${PYQUELT_PYTHON_DIR}")
endif()

# --- Debian -------------------------------------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The pyquelt maintainers <pyquelt@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"With this Python module, management scripts on a hypervisor host read and change
that host's part in a Quelt storage cluster: encryption keys, membership, network
interfaces, storage objects and settings. An embedded host is included, on which
scripts can be written and tested on any 64-bit little-endian Linux system. The
tool quelt-host prepares and inspects that host and injects faults.

${licence_status}.")
math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "python3 (>= ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}), python3 (<< ${Python3_VERSION_MAJOR}.${next_minor})")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-pytest")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
# Compile the Python files at installation, and remove the compiled files at removal.
foreach(script IN ITEMS "postinst: py3compile" "prerm: py3clean")
  string(REPLACE ": " ";" parts "${script}")
  list(GET parts 0 name)
  list(GET parts 1 command)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/debian/${name}" @ONLY CONTENT
"#!/bin/sh
set -e
if command -v @command@ >/dev/null; then
    @command@ -p pyquelt
fi
")
  file(CHMOD "${PROJECT_BINARY_DIR}/debian/${name}" PERMISSIONS
       OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  list(APPEND CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/${name}")
endforeach()
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/debian/copyright" CONTENT "@licence_status@.\n" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/debian/copyright" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        COMPONENT documentation)
include(CPack)
