# Installation: headers, library, CMake package, pkg-config file, Debian packages.
include(CMakePackageConfigHelpers)
set(VDX_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VDXLib)

install(TARGETS VDXLib EXPORT VDXLibTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(EXPORT VDXLibTargets NAMESPACE VDXLib:: DESTINATION ${VDX_PACKAGE_DIR} COMPONENT dev)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VDXLibConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VDXLibConfig.cmake INSTALL_DESTINATION ${VDX_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VDXLibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VDXLibConfig.cmake ${PROJECT_BINARY_DIR}/VDXLibConfigVersion.cmake
  DESTINATION ${VDX_PACKAGE_DIR} COMPONENT dev)

# Relative from the .pc file's own place, so that the installed tree can be moved. A relative
# CMAKE_INSTALL_LIBDIR is what that needs; an absolute one is written as it is.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(VDX_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  set(VDX_PC_PREFIX "\${pcfiledir}/${up}")
  string(REGEX REPLACE "/$" "" VDX_PC_PREFIX "${VDX_PC_PREFIX}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(VDX_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(VDX_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
if(NOT BUILD_SHARED_LIBS)
  set(VDX_PC_CFLAGS " -DVDX_STATIC_DEFINE")
  set(VDX_PC_LIBS " -lstdc++ -pthread -ldl")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vdxlib.pc.in ${PROJECT_BINARY_DIR}/vdxlib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vdxlib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

if(PROJECT_IS_TOP_LEVEL)
  include(VdxPackages OPTIONAL)
endif()
