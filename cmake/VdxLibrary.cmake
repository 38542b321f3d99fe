# The products: VDXLib (installed) and vdx_internal (static, for white-box tests).
include(GenerateExportHeader)
get_property(vdx_objects GLOBAL PROPERTY VDX_OBJECTS)

add_library(VDXLib)
add_library(VDXLib::VDXLib ALIAS VDXLib)
add_library(vdx_internal STATIC EXCLUDE_FROM_ALL)
generate_export_header(VDXLib BASE_NAME VDX EXPORT_MACRO_NAME VDX_API
  EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/include/vdx/export.h)

foreach(target VDXLib vdx_internal)
  foreach(objects IN LISTS vdx_objects)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>)
  endforeach()
  vdx_common(${target})
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  target_link_libraries(${target} PUBLIC Threads::Threads PRIVATE ${CMAKE_DL_LIBS})
  if(APPLE)
    target_link_libraries(${target} PRIVATE
      "-framework CoreFoundation" "-framework Foundation" "-framework IOKit" "-framework SystemConfiguration")
  endif()
endforeach()
target_include_directories(vdx_internal PUBLIC
  ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)

file(GLOB VDX_PUBLIC_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/vdx/*.h)
target_sources(VDXLib PUBLIC FILE_SET HEADERS
  BASE_DIRS ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include
  FILES ${VDX_PUBLIC_HEADERS} ${PROJECT_BINARY_DIR}/include/vdx/export.h)
set_target_properties(VDXLib PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  VERIFY_INTERFACE_HEADER_SETS ON)
if(NOT BUILD_SHARED_LIBS)
  target_compile_definitions(VDXLib PUBLIC VDX_STATIC_DEFINE)
endif()
if(BUILD_SHARED_LIBS AND NOT APPLE AND NOT VDX_SANITIZE)
  target_link_options(VDXLib PRIVATE -Wl,--no-undefined -Wl,-Bsymbolic-functions)
endif()
