# The Debian packages, one for each component of the installation: `./dev package` makes and checks
# them, `cpack` in a build folder makes them alone. Stage.cmake adds what only a Debian package has.
#
# The library goes into /usr/lib, as the build has it. A build that is configured with
# CMAKE_INSTALL_PREFIX=/usr has Debian's folder of its architecture there, and its packages, too.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zmu)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/Stage.cmake)
set(CPACK_ZMU_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_COMPONENTS_ALL library collect brander window common development tools proxy)

set(ZMU_PACKAGE_MAINTAINER "The zmu authors <zmu@packages.example>" CACHE STRING
  "Who answers for the Debian packages: NAME <ADDRESS>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ZMU_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE zmu)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
# What programs link is found by dpkg-shlibdeps, all but our own library, which no package owns yet:
# CPACK_COMPONENT_…_DEPENDS names it below, with its exact version.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(same_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzmu${soversion})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "zmu-common (>= ${PROJECT_VERSION}), zmu-brander")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "zmu-window ${same_version}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS zmu-proxy)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION [[
diagnostics for the modules of a server product
A module reports a numbered situation with its arguments; the library finds
out what the number means here, writes an entry to an HTML log that is a whole
document at any moment, shows a text, and runs plug-ins.
.
This package has the library that programs need to run.]])
# The file `shlibs` tells other packages which version their programs need, and the trigger has the
# loader's cache renewed. CPack would write scripts for that; it leaves it to those that are named
# here, and passes over those that do not exist.
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/debian/shlibs
  CONTENT "libzmu ${soversion} libzmu${soversion} (>= ${PROJECT_VERSION})\n" @ONLY)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/debian/triggers CONTENT "activate-noawait ldconfig\n" @ONLY)
set(no_scripts ${PROJECT_BINARY_DIR}/debian/none/postinst ${PROJECT_BINARY_DIR}/debian/none/postrm)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_BINARY_DIR}/debian/triggers ${no_scripts})

set(CPACK_DEBIAN_COLLECT_PACKAGE_NAME libzmu-collect${soversion})
set(CPACK_DEBIAN_COLLECT_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_COLLECT_DEPENDS library)
set(CPACK_COMPONENT_COLLECT_DESCRIPTION [[
diagnostics for server products: one log for many processes
The library by which the owner of a log writes into it what the product's
other processes have left in spool files, as the command zmu does.]])
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/debian/collect/shlibs
  CONTENT "libzmu_collect ${soversion} libzmu-collect${soversion} (>= ${PROJECT_VERSION})\n" @ONLY)
set(CPACK_DEBIAN_COLLECT_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/collect/shlibs ${PROJECT_BINARY_DIR}/debian/triggers ${no_scripts})

# Modules that are loaded by their name, from beside the library. Nothing links them.
set(CPACK_DEBIAN_BRANDER_PACKAGE_NAME zmu-brander)
set(CPACK_DEBIAN_BRANDER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_BRANDER_PACKAGE_CONTROL_EXTRA ${no_scripts})
set(CPACK_COMPONENT_BRANDER_DESCRIPTION [[
diagnostics for server products: branding texts
The module from which zmu takes the names of company, product and suite.
It reads other texts from a file beside it. A product that brings a module of
its own has a package which provides, conflicts with and replaces this one.]])
set(CPACK_DEBIAN_PROXY_PACKAGE_NAME zmu-proxy)
set(CPACK_DEBIAN_PROXY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PROXY_PACKAGE_CONTROL_EXTRA ${no_scripts})
set(CPACK_COMPONENT_PROXY_DESCRIPTION [[
diagnostics for server products: proxy that writes spool files
The module to which zmu hands the situations of processes that have no log
of their own. It appends each to a spool file, from which a collector makes
one log of many processes. A product may have another.]])

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME zmu-window)
set(CPACK_DEBIAN_WINDOW_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_WINDOW_DESCRIPTION [[
diagnostics for server products: status windows and message boxes
The program that shows the windows of zmu, in a process of its own. Without
it, or without a display, their texts go to standard error.]])

# The journal's catalog is taken up, and given up, by a trigger of systemd's.
set(CPACK_DEBIAN_COMMON_PACKAGE_NAME zmu-common)
set(CPACK_DEBIAN_COMMON_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_COMMON_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_COMMON_DESCRIPTION [[
diagnostics for server products: forms and message catalog
The forms of which zmu makes its logs, for products to copy, and the catalog
by which the journal explains the events that zmu tells it.]])

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzmu-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "zmu-tools ${same_version}")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library collect)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION [[
diagnostics for the modules of a server product: development files
Headers, the packages for CMake and pkg-config, and the documentation.
A catalogue of situations is compiled by the command of zmu-tools.]])

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zmu-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DEPENDS library collect)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION [[
diagnostics for server products: the command zmu
Compiles catalogues of situations, checks resource modules and log forms,
reads logs back as text or JSON, and explains codes.]])

include(CPack)
