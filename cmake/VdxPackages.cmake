# Debian packages by cpack: libvdxlib2 (the library) and libvdxlib-dev (headers and package files).
# Only where the installation is meant for /usr, as in the preset "package": Debian's folders depend on it.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vdxlib)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The libVDXLib maintainers <maintainers@libvdxlib.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvdxlib2)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvdxlib-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libvdxlib2 (= ${PROJECT_VERSION})")
# The first line of a description is its synopsis; the rest must not repeat it.
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "portable foundation of C++ applications
 Process, thread and clock primitives, locks, tracing, memory pools, named
 objects, sockets, XML, codecs, ciphers, sample buffers and geometry.")
set(CPACK_COMPONENT_DEV_DESCRIPTION "portable foundation of C++ applications (development files)
 Headers, CMake package and pkg-config file of libVDXLib.")

# What a Debian package carries beside the files of every installation.
execute_process(COMMAND gzip -9nc "${PROJECT_SOURCE_DIR}/packaging/changelog"
  OUTPUT_FILE "${PROJECT_BINARY_DIR}/changelog.gz" COMMAND_ERROR_IS_FATAL ANY)
foreach(package IN ITEMS runtime:libvdxlib2 dev:libvdxlib-dev)
  string(REPLACE ":" ";" package "${package}")
  list(GET package 0 component)
  list(GET package 1 name)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz
    DESTINATION share/doc/${name} COMPONENT ${component})
endforeach()
include(CPack)
