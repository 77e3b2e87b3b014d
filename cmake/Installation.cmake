# How others find an installation: find_package(tavo-canopen), pkg-config tavo-canopen; and Debian packages of it.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tavo-canopen)
install(EXPORT tavo-canopen-targets NAMESPACE tavo-canopen:: DESTINATION ${package_folder} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tavo-canopen-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/tavo-canopen-config.cmake
  ${PROJECT_BINARY_DIR}/tavo-canopen-config-version.cmake
  DESTINATION ${package_folder} COMPONENT development)

# From the folder of the .pc file back to the prefix, so that the installation may be moved.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/tavo-canopen.pc.in ${PROJECT_BINARY_DIR}/tavo-canopen.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tavo-canopen.pc DESTINATION ${pkgconfig_folder} COMPONENT development)

if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

# ---- Debian packages: cpack -G DEB, or "make packages"

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "TAVO")
set(CPACK_PACKAGE_CONTACT "TAVO CANopen <canopen@tavo.invalid>")
set(CPACK_DEBIAN_PACKAGE_NAME tavo-canopen)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "CANopen device stack")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENTS_ALL libraries development programs)

set(libraries_package libtavo-canopen${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(this_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME ${libraries_package})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "CANopen device stack: shared libraries
 A CANopen (CiA 301) device: NMT, heartbeat, SDO server and client, PDO, SYNC,
 emergency producer, object dictionary, and the runtime that it stands on.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtavo-canopen-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${libraries_package} ${this_version}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "CANopen device stack: headers
 What is needed to build programs with the CANopen device stack.")

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME tavo-panel)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "CANopen node of an operator panel
 A CANopen node on a CAN interface or on a bus of its own, with an application
 that is described by an EDS file, and tools to see into its bus.")

if(CMAKE_CROSSCOMPILING)
  # The libraries of the other architecture belong to no package of this machine that could be asked.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  set(needed "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 11)")
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS "${needed}")
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "${needed}, ${libraries_package} ${this_version}")
else()
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "${libraries_package} ${this_version}")
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()

# The licence is its owner's to choose; until then every package says that there is none.
foreach(package IN ITEMS libraries:${libraries_package} development:libtavo-canopen-dev programs:tavo-panel)
  string(REPLACE ":" ";" package ${package})
  list(GET package 0 component)
  list(GET package 1 name)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}
    COMPONENT ${component})
endforeach()

include(CPack)
