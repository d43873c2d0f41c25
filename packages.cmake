# What a package carries beside the product: a record of the distribution for Python, and what the
# Debian package says of itself (cpack -G DEB, in a folder configured as scripts/package.sh does).

# --- for Python: pip and importlib know the installed pyquelt, pytest finds its plug-in -----------
if(NOT SKBUILD)  # whoever builds a wheel writes its own
  set(record "${PROJECT_BINARY_DIR}/pyquelt-${PROJECT_VERSION}.dist-info")
  file(CONFIGURE OUTPUT "${record}/METADATA" @ONLY CONTENT
"Metadata-Version: 2.1
Name: @PROJECT_NAME@
Version: @PROJECT_VERSION@
Summary: @PROJECT_DESCRIPTION@
")
  file(CONFIGURE OUTPUT "${record}/entry_points.txt" CONTENT
"[pytest11]
quelt_testing = quelt_testing
")
  install(DIRECTORY "${record}" DESTINATION "${PYQUELT_PYTHON_DIR}")
endif()

# --- for Debian ---------------------------------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The pyquelt maintainers <pyquelt@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Management scripts on a hypervisor host read and change with it that host's
part in a Quelt storage cluster. An embedded host is included, on which the
module runs on any machine, and the tool quelt-host to seed, inspect and break
that host.")
math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "python3 (>= ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}), python3 (<< ${Python3_VERSION_MAJOR}.${next_minor})")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-pytest")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
# What the interpreter keeps beside its files comes and goes with the package.
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
include(CPack)
